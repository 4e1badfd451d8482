// What every message that leaves a mailbox takes: the store's outbox, a new message in it, recipients, a file, and its
// submission. Each step reports its own failure; what it gives counts as an open object while it is held.
#pragma once
#include "common/text/tstring.h"
#include "session/OpenCounted.h"

// A property of a store that names one of its folders.
struct FolderID {
    MapiBuffer<SPropValue> value;
    ScopedCount count;

    const SBinary &Bytes() const { return value->Value.bin; }
};
HRESULT ReadFolderID(const CountedOperation &operation, IMsgStore *pIMsgStore, ULONG ulPropTag, const char *sentence,
                     FolderID &id);

struct Outbox {
    FolderID id;
    Counted<IMAPIFolder> folder;
};
HRESULT OpenOutbox(const CountedOperation &operation, IMsgStore *pIMsgStore, Outbox &outbox);
HRESULT CreateMessage(const CountedOperation &operation, const Outbox &outbox, Counted<IMessage> &message);

HRESULT SetMessageProps(const Operation &operation, IMessage *pMessage, ULONG cValues, SPropValue *pValues);
// Replaces the message's recipients.
HRESULT ModifyRecipients(const Operation &operation, IMessage *pMessage, ADRLIST *pRecipients);
// A file to be attached, for reading.
HRESULT OpenSource(const CountedOperation &operation, const tstring &szFile, Counted<IStream> &source);
// The message stays open for changes.
HRESULT SaveMessage(const Operation &operation, IMessage *pMessage);
HRESULT SubmitMessage(const Operation &operation, IMessage *pMessage);
