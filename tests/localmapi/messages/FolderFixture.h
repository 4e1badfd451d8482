// Short ways to ask folders of a mailbox, and to do something with what is in them.
#pragma once
#include "Mailbox.h"
#include "localmapi/provider/table/QueryRows.h"

#include <string>
#include <vector>

namespace localmapi::test
{

class WithFolders : public testing::Test
{
  protected:
    std::string Subjects(IMAPIFolder *folder, ULONG flags = 0)
    {
        ComPtr<IMAPITable> table;
        EXPECT_CODE(folder->GetContentsTable(flags, table.put()), S_OK);
        Rows rows;
        EXPECT_CODE(QueryAllRows(table.get(), Tags{PR_SUBJECT_A}, nullptr, Sort{{PR_SUBJECT_A, TABLE_SORT_ASCEND}}, 0,
                                 rows.put()),
                    S_OK);
        std::string subjects;
        for (ULONG row = 0; row < rows.size(); ++row)
            subjects += (row ? " " : "") + std::string(rows[row].lpProps[0].Value.lpszA);
        return subjects;
    }
    std::string Folders(IMAPIFolder *folder, ULONG flags = 0)
    {
        ComPtr<IMAPITable> table;
        EXPECT_CODE(folder->GetHierarchyTable(flags, table.put()), S_OK);
        Rows rows;
        EXPECT_CODE(QueryAllRows(table.get(), Tags{PR_DISPLAY_NAME_A, PR_DEPTH}, nullptr, nullptr, 0, rows.put()),
                    S_OK);
        std::string names;
        for (ULONG row = 0; row < rows.size(); ++row)
            names += (row ? " " : "") + std::string(rows[row].lpProps[0].Value.lpszA) + ":" +
                     std::to_string(rows[row].lpProps[1].Value.l);
        return names;
    }
    ComPtr<IMAPIFolder> Create(IMAPIFolder *parent, const char *name)
    {
        ComPtr<IMAPIFolder> folder;
        EXPECT_CODE(parent->CreateFolder(FOLDER_GENERIC, reinterpret_cast<LPTSTR>(const_cast<char *>(name)), nullptr,
                                         nullptr, 0, folder.put()),
                    S_OK);
        return folder;
    }
    HRESULT Copy(const std::vector<EntryIdBytes> &ids, IMAPIFolder *to, ULONG flags)
    {
        return m_mailbox.Inbox()->CopyMessages(EntryList(ids), nullptr, to, 0, nullptr, flags);
    }
    static std::vector<EntryIdBytes> IdsIn(IMAPIFolder *folder)
    {
        ComPtr<IMAPITable> table;
        EXPECT_CODE(folder->GetContentsTable(0, table.put()), S_OK);
        Rows rows;
        EXPECT_CODE(QueryAllRows(table.get(), Tags{PR_ENTRYID}, nullptr, nullptr, 0, rows.put()), S_OK);
        std::vector<EntryIdBytes> ids;
        for (ULONG row = 0; row < rows.size(); ++row) {
            const SBinary &id = rows[row].lpProps[0].Value.bin;
            ids.emplace_back(id.lpb, id.lpb + id.cb);
        }
        return ids;
    }
    HRESULT DeleteFolder(IMAPIFolder *parent, const EntryIdBytes &id, ULONG flags)
    {
        return parent->DeleteFolder(static_cast<ULONG>(id.size()),
                                    reinterpret_cast<LPENTRYID>(const_cast<BYTE *>(id.data())), 0, nullptr, flags);
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
};

} // namespace localmapi::test
