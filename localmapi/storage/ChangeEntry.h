// An entry: what one write transaction did to one object, or to several of one container, as a numbered row of the
// site's file that is written with the transaction. Watches read them; the oldest go when there are many.
#pragma once
#include "localmapi/storage/Facets.h"
#include "localmapi/storage/Objects.h"

namespace localmapi::storage
{

// `before` is the facet key that a message had, or that several messages had or got; none for a
// message that is new, and for several that may be of any kind.
struct ChangeEntry {
    enum class Event { Added = 1, Modified = 2, Removed = 3, Several = 4 };
    std::int64_t number = 0; // grows, and is never used twice
    ObjectKind kind = ObjectKind::Message;
    Event event = Event::Several;
    ObjectId container = 0;
    ObjectId object = 0; // 0: several
    std::optional<FacetKey> before;
};

// The most entries of one transaction; all of them have numbers that are this many times its change number, and a rest.
inline constexpr std::int64_t kEntriesPerChange = 1 << 20;

// The newest entry's number. There is one in every site.
std::int64_t LastEntry(Connection &connection);
// Whether the entries after `number`, which was the newest one's once, are all there. As long as it is there itself
// they are: the oldest go first.
bool HoldsEntriesAfter(Connection &connection, std::int64_t number);
// Up to `most` entries after `number`.
std::vector<ChangeEntry> EntriesAfter(Connection &connection, std::int64_t number, std::size_t most);

} // namespace localmapi::storage
