// Events as they come, and what they make of a copy of the table.
#include "Sink.h"
#include <algorithm>
#include <stdexcept>

namespace mapitest
{

namespace
{

Bytes KeyIn(const SPropValue &value)
{
    if (value.ulPropTag != PR_INSTANCE_KEY)
        return {};
    return {value.Value.bin.lpb, value.Value.bin.lpb + value.Value.bin.cb};
}

std::string TextOfColumn(const SPropValue &value)
{
    if (PROP_TYPE(value.ulPropTag) == PT_ERROR)
        return value.Value.err == MAPI_E_NOT_FOUND ? "-" : NameOf(HRESULT{value.Value.err});
    return TextOf(ValueOf(value));
}

} // namespace

STDMETHODIMP_(ULONG) Sink::OnNotify(ULONG count, LPNOTIFICATION notifications)
{
    std::lock_guard hold(m_lock);
    m_late = m_late || m_closed;
    for (ULONG i = 0; i < count; ++i) {
        const TABLE_NOTIFICATION &table = notifications[i].info.tab;
        Event event{table.ulTableEvent, KeyIn(table.propIndex), KeyIn(table.propPrior), {}};
        for (ULONG column = 0; column < table.row.cValues; ++column)
            event.row.push_back(TextOfColumn(table.row.lpProps[column]));
        m_events.push_back(std::move(event));
    }
    m_came.notify_all();
    return 0;
}

std::vector<Event> Sink::Take(std::chrono::steady_clock::time_point until)
{
    std::unique_lock hold(m_lock);
    m_came.wait_until(hold, until, [&] { return !m_events.empty(); });
    return std::exchange(m_events, {});
}

void Sink::Close()
{
    std::lock_guard hold(m_lock);
    m_closed = true;
}

bool Sink::WasToldAfterClose()
{
    std::lock_guard hold(m_lock);
    return m_late;
}

void TableCopy::Take(const Event &event)
{
    const auto row = [&](const Bytes &key) {
        return std::find_if(rows.begin(), rows.end(), [&](const Row &one) { return one.key == key; });
    };
    const auto refuse = [&](const char *why) { throw std::runtime_error(why + (" of row " + TextOf(event.index))); };
    switch (event.event) {
    case TABLE_CHANGED:
    case TABLE_RELOAD:
        reread = loose = true;
        owed.clear();
        return;
    case TABLE_ROW_ADDED:
    case TABLE_ROW_MODIFIED:
    case TABLE_ROW_DELETED:
        break;
    default:
        throw std::runtime_error("an event of kind " + std::to_string(event.event));
    }
    const bool known = row(event.index) != rows.end();
    // Of a row that changed twice before anybody looked it is not known whether it was shown in between. When the table
    // was restricted meanwhile, this is told of the former rows.
    if (event.event == TABLE_ROW_DELETED && hidden.count(event.index)) {
        reread = reread || known;
        loose = loose || known;
        return;
    }
    if (!MayBeToldOf(event.index))
        refuse("a notice without a change");
    if (MayBeFormer(event.index)) {
        owed.erase(event.index);
        reread = loose = true;
        return;
    }
    if (known)
        rows.erase(row(event.index));
    if (event.event == TABLE_ROW_DELETED) {
        if (!event.prior.empty() || !event.row.empty())
            refuse("a removal with a row");
        return;
    }
    if (!loose && event.event == TABLE_ROW_MODIFIED && !known)
        refuse("a change without the row");
    if (event.row.empty())
        refuse("a notice without columns");
    auto at = rows.begin();
    if (!event.prior.empty()) {
        at = row(event.prior);
        if (at != rows.end())
            ++at;
        else if (loose)
            reread = true;
        else
            refuse("an unknown row before that");
    }
    rows.insert(at, Row{event.index, event.row});
    owed.erase(event.index);
}

bool TableCopy::MayBeToldOf(const Bytes &key) const
{
    return std::any_of(changes.begin(), changes.end(), [&](const Changes &some) { return some.rows.count(key); });
}

bool TableCopy::MayBeFormer(const Bytes &key) const
{
    return std::any_of(changes.begin(), changes.end(), [&](const Changes &some) { return some.former.count(key); });
}

std::string TableCopy::Text() const
{
    std::string text;
    for (const Row &row : rows) {
        text += "  ";
        for (const std::string &column : row.columns)
            text += column + " ";
        text += "\n";
    }
    return text;
}

} // namespace mapitest
