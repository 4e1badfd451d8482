// The exports that read a day of the calendar.
#include "api/Frame.h"
#include "api/ResultBlock.h"
#include "common/trace/debug.h"
#include "session/calendar/CalendarEvent.h"

namespace
{

constexpr int kFirstLine = 10000;

// The three flags of the record are never written: they hold what the allocator left there, as the contract has it.
template <class Flavour>
void CopyEvent(ResultBlock<typename Flavour::CalendarEvent> &block, std::size_t i, const CalendarEvent &event)
{
    auto &record = block[i];
    record.pszLocation = block.template ExactText<Flavour>(event.strLocation);
    record.pszSubject = block.template ExactText<Flavour>(event.strSubject);
    record.pszBody = block.template ExactText<Flavour>(event.strBody);
    record.lDuration = event.lDuration;
    record.stStart = event.stStart;
    record.stEnd = event.stEnd;
}

template <class Flavour>
HRESULT ObtainCalendarEvents(const Here &here, DWORD hConnection, OrlMailbox hMailbox,
                             const typename Flavour::Char *szDate, typename Flavour::CalendarEvent **ppEvents,
                             ULONG *pcEvents)
{
    *pcEvents = 0;
    return WithMailbox(here, hConnection, hMailbox, [&](CMAPIImpl &session, IMsgStore *pIMsgStore) -> HRESULT {
        std::vector<CalendarEvent> events;
        const HRESULT hr = session.ObtainCalendarEvents(pIMsgStore, Flavour::In(szDate), events);
        DebugOutputA(kTraceCall, "%s: ObtainCalendarEvents returned %d events", here.szFunction,
                     static_cast<int>(events.size()));
        if (FAILED(hr))
            return hr;
        ResultBlock<typename Flavour::CalendarEvent> block(here, events.size());
        ULONG completed = 0;
        for (; completed < events.size() && !block.Failed(); ++completed) {
            CopyEvent<Flavour>(block, completed, events[completed]);
            if (block.Failed())
                break;
        }
        const HRESULT result = block.Result();
        if (auto *records = block.Release())
            *ppEvents = records;
        *pcEvents = completed;
        return result;
    });
}

} // namespace

HRESULT ORLAPI OrlMapiObtainCalendarEventsA(DWORD hConnection, OrlMailbox hMailbox, LPCSTR szDate,
                                            CalendarEventA **ppEvents, ULONG *pcEvents)
{
    return ObtainCalendarEvents<Narrow>(ORL_HERE("OrlMapiObtainCalendarEventsA"), hConnection, hMailbox, szDate,
                                        ppEvents, pcEvents);
}

HRESULT ORLAPI OrlMapiObtainCalendarEventsW(DWORD hConnection, OrlMailbox hMailbox, LPCWSTR szDate,
                                            CalendarEventW **ppEvents, ULONG *pcEvents)
{
    return ObtainCalendarEvents<Wide>(ORL_HERE("OrlMapiObtainCalendarEventsW"), hConnection, hMailbox, szDate, ppEvents,
                                      pcEvents);
}
