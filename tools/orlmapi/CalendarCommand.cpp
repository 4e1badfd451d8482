// The appointments of one day, as lines or as JSON.
#include "Commands.h"
#include "Failure.h"
#include "Output.h"
#include <algorithm>
#include <cstdio>
#include <vector>
#include <windows.h>

namespace
{

// Today, in a form that every locale takes.
std::string Today()
{
    SYSTEMTIME now;
    GetLocalTime(&now);
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u", now.wYear, now.wMonth, now.wDay);
    return text;
}

nlohmann::ordered_json EventAsJson(const CalendarEventW &event)
{
    const auto time = [](const std::string &text) {
        return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
    };
    return {{"start", time(IsoTime(event.stStart))},
            {"end", time(IsoTime(event.stEnd))},
            {"minutes", LONG{event.lDuration}},
            {"subject", tool::ToUtf8(event.pszSubject)},
            {"location", tool::ToUtf8(event.pszLocation)},
            {"body", tool::ToUtf8(event.pszBody)}};
}

// "2026-11-23 09:00" in local time; empty where the time is not set.
std::string LocalText(SYSTEMTIME utc)
{
    SYSTEMTIME local;
    if (utc.wYear == 0 || !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return {};
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u", local.wYear, local.wMonth, local.wDay, local.wHour,
                  local.wMinute);
    return text;
}

// A line an appointment, and its text indented below. An end on the day of the start is its time of day alone.
void PrintEvent(const CalendarEventW &event)
{
    constexpr std::size_t kDate = 11; // with the blank behind it
    const std::string start = LocalText(event.stStart);
    std::string end = LocalText(event.stEnd);
    if (start.size() > kDate && end.compare(0, kDate, start, 0, kDate) == 0)
        end.erase(0, kDate);
    std::string line = start + " - " + end + "  " + tool::Clean(tool::ToUtf8(event.pszSubject));
    const std::string location = tool::Clean(tool::ToUtf8(event.pszLocation));
    if (!location.empty())
        line += " (" + location + ")";
    PrintLine(line);
    std::string body = tool::CleanText(tool::ToUtf8(event.pszBody));
    body.erase(body.find_last_not_of(" \r\n\t") + 1);
    for (std::size_t at = 0; at < body.size();) {
        const std::size_t lineEnd = body.find('\n', at);
        std::string text = body.substr(at, lineEnd == std::string::npos ? lineEnd : lineEnd - at);
        if (!text.empty() && text.back() == '\r')
            text.pop_back();
        PrintLine("    " + text);
        at = lineEnd == std::string::npos ? body.size() : lineEnd + 1;
    }
}

} // namespace

void ShowCalendar(const Common &common, const std::string &mailboxName, const std::string &date)
{
    const std::string day = date.empty() ? Today() : date;
    const Mailbox mailbox(common.logon, mailboxName);
    Result<CalendarEventW> events;
    ULONG count = 0;
    const HRESULT hr = OrlMapiObtainCalendarEventsW(mailbox.ConnectionHandle(), mailbox.Handle(),
                                                    tool::ToWide(day).c_str(), events.put(), &count);
    // A code without a name, which says most often what went wrong.
    if (hr == DISP_E_TYPEMISMATCH)
        throw Failure("\"" + day + "\" is no date that this locale knows", hr);
    Check(hr, "reading the calendar of " + mailboxName + " on \"" + day + "\"");
    // The library lists recurring appointments where their series began.
    std::vector<const CalendarEventW *> byStart;
    for (ULONG i = 0; i < count; ++i)
        byStart.push_back(&events[i]);
    std::stable_sort(byStart.begin(), byStart.end(), [](const CalendarEventW *left, const CalendarEventW *right) {
        return IsoTime(left->stStart) < IsoTime(right->stStart);
    });
    if (common.json) {
        nlohmann::ordered_json document = nlohmann::ordered_json::array();
        for (const CalendarEventW *event : byStart)
            document.push_back(EventAsJson(*event));
        PrintJson(document);
        return;
    }
    for (const CalendarEventW *event : byStart)
        PrintEvent(*event);
    PrintLine(std::to_string(count) + (count == 1 ? " appointment" : " appointments"));
}
