// The entries of one write transaction: collected while it works, written with it. A container of which more changed
// than anybody wants to hear one by one gets a single entry for each combination of facet values that its messages had
// or got.
#pragma once
#include "localmapi/storage/ChangeEntry.h"
#include <set>

namespace localmapi::storage
{

class EntryWriter
{
  public:
    void MessageAdded(ObjectId message, ObjectId container, const FacetKey &after);
    void MessageChanged(ObjectId message, ObjectId container, const FacetKey &before, const FacetKey &after);
    void MessageRemoved(ObjectId message, ObjectId container, const FacetKey &before);
    // All messages of a facet; nothing for `after` when they are gone.
    void FacetChanged(ObjectId container, const FacetKey &before, const std::optional<FacetKey> &after);
    // Folders, users and contacts.
    void ObjectAdded(ObjectKind kind, ObjectId object, ObjectId container);
    void ObjectChanged(ObjectKind kind, ObjectId object, ObjectId container);
    // A folder with everything in it; before it is deleted.
    void FolderRemoved(Connection &connection, ObjectId folder);
    // The file was repaired: every watch looks at everything again.
    void EverythingChanged() { m_everything = true; }

    // Writes the entries, with those that follow from them: a folder's own row tells how many messages and folders it
    // holds. `touched` are the containers of facets that were written: one of which nothing was told before is one in
    // which something happened all the same. Whether there was anything to write.
    bool Settle(Connection &connection, ChangeNumber change, const std::set<ObjectId> &touched);

  private:
    struct Contents {
        std::vector<ChangeEntry> entries;
        std::set<FacetKey> keys;
        bool several = false;
    };
    Contents &Add(ObjectId container, ChangeEntry::Event event, ObjectId message, const FacetKey *before,
                  const FacetKey *after);
    void AddRowsOf(Connection &connection, const std::set<ObjectId> &touched);
    std::vector<ChangeEntry> EntriesOf(ObjectId container, Contents &&contents);

    std::map<ObjectId, Contents> m_contents; // by the container of the messages
    std::vector<ChangeEntry> m_objects;
    std::set<ObjectId> m_counted; // containers with another number of messages, unread ones or folders
    std::set<ObjectId> m_told;    // folders that have an entry of their own
    bool m_everything = false;
};

} // namespace localmapi::storage
