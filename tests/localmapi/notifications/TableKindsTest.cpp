// Proves that every kind of table over the storage tells what happens to it, by whatever way it happens.
#include "Notified.h"
#include "localmapi/provider/table/ViewTable.h"
#include "localmapi/storage/Objects.h"
#include <sqlite3.h>

namespace localmapi::test
{

namespace
{

class TableKindsTest : public Notified
{
  protected:
    SRestriction *Urgent() { return m_tree.Property(RELOP_EQ, Long(PR_IMPORTANCE, IMPORTANCE_HIGH)); }

    Tree m_tree;
    ComPtr<Sink> m_sink = MakeObject<Sink>();
};

TEST_F(TableKindsTest, AnEmptyFoldersTableIsTold)
{
    auto folder = m_mailbox.Folder(PR_IPM_WASTEBASKET_ENTRYID);
    ComPtr<IMAPITable> table;
    ASSERT_CODE(folder->GetContentsTable(0, table.put()), S_OK);
    Advise(table, m_sink);
    AddTo(folder.get(), "first");
    EXPECT_EQ(Told(m_sink), "added first at the top");
}

TEST_F(TableKindsTest, AMoveDeletesTheRowHereAndAddsOneThere)
{
    auto target = m_mailbox.Folder(PR_IPM_WASTEBASKET_ENTRYID);
    ComPtr<IMAPITable> there;
    ASSERT_CODE(target->GetContentsTable(0, there.put()), S_OK);
    ASSERT_CODE(there->SetColumns(Tags{kLabel}, 0), S_OK);
    auto here = Inbox();
    auto thereSink = MakeObject<Sink>();
    const auto a = Add("a");
    Advise(here, m_sink);
    Advise(there, thereSink);
    Move(a, m_mailbox.Inbox(), target.get());
    EXPECT_EQ(Told(m_sink), "deleted a");
    const auto added = thereSink->Take(1);
    ASSERT_EQ(added.size(), 1u);
    EXPECT_EQ(added[0].event, ULONG{TABLE_ROW_ADDED});
    EXPECT_EQ(added[0].label, "a");
}

TEST_F(TableKindsTest, AssociatedMessagesAreToldToTheirTableOnly)
{
    auto contents = Inbox();
    auto associated = Inbox(MAPI_ASSOCIATED);
    auto associatedSink = MakeObject<Sink>();
    Advise(contents, m_sink);
    Advise(associated, associatedSink);
    ComPtr<IMessage> message;
    ASSERT_CODE(m_mailbox.Inbox()->CreateMessage(nullptr, MAPI_ASSOCIATED, message.put()), S_OK);
    ASSERT_CODE(SetProps(message.get(), {Narrow(kLabel, "hidden form")}), S_OK);
    ASSERT_CODE(message->SaveChanges(0), S_OK);
    Add("a");
    EXPECT_EQ(Told(m_sink), "added a at the top");
    EXPECT_EQ(associatedSink->Take(1)[0].label, "hidden form");
    Add("b");
    EXPECT_EQ(Told(m_sink), "added b after a");
    EXPECT_EQ(associatedSink->Events(), 1u);
}

TEST_F(TableKindsTest, AHierarchyTableIsToldOfFoldersAndOfTheirCounts)
{
    ComPtr<IMAPIFolder> tree = m_mailbox.Folder(PR_IPM_SUBTREE_ENTRYID);
    for (const ULONG depth : {ULONG{0}, CONVENIENT_DEPTH}) {
        ComPtr<IMAPITable> table;
        ASSERT_CODE(tree->GetHierarchyTable(depth, table.put()), S_OK);
        ASSERT_CODE(table->SetColumns(Tags{PR_DISPLAY_NAME_A, PR_CONTENT_UNREAD, PR_DEPTH}, 0), S_OK);
        auto sink = MakeObject<Sink>();
        Advise(table, sink);
        Add("mail");
        EXPECT_EQ(sink->Take(1)[0].event, ULONG{TABLE_ROW_MODIFIED});
        ComPtr<IMAPIFolder> made;
        ASSERT_CODE(tree->CreateFolder(FOLDER_GENERIC, LPTSTR("zoo"), nullptr, nullptr, 0, made.put()), S_OK);
        EXPECT_EQ(sink->Take(1)[0].event, ULONG{TABLE_ROW_ADDED});
        ASSERT_CODE(SetProps(made.get(), {Narrow(PR_COMMENT_A, "animals")}), S_OK);
        EXPECT_EQ(sink->Take(1)[0].event, ULONG{TABLE_ROW_MODIFIED});
        ComPtr<IMAPIFolder> deeper;
        ASSERT_CODE(made->CreateFolder(FOLDER_GENERIC, LPTSTR("ape"), nullptr, nullptr, 0, deeper.put()), S_OK);
        // The parent's row says whether it has subfolders.
        EXPECT_EQ(sink->Take(1)[0].event, depth ? ULONG{TABLE_ROW_ADDED} : ULONG{TABLE_ROW_MODIFIED});
        if (depth) {
            EXPECT_EQ(sink->Take(1)[0].event, ULONG{TABLE_ROW_MODIFIED});
        }
        const EntryIdBytes id = BytesOf(made.get(), PR_ENTRYID);
        made.reset();
        deeper.reset();
        ASSERT_CODE(tree->DeleteFolder(static_cast<ULONG>(id.size()),
                                       reinterpret_cast<LPENTRYID>(const_cast<BYTE *>(id.data())), 0, nullptr,
                                       DEL_FOLDERS | DEL_MESSAGES),
                    S_OK);
        for (const Event &event : sink->Take(depth ? 2 : 1))
            EXPECT_EQ(event.event, ULONG{TABLE_ROW_DELETED});
    }
}

TEST_F(TableKindsTest, TheContentsOfAFolderThatIsDeletedAreChanged)
{
    ComPtr<IMAPIFolder> tree = m_mailbox.Folder(PR_IPM_SUBTREE_ENTRYID);
    ComPtr<IMAPIFolder> made;
    ASSERT_CODE(tree->CreateFolder(FOLDER_GENERIC, LPTSTR("zoo"), nullptr, nullptr, 0, made.put()), S_OK);
    AddTo(made.get(), "ape");
    ComPtr<IMAPITable> table;
    ASSERT_CODE(made->GetContentsTable(0, table.put()), S_OK);
    Advise(table, m_sink);
    const EntryIdBytes id = BytesOf(made.get(), PR_ENTRYID);
    ASSERT_CODE(tree->DeleteFolder(static_cast<ULONG>(id.size()),
                                   reinterpret_cast<LPENTRYID>(const_cast<BYTE *>(id.data())), 0, nullptr,
                                   DEL_FOLDERS | DEL_MESSAGES),
                S_OK);
    EXPECT_EQ(Told(m_sink), "changed");
}

TEST_F(TableKindsTest, ARestrictionOrOrderThatIsSetLaterHoldsFromThenOn)
{
    auto table = Inbox();
    Advise(table, m_sink);
    ASSERT_CODE(table->Restrict(Urgent(), 0), S_OK);
    Add("a");
    Add("b", {Long(PR_IMPORTANCE, IMPORTANCE_HIGH)});
    EXPECT_EQ(Told(m_sink), "added b at the top");
    ASSERT_CODE(table->Restrict(nullptr, 0), S_OK);
    ASSERT_CODE(table->SortTable(Sort{{kLabel, TABLE_SORT_DESCEND}}, 0), S_OK);
    Add("c");
    EXPECT_EQ(Told(m_sink), "added c at the top");
    EXPECT_EQ(m_sink->Events(), 2u);
}

TEST_F(TableKindsTest, ASiteOpenedASecondTimeInTheProcessIsTheSameSite)
{
    auto table = Inbox();
    Advise(table, m_sink);
    storage::Site again = storage::Site::Open(m_mailbox.GetSite().Path());
    storage::Objects(again).CreateMessage(storage::Directory(again).GetMailbox(m_mailbox.Alice().mailbox).inbox, {});
    EXPECT_EQ(m_sink->Take(1)[0].event, ULONG{TABLE_ROW_ADDED});
}

TEST_F(TableKindsTest, AChangeThatNobodyAnnouncedIsFoundAllTheSame)
{
    auto table = Inbox();
    Advise(table, m_sink);
    const auto inbox = storage::Directory(m_mailbox.GetSite()).GetMailbox(m_mailbox.Alice().mailbox).inbox;
    const std::string entry =
        "INSERT INTO change_entry (kind, event, container, object) VALUES (3, 4, " + std::to_string(inbox) + ", 0)";
    sqlite3 *raw = nullptr;
    ASSERT_EQ(sqlite3_open(m_mailbox.GetSite().Path().c_str(), &raw), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(raw, entry.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(Told(m_sink), "changed");
    sqlite3_close(raw);
}

TEST_F(TableKindsTest, APersonWhoIsAddedIsToldToTheAddressBooksTable)
{
    auto table = ComPtr<IMAPITable>();
    TableSchema schema;
    schema.columns = {PR_DISPLAY_NAME_W};
    ASSERT_CODE(CreateViewTable(m_mailbox.GetSite(), {storage::Container::Kind::Directory, 0}, schema, table.put()),
                S_OK);
    Advise(table, m_sink);
    storage::Directory(m_mailbox.GetSite()).AddContact("Carol", "carol@elsewhere.example");
    EXPECT_EQ(m_sink->Take(1)[0].event, ULONG{TABLE_ROW_ADDED});
}

} // namespace

} // namespace localmapi::test
