// Where memory ends while a day of the calendar is read: the exception is reported under the name of who met it,
// nothing is left, and the next day is read as if nothing had been.
#include "session/CalendarTest.h"
#include "support/ControlledNew.h"

using namespace calendar_test;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

// A text whose allocations differ in size from any other.
constexpr std::size_t kLong = 50000;

class CalendarNoMemoryTest : public CalendarTest
{
  protected:
    CalendarNoMemoryTest() { Add("Meeting", {Wide(kLocation, std::basic_string<WCHAR>(kLong, WCHAR('x')).c_str())}); }

    void ExpectNothingLeft(const DayW &day)
    {
        m_failing.reset();
        EXPECT_EQ(day.hr, E_UNEXPECTED);
        EXPECT_EQ(day.count, 0u);
        EXPECT_EQ(day.events, nullptr);
        EXPECT_THAT(ErrorLines(), IsEmpty()) << "no call has failed";
        EXPECT_EQ(OpenObjects(), 0);
        EXPECT_THAT(LiveBlocks(), IsEmpty());
        EXPECT_EQ(LiveObjects(), std::vector<std::string>{"Store(alice)"});
        m_mapi.script.Clear();
        EXPECT_THAT(Subjects(), ElementsAre("Meeting"));
    }
    std::optional<controlled_new::FailingAllocation> m_failing;
};

TEST_F(CalendarNoMemoryTest, AnExceptionInTheScanIsTheResultAndTheExportTellsOfNoEvents)
{
    // Of the narrow text; the double's own wide one is longer.
    m_mapi.script.Tell("HrQueryAllRows", Does([this] { m_failing.emplace(kLong, kLong + 100); }));
    DayW day;
    Read(day);
    ASSERT_TRUE(m_failing && m_failing->HasFailed());
    EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in CMAPIImpl::ScanCalendarFolder (OrlMapi32[")));
    EXPECT_EQ(CountLines("OrlMapiObtainCalendarEventsW: ObtainCalendarEvents returned 0 events"), 1);
    ExpectNothingLeft(day);
}

TEST_F(CalendarNoMemoryTest, AnExceptionOfTheExportFreesItsBlock)
{
    const std::string block = "MAPIAllocateBuffer(" + std::to_string(sizeof(CalendarEventW)) + ")";
    m_mapi.script.Tell(block, Does([this] { m_failing.emplace(2 * kLong, 2 * kLong + 100); }));
    DayW day;
    Read(day);
    ASSERT_TRUE(m_failing && m_failing->HasFailed());
    EXPECT_THAT(Lines(), Contains(StartsWith("Exception has occurred in OrlMapiObtainCalendarEventsW (OrlMapi32[")));
    EXPECT_EQ(CountLines("OrlMapiObtainCalendarEventsW: ObtainCalendarEvents returned 1 events"), 1);
    ExpectNothingLeft(day);
}

} // namespace
