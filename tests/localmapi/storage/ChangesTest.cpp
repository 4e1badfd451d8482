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
    std::string toldBy(Watch &watch)
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
    ObjectId added(const std::string &subject, const PropertyBag &more = {})
    {
        ObjectId id = add(subject, more);
        m_names[id] = subject;
        return id;
    }
    void raw(const char *sql)
    {
        sqlite3 *handle = nullptr;
        ASSERT_EQ(sqlite3_open(site.Path().c_str(), &handle), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
        sqlite3_close(handle);
    }
    std::int64_t entries()
    {
        Reader reader(site.GetDatabase());
        return reader->Integer("SELECT count(*) FROM change_entry");
    }
    void rename(ObjectId id, const std::string &subject)
    {
        MessageChanges changes;
        changes.properties.set.Set(kSubject, subject);
        objects.ChangeMessage(id, changes);
    }

    std::map<ObjectId, std::string> m_names;
};

TEST_F(Changed, RowsAreToldAsTheDifferenceBetweenTwoLooks)
{
    ObjectId old = added("old"), gone = added("gone");
    Watch watch{View(site, inbox())};
    EXPECT_EQ(toldBy(watch), "");
    ObjectId a = added("a");
    rename(a, "a again");
    objects.RemoveMessages({added("brief")});
    rename(gone, "changed first");
    objects.RemoveMessages({gone});
    rename(old, "older");
    EXPECT_EQ(toldBy(watch), "-brief -gone ~older +a again(older)");
    EXPECT_EQ(toldBy(watch), "");
}

TEST_F(Changed, EveryKindOfWriteIsTold)
{
    ObjectId other = objects.CreateFolder(box.ipmSubtree, {{kDisplayName, std::string("other")}});
    Watch here{View(site, inbox())}, there{View(site, {Container::Kind::Contents, other})};
    ObjectId a = added("a");
    EXPECT_EQ(toldBy(here), "+a");
    objects.ChangeFlags({a}, 0x100, 0);
    EXPECT_EQ(toldBy(here), "~a");
    objects.ChangeFlags({a}, 0x100, 0); // they are set already
    EXPECT_EQ(toldBy(here), "");
    MessageChanges recipients;
    recipients.recipients = std::vector<PropertyBag>{{{kDisplayName, std::string("Bob")}}};
    objects.ChangeMessage(a, recipients);
    EXPECT_EQ(toldBy(here), "~a");
    MessageChanges attachments;
    attachments.attachments = {{0, false, {{{kAttachName, std::string("x")}}, {}}, nullptr}};
    objects.ChangeMessage(a, attachments);
    EXPECT_EQ(toldBy(here), "~a");
    objects.CopyMessages({a}, other);
    EXPECT_EQ(toldBy(there), "+a");
    objects.MoveMessages({a}, other);
    EXPECT_EQ(toldBy(here), "-a");
    EXPECT_EQ(toldBy(there).substr(0, 2), "+a");
    objects.SetAllRead(other, true);
    EXPECT_EQ(toldBy(there), "several");
    objects.RemoveAllMessages(other);
    EXPECT_EQ(toldBy(there), "several");
    add("b");
    objects.RemoveFolder(other);
    EXPECT_EQ(toldBy(there), "several");
    EXPECT_EQ(toldBy(here), "+b");
    expectSound();
}

TEST_F(Changed, AFilterOnOtherPropertiesThanTheFacetsIsFollowedExactly)
{
    Filter filter = Filter::Content(kSubject, Filter::Match::Prefix, std::string("x"));
    ObjectId in = added("x in"), out = added("out");
    Watch watch{View(site, inbox(), filter)};
    rename(out, "still out");
    rename(in, "x still in");
    EXPECT_EQ(toldBy(watch), "~x still in");
    rename(in, "gone");
    rename(out, "x now in");
    EXPECT_EQ(toldBy(watch), "-x still in +x now in");
    objects.RemoveMessages({in, out});
    EXPECT_EQ(toldBy(watch), "-x now in");
}

