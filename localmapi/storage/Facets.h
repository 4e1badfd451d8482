// The facets of messages (see the schema): which there are, and how a writer keeps their counts.
#pragma once
#include "localmapi/storage/Filter.h"
#include "localmapi/storage/Sqlite.h"
#include <map>
#include <set>
#include <tuple>

namespace localmapi::storage
{

struct FacetKey {
    std::int32_t flags = 0;
    std::optional<std::string> messageClass;
    std::optional<std::int32_t> importance;
    auto operator<=>(const FacetKey &) const = default;
    PropertyBag Bag() const; // under the tags that a facet answers for
};

struct Facet {
    std::int64_t id = 0;
    FacetKey key;
    std::int64_t count = 0;
    std::int64_t bytes = 0;  // the sizes of its messages
    ChangeNumber change = 0; // the last one to one of its messages
};

// Messages that come or go, and their sizes.
struct Tally {
    std::int64_t messages = 1;
    std::int64_t bytes = 0;
};

std::vector<Facet> FacetsOf(Connection &connection, ObjectId container);
std::pair<ObjectId, FacetKey> KeyOfFacet(Connection &connection, std::int64_t facet);

// Whether the tag's value follows from a message's facet.
bool IsFacetTag(Tag tag);

// What is left of a filter for the messages of one facet: true, false, or conditions on other properties.
struct Residue {
    bool always = false;
    bool never = false;
    Filter filter; // when neither
};
Residue ResidueFor(const Filter &filter, const PropertyBag &facet);

// Whether nothing is ever left of a filter.
bool IsDecidedByFacets(const Filter &filter);

// Collects the comings and goings of messages in a write transaction; Settle() writes them.
class FacetWriter
{
  public:
    // The facet of a message in `container`, made if need be.
    std::int64_t Enter(Connection &connection, ObjectId container, const FacetKey &key, Tally tally = {});
    void Leave(std::int64_t facet, Tally tally);
    // The containers of the facets that were written.
    std::set<ObjectId> Settle(Connection &connection, ChangeNumber change);
    // By how many bytes each of them grew, once that is settled.
    const std::map<ObjectId, std::int64_t> &Growth() const { return m_growth; }

  private:
    std::map<std::pair<ObjectId, FacetKey>, std::int64_t> m_known;
    std::map<std::int64_t, Tally> m_deltas;
    std::map<ObjectId, std::int64_t> m_growth;
};

} // namespace localmapi::storage
