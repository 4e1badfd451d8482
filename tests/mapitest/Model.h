// What a site ought to hold: mailboxes, folders, messages and the drafts that clients have of them. No MAPI object and
// nothing of localmapi is in it; it belongs to one thread.
#pragma once
#include "Condition.h"
#include <optional>
#include <set>

namespace mapitest
{

// Folders, messages, drafts, tables and bookmarks are named by the operation that made them, so that a history from
// which operations were taken out still means the same ones. 0 is none.
using Name = std::uint32_t;

struct Recipient {
    std::int32_t type = MAPI_TO;
    int user = 0; // 0 Alice, 1 Bob
    std::string name;
    std::int32_t row = 0; // PR_ROWID
};

struct Attachment {
    std::string file;
    Bytes data;
    std::optional<std::string> embedded; // the subject of the message that it holds
};

// What a message says, with what follows from it.
struct Content {
    Properties properties;
    std::vector<Recipient> recipients;
    std::map<std::int32_t, Attachment> attachments; // by number

    void Set(ULONG tag, const Value &value);
    void Remove(ULONG tag) { properties.erase(tag); }
    std::int32_t Flags() const;
    // What is stored beside the parts that it follows from.
    void FollowSubject(const std::optional<std::string> &prefix);
    void FollowRecipients();
    void FollowAttachments();
};

struct Message {
    Name name = 0;
    Name folder = 0;
    std::uint64_t sequence = 0; // later ones have later entry IDs
    std::int64_t version = 0;   // of what is stored
    Content content;
    bool timesUnknown = false; // it was sent just now
    Bytes entryId;             // none until it is known
    Bytes instanceKey;
};

struct Folder {
    Name name = 0;
    Name parent = 0;
    int mailbox = 0;
    std::string text;
    bool special = false;
};

// A message as one client has it open: what is stored, and what he changed and did not save.
struct Draft {
    Name message = 0; // none for a message that was not saved yet
    Name folder = 0;
    std::int64_t version = 0;
    bool writable = true;
    bool submitted = false;
    bool changed = false;
    Properties set;
    std::set<ULONG> removed;
    std::optional<std::string> prefix; // of the subject, where the client gave it
    std::optional<std::vector<Recipient>> recipients;
    std::map<std::int32_t, std::optional<Attachment>> attachments; // nothing: removed

    // Nothing is to be saved; a message that was not saved yet is something.
    bool IsEmpty() const { return message && set.empty() && removed.empty() && !recipients && attachments.empty(); }
};

inline constexpr std::int32_t kRead = 1, kUnsent = 8, kHasAttachments = 16, kAssociated = 64;
inline constexpr int kMailboxes = 2;

class Model
{
  public:
    std::map<Name, Folder> folders;
    std::map<Name, Message> messages;

    // The folder's messages by sequence.
    std::vector<Message *> In(Name folder);
    std::vector<const Message *> In(Name folder) const { return const_cast<Model *>(this)->Constant(folder); }
    Message *FindMessage(Name name);
    std::vector<Name> Subfolders(Name folder) const;
    // The folder and all below it.
    void RemoveFolder(Name folder);
    void RemoveMessage(Name message);
    Message &AddMessage(Name name, Name folder, Content content);
    // A new entry ID and another folder.
    Message &MoveMessage(Name message, Name newName, Name folder);
    void Touch(Message &message) { ++message.version, touched.push_back({message.name, message.folder}); }

    // As a client sees it; nothing when the message is gone.
    std::optional<Content> Effective(const Draft &draft);
    // What is stored when the draft is saved.
    void Apply(const Draft &draft, Content &content) const;

    // Which messages came, went or changed, and in which folder, since it was emptied last.
    struct Touched {
        Name message;
        Name folder;
    };
    std::vector<Touched> touched;

  private:
    std::vector<const Message *> Constant(Name folder);
    std::uint64_t m_sequence = 0;
};

// "RE: " and what follows it.
std::pair<std::string, std::string> SplitSubject(const std::string &subject, const std::optional<std::string> &prefix);
Content NewContent();

} // namespace mapitest