TEST_F(Changed, AFilterOnFacetsIsFollowedWithoutKnowingTheRows)
{
    Filter urgent = Filter::Compare(kImportance, Relation::Equal, std::int32_t{2});
    ObjectId a = added("a"), b = added("b", {{kImportance, std::int32_t{2}}});
    Watch watch{View(site, inbox(), urgent)};
    rename(a, "quiet");
    EXPECT_EQ(toldBy(watch), "");
    MessageChanges louder, quieter;
    louder.properties.set.Set(kImportance, std::int32_t{2});
    quieter.properties.remove = {kImportance};
    objects.ChangeMessage(a, louder);
    objects.ChangeMessage(b, quieter);
    EXPECT_EQ(toldBy(watch), "-b +quiet");
    objects.SetAllRead(box.inbox, true);
    EXPECT_EQ(toldBy(watch), "several");
    objects.RemoveMessages({a});
    objects.SetAllRead(box.inbox, false);
    EXPECT_EQ(toldBy(watch), "-quiet");
}

TEST_F(Changed, AFilterOnClassImportanceAndFlagsKnowsWhatTheyWere)
{
    const std::string voicemail = "IPM.Note.Microsoft.Voicemail.UM";
    Filter unread = Filter::All({Filter::Compare(kMessageClass, Relation::Equal, voicemail),
                                 Filter::Compare(kImportance, Relation::Equal, std::int32_t{2}),
                                 Filter::Bits(kMessageFlags, kFlagRead, true)});
    Watch watch{View(site, inbox(), unread)};
    ObjectId a = added("a", {{kMessageClass, voicemail}, {kImportance, std::int32_t{2}}, {kMessageFlags, 0}});
    EXPECT_EQ(toldBy(watch), "+a");
    objects.SetRead({a}, true);
    EXPECT_EQ(toldBy(watch), "-a");
    objects.SetRead({a}, false);
    EXPECT_EQ(toldBy(watch), "+a");
    objects.RemoveMessages({a});
    EXPECT_EQ(toldBy(watch), "-a");
}

TEST_F(Changed, WhatWasThereInBetweenOnlyIsToldAsGoneForTheTableMayHaveBeenReadThen)
{
    Filter urgent = Filter::Compare(kImportance, Relation::Equal, std::int32_t{2});
    ObjectId a = added("a");
    Watch loud{View(site, inbox(), urgent)}, deep{View(site, {Container::Kind::FoldersDeep, box.ipmSubtree})};
    MessageChanges louder, quieter;
    louder.properties.set.Set(kImportance, std::int32_t{2});
    quieter.properties.remove = {kImportance};
    objects.ChangeMessage(a, louder);
    objects.ChangeMessage(a, quieter);
    EXPECT_EQ(toldBy(loud), "-a");
    rename(a, "quiet");
    rename(a, "quiet still");
    objects.RemoveMessages({a, added("never loud")});
    EXPECT_EQ(toldBy(loud), "");
    deep.Next({});
    // Of a folder elsewhere nothing is told, however often it changes.
    ObjectId elsewhere = Directory(site).GetMailbox(Directory(site).AddUser("eve", "Eve").mailbox).inbox;
    deep.Next({});
    objects.CreateMessage(elsewhere, {});
    objects.CreateMessage(elsewhere, {});
    EXPECT_TRUE(deep.Next({}).empty());
    objects.RemoveFolder(objects.CreateFolder(box.inbox, {{kDisplayName, std::string("brief")}}));
    EXPECT_EQ(deep.Next({}).size(), 2u); // the folder, and the one that had it
}

