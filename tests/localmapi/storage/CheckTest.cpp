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
        MessageChanges content = message("m", {{kBody, std::string(30000, 'b')}});
        content.recipients = std::vector<PropertyBag>{{{kDisplayName, std::string("Ann")}}};
        content.attachments = {{0, false, {{{kAttachData, Bytes(600000)}}, {}}, nullptr}};
        id = objects.CreateMessage(box.inbox, content);
        other = add("other", {{kMessageFlags, kFlagRead}});
    }
    // Changes the file behind the back of the storage layer.
    void damage(const std::string &sql)
    {
        sqlite3 *handle = nullptr;
        ASSERT_EQ(sqlite3_open(site.Path().c_str(), &handle), SQLITE_OK);
        char *text = nullptr;
        EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, &text), SQLITE_OK) << (text ? text : "");
        EXPECT_GT(sqlite3_total_changes(handle), 0) << sql;
        sqlite3_close(handle);
    }
    std::string told(bool repair)
    {
        std::string all;
        for (const Finding &finding : Check(site, repair))
            all += finding.text + (finding.repaired ? " (repaired)\n" : "\n");
        return all;
    }

    ObjectId id = 0, other = 0;
};

TEST_F(Checks, EveryStepIsTold)
{
    std::vector<std::uint64_t> told;
    EXPECT_TRUE(Check(site, false, [&](std::uint64_t done) { told.push_back(done); }).empty());
    ASSERT_EQ(told.size(), kCheckSteps);
    for (std::uint64_t step = 0; step < kCheckSteps; ++step)
        EXPECT_EQ(told[step], step + 1);
}

TEST_F(Checks, OfASoundFileFindNothing)
{
    EXPECT_EQ(told(false), "");
    ChangeNumber before = site.GetChangeNumber();
    EXPECT_EQ(told(true), "");
    EXPECT_GE(site.GetChangeNumber(), before);
}

TEST_F(Checks, FindAndRepairWhatIsWrong)
{
    std::string message = std::to_string(id);
    struct {
        std::string sql;
        const char *finding;
    } cases[] = {
        {"UPDATE facet SET count = count + 1", "does not count the messages that it has"},
        {"DELETE FROM facet", "counted in no facet"},
        {"UPDATE object SET facet = NULL WHERE id = " + message, "counted in no facet"},
        {"UPDATE object SET facet = (SELECT min(id) FROM facet) WHERE kind = 4", "is no message"},
        {"UPDATE object SET parent = " + std::to_string(box.outbox) + " WHERE id = " + message,
         "a facet of another folder"},
        {"UPDATE object SET submitted = NULL WHERE id = " + message, "no time column"},
        {"UPDATE object SET size = size + 1 WHERE kind = 4", "another size than it says"},
        {"INSERT INTO property VALUES (999999, 3604511, 'x')", "has properties but is not there"},
        {"INSERT INTO stream VALUES (888888, 999999, 3604511, 0)", "belongs to no property"},
        {"INSERT INTO chunk VALUES (777777, 888888, 0, 'x')", "belongs to stream 888888, which is not there"},
        {"DELETE FROM stream WHERE object = " + message, "has lost its value"},
        {"INSERT INTO object (id, kind, parent, created, modified, change) VALUES (777777, 2, 666666, 0, 0, 0)",
         "lies in an object that is not there"},
        {"UPDATE site SET next_id = 5", "are not beyond number"},
    };
    for (const auto &one : cases) {
        damage(one.sql);
        std::string before = told(false);
        EXPECT_THAT(before, HasSubstr(one.finding)) << one.sql;
        EXPECT_EQ(told(false), before) << one.sql; // looking changes nothing
        EXPECT_THAT(told(true), HasSubstr(std::string(one.finding))) << one.sql;
        EXPECT_EQ(told(false), "") << one.sql;
        EXPECT_TRUE(objects.Find(id)) << one.sql;
        EXPECT_NO_THROW(objects.Read(id)) << one.sql;
    }
    EXPECT_NO_THROW(add("later"));
    EXPECT_EQ(told(false), "");
}

TEST_F(Checks, TellOfLostDataThatNothingBringsBack)
{
    damage("DELETE FROM chunk WHERE number = 1");
    EXPECT_THAT(told(false), HasSubstr("is not as long as it should be"));
    EXPECT_THAT(told(true), HasSubstr("has gaps.\n")); // and not: repaired
    EXPECT_THAT(told(false), HasSubstr("has gaps"));
}

TEST_F(Checks, RepairSeveralThingsAtOnce)
{
    damage("DELETE FROM facet; UPDATE object SET size = 0; DELETE FROM stream");
    EXPECT_NE(told(true), "");
    EXPECT_EQ(told(false), "");
    EXPECT_EQ(View(site, inbox()).Count(), 2u);
    EXPECT_EQ(*objects.Read(other).get<std::string>(kSubject), "other");
}

} // namespace

} // namespace localmapi::storage
