// Proves that a watch tells what happened to a view, as the difference between two looks at it; that it is
// bounded, and says so when something is lost.
#include "Fixture.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/EntryReader.h"
#include "localmapi/storage/Watch.h"
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

using Kind = Notice::Kind;

class Changed : public SiteTest
{
  protected:
    // "+a +b after a ~c -d several lost", with the subjects that rows have or had.
    std::string ToldBy(Watch &watch)
    {
        std::string told;
        for (const Notice &notice : watch.Next({kSubject})) {
            told += told.empty() ? "" : " ";
            if (notice.kind == Kind::Several || notice.kind == Kind::Lost) {
                told += notice.kind == Kind::Several ? "several" : "lost";
                continue;
            }
            if (notice.kind != Kind::Removed)
                m_names[notice.row.id] = std::get<std::string>(notice.row.values.at(0));
            told += (notice.kind == Kind::Added      ? "+"
                     : notice.kind == Kind::Modified ? "~"
                                                     : "-") +
                    m_names[notice.row.id];
            if (notice.prior)
                told += "(" + m_names[*notice.prior] + ")";
        }
        return told;
    }
    ObjectId AddNamed(const std::string &subject, const PropertyBag &more = {})
    {
        ObjectId id = Add(subject, more);
        m_names[id] = subject;
        return id;
    }
    void ExecuteRaw(const char *sql)
    {
        sqlite3 *handle = nullptr;
        ASSERT_EQ(sqlite3_open(m_site.Path().c_str(), &handle), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
        sqlite3_close(handle);
    }
    std::int64_t CountEntries()
    {
        Reader reader(m_site.GetDatabase());
        return reader->Integer("SELECT count(*) FROM change_entry");
    }
    void Rename(ObjectId id, const std::string &subject)
    {
        MessageChanges changes;
        changes.properties.set.Set(kSubject, subject);
        m_objects.ChangeMessage(id, changes);
    }

    std::map<ObjectId, std::string> m_names;
};

TEST_F(Changed, RowsAreToldAsTheDifferenceBetweenTwoLooks)
{
    ObjectId old = AddNamed("old"), gone = AddNamed("gone");
    Watch watch{View(m_site, Inbox())};
    EXPECT_EQ(ToldBy(watch), "");
    ObjectId a = AddNamed("a");
    Rename(a, "a again");
    m_objects.RemoveMessages({AddNamed("brief")});
    Rename(gone, "changed first");
    m_objects.RemoveMessages({gone});
    Rename(old, "older");
    EXPECT_EQ(ToldBy(watch), "-brief -gone ~older +a again(older)");
    EXPECT_EQ(ToldBy(watch), "");
}

TEST_F(Changed, EveryKindOfWriteIsTold)
{
    ObjectId other = m_objects.CreateFolder(m_box.ipmSubtree, {{kDisplayName, std::string("other")}});
    Watch here{View(m_site, Inbox())}, there{View(m_site, {Container::Kind::Contents, other})};
    ObjectId a = AddNamed("a");
    EXPECT_EQ(ToldBy(here), "+a");
    m_objects.ChangeFlags({a}, 0x100, 0);
    EXPECT_EQ(ToldBy(here), "~a");
    m_objects.ChangeFlags({a}, 0x100, 0); // they are set already
    EXPECT_EQ(ToldBy(here), "");
    MessageChanges recipients;
    recipients.recipients = std::vector<PropertyBag>{{{kDisplayName, std::string("Bob")}}};
    m_objects.ChangeMessage(a, recipients);
    EXPECT_EQ(ToldBy(here), "~a");
    MessageChanges attachments;
    attachments.attachments = {{0, false, {{{kAttachName, std::string("x")}}, {}}, nullptr}};
    m_objects.ChangeMessage(a, attachments);
    EXPECT_EQ(ToldBy(here), "~a");
    m_objects.CopyMessages({a}, other);
    EXPECT_EQ(ToldBy(there), "+a");
    m_objects.MoveMessages({a}, other);
    EXPECT_EQ(ToldBy(here), "-a");
    EXPECT_EQ(ToldBy(there).substr(0, 2), "+a");
    m_objects.SetAllRead(other, true);
    EXPECT_EQ(ToldBy(there), "several");
    m_objects.RemoveAllMessages(other);
    EXPECT_EQ(ToldBy(there), "several");
    Add("b");
    m_objects.RemoveFolder(other);
    EXPECT_EQ(ToldBy(there), "several");
    EXPECT_EQ(ToldBy(here), "+b");
    ExpectSound();
}

TEST_F(Changed, AFilterOnOtherPropertiesThanTheFacetsIsFollowedExactly)
{
    Filter filter = Filter::Content(kSubject, Filter::Match::Prefix, std::string("x"));
    ObjectId in = AddNamed("x in"), out = AddNamed("out");
    Watch watch{View(m_site, Inbox(), filter)};
    Rename(out, "still out");
    Rename(in, "x still in");
    EXPECT_EQ(ToldBy(watch), "~x still in");
    Rename(in, "gone");
    Rename(out, "x now in");
    EXPECT_EQ(ToldBy(watch), "-x still in +x now in");
    m_objects.RemoveMessages({in, out});
    EXPECT_EQ(ToldBy(watch), "-x now in");
}

TEST_F(Changed, AFilterOnFacetsIsFollowedWithoutKnowingTheRows)
{
    Filter urgent = Filter::Compare(kImportance, Relation::Equal, std::int32_t{2});
    ObjectId a = AddNamed("a"), b = AddNamed("b", {{kImportance, std::int32_t{2}}});
    Watch watch{View(m_site, Inbox(), urgent)};
    Rename(a, "quiet");
    EXPECT_EQ(ToldBy(watch), "");
    MessageChanges louder, quieter;
    louder.properties.set.Set(kImportance, std::int32_t{2});
    quieter.properties.remove = {kImportance};
    m_objects.ChangeMessage(a, louder);
    m_objects.ChangeMessage(b, quieter);
    EXPECT_EQ(ToldBy(watch), "-b +quiet");
    m_objects.SetAllRead(m_box.inbox, true);
    EXPECT_EQ(ToldBy(watch), "several");
    m_objects.RemoveMessages({a});
    m_objects.SetAllRead(m_box.inbox, false);
    EXPECT_EQ(ToldBy(watch), "-quiet");
}

TEST_F(Changed, AFilterOnClassImportanceAndFlagsKnowsWhatTheyWere)
{
    const std::string voicemail = "IPM.Note.Microsoft.Voicemail.UM";
    Filter unread = Filter::All({Filter::Compare(kMessageClass, Relation::Equal, voicemail),
                                 Filter::Compare(kImportance, Relation::Equal, std::int32_t{2}),
                                 Filter::Bits(kMessageFlags, kFlagRead, true)});
    Watch watch{View(m_site, Inbox(), unread)};
    ObjectId a = AddNamed("a", {{kMessageClass, voicemail}, {kImportance, std::int32_t{2}}, {kMessageFlags, 0}});
    EXPECT_EQ(ToldBy(watch), "+a");
    m_objects.SetRead({a}, true);
    EXPECT_EQ(ToldBy(watch), "-a");
    m_objects.SetRead({a}, false);
    EXPECT_EQ(ToldBy(watch), "+a");
    m_objects.RemoveMessages({a});
    EXPECT_EQ(ToldBy(watch), "-a");
}

TEST_F(Changed, WhatWasThereInBetweenOnlyIsToldAsGoneForTheTableMayHaveBeenReadThen)
{
    Filter urgent = Filter::Compare(kImportance, Relation::Equal, std::int32_t{2});
    ObjectId a = AddNamed("a");
    Watch loud{View(m_site, Inbox(), urgent)}, deep{View(m_site, {Container::Kind::FoldersDeep, m_box.ipmSubtree})};
    MessageChanges louder, quieter;
    louder.properties.set.Set(kImportance, std::int32_t{2});
    quieter.properties.remove = {kImportance};
    m_objects.ChangeMessage(a, louder);
    m_objects.ChangeMessage(a, quieter);
    EXPECT_EQ(ToldBy(loud), "-a");
    Rename(a, "quiet");
    Rename(a, "quiet still");
    m_objects.RemoveMessages({a, AddNamed("never loud")});
    EXPECT_EQ(ToldBy(loud), "");
    deep.Next({});
    // Of a folder elsewhere nothing is told, however often it changes.
    ObjectId elsewhere = Directory(m_site).GetMailbox(Directory(m_site).AddUser("eve", "Eve").mailbox).inbox;
    deep.Next({});
    m_objects.CreateMessage(elsewhere, {});
    m_objects.CreateMessage(elsewhere, {});
    EXPECT_TRUE(deep.Next({}).empty());
    m_objects.RemoveFolder(m_objects.CreateFolder(m_box.inbox, {{kDisplayName, std::string("brief")}}));
    EXPECT_EQ(deep.Next({}).size(), 2u); // the folder, and the one that had it
}

TEST_F(Changed, FoldersAreToldAtEveryDepthAndByTheirCounts)
{
    Watch flat{View(m_site, {Container::Kind::Folders, m_box.ipmSubtree})};
    Watch deep{View(m_site, {Container::Kind::FoldersDeep, m_box.ipmSubtree})};
    auto kinds = [](Watch &watch) {
        std::vector<std::pair<Kind, ObjectId>> kindsTold;
        for (const Notice &notice : watch.Next({kDisplayName, kFolderDepth}))
            kindsTold.emplace_back(notice.kind, notice.row.id);
        return kindsTold;
    };
    using testing::ElementsAre;
    using testing::Pair;
    using testing::UnorderedElementsAre;
    Add("mail");
    EXPECT_THAT(kinds(flat), ElementsAre(Pair(Kind::Modified, m_box.inbox)));
    EXPECT_THAT(kinds(deep), ElementsAre(Pair(Kind::Modified, m_box.inbox)));
    ObjectId sub = m_objects.CreateFolder(m_box.inbox, {{kDisplayName, std::string("sub")}});
    EXPECT_THAT(kinds(flat), ElementsAre(Pair(Kind::Modified, m_box.inbox)));
    EXPECT_THAT(kinds(deep), UnorderedElementsAre(Pair(Kind::Modified, m_box.inbox), Pair(Kind::Added, sub)));
    // The subject of a message is in no folder's row.
    ObjectId mail = Add("x");
    kinds(flat);
    kinds(deep);
    Rename(mail, "y");
    EXPECT_THAT(kinds(flat), ElementsAre());
    EXPECT_THAT(kinds(deep), ElementsAre());
    ObjectId below = m_objects.CreateFolder(sub, {{kDisplayName, std::string("below")}});
    kinds(deep);
    m_objects.RemoveFolder(sub);
    EXPECT_THAT(kinds(deep), UnorderedElementsAre(Pair(Kind::Removed, sub), Pair(Kind::Removed, below),
                                                  Pair(Kind::Modified, m_box.inbox)));
}

TEST_F(Changed, PeopleAreTold)
{
    Watch watch{View(m_site, {Container::Kind::Directory, 0})};
    Directory directory(m_site);
    directory.AddContact("Zoe", "zoe@x.example");
    EXPECT_EQ(watch.Next({}).size(), 1u);
    directory.AddUser("dave", "Dave");
    EXPECT_EQ(watch.Next({}).size(), 1u);
    Add("mail");
    EXPECT_TRUE(watch.Next({}).empty());
}

TEST_F(Changed, MoreThanAClientWantsToHearOneByOneIsToldTogether)
{
    Watch watch{View(m_site, Inbox())};
    std::vector<NewMessage> messages(33, NewMessage{m_box.inbox, MakeMessage("m")});
    m_objects.CreateMessages(messages);
    EXPECT_EQ(ToldBy(watch), "several");
    messages.resize(32);
    m_objects.CreateMessages(messages);
    EXPECT_EQ(watch.Next({}).size(), 32u);
}

TEST_F(Changed, ABulkChangeIsAFewEntriesAndOnlyForTheViewsThatItConcerns)
{
    Watch all{View(m_site, Inbox())};
    Watch urgent{View(m_site, Inbox(), Filter::Compare(kImportance, Relation::Equal, std::int32_t{2}))};
    std::int64_t before = CountEntries();
    m_objects.CreateMessages(std::vector<NewMessage>(5000, NewMessage{m_box.inbox, MakeMessage("m")}));
    EXPECT_LT(CountEntries() - before, 5);
    EXPECT_EQ(ToldBy(all), "several");
    EXPECT_EQ(ToldBy(urgent), "");
}

TEST_F(Changed, TheLogIsBoundedAndWhoeverFallsBehindIsTold)
{
    Watch watch{View(m_site, {Container::Kind::Contents, m_box.outbox})};
    Watch fresh = watch;
    std::vector<NewMessage> messages;
    for (int number = 0; number < 20; ++number) {
        ObjectId id =
            m_objects.CreateFolder(m_box.ipmSubtree, {{kDisplayName, std::string("f") + std::to_string(number)}});
        messages.insert(messages.end(), 100, NewMessage{id, {}});
    }
    for (int round = 0; round < 8; ++round)
        m_objects.CreateMessages(messages);
    EXPECT_LE(CountEntries(), 10000);
    EXPECT_GE(CountEntries(), 5000);
    EXPECT_EQ(ToldBy(watch), "lost");
    EXPECT_EQ(ToldBy(watch), "");
    // Unless it is known that nothing of it concerned the view.
    EXPECT_TRUE(fresh.Next({}, watch.Position()).empty());
}

TEST_F(Changed, TheLogIsBoundedWhicheverTransactionsTellItNothing)
{
    ExecuteRaw("WITH RECURSIVE n (i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 20000) "
               "INSERT INTO change_entry (number, kind, event, container, object) SELECT "
               "i + (SELECT max(number) FROM change_entry), 3, 1, 0, 0 FROM n");
    const auto nextChange = [&] {
        Reader reader(m_site.GetDatabase());
        return reader->Integer("SELECT change FROM site") + 1;
    };
    std::vector<ObjectId> one{Add("a")};
    for (int round = 0; round < 300; ++round)
        if (nextChange() % 256 == 0)
            Names(m_site).Ids({{Guid{}, "name " + std::to_string(round)}}, true);
        else
            m_objects.SetRead(one, round % 2 == 0);
    EXPECT_LE(CountEntries(), 10600);
    EXPECT_GE(CountEntries(), 10000);
}

TEST_F(Changed, AnEmptiedLogAndARepairAreLosses)
{
    Watch watch{View(m_site, Inbox())};
    EntryReader reader(m_site);
    AddNamed("a");
    EXPECT_EQ(ToldBy(watch), "+a");
    ExecuteRaw("DELETE FROM change_entry");
    EXPECT_EQ(ToldBy(watch), "lost");
    AddNamed("b");
    EXPECT_EQ(ToldBy(watch), "lost");
    EXPECT_TRUE(reader.Next().lost);
    AddNamed("c");
    EXPECT_EQ(ToldBy(watch), "+c(b)");
    ExecuteRaw("UPDATE facet SET count = count + 1");
    EXPECT_FALSE(Check(m_site, true).empty());
    EXPECT_EQ(ToldBy(watch), "lost");
}

TEST_F(Changed, TheLogNamesTheContainers)
{
    EntryReader reader(m_site);
    EXPECT_TRUE(reader.Next().empty());
    Add("a");
    EntrySummary summary = reader.Next();
    EXPECT_TRUE(summary.Concerns(Inbox()));
    EXPECT_TRUE(summary.Concerns({Container::Kind::Folders, m_box.ipmSubtree}));
    EXPECT_TRUE(summary.Concerns({Container::Kind::FoldersDeep, m_box.root}));
    EXPECT_FALSE(summary.Concerns({Container::Kind::Contents, m_box.outbox}));
    EXPECT_FALSE(summary.Concerns({Container::Kind::Folders, m_box.inbox}));
    EXPECT_FALSE(summary.Concerns({Container::Kind::Directory, 0}));
    EXPECT_TRUE(reader.Next().empty());
    Names(m_site).Ids({{Guid{}, std::string("name")}}, true);
    EXPECT_TRUE(reader.Next().empty());
}

TEST_F(Changed, AWriteThatTellsTheLogNothingIsStillToldOfByItsFacets)
{
    Watch watch{View(m_site, Inbox())};
    {
        Writer writer(m_site.GetDatabase());
        std::int64_t facet = writer.Facets().Enter(*writer, m_box.inbox, FacetKey{});
        ObjectId id = writer.NewId();
        writer
            ->Prepare("INSERT INTO object (id, kind, parent, facet, submitted, delivered, created, modified, change) "
                      "VALUES (?, 3, ?, ?, 0, 0, 0, 0, 0)")
            .Bind(id, m_box.inbox, facet)
            .Run();
        writer.Commit();
    }
    EXPECT_EQ(ToldBy(watch), "several");
}

TEST_F(Changed, WhatIsRolledBackIsNotTold)
{
    Watch watch{View(m_site, Inbox())};
    {
        Writer writer(m_site.GetDatabase());
        writer.Entries().MessageAdded(1, m_box.inbox, {});
    }
    EXPECT_EQ(FaultOf([&] { m_objects.CreateMessages({{m_box.inbox, {}}, {m_box.id, {}}}); }), Fault::Invalid);
    EXPECT_EQ(ToldBy(watch), "");
}

TEST_F(Changed, AFileOfTheFirstVersionIsUpgradedAndThenTells)
{
    std::string path = m_folder.File("old.db");
    ObjectId user = 0;
    {
        Site made = Site::Create(path, "S", "O");
        user = Directory(made).AddUser("u", "U").mailbox;
    }
    MakeOlder(path, 1);
    EXPECT_EQ(FaultOf([&] { Site::Open(path, {.readOnly = true}); }), Fault::NoAccess);
    Site upgraded = Site::Open(path);
    Mailbox mailbox = Directory(upgraded).GetMailbox(user);
    Watch watch{View(upgraded, {Container::Kind::Contents, mailbox.inbox})};
    EXPECT_TRUE(watch.Next({}).empty());
    Objects(upgraded).CreateMessage(mailbox.inbox, {});
    EXPECT_EQ(watch.Next({}).size(), 1u);
    EXPECT_TRUE(Check(upgraded, false).empty());
}

} // namespace

} // namespace localmapi::storage