TEST_F(Changed, FoldersAreToldAtEveryDepthAndByTheirCounts)
{
    Watch flat{View(site, {Container::Kind::Folders, box.ipmSubtree})};
    Watch deep{View(site, {Container::Kind::FoldersDeep, box.ipmSubtree})};
    auto kinds = [](Watch &watch) {
        std::vector<std::pair<Kind, ObjectId>> kindsTold;
        for (const Notice &notice : watch.Next({kDisplayName, kFolderDepth}))
            kindsTold.emplace_back(notice.kind, notice.row.id);
        return kindsTold;
    };
    using testing::ElementsAre;
    using testing::Pair;
    using testing::UnorderedElementsAre;
    add("mail");
    EXPECT_THAT(kinds(flat), ElementsAre(Pair(Kind::Modified, box.inbox)));
    EXPECT_THAT(kinds(deep), ElementsAre(Pair(Kind::Modified, box.inbox)));
    ObjectId sub = objects.CreateFolder(box.inbox, {{kDisplayName, std::string("sub")}});
    EXPECT_THAT(kinds(flat), ElementsAre(Pair(Kind::Modified, box.inbox)));
    EXPECT_THAT(kinds(deep), UnorderedElementsAre(Pair(Kind::Modified, box.inbox), Pair(Kind::Added, sub)));
    // The subject of a message is in no folder's row.
    ObjectId mail = add("x");
    kinds(flat);
    kinds(deep);
    rename(mail, "y");
    EXPECT_THAT(kinds(flat), ElementsAre());
    EXPECT_THAT(kinds(deep), ElementsAre());
    ObjectId below = objects.CreateFolder(sub, {{kDisplayName, std::string("below")}});
    kinds(deep);
    objects.RemoveFolder(sub);
    EXPECT_THAT(kinds(deep), UnorderedElementsAre(Pair(Kind::Removed, sub), Pair(Kind::Removed, below),
                                                  Pair(Kind::Modified, box.inbox)));
}

TEST_F(Changed, PeopleAreTold)
{
    Watch watch{View(site, {Container::Kind::Directory, 0})};
    Directory directory(site);
    directory.AddContact("Zoe", "zoe@x.example");
    EXPECT_EQ(watch.Next({}).size(), 1u);
    directory.AddUser("dave", "Dave");
    EXPECT_EQ(watch.Next({}).size(), 1u);
    add("mail");
    EXPECT_TRUE(watch.Next({}).empty());
}

TEST_F(Changed, MoreThanAClientWantsToHearOneByOneIsToldTogether)
{
    Watch watch{View(site, inbox())};
    std::vector<NewMessage> messages(33, NewMessage{box.inbox, message("m")});
    objects.CreateMessages(messages);
    EXPECT_EQ(toldBy(watch), "several");
    messages.resize(32);
    objects.CreateMessages(messages);
    EXPECT_EQ(watch.Next({}).size(), 32u);
}

TEST_F(Changed, ABulkChangeIsAFewEntriesAndOnlyForTheViewsThatItConcerns)
{
    Watch all{View(site, inbox())};
    Watch urgent{View(site, inbox(), Filter::Compare(kImportance, Relation::Equal, std::int32_t{2}))};
    std::int64_t before = entries();
    objects.CreateMessages(std::vector<NewMessage>(5000, NewMessage{box.inbox, message("m")}));
    EXPECT_LT(entries() - before, 5);
    EXPECT_EQ(toldBy(all), "several");
    EXPECT_EQ(toldBy(urgent), "");
}

TEST_F(Changed, TheLogIsBoundedAndWhoeverFallsBehindIsTold)
{
    Watch watch{View(site, {Container::Kind::Contents, box.outbox})};
    Watch fresh = watch;
    std::vector<NewMessage> messages;
    for (int number = 0; number < 20; ++number) {
        ObjectId id = objects.CreateFolder(box.ipmSubtree, {{kDisplayName, std::string("f") + std::to_string(number)}});
        messages.insert(messages.end(), 100, NewMessage{id, {}});
    }
    for (int round = 0; round < 8; ++round)
        objects.CreateMessages(messages);
    EXPECT_LE(entries(), 10000);
    EXPECT_GE(entries(), 5000);
    EXPECT_EQ(toldBy(watch), "lost");
    EXPECT_EQ(toldBy(watch), "");
    // Unless it is known that nothing of it concerned the view.
    EXPECT_TRUE(fresh.Next({}, watch.Position()).empty());
}

