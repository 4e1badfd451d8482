// Proves what a table's sink is told: the event for each kind of change, with the keys and the row that MAPI asks for,
// and nothing of rows that the table does not show.
#include "Notified.h"
#include "localmapi/provider/table/ViewTable.h"
#include "localmapi/storage/Check.h"
#include <sqlite3.h>

namespace localmapi::test
{

namespace
{

class NotificationTest : public Notified
{
  protected:
    // Something that every table over the Inbox hears of, after everything before: it ends a test that nothing came.
    void AddLast() { Add("last", {Long(PR_IMPORTANCE, IMPORTANCE_HIGH), Narrow(PR_BODY_A, "yes")}); }
    SRestriction *Urgent() { return m_tree.Property(RELOP_EQ, Long(PR_IMPORTANCE, IMPORTANCE_HIGH)); }
    SRestriction *Bodied() { return m_tree.Content(FL_SUBSTRING, Narrow(PR_BODY_A, "yes")); }

    // In one transaction of the file that is written.
    static void CopySite(const std::string &from, const std::string &to)
    {
        sqlite3 *source = nullptr, *target = nullptr;
        ASSERT_EQ(sqlite3_open(from.c_str(), &source), SQLITE_OK);
        ASSERT_EQ(sqlite3_open(to.c_str(), &target), SQLITE_OK);
        sqlite3_busy_timeout(target, 10000);
        sqlite3_backup *copy = sqlite3_backup_init(target, "main", source, "main");
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(sqlite3_backup_step(copy, -1), SQLITE_DONE);
        EXPECT_EQ(sqlite3_backup_finish(copy), SQLITE_OK);
        sqlite3_close(target);
        sqlite3_close(source);
    }

    Tree m_tree;
    ComPtr<Sink> m_sink = MakeObject<Sink>();
};

TEST_F(NotificationTest, N01_NothingIsToldOfRowsThatARestrictionHides)
{
    for (SRestriction *restriction : {Urgent(), Bodied()}) {
        auto table = Inbox();
        auto sink = MakeObject<Sink>();
        const auto hidden = Add("hidden");
        ASSERT_CODE(table->Restrict(restriction, 0), S_OK);
        Advise(table, sink);
        // Each followed by something that is shown.
        EntryIdBytes other;
        const std::function<void()> steps[] = {[&] { other = Add("other"); },
                                               [&] { Set(hidden, {Narrow(kLabel, "still hidden")}); },
                                               [&] { MarkRead(hidden, false); }, [&] { m_mailbox.Delete(other); }};
        for (const auto &step : steps) {
            step();
            AddLast();
            EXPECT_EQ(Told(sink).substr(0, 10), "added last");
        }
        EXPECT_EQ(sink->Events(), std::size(steps));
        m_mailbox.Inbox()->EmptyFolder(0, nullptr, 0);
    }
}

TEST_F(NotificationTest, N01_ARowThatMovesIntoARestrictionIsAddedAndOneThatMovesOutIsDeleted)
{
    for (const bool facets : {true, false}) {
        auto table = Inbox();
        auto sink = MakeObject<Sink>();
        const auto a = Add("a");
        ASSERT_CODE(table->Restrict(facets ? Urgent() : Bodied(), 0), S_OK);
        Advise(table, sink);
        Set(a, {Long(PR_IMPORTANCE, IMPORTANCE_HIGH), Narrow(PR_BODY_A, "oh yes")});
        EXPECT_EQ(Told(sink), "added a at the top");
        Set(a, {Narrow(kLabel, "a again")});
        EXPECT_EQ(Told(sink), "modified a at the top");
        Set(a, {Long(PR_IMPORTANCE, IMPORTANCE_LOW), Narrow(PR_BODY_A, "no")});
        EXPECT_EQ(Told(sink), "deleted a");
        m_mailbox.Delete(a);
        AddLast();
        EXPECT_EQ(Told(sink).substr(0, 10), "added last");
        EXPECT_EQ(sink->Events(), 4u);
        m_mailbox.Inbox()->EmptyFolder(0, nullptr, 0);
    }
}

TEST_F(NotificationTest, N01_UnreadMailIsFollowedByItsReadFlag)
{
    auto table = Inbox();
    ASSERT_CODE(table->Restrict(m_tree.Bits(BMR_EQZ, PR_MESSAGE_FLAGS, MSGFLAG_READ), 0), S_OK);
    const auto a = Add("a", {Long(PR_MESSAGE_FLAGS, 0)});
    Advise(table, m_sink);
    MarkRead(a);
    EXPECT_EQ(Told(m_sink), "deleted a");
    MarkRead(a, false);
    EXPECT_EQ(Told(m_sink), "added a at the top");
}

TEST_F(NotificationTest, N02_AMessageIsToldOfWhenItIsSavedNotBefore)
{
    auto table = Inbox();
    Advise(table, m_sink);
    auto unsaved = m_mailbox.NewMessage();
    ASSERT_CODE(SetProps(unsaved.get(), {Narrow(kLabel, "unsaved")}), S_OK);
    const auto a = Add("a");
    EXPECT_EQ(Told(m_sink), "added a at the top");
    auto changed = m_mailbox.Open(a);
    ASSERT_CODE(SetProps(changed.get(), {Narrow(kLabel, "changed")}), S_OK);
    Add("b");
    EXPECT_EQ(Told(m_sink), "added b after a");
    ASSERT_CODE(changed->SaveChanges(0), S_OK);
    const auto events = m_sink->Take(1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].event, ULONG{TABLE_ROW_MODIFIED});
    EXPECT_EQ(events[0].label, "changed");
    EXPECT_EQ(m_sink->Events(), 3u);
}

TEST_F(NotificationTest, N03_AddedAndModifiedRowsCarryTheirKeyAndThatOfTheRowBefore)
{
    auto table = Inbox();
    Advise(table, m_sink);
    Add("a");
    const auto first = m_sink->Take(1);
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].event, ULONG{TABLE_ROW_ADDED});
    EXPECT_EQ(first[0].indexTag, PR_INSTANCE_KEY);
    EXPECT_EQ(first[0].priorTag, PR_NULL);
    EXPECT_EQ(first[0].label, "a");
    const auto b = Add("b");
    EXPECT_EQ(Told(m_sink), "added b after a");
    Set(b, {Narrow(PR_COMMENT_A, "changed")});
    EXPECT_EQ(Told(m_sink), "modified b after a");
}

