// What a site takes on the disk, and what its mailboxes hold and may hold: the sizes of their messages, embedded ones
// within those that carry them. Any thread.
#pragma once
#include "localmapi/storage/Site.h"
#include <map>

namespace localmapi::storage
{

class Connection;

struct MailboxSize {
    ObjectId mailbox = 0;
    std::int64_t messages = 0;
    std::int64_t bytes = 0;
    std::optional<std::int64_t> quota; // the most bytes it may hold
};

// Of every mailbox, by its number.
std::vector<MailboxSize> MailboxSizes(const Site &site);
MailboxSize SizeOfMailbox(const Site &site, ObjectId mailbox); // NotFound

struct FileSizes {
    std::int64_t file = 0;    // bytes
    std::int64_t log = 0;     // of the log beside it
    std::int64_t free = 0;    // of the file, which nothing is in: what comes is written there first
    std::int64_t reserve = 0; // set aside beside it for a full disk
    std::int64_t format = 0;
};
FileSizes SizesOfFile(const Site &site);

// What is there stays, whatever the quota; nothing more comes in while the mailbox holds as much. NotFound; Invalid.
void SetQuota(const Site &site, ObjectId mailbox, std::optional<std::int64_t> bytes);

// OverQuota, with the mailboxes.
class MailboxesFull : public Error
{
  public:
    MailboxesFull(const std::string &text, std::vector<ObjectId> mailboxes)
        : Error(Fault::OverQuota, text), m_mailboxes(std::move(mailboxes))
    {
    }
    const std::vector<ObjectId> &Mailboxes() const { return m_mailboxes; }

  private:
    std::vector<ObjectId> m_mailboxes;
};

// For this layer only.
std::int64_t BytesIn(Connection &connection, ObjectId mailbox);
std::optional<std::int64_t> QuotaOf(Connection &connection, ObjectId mailbox);
// Throws MailboxesFull where a mailbox grew, by what its folders grew, beyond what it may hold. What makes none larger
// passes: in a full mailbox one can delete, move and mark.
void RequireRoom(Connection &connection, const std::map<ObjectId, std::int64_t> &growth);

} // namespace localmapi::storage
