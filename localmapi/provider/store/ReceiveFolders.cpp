// In which folder messages of which class arrive. The Inbox is for all; a class with a folder of its own, and those
// classes that it begins, are kept in a list with the mailbox.
#include "localmapi/provider/store/ReceiveFolders.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/site/NameMatch.h"
#include "localmapi/provider/store/Store.h"
#include "localmapi/provider/store/StoreTags.h"
#include "localmapi/provider/table/MemorySource.h"

#include <algorithm>
#include <charconv>

namespace localmapi
{

using storage::PropertyBag;

namespace
{

constexpr std::size_t kLongestClass = 255;

// A message class is of printable ASCII characters; parts are separated by periods, and none is empty.
void RequireClass(const std::string &text)
{
    const bool fine = text.size() <= kLongestClass &&
                      std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; }) &&
                      text.find("..") == std::string::npos &&
                      (text.empty() || (text.front() != '.' && text.back() != '.'));
    Require(fine, "the message class");
}

// Whether `text` is the class or begins with it and a period; every class begins with the empty one.
bool IsOfClass(std::string_view text, std::string_view messageClass)
{
    if (messageClass.empty())
        return true;
    return text.size() >= messageClass.size() && EqualIgnoringCase(text.substr(0, messageClass.size()), messageClass) &&
           (text.size() == messageClass.size() || text[messageClass.size()] == '.');
}

} // namespace

std::vector<ReceiveFolder> ReceiveFoldersOf(const storage::Objects &objects, const storage::Mailbox &mailbox)
{
    std::vector<ReceiveFolder> folders;
    const PropertyBag bag = objects.Read(mailbox.id, {storage::Tag{kReceiveFolders}});
    if (const auto *list = bag.get<std::vector<std::string>>(kReceiveFolders)) {
        for (const std::string &entry : *list) {
            const std::size_t bar = entry.find('|');
            ReceiveFolder folder{entry.substr(0, bar), 0};
            if (bar != std::string::npos)
                std::from_chars(entry.data() + bar + 1, entry.data() + entry.size(), folder.folder);
            // A folder that was deleted receives nothing any more.
            if (folder.folder && objects.Find(folder.folder))
                folders.push_back(std::move(folder));
        }
    }
    const bool hasDefault = std::any_of(folders.begin(), folders.end(),
                                        [](const ReceiveFolder &folder) { return folder.messageClass.empty(); });
    if (!hasDefault)
        folders.push_back({"", mailbox.inbox});
    return folders;
}

const ReceiveFolder &ReceiveFolderFor(const std::vector<ReceiveFolder> &folders, const std::string &messageClass)
{
    const ReceiveFolder *best = nullptr;
    for (const ReceiveFolder &folder : folders)
        if (IsOfClass(messageClass, folder.messageClass) &&
            (!best || folder.messageClass.size() > best->messageClass.size()))
            best = &folder;
    return *best;
}

std::vector<ReceiveFolder> Store::ReceiveFolders() const
{
    return ReceiveFoldersOf(m_store->objects, m_store->mailbox);
}

STDMETHODIMP Store::GetReceiveFolder(LPTSTR lpszMessageClass, ULONG ulFlags, ULONG *lpcbEntryID, LPENTRYID *lppEntryID,
                                     LPTSTR *lppszExplicitClass)
{
    return Do("IMsgStore::GetReceiveFolder", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lpcbEntryID && lppEntryID, "where the entry identifier goes");
        *lpcbEntryID = 0;
        *lppEntryID = nullptr;
        if (lppszExplicitClass)
            *lppszExplicitClass = nullptr;
        RequireFlags(ulFlags, MAPI_UNICODE);
        const std::string messageClass = Utf8FromClient(lpszMessageClass, ulFlags);
        RequireClass(messageClass);
        const auto folders = ReceiveFolders();
        const ReceiveFolder &best = ReceiveFolderFor(folders, messageClass);
        // The class's own text is a block of its own, as the entry identifier is.
        Block<BYTE> text;
        if (lppszExplicitClass) {
            const bool wide = (ulFlags & MAPI_UNICODE) != 0;
            const WideText wideText = WideFromUtf8(best.messageClass);
            text = NewRoot<BYTE>((wideText.size() + 1) * (wide ? sizeof(WCHAR) : 1));
            if (wide)
                std::copy(wideText.begin(), wideText.end(), reinterpret_cast<WCHAR *>(text.get()));
            else
                std::copy(best.messageClass.begin(), best.messageClass.end(), text.get());
        }
        EntryIdForClient(m_store->FolderId(best.folder), lpcbEntryID, lppEntryID);
        if (lppszExplicitClass)
            *lppszExplicitClass = reinterpret_cast<LPTSTR>(text.release());
        return S_OK;
    });
}

STDMETHODIMP Store::SetReceiveFolder(LPTSTR lpszMessageClass, ULONG ulFlags, ULONG cbEntryID, LPENTRYID lpEntryID)
{
    return Do("IMsgStore::SetReceiveFolder", [&]() REQUIRES(m_lock) -> HRESULT {
        RequireFlags(ulFlags, MAPI_UNICODE);
        RequireWrite();
        const std::string messageClass = Utf8FromClient(lpszMessageClass, ulFlags);
        RequireClass(messageClass);
        storage::ObjectId folder = 0;
        if (lpEntryID)
            folder = m_store->Find(ParseEntryId(m_store->uid, cbEntryID, lpEntryID, EntryKind::Folder)).id;
        else
            Require(!messageClass.empty(), "no folder for messages of every class");
        std::vector<std::string> list;
        if (folder)
            list.push_back(messageClass + "|" + std::to_string(folder));
        for (const ReceiveFolder &known : ReceiveFolders())
            if (!EqualIgnoringCase(known.messageClass, messageClass))
                list.push_back(known.messageClass + "|" + std::to_string(known.folder));
        m_store->objects.Change(m_store->mailbox.id, {{{storage::Tag{kReceiveFolders}, std::move(list)}}, {}});
        return S_OK;
    });
}

STDMETHODIMP Store::GetReceiveFolderTable(ULONG ulFlags, LPMAPITABLE *lppTable)
{
    return Do("IMsgStore::GetReceiveFolderTable", [&]() REQUIRES(m_lock) -> HRESULT {
        Require(lppTable != nullptr, "where the table goes");
        *lppTable = nullptr;
        RequireFlags(ulFlags, MAPI_UNICODE | MAPI_DEFERRED_ERRORS);
        std::vector<PropertyBag> rows;
        for (const ReceiveFolder &folder : ReceiveFolders())
            rows.push_back({{PR_MESSAGE_CLASS_W, folder.messageClass},
                            {PR_ENTRYID, m_store->FolderId(folder.folder)},
                            {PR_RECORD_KEY, m_store->FolderId(folder.folder)}});
        TableSchema schema;
        schema.behaviour = m_store->behaviour;
        schema.columns = {PR_MESSAGE_CLASS_W, PR_ENTRYID, PR_RECORD_KEY, PR_INSTANCE_KEY};
        schema.unicode = (ulFlags & MAPI_UNICODE) != 0;
        return CreateMemoryTable(std::move(rows), std::move(schema), lppTable);
    });
}

} // namespace localmapi