TEST_F(NotificationTest, N03_ARowThatMovesInTheOrderIsModifiedWithItsNewNeighbour)
{
    auto table = Inbox();
    ASSERT_CODE(table->SortTable(Sort{{kLabel, TABLE_SORT_DESCEND}}, 0), S_OK);
    Add("m");
    const auto a = Add("a");
    Advise(table, m_sink);
    Set(a, {Narrow(kLabel, "z")});
    EXPECT_EQ(Told(m_sink), "modified a at the top");
    Set(a, {Narrow(kLabel, "b")});
    EXPECT_EQ(Told(m_sink), "modified a after m");
}

TEST_F(NotificationTest, N03_SeveralRowsAtOnceAreToldSoThatEachRowBeforeIsKnown)
{
    auto table = Inbox();
    ASSERT_CODE(table->SortTable(Sort{{kLabel, TABLE_SORT_DESCEND}}, 0), S_OK);
    Add("m");
    const auto gone = Add("k");
    Advise(table, m_sink);
    {
        Held held(*this);
        Add("a");
        Add("c");
        m_mailbox.Delete(gone);
        Add("b");
    }
    EXPECT_EQ(Told(m_sink, 4), "deleted k, added c after m, added b after c, added a after b");
    EXPECT_EQ(m_sink->Calls(), 1u);
}

TEST_F(NotificationTest, N04_ADeletedRowHasItsKeyAndNothingElse)
{
    auto table = Inbox();
    const auto a = Add("a");
    Advise(table, m_sink);
    m_mailbox.Delete(a);
    const auto events = m_sink->Take(1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].event, ULONG{TABLE_ROW_DELETED});
    EXPECT_EQ(events[0].indexTag, PR_INSTANCE_KEY);
    EXPECT_EQ(LabelOf(events[0].index), "a");
    EXPECT_EQ(events[0].priorTag, PR_NULL);
    EXPECT_TRUE(events[0].columns.empty());
    EXPECT_FALSE(events[0].hasRow);
}

TEST_F(NotificationTest, N05_TheRowHasTheColumnsInForceWhenItWasMade)
{
    auto table = Inbox();
    Advise(table, m_sink);
    Add("a");
    auto events = m_sink->Take(1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].columns, (std::vector<ULONG>{kLabel, PR_INSTANCE_KEY}));
    ASSERT_CODE(table->SetColumns(Tags{PR_NULL, PR_MESSAGE_FLAGS, kLabel}, 0), S_OK);
    Add("b");
    events = m_sink->Take(1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].columns, (std::vector<ULONG>{PR_NULL, PR_MESSAGE_FLAGS, kLabel}));
    EXPECT_EQ(events[0].label, "b");
}

