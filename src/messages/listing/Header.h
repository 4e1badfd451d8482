// What a listing or a single-message read knows of a message, before it is copied into the caller's records.
#pragma once
#include "messages/reading/Attachment.h"
#include <vector>

struct Header {
    bool bRead = false;
    bool bHasAttach = false; // kept, not exported: callers use the number of attachments
    bool bPrivate = false;
    bool bHighPriority = false;
    ULONG ulSize = 0;
    LONG lSecs = 0;
    std::vector<BYTE> entryID;
    tstring strSenderName;
    tstring strCreatorName;
    tstring strComment;
    tstring szNumber;
    tstring szName;
    LONG offset = 0;
    ULONG ulMsgReceived = 0;
    SYSTEMTIME stSubmitTime = {};
    std::vector<Attachment> attachments;
};
