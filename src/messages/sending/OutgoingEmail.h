// A message to be sent, and what makes it a voice message.
#pragma once
#include "common/text/tstring.h"

struct OutgoingEmail {
    tstring m_TargetAlias; // recipients, separated by semicolons; a member's name, as the contract has it
    tstring strSubject;
    tstring strBody;
    bool bUrgent = false;
    bool bPrivate = false;
    tstring strFile;     // a file to attach; empty for none
    tstring strFilename; // the name under which it is shown
};

// What makes it a voice message of unified messaging.
struct VoiceDetails {
    LONG lSecs = 0;
    tstring strNumber;
    tstring strName;
    tstring strOrder;
    LONG offset = 0;
    ULONG ulMsgReceived = 0;
};
