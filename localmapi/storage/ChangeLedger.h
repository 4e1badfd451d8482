// What a write transaction changed, as those who watch are to read it: collected while it works, written into the
// log of changes with it. A container of which more changed than anybody wants to hear one by one gets a single entry
// for each combination of facet values that its messages had or got.
#pragma once
#include "localmapi/storage/Facets.h"
#include "localmapi/storage/Objects.h"
#include <set>

namespace localmapi::storage
{

// An entry of the log. `before` is the facet key that a message had, or that several messages had or got; none for a
// message that is new, and for several that may be of any kind.
struct ChangeEntry {
    enum class Event { Added = 1, Modified = 2, Removed = 3, Several = 4 };
    std::int64_t number = 0; // in the log; grows, and is never used twice
    ObjectKind kind = ObjectKind::Message;
    Event event = Event::Several;
    ObjectId container = 0;
    ObjectId object = 0; // 0: several
    std::optional<FacetKey> before;
};

class ChangeLedger
{
  public:
    void messageAdded(ObjectId message, ObjectId container, const FacetKey &after);
    void messageChanged(ObjectId message, ObjectId container, const FacetKey &before, const FacetKey &after);
    void messageRemoved(ObjectId message, ObjectId container, const FacetKey &before);
    // All messages of a facet; nothing for `after` when they are gone.
    void facetChanged(ObjectId container, const FacetKey &before, const std::optional<FacetKey> &after);
    // Folders, users and contacts.
    void objectAdded(ObjectKind kind, ObjectId object, ObjectId container);
    void objectChanged(ObjectKind kind, ObjectId object, ObjectId container);
    // A folder with everything in it; before it is deleted.
    void folderRemoved(Connection &connection, ObjectId folder);
    // The file was repaired: whoever watches reads everything again.
    void everythingChanged() { m_everything = true; }

    // Writes the entries, with those that follow from them: a folder's own row tells how many messages and folders it
    // holds. `touched` are the containers of facets that were written: one of which nothing was told before is one in
    // which something happened all the same. Whether there was anything to write.
    bool settle(Connection &connection, ChangeNumber change, const std::set<ObjectId> &touched);

  private:
    struct Contents {
        std::vector<ChangeEntry> entries;
        std::set<FacetKey> keys;
        bool several = false;
    };
    Contents &add(ObjectId container, ChangeEntry::Event event, ObjectId message, const FacetKey *before,
                  const FacetKey *after);
    void addRowsOf(Connection &connection, const std::set<ObjectId> &touched);
    std::vector<ChangeEntry> entriesOf(ObjectId container, Contents &&contents);

    std::map<ObjectId, Contents> m_contents; // by the container of the messages
    std::vector<ChangeEntry> m_objects;
    std::set<ObjectId> m_counted; // containers with another number of messages, unread ones or folders
    std::set<ObjectId> m_told;    // folders that have an entry of their own
    bool m_everything = false;
};

// The newest entry's number. There is one in every log.
std::int64_t lastEntry(Connection &connection);
// Whether the entries after `number`, which was the newest one's once, are all there. As long as it is there itself
// they are: the oldest go first.
bool holdsEntriesAfter(Connection &connection, std::int64_t number);
// Up to `most` entries after `number`.
std::vector<ChangeEntry> entriesAfter(Connection &connection, std::int64_t number, std::size_t most);

} // namespace localmapi::storage
