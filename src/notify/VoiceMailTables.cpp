#include "notify/VoiceMailTables.h"
#include "common/mapi/MapiArguments.h"
#include "common/mapi/MessageTerms.h"
#include "session/ReceiveFolder.h"

namespace
{

HRESULT OpenTable(const Operation &operation, IMAPIFolder *pFolder, const Restriction &filter,
                  ComPtr<IMAPITable> &table)
{
    ComPtr<IMAPITable> opened;
    HRESULT hr = GetFolderTable(operation, pFolder, opened);
    if (FAILED(hr))
        return hr;
    hr = SetTableColumns(operation, opened.get(), PropTags<PR_MESSAGE_CLASS_A, PR_MESSAGE_FLAGS>());
    if (FAILED(hr))
        return hr;
    hr = FilterTable(operation, opened.get(), filter);
    if (FAILED(hr))
        return hr;
    hr = SortOldestFirst(operation, opened.get());
    if (FAILED(hr))
        return hr;
    table = std::move(opened);
    return hr;
}

} // namespace

HRESULT OpenVoiceMailTables(const CountedOperation &operation, IMsgStore *pIMsgStore, VoiceMailTables &tables)
{
    ReceiveFolder inbox;
    const HRESULT hr = OpenReceiveFolder(operation, pIMsgStore, inbox);
    if (FAILED(hr))
        return hr;
    const Restriction voiceMail = Is(kMessageClass, kUnifiedMessagingClass);
    const Restriction unread = BitsClear(kMessageFlags, kReadFlag);
    // The last table gives the result, as the contract has it.
    OpenTable(operation, inbox.get(), All({voiceMail, BitsSet(kMessageFlags, kReadFlag)}), tables.read);
    OpenTable(operation, inbox.get(), All({voiceMail, unread}), tables.unread);
    return OpenTable(operation, inbox.get(), All({voiceMail, unread, Is(kImportance, kHighImportance)}),
                     tables.unreadPriority);
}
