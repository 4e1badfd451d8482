// The removal of what is old, on a site that others work with.
#pragma once
#include "localmapi/storage/Site.h"
#include <functional>

namespace localmapi::storage
{

struct PurgeScope {
    std::optional<ObjectId> mailbox; // nothing: every one
    bool deletedOnly = false;        // Deleted Items and the folders in it; else every folder
    std::int64_t before = 0;         // the time that a message has to be older than
};

struct Purged {
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;
};

// A message is as old as its delivery, else as its submission, else as itself; in Deleted Items no older than its
// coming there. Outside of Deleted Items these stay, however old: what lies in the calendar, appointments, contacts,
// tasks and notes elsewhere, and what was not sent yet. Hidden messages always stay.

// What there is to remove now.
Purged CountToPurge(const Site &site, const PurgeScope &scope);

// Removes it for good, in pieces of at most 2,000 messages, each a transaction that is short, with time for other
// writers between them. After each piece `goOn` is told what was removed so far, with no lock held; false: no more.
Purged Purge(const Site &site, const PurgeScope &scope, const std::function<bool(const Purged &)> &goOn = {});

} // namespace localmapi::storage
