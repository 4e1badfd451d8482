// Counts of messages that had to be looked at one by one, kept for as long as no message of their facet changes.
#pragma once
#include "localmapi/storage/FilterSql.h"
#include "platform/locks/Mutex.h"
#include <unordered_map>

namespace localmapi::storage
{

class CountCache
{
  public:
    // `change` is the facet's; a count that was stored with another one is out of date.
    std::optional<std::uint64_t> Find(const std::string &key, ChangeNumber change);
    void Store(const std::string &key, ChangeNumber change, std::uint64_t count);

  private:
    struct Entry {
        ChangeNumber change;
        std::uint64_t count;
    };
    locks::Mutex m_lock;
    std::unordered_map<std::string, Entry> m_entries GUARDED_BY(m_lock);
};

// Tells statements with their parameters apart.
std::string KeyOf(const SqlText &sql);

} // namespace localmapi::storage
