// One appointment of a day, as the session reads it.
#pragma once
#include "common/text/tstring.h"

struct CalendarEvent {
    BYTE bBusy = 0;
    BYTE bOutOfOffice = 0;
    BYTE bTentative = 0;
    LONG lDuration = 0; // minutes
    tstring strLocation;
    tstring strSubject;
    tstring strBody;
    SYSTEMTIME stStart = {}; // UTC
    SYSTEMTIME stEnd = {};   // UTC
};
