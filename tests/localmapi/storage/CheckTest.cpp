// Proves that check finds everything that can be wrong with what is in a file, changes nothing unless told to repair,
// and that what it repairs is right afterwards.
#include "Fixture.h"
#include <sqlite3.h>

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

TEST_F(Checks, EveryStepIsTold)
{
    std::vector<std::uint64_t> told;
    EXPECT_TRUE(Check(m_site, false, [&](std::uint64_t done) { told.push_back(done); }).empty());
    ASSERT_EQ(told.size(), kCheckSteps);
    for (std::uint64_t step = 0; step < kCheckSteps; ++step)
        EXPECT_EQ(told[step], step + 1);
}

TEST_F(Checks, OfASoundFileFindNothing)
{
    EXPECT_EQ(FindingsOf(false), "");
    ChangeNumber before = m_site.GetChangeNumber();
    EXPECT_EQ(FindingsOf(true), "");
    EXPECT_GE(m_site.GetChangeNumber(), before);
}

TEST_F(Checks, FindAndRepairWhatIsWrong)
{
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
        {"UPDATE site SET next_id = 5", "are not beyond number"},
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
