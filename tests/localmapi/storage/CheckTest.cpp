// Proves that check finds everything that can be wrong with what is in a file, changes nothing unless told to repair,
// and that what it repairs is right afterwards, whoever writes meanwhile.
#include "Fixture.h"
#include <sqlite3.h>
#include <thread>

namespace localmapi::storage
{

namespace
{

using testing::HasSubstr;

class Checks : public SiteTest
{
  protected:
    Checks()
    {
        MessageChanges content = MakeMessage("m", {{kBody, std::string(30000, 'b')}});
        content.recipients = std::vector<PropertyBag>{{{kDisplayName, std::string("Ann")}}};
        content.attachments = {{0, false, {{{kAttachData, Bytes(600000)}}, {}}, nullptr}};
        m_id = m_objects.CreateMessage(m_box.inbox, content);
        m_other = Add("other", {{kMessageFlags, kFlagRead}});
    }
    // Changes the file behind the back of the storage layer.
    void Damage(const std::string &sql)
    {
        sqlite3 *handle = nullptr;
        ASSERT_EQ(sqlite3_open(m_site.Path().c_str(), &handle), SQLITE_OK);
        char *text = nullptr;
        EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, &text), SQLITE_OK) << (text ? text : "");
        EXPECT_GT(sqlite3_total_changes(handle), 0) << sql;
        sqlite3_close(handle);
    }
    std::string FindingsOf(bool repair)
    {
        std::string all;
        for (const Finding &finding : Check(m_site, repair))
            all += finding.text + (finding.repaired ? " (repaired)\n" : "\n");
        return all;
    }

    ObjectId m_id = 0, m_other = 0;
};

TEST_F(Checks, TellHowFarTheyAre)
{
    std::uint64_t before = 0, all = 0;
    int calls = 0;
    EXPECT_TRUE(Check(m_site, false, [&](const char *unit, std::uint64_t done, std::uint64_t total) {
                    EXPECT_STREQ(unit, "parts");
                    EXPECT_GT(done, before);
                    EXPECT_LE(done, total);
                    before = done;
                    all = total;
                    ++calls;
                }).empty());
    EXPECT_EQ(before, all);
    EXPECT_GT(calls, 0);
    EXPECT_GT(all, 3u);
}

TEST_F(Checks, TellOfTheChecksOfPagesWhileTheyRun)
{
    for (int i = 0; i < 40; ++i) {
        std::vector<NewMessage> messages;
        for (int j = 0; j < 500; ++j)
            messages.push_back({m_box.inbox, MakeMessage("m" + std::to_string(j))});
        m_objects.CreateMessages(messages);
    }
    // More steps than there are pieces: those between are of the pages.
    std::set<std::uint64_t> steps;
    std::uint64_t all = 0;
    Check(m_site, false, [&](const char *, std::uint64_t done, std::uint64_t total) {
        steps.insert(done);
        all = total;
    });
    EXPECT_GT(all, 5u);
    EXPECT_GT(steps.size(), 2u);
}

TEST_F(Checks, LetAnExceptionOfWhoListensThrough)
{
    EXPECT_THROW(Check(m_site, false, [](const char *, std::uint64_t, std::uint64_t) { throw 7; }), int);
    EXPECT_EQ(FindingsOf(false), "");
}

TEST_F(Checks, OfASoundFileFindNothing)
{
    EXPECT_EQ(FindingsOf(false), "");
    ChangeNumber before = m_site.GetChangeNumber();
    EXPECT_EQ(FindingsOf(true), "");
    EXPECT_GE(m_site.GetChangeNumber(), before);
}

