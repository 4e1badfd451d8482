// Reads the entries of a site as they come: whom they concern. One thread at a time.
#pragma once
#include "localmapi/storage/View.h"
#include <set>

namespace localmapi::storage
{

// What the entries that were read concern.
struct EntrySummary {
    std::int64_t upTo = 0; // the number of the last entry that was looked at
    bool lost = false;     // changes that are not known any more may concern everybody
    bool folders = false;  // some folder, of any mailbox
    bool directory = false;
    std::set<ObjectId> contents;  // folders in whose messages something changed
    std::set<ObjectId> hierarchy; // folders of whose direct subfolders one changed
    bool empty() const { return !lost && !folders && !directory && contents.empty(); }
    bool Concerns(const Container &container) const;
};

class EntryReader
{
  public:
    explicit EntryReader(Site site); // from now on
    EntrySummary Next();

  private:
    Site m_site;
    std::int64_t m_position = 0;
};

} // namespace localmapi::storage
