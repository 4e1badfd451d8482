// A profile of the account, as it is listed.
#pragma once
#include "common/text/tstring.h"

struct Profile {
    BYTE bFlag = 0;
    tstring strDisplayName;
};
