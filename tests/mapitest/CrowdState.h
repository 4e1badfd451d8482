// What the shared folders hold at one moment of a possible order of steps. A value: many are held beside each other.
#pragma once
#include "CrowdStep.h"
#include <map>

namespace mapitest
{

class CrowdState
{
  public:
    // Does the step; false when its answer does not fit. One that was never answered may have had any.
    bool Apply(const Step &step);
    // A message that is there from the beginning.
    void Put(int folder, const SeenRow &row)
    {
        m_known[row.id] = {folder, row.label, row.flags, row.status, row.value};
    }
    // The same for states that differ in nothing.
    std::string Key() const;
    std::string Text() const;

  private:
    struct Item {
        int folder = 0;
        std::string label;
        std::int32_t flags = 0;
        std::int32_t status = 0;
        std::int32_t value = 0;
        auto operator<=>(const Item &) const = default;
    };
    struct Handle {
        std::int64_t id = 0;
        bool current = true; // nobody else changed the message since
    };

    bool ApplyRows(const Step &step);
    bool ApplyList(const Step &step);
    bool ApplySave(const Step &step);
    bool ApplyMark(const Step &step);
    Item *Find(std::int64_t id)
    {
        const auto found = m_known.find(id);
        return found == m_known.end() ? nullptr : &found->second;
    }
    void AddUnknown(Item item);
    void Change(std::int64_t id, Item &item, int byThread);
    void SetRead(std::int64_t id, Item &item, bool read, int byThread);

    std::map<std::int64_t, Item> m_known; // by the message's number
    std::vector<Item> m_unknown;          // whose numbers nobody has seen; sorted
    std::map<int, Handle> m_handles;      // by thread
};

} // namespace mapitest