TEST_F(Checks, ForARepairOfASoundFileNeedNoTurnToWrite)
{
    OpenOptions hasty;
    hasty.busyTimeoutMs = 0;
    const Site other = Site::Open(m_site.Path(), hasty);
    sqlite3 *handle = nullptr;
    ASSERT_EQ(sqlite3_open(m_site.Path().c_str(), &handle), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(handle, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_TRUE(Check(other, true).empty());
    sqlite3_close(handle);
}

TEST_F(Checks, RepairInPiecesBetweenWhichOthersWrite)
{
    constexpr int kMessages = 3000;
    std::vector<NewMessage> messages;
    for (int i = 0; i < kMessages; ++i)
        messages.push_back({m_box.inbox, MakeMessage("m" + std::to_string(i))});
    m_objects.CreateMessages(messages);
    Damage("UPDATE object SET submitted = NULL WHERE kind = 3; UPDATE object SET size = 0");
    const ChangeNumber before = m_site.GetChangeNumber();
    constexpr int kWritten = 30;
    std::thread writer([&] {
        Objects objects(m_site);
        for (int i = 0; i < kWritten; ++i) {
            const ObjectId id = objects.CreateMessage(m_box.inbox, MakeMessage("new" + std::to_string(i)));
            objects.SetRead({id}, true);
            objects.ChangeMessage(id, {{{{kBody, std::string(20000, 'n')}}, {}}, {}, {}});
        }
    });
    const std::string found = FindingsOf(true);
    writer.join();
    EXPECT_THAT(found, HasSubstr("no time column. (repaired)"));
    EXPECT_THAT(found, HasSubstr("another size than it says. (repaired)"));
    EXPECT_EQ(found.find(".\n"), found.npos) << found; // nothing that was not repaired
    EXPECT_EQ(FindingsOf(false), "");
    EXPECT_EQ(View(m_site, Inbox()).Count(), 2u + kMessages + kWritten);
    // One transaction for 500 things at most.
    EXPECT_GE(m_site.GetChangeNumber() - before, 3 * kWritten + 2 * kMessages / 500);
}

TEST_F(Checks, ForgetWhatWasCountedBeforeTheRepair)
{
    Damage("UPDATE facet SET count = count + 5");
    const View all(m_site, Inbox());
    const View some(m_site, Inbox(), Filter::Compare(kSubject, Relation::Equal, std::string("other")));
    EXPECT_EQ(all.Count(), 12u);
    EXPECT_EQ(some.Count(), 1u);
    FindingsOf(true);
    EXPECT_EQ(all.Count(), 2u);
    EXPECT_EQ(some.Count(), 1u);
}

TEST_F(Checks, FindAndRepairWhatIsWrong)
{
    // What they have in common lies in objects of its own.
    Dispatch dispatch;
    dispatch.content = MakeMessage("sent", {{kBody, std::string(30000, 's')}});
    dispatch.content.recipients = std::vector<PropertyBag>{{{kDisplayName, std::string("Ann")}}};
    dispatch.destinations = {{m_box.sentItems, {}}, {m_box.sentItems, {}}};
    m_objects.Send(dispatch);
    std::string message = std::to_string(m_id);
    struct {
        std::string sql;
        const char *finding;
    } cases[] = {
        {"UPDATE facet SET count = count + 1", "does not count the messages that it has"},
        {"DELETE FROM facet", "counted in no facet"},
        {"UPDATE object SET facet = NULL WHERE id = " + message, "counted in no facet"},
        {"UPDATE object SET facet = (SELECT min(id) FROM facet) WHERE kind = 4", "is no message"},
        {"UPDATE object SET parent = " + std::to_string(m_box.outbox) + " WHERE id = " + message,
         "a facet of another folder"},
        {"UPDATE object SET submitted = NULL WHERE id = " + message, "no time column"},
        {"UPDATE object SET size = size + 1 WHERE kind = 4", "another size than it says"},
        {"INSERT INTO property VALUES (999999, 3604511, 'x')", "has properties but is not there"},
        {"INSERT INTO stream (id, object, tag, size) VALUES (888888, 999999, 3604511, 0)", "belongs to no property"},
        {"INSERT INTO chunk (id, stream, number, data) VALUES (777777, 888888, 0, 'x')",
         "belongs to stream 888888, which is not there"},
        {"DELETE FROM stream WHERE object = " + message, "has lost its value"},
        {"INSERT INTO object (id, kind, parent, created, modified, change) VALUES (777777, 2, 666666, 0, 0, 0)",
         "lies in an object that is not there"},
        {"INSERT INTO object (id, kind, created, modified, change) VALUES (777777, 9, 0, 0, 0)",
         "Nobody names what lies in object 777777"},
        {"DELETE FROM object WHERE kind = 9", ", which others name, is not there"},
        {"DELETE FROM property WHERE object IN (SELECT id FROM object WHERE kind = 9)", "belongs to no property"},
        {"UPDATE object SET size = 1 WHERE kind = 9", "another size than it says"},
        {"INSERT INTO object (id, kind, parent, created, modified, change) VALUES (777777, 3, NULL, 0, 0, 0)",
         "lies in an object that is not there"},
        {"INSERT INTO facet (container, flags, count, change) VALUES (666666, 0, 0, 0)",
         "is one of a folder that is not there"},
        {"UPDATE property SET tag = tag + 65536 WHERE value IS NULL", "has lost its value"},
        {"UPDATE site SET next_id = 5", "are not beyond number"},
        {"DELETE FROM person_word WHERE key = CAST('archer' AS BLOB)",
         "is in the name index by other names than his own."},
        {"INSERT INTO person_word SELECT CAST('bob' AS BLOB), id FROM person LIMIT 1",
         "is in the name index by other names"},
        {"INSERT INTO person_word VALUES (CAST('x' AS BLOB), 424242)", "Person 424242 is in the name index"},
        {"UPDATE person SET name = 'Alice Baker'", "is in the name index by other names"},
    };
    for (const auto &one : cases) {
        Damage(one.sql);
        std::string before = FindingsOf(false);
        EXPECT_THAT(before, HasSubstr(one.finding)) << one.sql;
        EXPECT_EQ(FindingsOf(false), before) << one.sql; // looking changes nothing
        EXPECT_THAT(FindingsOf(true), HasSubstr(std::string(one.finding))) << one.sql;
        EXPECT_EQ(FindingsOf(false), "") << one.sql;
        EXPECT_TRUE(m_objects.Find(m_id)) << one.sql;
        EXPECT_NO_THROW(m_objects.Read(m_id)) << one.sql;
    }
    EXPECT_NO_THROW(Add("later"));
    EXPECT_EQ(FindingsOf(false), "");
}

TEST_F(Checks, TellOfLostDataThatNothingBringsBack)
{
    Damage("DELETE FROM chunk WHERE number = 1");
    EXPECT_THAT(FindingsOf(false), HasSubstr("is not as long as it should be"));
    EXPECT_THAT(FindingsOf(true), HasSubstr("has gaps.\n")); // and not: repaired
    EXPECT_THAT(FindingsOf(false), HasSubstr("has gaps"));
}

TEST_F(Checks, RemoveALargeFolderThatLiesNowhereInPieces)
{
    Damage("INSERT INTO object (id, kind, parent, created, modified, change) VALUES (777777, 2, 666666, 0, 0, 0);"
           "INSERT INTO object (id, kind, parent, created, modified, change) VALUES (777778, 2, 777777, 0, 0, 0);"
           "UPDATE facet SET container = 777778; UPDATE object SET parent = 777778 WHERE facet IS NOT NULL;"
           "WITH n (i) AS (SELECT 800000 UNION ALL SELECT i + 1 FROM n WHERE i < 800200) INSERT INTO object "
           "(id, kind, parent, created, modified, change) SELECT i, 3, 777778, 0, 0, 0 FROM n");
    EXPECT_THAT(FindingsOf(true), HasSubstr("Object 777777 lies in an object that is not there. (repaired)"));
    EXPECT_EQ(FindingsOf(false), "");
    EXPECT_FALSE(m_objects.Find(777777));
    EXPECT_FALSE(m_objects.Find(800000));
    EXPECT_EQ(View(m_site, Inbox()).Count(), 0u);
}

TEST_F(Checks, RepairSeveralThingsAtOnce)
{
    Damage("DELETE FROM facet; UPDATE object SET size = 0; DELETE FROM stream");
    EXPECT_NE(FindingsOf(true), "");
    EXPECT_EQ(FindingsOf(false), "");
    EXPECT_EQ(View(m_site, Inbox()).Count(), 2u);
    EXPECT_EQ(*m_objects.Read(m_other).get<std::string>(kSubject), "other");
}

} // namespace

} // namespace localmapi::storage