TEST_F(NotificationTest, N06_ManyChangesAreOneTableChangedAfterWhichBookmarksAndPositionStand)
{
    auto table = Inbox();
    Add("a");
    Add("b");
    Advise(table, m_sink);
    ASSERT_CODE(table->SeekRow(BOOKMARK_BEGINNING, 1, nullptr), S_OK);
    BOOKMARK bookmark = 0;
    ASSERT_CODE(table->CreateBookmark(&bookmark), S_OK);
    ASSERT_CODE(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    {
        Held held(*this);
        for (int i = 0; i < 40; ++i)
            Add("more");
    }
    EXPECT_EQ(Told(m_sink), "changed");
    EXPECT_EQ(m_sink->Events(), 1u);
    Rows rows;
    ASSERT_CODE(table->SeekRow(bookmark, 0, nullptr), S_OK);
    ASSERT_CODE(table->QueryRows(1, 0, rows.put()), S_OK);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_STREQ(rows[0].lpProps[0].Value.lpszA, "b");
}

TEST_F(NotificationTest, N06_AnOperationOnTheWholeFolderIsOneTableChangedForTheTablesThatItConcerns)
{
    auto all = Inbox();
    auto read = Inbox();
    auto reader = MakeObject<Sink>();
    auto urgent = Inbox();
    auto urgentSink = MakeObject<Sink>();
    ASSERT_CODE(read->Restrict(m_tree.Bits(BMR_NEZ, PR_MESSAGE_FLAGS, MSGFLAG_READ), 0), S_OK);
    ASSERT_CODE(urgent->Restrict(Urgent(), 0), S_OK);
    for (int i = 0; i < 3; ++i)
        Add("unread", {Long(PR_MESSAGE_FLAGS, 0)});
    Advise(all, m_sink);
    Advise(read, reader);
    Advise(urgent, urgentSink);
    ASSERT_CODE(m_mailbox.Inbox()->SetReadFlags(nullptr, 0, nullptr, 0), S_OK);
    EXPECT_EQ(Told(m_sink), "changed");
    EXPECT_EQ(Told(reader), "changed");
    ASSERT_CODE(m_mailbox.Inbox()->EmptyFolder(0, nullptr, 0), S_OK);
    EXPECT_EQ(Told(m_sink), "changed");
    EXPECT_EQ(Told(reader), "changed");
    AddLast();
    EXPECT_EQ(Told(urgentSink), "added last at the top");
    EXPECT_EQ(urgentSink->Events(), 1u);
}

TEST_F(NotificationTest, N06_EntriesThatAreLostAreAReload)
{
    auto table = Inbox();
    Advise(table, m_sink);
    Add("a");
    EXPECT_EQ(Told(m_sink), "added a at the top");
    {
        Held held(*this);
        sqlite3 *raw = nullptr;
        ASSERT_EQ(sqlite3_open(m_mailbox.GetSite().Path().c_str(), &raw), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(raw, "DELETE FROM change_entry", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(raw);
        m_mailbox.Add({Narrow(kLabel, "unseen")});
    }
    EXPECT_EQ(Told(m_sink), "reload");
    Add("b");
    EXPECT_EQ(Told(m_sink).substr(0, 7), "added b");
}

TEST_F(NotificationTest, N06_EntriesThatWereDeletedMeanwhileAreAReload)
{
    auto table = Inbox();
    Advise(table, m_sink);
    {
        Held held(*this);
        storage::Objects objects(m_mailbox.GetSite());
        const auto inbox = storage::Directory(m_mailbox.GetSite()).GetMailbox(m_mailbox.Alice().mailbox).inbox;
        const std::vector<storage::ObjectId> one{objects.CreateMessage(inbox, {})};
        sqlite3 *raw = nullptr;
        ASSERT_EQ(sqlite3_open(m_mailbox.GetSite().Path().c_str(), &raw), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(raw,
                               "WITH RECURSIVE n (i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 20000) "
                               "INSERT INTO change_entry (number, kind, event, container, object) SELECT "
                               "i + (SELECT max(number) FROM change_entry), 3, 1, 0, 0 FROM n",
                               nullptr, nullptr, nullptr),
                  SQLITE_OK);
        sqlite3_close(raw);
        // Writers delete old entries from time to time.
        for (int i = 0; i < 600; ++i)
            objects.SetRead(one, i % 2 == 0);
    }
    EXPECT_EQ(Told(m_sink), "reload");
    EXPECT_EQ(m_sink->Events(), 1u);
}

// Whose entries have lower numbers than the sinks have heard of.
TEST_F(NotificationTest, N06_AnOlderCopyInTheFilesPlaceIsAReloadAndWhatFollowsIsTold)
{
    const std::string path = m_mailbox.GetSite().Path(), copy = path + ".copy";
    CopySite(path, copy);
    for (const char *label : {"a", "b", "c"})
        Add(label);
    auto table = Inbox();
    Advise(table, m_sink);
    // What happens elsewhere is known not to concern the table.
    const auto outbox = m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID);
    ComPtr<IMAPITable> others;
    ASSERT_CODE(outbox->GetContentsTable(0, others.put()), S_OK);
    auto otherSink = MakeObject<Sink>();
    Advise(others, otherSink);
    AddTo(outbox.get(), "elsewhere");
    ASSERT_TRUE(otherSink->Await(1));
    Add("d");
    EXPECT_EQ(Told(m_sink), "added d after c");
    CopySite(copy, path);
    EXPECT_EQ(Told(m_sink), "reload");
    Add("e");
    EXPECT_EQ(Told(m_sink), "added e at the top");
    Add("f");
    EXPECT_EQ(Told(m_sink), "added f after e");
}

TEST_F(NotificationTest, N06_ARepairOfTheFileIsAReload)
{
    auto table = Inbox();
    Add("a");
    Advise(table, m_sink);
    sqlite3 *raw = nullptr;
    ASSERT_EQ(sqlite3_open(m_mailbox.GetSite().Path().c_str(), &raw), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(raw, "UPDATE facet SET count = count + 5", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(raw);
    EXPECT_FALSE(storage::Check(m_mailbox.GetSite(), true).empty());
    EXPECT_EQ(Told(m_sink), "reload");
}

TEST_F(NotificationTest, N07_ARowThatCanNotBeReadIsATableErrorWithItsCodeAndWhatFollowsIsToldAgain)
{
    auto table = Inbox();
    ASSERT_CODE(table->SetColumns(Tags{kLabel, PR_BODY_A}, 0), S_OK);
    Advise(table, m_sink);
    sqlite3 *raw = nullptr;
    ASSERT_EQ(sqlite3_open(m_mailbox.GetSite().Path().c_str(), &raw), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(raw, "CREATE TRIGGER t AFTER INSERT ON change_entry BEGIN DELETE FROM chunk; END", nullptr,
                           nullptr, nullptr),
              SQLITE_OK);
    const std::string body(20000, 'b');
    const auto damaged = Add("damaged", {Narrow(PR_BODY_A, body.c_str())});
    const auto events = m_sink->Take(1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].event, ULONG{TABLE_ERROR});
    EXPECT_EQ(events[0].result, MAPI_E_CORRUPT_STORE);
    EXPECT_EQ(events[0].indexTag, PR_NULL);
    EXPECT_FALSE(events[0].hasRow);
    ASSERT_EQ(sqlite3_exec(raw, "DROP TRIGGER t", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(raw);
    Set(damaged, {Narrow(PR_BODY_A, "short")});
    EXPECT_EQ(Told(m_sink), "added damaged at the top");
}

TEST_F(NotificationTest, N07_ARowThatThereIsNoMemoryForIsATableErrorAndThenAReload)
{
    auto table = Inbox();
    Advise(table, m_sink);
    {
        Held held(*this);
        Add("a");
        FailAllocation(0, true);
        held.Open();
        const auto events = m_sink->Take(1);
        FailAllocation(-1);
        EXPECT_EQ(events[0].event, ULONG{TABLE_ERROR});
        EXPECT_EQ(events[0].result, MAPI_E_NOT_ENOUGH_MEMORY);
    }
    EXPECT_EQ(Told(m_sink), "reload");
    Add("b");
    EXPECT_EQ(Told(m_sink), "added b after a");
}

TEST_F(NotificationTest, N09_ADeleteRightAfterAChangeNeedNotFindTheRow)
{
    auto table = Inbox();
    const auto a = Add("a");
    Add("b");
    Advise(table, m_sink);
    {
        Held held(*this);
        Set(a, {Narrow(kLabel, "changed")});
        m_mailbox.Delete(a);
        const auto brief = Add("brief");
        m_mailbox.Delete(brief);
    }
    // What came and went between two looks is told as gone: the table may have been read in between.
    EXPECT_EQ(Told(m_sink, 2), "deleted a, deleted brief");
    Add("c");
    EXPECT_EQ(Told(m_sink), "added c after b");
}

} // namespace

} // namespace localmapi::test
