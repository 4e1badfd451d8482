// What a listing shows of an attachment.
#pragma once
#include "common/text/tstring.h"

struct Attachment {
    ULONG ulSize = 0;
    ULONG ulAttachNum = 0;
    tstring strMimeTag;
    tstring strFilename;
};
