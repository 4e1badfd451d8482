// What a disk may hold of a site after the power went: of all that was written and not synced, some of it in any order,
// the last of it torn.
#pragma once
#include "RecordingVfs.h"
#include <functional>
#include <random>

namespace localmapi::storage
{

struct DiskState {
    std::vector<char> site;
    std::vector<char> log;
    bool hasLog = false;

    void Apply(const DiskCall &written);
    bool operator==(const DiskState &) const = default;
};

// The states after the power went when so many of the records had been made, one after the other. Up to six writes that
// were not synced are there in every combination, whole and torn at 512 bytes; of more, `samples` by chance.
class PowerCuts
{
  public:
    PowerCuts(DiskState begin, const std::vector<DiskCall> &written, int samples, unsigned seed)
        : m_durable(std::move(begin)), m_written(written), m_samples(samples), m_random(seed)
    {
    }
    using Seen = std::function<void(std::size_t records, const DiskState &state)>;
    void Run(const Seen &seen);

  private:
    void Sync(Part part);
    void Combine(std::size_t records, const Seen &seen);
    DiskState Chosen(const std::vector<bool> &chosen, bool torn);
    void ApplyTorn(DiskState &state, const DiskCall &written);

    DiskState m_durable;
    const std::vector<DiskCall> &m_written;
    int m_samples;
    std::mt19937 m_random;
    std::vector<const DiskCall *> m_tail; // not synced, in its order
};

} // namespace localmapi::storage
