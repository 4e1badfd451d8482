// What each step does, and which answers fit it.
#include "CrowdState.h"
#include "Model.h"
#include <algorithm>
#include <mapicode.h>
#include <mapiutil.h>

namespace mapitest
{

namespace
{

bool Fits(const Step &step, HRESULT result)
{
    return !step.answered || step.result == result;
}

} // namespace

void CrowdState::AddUnknown(Item item)
{
    m_unknown.insert(std::upper_bound(m_unknown.begin(), m_unknown.end(), item), item);
}

void CrowdState::Change(std::int64_t id, Item &, int byThread)
{
    for (auto &[thread, handle] : m_handles)
        if (handle.id == id && thread != byThread)
            handle.current = false;
}

void CrowdState::SetRead(std::int64_t id, Item &item, bool read, int byThread)
{
    const std::int32_t flags = read ? item.flags | kRead : item.flags & ~kRead;
    if (flags == item.flags)
        return;
    item.flags = flags;
    Change(id, item, byThread);
}

// All rows of a folder: those whose numbers are known, and as many others, which are known from now on.
bool CrowdState::ApplyRows(const Step &step)
{
    if (!step.answered)
        return true;
    std::size_t here = 0;
    for (const auto &[id, item] : m_known)
        here += item.folder == step.folder;
    std::vector<Item> unknown;
    for (const SeenRow &row : step.rows) {
        Item seen{step.folder, row.label, row.flags, row.status, row.value};
        if (const Item *item = Find(row.id)) {
            if (*item != seen)
                return false;
            --here;
        } else {
            unknown.push_back(std::move(seen));
        }
    }
    if (here != 0)
        return false;
    std::sort(unknown.begin(), unknown.end());
    std::vector<Item> ours, others;
    for (const Item &item : m_unknown)
        (item.folder == step.folder ? ours : others).push_back(item);
    if (ours != unknown)
        return false;
    m_unknown = std::move(others);
    for (const SeenRow &row : step.rows)
        m_known.try_emplace(row.id, Item{step.folder, row.label, row.flags, row.status, row.value});
    return true;
}

bool CrowdState::ApplyList(const Step &step)
{
    bool complete = true;
    for (const std::int64_t id : step.ids) {
        Item *item = Find(id);
        if (!item || item->folder != step.folder) {
            complete = false;
            continue;
        }
        switch (step.kind) {
        case Step::Kind::MarkList:
            SetRead(id, *item, step.read, -1);
            break;
        case Step::Kind::Copy:
        case Step::Kind::Move: {
            Item other = *item;
            other.folder = step.to;
            AddUnknown(std::move(other));
            if (step.kind == Step::Kind::Move)
                m_known.erase(id);
            break;
        }
        default:
            m_known.erase(id);
        }
    }
    return Fits(step, complete ? S_OK : MAPI_W_PARTIAL_COMPLETION);
}

bool CrowdState::ApplySave(const Step &step)
{
    const Handle handle = m_handles[step.thread];
    Item *item = Find(handle.id);
    if (!item)
        return Fits(step, MAPI_E_OBJECT_DELETED);
    if (!handle.current)
        return Fits(step, MAPI_E_OBJECT_CHANGED);
    item->value = step.value;
    Change(handle.id, *item, step.thread);
    return Fits(step, S_OK);
}

bool CrowdState::ApplyMark(const Step &step)
{
    const Handle handle = m_handles[step.thread];
    Item *item = Find(handle.id);
    if (!item)
        return Fits(step, MAPI_E_OBJECT_DELETED);
    SetRead(handle.id, *item, step.read, step.thread);
    return Fits(step, S_OK);
}

bool CrowdState::Apply(const Step &step)
{
    using Kind = Step::Kind;
    switch (step.kind) {
    case Kind::Create: {
        Item item{step.folder, step.label, kRead | kUnsent, 0, step.value};
        // Where it was gone before its maker could ask for its name, its number is not known.
        if (!step.answered || !step.id)
            AddUnknown(std::move(item));
        else if (!m_known.emplace(step.id, std::move(item)).second)
            return false;
        return Fits(step, S_OK);
    }
    case Kind::Rows:
        return ApplyRows(step);
    case Kind::Count: {
        const auto counts = [&](const Item &item) {
            return item.folder == step.folder && (!step.read || !(item.flags & kRead));
        };
        const auto known =
            std::count_if(m_known.begin(), m_known.end(), [&](const auto &one) { return counts(one.second); });
        return !step.answered || known + std::count_if(m_unknown.begin(), m_unknown.end(), counts) == step.old;
    }
    case Kind::Open:
        m_handles[step.thread] = {step.ids.front(), true};
        return Fits(step, Find(step.ids.front()) ? S_OK : MAPI_E_NOT_FOUND);
    case Kind::Get: {
        const Item *item = Find(m_handles[step.thread].id);
        if (!item || !step.answered)
            return Fits(step, MAPI_E_OBJECT_DELETED);
        if (step.result != S_OK || step.rows.size() != 1)
            return false;
        const SeenRow &row = step.rows.front();
        return row.label == item->label && row.flags == item->flags && row.value == item->value;
    }
    case Kind::Save:
        return ApplySave(step);
    case Kind::Mark:
        return ApplyMark(step);
    case Kind::MarkList:
    case Kind::Delete:
    case Kind::Copy:
    case Kind::Move:
        return ApplyList(step);
    case Kind::Status: {
        Item *item = Find(step.ids.front());
        if (!item || item->folder != step.folder)
            return Fits(step, MAPI_E_NOT_FOUND);
        if (step.answered && step.old != item->status)
            return false;
        item->status = (item->status & ~step.mask) | (step.value & step.mask);
        Change(step.ids.front(), *item, -1);
        return Fits(step, S_OK);
    }
    case Kind::Send:
        AddUnknown({static_cast<int>(SharedFolder::BobsInbox), step.label, 0, 0, step.value});
        AddUnknown({static_cast<int>(SharedFolder::Sent), step.label, kRead, 0, step.value});
        return Fits(step, S_OK);
    case Kind::AllRead:
        for (auto &[id, item] : m_known)
            if (item.folder == step.folder)
                SetRead(id, item, step.read, -1);
        for (Item &item : m_unknown)
            if (item.folder == step.folder)
                item.flags = step.read ? item.flags | kRead : item.flags & ~kRead;
        std::sort(m_unknown.begin(), m_unknown.end());
        return Fits(step, S_OK);
    }
    return false;
}

std::string CrowdState::Key() const
{
    std::string key;
    const auto add = [&](const Item &item) {
        key += item.label + ',' + std::to_string(item.folder) + ',' + std::to_string(item.flags) + ',' +
               std::to_string(item.status) + ',' + std::to_string(item.value) + ';';
    };
    for (const auto &[id, item] : m_known) {
        key += std::to_string(id) + ':';
        add(item);
    }
    key += '|';
    for (const Item &item : m_unknown)
        add(item);
    key += '|';
    for (const auto &[thread, handle] : m_handles)
        key += std::to_string(thread) + ':' + std::to_string(handle.id) + (handle.current ? '+' : '-');
    return key;
}

std::string CrowdState::Text() const
{
    std::string text;
    const auto add = [&](const Item &item) {
        text += item.label + " in folder " + std::to_string(item.folder) + ", flags " + std::to_string(item.flags) +
                ", status " + std::to_string(item.status) + ", value " + std::to_string(item.value) + "\n";
    };
    for (const auto &[id, item] : m_known) {
        text += "  " + std::to_string(id) + ": ";
        add(item);
    }
    for (const Item &item : m_unknown) {
        text += "  ?: ";
        add(item);
    }
    for (const auto &[thread, handle] : m_handles)
        text += "  thread " + std::to_string(thread) + " has " + std::to_string(handle.id) + " open" +
                (handle.current ? "\n" : ", which was changed since\n");
    return text;
}

} // namespace mapitest