TEST_F(Changed, TheLogIsBoundedWhicheverTransactionsTellItNothing)
{
    raw("WITH RECURSIVE n (i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 20000) "
        "INSERT INTO change_entry (number, kind, event, container, object) SELECT "
        "i + (SELECT max(number) FROM change_entry), 3, 1, 0, 0 FROM n");
    const auto nextChange = [&] {
        Reader reader(site.GetDatabase());
        return reader->Integer("SELECT change FROM site") + 1;
    };
    std::vector<ObjectId> one{add("a")};
    for (int round = 0; round < 300; ++round)
        if (nextChange() % 256 == 0)
            Names(site).Ids({{Guid{}, "name " + std::to_string(round)}}, true);
        else
            objects.SetRead(one, round % 2 == 0);
    EXPECT_LE(entries(), 10600);
    EXPECT_GE(entries(), 10000);
}

TEST_F(Changed, AnEmptiedLogAndARepairAreLosses)
{
    Watch watch{View(site, inbox())};
    EntryReader reader(site);
    added("a");
    EXPECT_EQ(toldBy(watch), "+a");
    raw("DELETE FROM change_entry");
    EXPECT_EQ(toldBy(watch), "lost");
    added("b");
    EXPECT_EQ(toldBy(watch), "lost");
    EXPECT_TRUE(reader.Next().lost);
    added("c");
    EXPECT_EQ(toldBy(watch), "+c(b)");
    raw("UPDATE facet SET count = count + 1");
    EXPECT_FALSE(Check(site, true).empty());
    EXPECT_EQ(toldBy(watch), "lost");
}

TEST_F(Changed, TheLogNamesTheContainers)
{
    EntryReader reader(site);
    EXPECT_TRUE(reader.Next().empty());
    add("a");
    EntrySummary summary = reader.Next();
    EXPECT_TRUE(summary.Concerns(inbox()));
    EXPECT_TRUE(summary.Concerns({Container::Kind::Folders, box.ipmSubtree}));
    EXPECT_TRUE(summary.Concerns({Container::Kind::FoldersDeep, box.root}));
    EXPECT_FALSE(summary.Concerns({Container::Kind::Contents, box.outbox}));
    EXPECT_FALSE(summary.Concerns({Container::Kind::Folders, box.inbox}));
    EXPECT_FALSE(summary.Concerns({Container::Kind::Directory, 0}));
    EXPECT_TRUE(reader.Next().empty());
    Names(site).Ids({{Guid{}, std::string("name")}}, true);
    EXPECT_TRUE(reader.Next().empty());
}

TEST_F(Changed, AWriteThatTellsTheLogNothingIsStillToldOfByItsFacets)
{
    Watch watch{View(site, inbox())};
    {
        Writer writer(site.GetDatabase());
        std::int64_t facet = writer.Facets().Enter(*writer, box.inbox, FacetKey{});
        ObjectId id = writer.NewId();
        writer
            ->Prepare("INSERT INTO object (id, kind, parent, facet, submitted, delivered, created, modified, change) "
                      "VALUES (?, 3, ?, ?, 0, 0, 0, 0, 0)")
            .Bind(id, box.inbox, facet)
            .Run();
        writer.Commit();
    }
    EXPECT_EQ(toldBy(watch), "several");
}

TEST_F(Changed, WhatIsRolledBackIsNotTold)
{
    Watch watch{View(site, inbox())};
    {
        Writer writer(site.GetDatabase());
        writer.Entries().MessageAdded(1, box.inbox, {});
    }
    EXPECT_EQ(faultOf([&] { objects.CreateMessages({{box.inbox, {}}, {box.id, {}}}); }), Fault::Invalid);
    EXPECT_EQ(toldBy(watch), "");
}

TEST_F(Changed, AFileOfTheFirstVersionIsUpgradedAndThenTells)
{
    std::string path = folder.file("old.db");
    ObjectId user = 0;
    {
        Site made = Site::Create(path, "S", "O");
        user = Directory(made).AddUser("u", "U").mailbox;
    }
    sqlite3 *handle = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle, "DROP TABLE change_entry; PRAGMA user_version = 1", nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(handle);
    EXPECT_EQ(faultOf([&] { Site::Open(path, {.readOnly = true}); }), Fault::NoAccess);
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
