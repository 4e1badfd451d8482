// A header as callers see it.
#pragma once
#include "api/ResultBlock.h"
#include "messages/listing/Header.h"

// Copies a header into record i of a block: first its texts and its entry ID, as children in this order, then the
// rest, except for the attachments.
template <class Flavour>
void CopyHeader(ResultBlock<typename Flavour::EmailHeader> &block, std::size_t i, const Header &header)
{
    auto &record = block[i];
    record.pszSenderName = block.template Text<Flavour>(header.strSenderName);
    record.pszCreatorName = block.template Text<Flavour>(header.strCreatorName);
    record.pszComment = block.template Text<Flavour>(header.strComment);
    record.pszNumber = block.template Text<Flavour>(header.szNumber);
    record.pszName = block.template Text<Flavour>(header.szName);
    record.pEntryID = block.Bytes(header.entryID);
    record.cbEntryID = static_cast<ULONG>(header.entryID.size());
    record.stSubmitTime = header.stSubmitTime;
    record.bRead = header.bRead;
    record.bPrivate = header.bPrivate;
    record.bHighPriority = header.bHighPriority;
    record.ulSize = header.ulSize;
    record.cAttachments = 0;
    record.lSecs = header.lSecs;
    record.offset = header.offset;
    record.ulMsgReceived = header.ulMsgReceived;
}

// Copies a header's attachments: the array, then each one's two texts.
template <class Flavour>
void CopyAttachments(ResultBlock<typename Flavour::EmailHeader> &block, std::size_t i, const Header &header)
{
    using Info = typename Flavour::AttachmentInfo;
    Info *infos = block.template Array<Info>(header.attachments.size());
    block[i].pAttachments = infos;
    for (const Attachment &attachment : header.attachments) {
        if (block.Failed())
            return;
        auto *mimeTag = block.template Text<Flavour>(attachment.strMimeTag);
        auto *filename = block.template Text<Flavour>(attachment.strFilename);
        *infos++ = Info{attachment.ulSize, attachment.ulAttachNum, mimeTag, filename};
    }
    block[i].cAttachments = static_cast<ULONG>(header.attachments.size());
}
