// Which of the writes that were not synced are taken, and what a file is after them.
#include "PowerCut.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{
constexpr std::size_t kCombined = 6;
constexpr std::size_t kSector = 512;

void WriteAt(std::vector<char> &file, std::size_t at, const char *bytes, std::size_t size)
{
    if (file.size() < at + size)
        file.resize(at + size);
    std::copy(bytes, bytes + size, file.begin() + static_cast<std::ptrdiff_t>(at));
}
} // namespace

void DiskState::Apply(const DiskCall &written)
{
    std::vector<char> &file = written.part == Part::Site ? site : log;
    hasLog = hasLog || written.part == Part::Log;
    switch (written.kind) {
    case DiskCall::Kind::Write:
        WriteAt(file, static_cast<std::size_t>(written.at), written.bytes.data(), written.bytes.size());
        break;
    case DiskCall::Kind::Truncate:
        file.resize(std::min(file.size(), static_cast<std::size_t>(written.at)));
        break;
    case DiskCall::Kind::Delete:
        file.clear();
        hasLog = false;
        break;
    case DiskCall::Kind::Sync:
        break;
    }
}

void PowerCuts::Run(const Seen &seen)
{
    for (std::size_t records = 0;; ++records) {
        Combine(records, seen);
        if (records == m_written.size())
            return;
        const DiskCall &next = m_written[records];
        if (next.kind == DiskCall::Kind::Sync)
            Sync(next.part);
        else
            m_tail.push_back(&next);
    }
}

// With a file its name is there too, so that another one that had it is gone.
void PowerCuts::Sync(Part part)
{
    std::erase_if(m_tail, [&](const DiskCall *written) {
        if (written->part != part)
            return false;
        m_durable.Apply(*written);
        return true;
    });
}

void PowerCuts::Combine(std::size_t records, const Seen &seen)
{
    const std::size_t count = m_tail.size();
    if (count <= kCombined) {
        for (std::size_t mask = 0; mask < std::size_t{1} << count; ++mask) {
            std::vector<bool> chosen(count);
            for (std::size_t i = 0; i < count; ++i)
                chosen[i] = (mask >> i & 1) != 0;
            seen(records, Chosen(chosen, false));
            if (mask != 0)
                seen(records, Chosen(chosen, true));
        }
        return;
    }
    for (int sample = 0; sample < m_samples; ++sample) {
        // All of it and none of it too, and with every share in between.
        const auto share = static_cast<unsigned>(sample % 11);
        std::vector<bool> chosen(count);
        std::generate(chosen.begin(), chosen.end(), [&] { return m_random() % 10 < share; });
        // In order, up to somewhere: what a disk does that is well-behaved.
        if (sample % 4 == 3)
            std::fill(chosen.begin(), chosen.begin() + static_cast<std::ptrdiff_t>(m_random() % (count + 1)), true);
        seen(records, Chosen(chosen, sample % 3 == 1));
    }
}

DiskState PowerCuts::Chosen(const std::vector<bool> &chosen, bool torn)
{
    DiskState state = m_durable;
    bool isOldLog = false; // that a deletion which got lost would have taken away: what follows is another file
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        const DiskCall &written = *m_tail[i];
        if (written.kind == DiskCall::Kind::Delete)
            isOldLog = isOldLog || !chosen[i];
        if (!chosen[i] || (isOldLog && written.part == Part::Log))
            continue;
        if (torn && written.kind == DiskCall::Kind::Write && m_random() % 2 == 0)
            ApplyTorn(state, written);
        else
            state.Apply(written);
    }
    return state;
}

void PowerCuts::ApplyTorn(DiskState &state, const DiskCall &written)
{
    const bool fromStart = m_random() % 2 == 0; // up to somewhere, or any of its sectors
    const auto at = static_cast<std::size_t>(written.at);
    const std::size_t end = at + written.bytes.size();
    const std::size_t until = at + m_random() % written.bytes.size();
    state.hasLog = state.hasLog || written.part == Part::Log;
    for (std::size_t from = at; from < end;) {
        const std::size_t to = std::min(end, (from / kSector + 1) * kSector);
        if (fromStart ? to <= until : m_random() % 2 == 0)
            WriteAt(written.part == Part::Site ? state.site : state.log, from, written.bytes.data() + (from - at),
                    to - from);
        from = to;
    }
}

} // namespace localmapi::storage
