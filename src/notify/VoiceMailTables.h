// The three live tables over a mailbox's receive folder whose rows a sink counts: unified-messaging voice mail that is
// read, that is unread, and that is unread and of high importance.
#pragma once
#include "common/base/Owners.h"

class CountedOperation;

struct VoiceMailTables {
    ComPtr<IMAPITable> read;
    ComPtr<IMAPITable> unread;
    ComPtr<IMAPITable> unreadPriority;

    bool Complete() const { return read && unread && unreadPriority; }
};

// Every table is tried, whatever came of the one before it; one of which a step failed is not given. The result is that
// of the last call, so it may be a success although a table is missing.
HRESULT OpenVoiceMailTables(const CountedOperation &operation, IMsgStore *pIMsgStore, VoiceMailTables &tables);
