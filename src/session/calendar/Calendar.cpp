// A day of the calendar: its folder, the appointments that lie within the day, and those that recur on it.
#include "ExchangeMapi.h"
#include "common/mapi/MapiArguments.h"
#include "common/mapi/Restriction.h"
#include "session/CMAPIImpl.h"
#include "session/ReceiveFolder.h"
#include "session/calendar/CalendarEvent.h"
#include "session/calendar/RecurrenceMatch.h"
#include <array>
#include <stdio.h>

namespace
{

constexpr GUID kMeeting = {0x6ED8DA90, 0x450B, 0x101B, {0x98, 0xDA, 0x00, 0xAA, 0x00, 0x3F, 0x13, 0x05}};
constexpr GUID kAppointment = {0x00062002, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

// The columns, in their order; the first eight are named properties.
enum Column { IsRecurring, BusyStatus, Location, Start, End, Duration, Recurrence, RecurrenceType, Subject, Body };

struct NamedColumn {
    const GUID *pPropertySet;
    LONG lid;
    ULONG ulType;
};
constexpr NamedColumn kNamedColumns[] = {
    {&kMeeting, 0x0005, PT_BOOLEAN},     {&kAppointment, 0x8205, PT_LONG},    {&kAppointment, 0x8208, PT_UNICODE},
    {&kAppointment, 0x820D, PT_SYSTIME}, {&kAppointment, 0x820E, PT_SYSTIME}, {&kAppointment, 0x8213, PT_LONG},
    {&kAppointment, 0x8216, PT_BINARY},  {&kAppointment, 0x8231, PT_LONG},
};
constexpr ULONG kNames = static_cast<ULONG>(std::size(kNamedColumns));
using Columns = std::array<ULONG, kNames + 2>;

Columns ResolveColumns(IMAPIFolder *pFolder)
{
    Columns columns;
    MAPINAMEID names[kNames] = {};
    LPMAPINAMEID pointers[kNames];
    for (ULONG i = 0; i < kNames; ++i) {
        columns[i] = PROP_TAG(PT_UNSPECIFIED, static_cast<ULONG>(kNamedColumns[i].lid));
        names[i].lpguid = MapiIn(kNamedColumns[i].pPropertySet);
        names[i].ulKind = MNID_ID;
        names[i].Kind.lID = kNamedColumns[i].lid;
        pointers[i] = &names[i];
    }
    columns[Subject] = CHANGE_PROP_TYPE(PR_NORMALIZED_SUBJECT, PT_STRING8);
    columns[Body] = CHANGE_PROP_TYPE(PR_BODY, PT_STRING8);

    // A failure is ignored, as the contract has it: the columns then keep the bare identifiers.
    MapiBuffer<SPropTagArray> tags;
    if (SUCCEEDED(pFolder->GetIDsFromNames(kNames, pointers, 0, tags.put())) && tags)
        for (ULONG i = 0; i < kNames && i < tags->cValues; ++i)
            columns[i] = CHANGE_PROP_TYPE(tags->aulPropTag[i], kNamedColumns[i].ulType);
    return columns;
}

HRESULT InstantOf(const Operation &operation, const WCHAR *format, const tstring &szDate, SYSTEMTIME &utc,
                  FILETIME &instant)
{
    WCHAR text[256];
    _snwprintf_s(text, std::size(text), _TRUNCATE, format, szDate.c_str());
    const HRESULT hr = CMAPIImpl::UCTTimeFromString(text, &utc);
    if (FAILED(hr))
        return hr;
    if (!SystemTimeToFileTime(&utc, &instant)) {
        operation.Failed("SystemTimeToFileTime", nullptr, static_cast<HRESULT>(GetLastError()));
        return E_INVALIDARG;
    }
    return hr;
}

// From "00:00 am" to the beginning of the last minute, as the contract has it: what ends later is not within the day.
HRESULT FindDay(const Operation &operation, const tstring &szDate, CalendarDay &day)
{
    SYSTEMTIME start = {};
    const HRESULT hr = InstantOf(operation, OLESTR("%hs 00:00 am"), szDate, start, day.ftStart);
    if (FAILED(hr))
        return hr;
    return InstantOf(operation, OLESTR("%hs 11:59 pm"), szDate, day.stReference, day.ftEnd);
}

Restriction DayFilter(const Columns &columns, const CalendarDay &day)
{
    return Any({All({Restriction::Compare({columns[End], "end"}, RELOP_LE, day.ftEnd),
                     Restriction::Compare({columns[Start], "start"}, RELOP_GE, day.ftStart)}),
                Restriction::Compare({columns[IsRecurring], "is recurring"}, RELOP_EQ, true)});
}

// A row as it is read: the appointment, and what decides whether it belongs to the day.
struct Appointment {
    CalendarEvent event;
    RecurrencePattern pattern;
    bool bInclude = true;
    bool bRecurring = false;
    bool bParsed = false;
};

void ReadBusyStatus(LONG lStatus, Appointment &appointment)
{
    switch (lStatus) {
    case 0: // free
        appointment.bInclude = false;
        break;
    case 1:
        appointment.event.bTentative = 1;
        break;
    case 2:
        appointment.event.bBusy = 1;
        break;
    case 3:
        appointment.event.bOutOfOffice = 1;
        break;
    default:
        break;
    }
}

void ReadTime(const Operation &operation, const FILETIME &time, SYSTEMTIME &utc)
{
    if (!FileTimeToSystemTime(&time, &utc))
        operation.Failed("FileTimeToSystemTime", nullptr, static_cast<HRESULT>(GetLastError()));
}

// Whether a value is a column's. One of another type, above all an error in its place, says nothing.
bool Is(const SPropValue &value, const Columns &columns, Column column, ULONG ulType)
{
    return PROP_ID(value.ulPropTag) == PROP_ID(columns[column]) && PROP_TYPE(value.ulPropTag) == ulType;
}

void ReadValue(const Operation &operation, const Columns &columns, const SPropValue &value, Appointment &appointment)
{
    CalendarEvent &event = appointment.event;
    if (Is(value, columns, Start, PT_SYSTIME))
        ReadTime(operation, value.Value.ft, event.stStart);
    else if (Is(value, columns, End, PT_SYSTIME))
        ReadTime(operation, value.Value.ft, event.stEnd);
    else if (Is(value, columns, Duration, PT_LONG))
        event.lDuration = value.Value.l;
    else if (Is(value, columns, IsRecurring, PT_BOOLEAN))
        appointment.bRecurring = value.Value.b != 0;
    else if (Is(value, columns, BusyStatus, PT_LONG))
        ReadBusyStatus(value.Value.l, appointment);
    else if (Is(value, columns, Recurrence, PT_BINARY))
        appointment.bParsed = ReadRecurrencePattern(value.Value.bin.lpb, value.Value.bin.cb, appointment.pattern);
}

void ReadText(const Columns &columns, const SPropValue &value, CalendarEvent &event)
{
    if (Is(value, columns, Location, PT_UNICODE))
        event.strLocation = value.Value.lpszW;
    else if (Is(value, columns, Location, PT_STRING8))
        event.strLocation = value.Value.lpszA;
    else if (Is(value, columns, Subject, PT_STRING8))
        event.strSubject = value.Value.lpszA;
    else if (Is(value, columns, Body, PT_STRING8))
        event.strBody = value.Value.lpszA;
}

// Every recurring appointment of the folder is a row of each day: the texts are read of those alone that belong to it.
Appointment ReadRow(const Operation &operation, const Columns &columns, const SRow &row, const CalendarDay &day)
{
    Appointment appointment;
    for (ULONG i = 0; i < row.cValues; ++i)
        ReadValue(operation, columns, row.lpProps[i], appointment);
    if (appointment.bInclude && appointment.bRecurring && appointment.bParsed) {
        appointment.bInclude = MatchesDay(appointment.pattern, day);
        if (appointment.bInclude)
            MoveToDay(appointment.event, day.stReference);
    }
    for (ULONG i = 0; appointment.bInclude && i < row.cValues; ++i)
        ReadText(columns, row.lpProps[i], appointment.event);
    return appointment;
}

HRESULT QueryDay(const Operation &operation, IMAPITable *pTable, const Columns &columns, const CalendarDay &day,
                 RowSet &rows)
{
    SizedSPropTagArray(kNames + 2, tags) = {static_cast<ULONG>(columns.size()), {}};
    std::copy(columns.begin(), columns.end(), tags.aulPropTag);
    SizedSSortOrderSet(1, earliestFirst) = {1, 0, 0, {{columns[Start], TABLE_SORT_ASCEND}}};
    const Restriction filter = DayFilter(columns, day);
    const HRESULT hr = HrQueryAllRows(pTable, reinterpret_cast<LPSPropTagArray>(&tags), filter.Get(),
                                      reinterpret_cast<LPSSortOrderSet>(&earliestFirst), 0, rows.put());
    if (FAILED(hr))
        // "Calender", as the contract has it.
        return operation.Failed("HrQueryAllRows", "trying to get the rows from Calender folder.", pTable, hr);
    return hr;
}

} // namespace

HRESULT CMAPIImpl::ObtainCalendarEvents(IMsgStore *pIMsgStore, const tstring &szDate,
                                        std::vector<CalendarEvent> &events)
{
    const CountedOperation operation(OpenObjects(), "CMAPIImpl::ObtainCalendarEvents",
                                     "pIMsgStore: %p, szDate: \"%s\", ...", static_cast<void *>(pIMsgStore),
                                     szDate.c_str());
    return operation.Stage([&]() -> HRESULT {
        if (!pIMsgStore)
            return NoStore(operation);
        events.clear();
        ReceiveFolder inbox;
        HRESULT hr = OpenReceiveFolder(operation, pIMsgStore, inbox);
        if (FAILED(hr))
            return hr;

        ULONG cValues = 0;
        MapiBuffer<SPropValue> values;
        hr = inbox.get()->GetProps(PropTags<PR_IPM_APPOINTMENT_ENTRYID>(), 0, &cValues, values.put());
        if (FAILED(hr))
            return operation.Failed("GetProps", "trying to determine the ID for the Outlook Calendar.", inbox.get(),
                                    hr);
        for (ULONG i = 0; values && i < cValues; ++i) {
            const SPropValue &value = values.get()[i];
            if (value.ulPropTag == PR_IPM_APPOINTMENT_ENTRYID)
                hr = ScanCalendarFolder(pIMsgStore, value.Value.bin.cb, value.Value.bin.lpb, szDate, events);
        }
        return hr;
    });
}

HRESULT CMAPIImpl::ScanCalendarFolder(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID,
                                      const tstring &szDate, std::vector<CalendarEvent> &events)
{
    const StoreEntry calendar(pIMsgStore, cbEntryID, lpEntryID);
    // The entry ID without quotes, as the contract has it.
    const CountedOperation operation(OpenObjects(), "CMAPIImpl::ScanCalendarFolder",
                                     "pIMsgStore: %p, EntryID: %s, szDate: \"%s\", ...",
                                     static_cast<void *>(calendar.pIMsgStore), calendar.Text().c_str(), szDate.c_str());
    return operation.Stage([&]() -> HRESULT {
        Counted<IMAPIFolder> folder;
        HRESULT hr = OpenCounted(operation, calendar, &IID_IMAPIFolder, MAPI_BEST_ACCESS,
                                 // "Calender", as the contract has it.
                                 "trying to access and open the Calender folder.", folder);
        if (FAILED(hr))
            return hr;
        Counted<IMAPITable> table;
        hr = table.Count(folder->GetContentsTable(0, table.object.put()), OpenObjects());
        if (FAILED(hr))
            return operation.Failed("GetContentsTable",
                                    // "Calender", as the contract has it.
                                    "trying to retrieve the contents table for the Calender folder.", folder.get(), hr);
        const Columns columns = ResolveColumns(folder.get());
        CalendarDay day;
        hr = FindDay(operation, szDate, day);
        if (FAILED(hr))
            return hr;
        RowSet rows;
        hr = QueryDay(operation, table.get(), columns, day, rows);
        if (FAILED(hr))
            return hr;
        const ScopedCount rowsCounted(OpenObjects());
        for (ULONG i = 0; rows && i < rows->cRows; ++i) {
            Appointment appointment = ReadRow(operation, columns, rows->aRow[i], day);
            if (appointment.bInclude)
                events.push_back(std::move(appointment.event));
        }
        return hr;
    });
}
