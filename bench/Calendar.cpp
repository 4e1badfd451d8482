// A day of a calendar of 10,000 appointments, of which 1,000 recur, beside the same selection in plain SQL.
#include "Sites.h"
#include "localmapi/delivery/Appointment.h"
#include <benchmark/benchmark.h>
#include <cstdio>
#include <filesystem>
#include <sqlite3.h>
#include <stdexcept>

namespace bench
{

namespace
{

namespace storage = localmapi::storage;
namespace delivery = localmapi::delivery;

constexpr int kAppointments = 10000, kRecurring = 1000, kADay = 10;
constexpr std::int64_t kMinute = 600000000;
const delivery::Day kFirst = std::chrono::sys_days(std::chrono::year(2025) / 1 / 1);

std::int64_t Ticks(delivery::Day day, unsigned minute)
{
    constexpr auto kOrigin = delivery::Day(std::chrono::year(1601) / 1 / 1);
    return ((day - kOrigin).count() * 1440 + minute) * kMinute;
}

delivery::Appointment AppointmentOf(int number)
{
    const bool recurs = number % (kAppointments / kRecurring) == 0;
    delivery::Appointment appointment;
    appointment.subject = "Appointment " + std::to_string(number);
    appointment.location = "Room " + std::to_string(number % 20);
    appointment.body = "About what is to be talked over.\r\n";
    appointment.first = kFirst + std::chrono::days(number / kADay % (recurs ? 365 : 1000));
    appointment.startMinute = 480 + 60 * static_cast<unsigned>(number % kADay);
    appointment.start = Ticks(appointment.first, appointment.startMinute);
    appointment.end = appointment.start + 30 * kMinute;
    if (recurs) {
        appointment.rule.emplace();
        appointment.rule->kind = delivery::RecurrenceRule::Kind::Weeks;
        appointment.rule->weekdays = delivery::WeekdayBit(appointment.first);
    }
    return appointment;
}

const std::string &SiteWithCalendar()
{
    static const std::string path = [] {
        std::string file = SiteWith(0);
        storage::Site site = storage::Site::Open(file);
        const storage::User alice = *storage::Directory(site).UserByAlias("alice");
        const storage::ObjectId calendar = storage::Directory(site).GetMailbox(alice.mailbox).calendar;
        std::vector<storage::NewMessage> messages;
        for (int i = 0; i < kAppointments; ++i)
            messages.push_back({calendar, Compose(site, AppointmentOf(i), alice)});
        storage::Objects objects(site);
        objects.RemoveAllMessages(calendar);
        objects.CreateMessages(messages);
        return file;
    }();
    return path;
}

constexpr char kDate[] = "2026-11-23";

void DayOfACalendar(benchmark::State &state)
{
    const HostSession host(SiteWithCalendar());
    ULONG count = 0;
    for (auto _ : state) {
        CalendarEventA *events = nullptr;
        if (OrlMapiObtainCalendarEventsA(host.GetConnection(), host.GetMailbox(), kDate, &events, &count) < 0)
            state.SkipWithError("the day could not be read");
        OrlMapiFreeBuffer(events);
    }
    if (count < kADay)
        state.SkipWithError("the day is not full");
}

// The rows that the calendar's table gives, with the three properties that select them and five to show.
class PlainDay
{
  public:
    explicit PlainDay(const std::string &path)
    {
        storage::Site site = storage::Site::Open(path);
        const storage::User alice = *storage::Directory(site).UserByAlias("alice");
        const storage::Guid set = {0x02, 0x20, 0x06, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
        const storage::Guid meeting = {0x90, 0xDA, 0xD8, 0x6E, 0x0B, 0x45, 0x1B, 0x10,
                                       0x98, 0xDA, 0x00, 0xAA, 0x00, 0x3F, 0x13, 0x05};
        const auto ids = storage::Names(site).Ids(
            {{set, 0x820D}, {set, 0x820E}, {meeting, 0x0005}, {set, 0x8208}, {set, 0x8216}}, false);
        const auto tag = [&](std::size_t i, storage::Type type) {
            return std::to_string(storage::MakeTag(ids[i], type));
        };
        const auto value = [](const std::string &of) {
            return "(SELECT value FROM property WHERE object = o.id AND tag = " + of + ")";
        };
        const std::string start = value(tag(0, storage::Type::Time)), end = value(tag(1, storage::Type::Time));
        const std::string sql = "SELECT " + start + " AS start, " + value(tag(3, storage::Type::Text)) + ", " +
                                value(tag(4, storage::Type::Binary)) + ", " + value(std::to_string(0x0E1D001Fu)) +
                                ", " + value(std::to_string(0x1000001Fu)) + " FROM object o WHERE parent = " +
                                std::to_string(storage::Directory(site).GetMailbox(alice.mailbox).calendar) +
                                " AND kind = 3 AND ((" + end + " <= " + std::to_string(Ticks(kDay, 1439)) + " AND " +
                                start + " >= " + std::to_string(Ticks(kDay, 0)) + ") OR " +
                                value(tag(2, storage::Type::Boolean)) + ") ORDER BY start";
        if (sqlite3_open(path.c_str(), &m_database) != SQLITE_OK ||
            sqlite3_prepare_v2(m_database, sql.c_str(), -1, &m_statement, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(m_database));
    }
    ~PlainDay()
    {
        sqlite3_finalize(m_statement);
        sqlite3_close(m_database);
    }
    PlainDay(const PlainDay &) = delete;
    PlainDay &operator=(const PlainDay &) = delete;

    int Rows()
    {
        int rows = 0;
        for (; sqlite3_step(m_statement) == SQLITE_ROW; ++rows)
            benchmark::DoNotOptimize(sqlite3_column_blob(m_statement, 2));
        sqlite3_reset(m_statement);
        return rows;
    }

  private:
    static inline const delivery::Day kDay = std::chrono::sys_days(std::chrono::year(2026) / 11 / 23);
    sqlite3 *m_database = nullptr;
    sqlite3_stmt *m_statement = nullptr;
};

void DayOfACalendarInPlainSql(benchmark::State &state)
{
    PlainDay day(SiteWithCalendar());
    for (auto _ : state)
        if (day.Rows() < kRecurring)
            state.SkipWithError("the day is not full");
}

BENCHMARK(DayOfACalendar)->Unit(benchmark::kMicrosecond);
BENCHMARK(DayOfACalendarInPlainSql)->Unit(benchmark::kMicrosecond);

} // namespace

} // namespace bench
