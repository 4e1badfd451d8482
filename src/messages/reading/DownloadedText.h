// A message's text, before it is copied into the caller's record.
#pragma once
#include "common/text/tstring.h"

struct DownloadedText {
    tstring strBody;
    tstring strSubject;
};
