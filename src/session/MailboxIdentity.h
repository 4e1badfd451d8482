// A user as the address book knows him.
#pragma once
#include "common/text/tstring.h"

struct MailboxIdentity {
    tstring strDisplayName;
    tstring strEmailAddress; // of an Exchange entry its distinguished name
    tstring strAddressType;
};
