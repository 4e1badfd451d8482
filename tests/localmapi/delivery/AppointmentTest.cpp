// The properties of appointments: those by which clients find, show and sort them, of single and of recurring ones.
#include "localmapi/delivery/Appointment.h"
#include "../storage/Fixture.h"
#include "Days.h"

namespace localmapi::delivery
{

namespace
{

using namespace storage;

constexpr std::int64_t kMinute = 600000000;
constexpr Guid kAppointmentSet = {0x02, 0x20, 0x06, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
constexpr Guid kCommonSet = {0x08, 0x20, 0x06, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
constexpr Guid kMeetingSet = {0x90, 0xDA, 0xD8, 0x6E, 0x0B, 0x45, 0x1B, 0x10,
                              0x98, 0xDA, 0x00, 0xAA, 0x00, 0x3F, 0x13, 0x05};

std::int64_t At(Day day, unsigned minute)
{
    return ((day - On(1601, 1, 1)).count() * 1440 + minute) * kMinute;
}

// Monday from 9:00 to 9:30 of a time an hour ahead of UTC.
Appointment Meeting(std::optional<RecurrenceRule> rule = {})
{
    Appointment meeting;
    meeting.subject = "Meeting";
    meeting.location = "Room 1";
    meeting.body = "Agenda";
    meeting.busy = BusyStatus::OutOfOffice;
    meeting.start = At(On(2026, 11, 23), 480);
    meeting.end = At(On(2026, 11, 23), 510);
    meeting.rule = rule;
    meeting.first = On(2026, 11, 23);
    meeting.startMinute = 540;
    return meeting;
}
RecurrenceRule Mondays()
{
    RecurrenceRule rule;
    rule.kind = RecurrenceRule::Kind::Weeks;
    rule.weekdays = 2;
    return rule;
}

class AppointmentTest : public SiteTest
{
  protected:
    template <class T> T Of(const MessageChanges &message, Tag tag)
    {
        const T *value = message.properties.set.get<T>(tag);
        EXPECT_TRUE(value) << std::hex << tag;
        return value ? *value : T();
    }
    Tag Named(const Guid &set, std::int32_t number, Type type)
    {
        return MakeTag(Names(m_site).Ids({{set, number}}, false).front(), type);
    }
    std::int64_t Time(const MessageChanges &message, const Guid &set, std::int32_t number)
    {
        return Of<std::int64_t>(message, Named(set, number, Type::Time));
    }
    std::int32_t Number(const MessageChanges &message, const Guid &set, std::int32_t number)
    {
        return Of<std::int32_t>(message, Named(set, number, Type::Int32));
    }
    bool Flag(const MessageChanges &message, const Guid &set, std::int32_t number)
    {
        return Of<bool>(message, Named(set, number, Type::Boolean));
    }
};

TEST_F(AppointmentTest, HasThePropertiesOfAMessage)
{
    const MessageChanges message = Compose(m_site, Meeting(), m_alice);
    EXPECT_EQ(Of<std::string>(message, kMessageClass), "IPM.Appointment");
    EXPECT_EQ(Of<std::int32_t>(message, kMessageFlags), kFlagRead);
    EXPECT_EQ(Of<std::string>(message, kSubject), "Meeting");
    EXPECT_EQ(Of<std::string>(message, 0x0E1D001F), "Meeting");
    EXPECT_EQ(Of<std::string>(message, kBody), "Agenda");
    EXPECT_EQ(Of<std::string>(message, kSenderName), m_alice.name);
    EXPECT_EQ(Of<std::string>(message, 0x0065001F), m_alice.dn);
    EXPECT_EQ(Of<std::int64_t>(message, 0x00600040), At(On(2026, 11, 23), 480));
    EXPECT_EQ(Of<std::int64_t>(message, 0x00610040), At(On(2026, 11, 23), 510));
    EXPECT_EQ(Of<std::int32_t>(message, 0x10800003), 1024) << "the icon of a single one";
}

TEST_F(AppointmentTest, OfOneDayHasItsTimesUnderAllTheirNames)
{
    const MessageChanges message = Compose(m_site, Meeting(), m_alice);
    for (const auto &[set, number] :
         {std::pair(kAppointmentSet, 0x820D), std::pair(kAppointmentSet, 0x8235), std::pair(kCommonSet, 0x8516)})
        EXPECT_EQ(Time(message, set, number), At(On(2026, 11, 23), 480)) << std::hex << number;
    for (const auto &[set, number] :
         {std::pair(kAppointmentSet, 0x820E), std::pair(kAppointmentSet, 0x8236), std::pair(kCommonSet, 0x8517)})
        EXPECT_EQ(Time(message, set, number), At(On(2026, 11, 23), 510)) << std::hex << number;
    EXPECT_EQ(Number(message, kAppointmentSet, 0x8213), 30);
    EXPECT_EQ(Number(message, kAppointmentSet, 0x8205), 3);
    EXPECT_EQ(Number(message, kAppointmentSet, 0x8224), 3);
    EXPECT_EQ(Number(message, kAppointmentSet, 0x8217), 0);
    EXPECT_EQ(Number(message, kAppointmentSet, 0x8231), 0);
    EXPECT_FALSE(Flag(message, kAppointmentSet, 0x8215));
    EXPECT_FALSE(Flag(message, kAppointmentSet, 0x8223));
    EXPECT_FALSE(Flag(message, kMeetingSet, 0x0005));
    EXPECT_EQ(Of<std::string>(message, Named(kAppointmentSet, 0x8208, Type::Text)), "Room 1");
    EXPECT_EQ(message.properties.set.Find(Named(kAppointmentSet, 0x8216, Type::Binary)), nullptr);
}

TEST_F(AppointmentTest, ThatRecursSaysSoWithItsRuleAndItsFirstAndLastDay)
{
    RecurrenceRule rule = Mondays();
    rule.times = 3;
    const MessageChanges message = Compose(m_site, Meeting(rule), m_alice);
    EXPECT_TRUE(Flag(message, kAppointmentSet, 0x8223));
    EXPECT_TRUE(Flag(message, kMeetingSet, 0x0005));
    EXPECT_EQ(Number(message, kAppointmentSet, 0x8231), 2);
    EXPECT_EQ(Of<std::int32_t>(message, 0x10800003), 1025) << "the icon of a series";
    EXPECT_EQ(Of<Bytes>(message, Named(kAppointmentSet, 0x8216, Type::Binary)),
              RecurrenceStructure(rule, On(2026, 11, 23), 540, 30))
        << "in local time";
    EXPECT_EQ(Of<std::string>(message, Named(kAppointmentSet, 0x8232, Type::Text)), Describe(rule));
    EXPECT_EQ(Time(message, kAppointmentSet, 0x820D), At(On(2026, 11, 23), 480));
    EXPECT_EQ(Time(message, kAppointmentSet, 0x8235), At(On(2026, 11, 23), 0));
    EXPECT_EQ(Time(message, kAppointmentSet, 0x8236), At(On(2026, 12, 7), 0));
}

TEST_F(AppointmentTest, ThatNeverEndsHasThePublishedEnd)
{
    const MessageChanges message = Compose(m_site, Meeting(Mondays()), m_alice);
    EXPECT_EQ(Time(message, kAppointmentSet, 0x8236), At(On(4500, 8, 31), 23 * 60 + 59));
}

TEST_F(AppointmentTest, NamesItsPropertiesOnceInASite)
{
    Compose(m_site, Meeting(), m_alice);
    const std::size_t names = Names(m_site).All().size();
    const Tag start = Named(kAppointmentSet, 0x820D, Type::Time);
    EXPECT_GE(start >> 16, 0x8000u);
    Compose(m_site, Meeting(Mondays()), m_alice);
    EXPECT_EQ(Names(m_site).All().size(), names);
    EXPECT_EQ(Named(kAppointmentSet, 0x820D, Type::Time), start);
}

} // namespace

} // namespace localmapi::delivery
