// Folders, messages, attachments and recipients. Every writing function is one transaction: it happens whole or not
// at all, and has reached the disk when it returns.
#pragma once
#include "localmapi/storage/Changes.h"
#include "localmapi/storage/Site.h"
#include "localmapi/storage/Stream.h"
#include "localmapi/storage/Tags.h"

namespace localmapi::storage
{

enum class ObjectKind {
    Mailbox = 1,
    Folder = 2,
    Message = 3,
    Attachment = 4,
    Recipient = 5,
    User = 6,
    Contact = 7,
    ProfileSection = 8,
    Common = 9 // what several objects have in common: a list of recipients, or data
};

struct ObjectInfo {
    ObjectId id = 0;
    ObjectKind kind = ObjectKind::Message;
    ObjectId parent = 0;     // 0 for mailboxes, users and contacts
    std::int32_t number = 0; // of an attachment or recipient
    ChangeNumber change = 0; // for update's `expected`
};

struct NewMessage {
    ObjectId folder = 0;
    MessageChanges content;
};

// A place that a message goes to.
struct Destination {
    ObjectId folder = 0;
    MessageChanges changes; // what is other about it there; no attachments, no recipients
    // Another message, made in the folder, that carries this one in its first attachment.
    std::optional<MessageChanges> cover = {};
    // Its recipients there, unless they are as they were: a list that many places may have.
    std::shared_ptr<const std::vector<PropertyBag>> recipients = {};
};

// A message on its way.
struct Dispatch {
    ObjectId message = 0;                 // one that is stored; 0: one that is not (yet)
    std::optional<ChangeNumber> expected; // of the stored one: Changed unless it has that change number
    MessageChanges content;               // all of the one that is not stored; of the stored one what changes first
    std::vector<Destination> destinations;
};

class Objects
{
  public:
    explicit Objects(Site site) : m_site(std::move(site)) {}

    // Reading. Values longer than `longest` bytes come as StoredStream.
    static constexpr std::uint64_t kLongest = 32 * 1024;
    std::optional<ObjectInfo> Find(ObjectId id) const;
    std::vector<std::optional<ObjectInfo>> Find(const std::vector<ObjectId> &ids) const;
    ObjectInfo Info(ObjectId id) const; // NotFound
    // Everything, or the properties of these tags that there are.
    PropertyBag Read(ObjectId id) const { return ReadUpTo(id, kLongest); }
    PropertyBag ReadUpTo(ObjectId id, std::uint64_t longest) const;
    PropertyBag Read(ObjectId id, const std::vector<Tag> &tags, std::uint64_t longest = kLongest) const;
    std::vector<ObjectInfo> Attachments(ObjectId message) const; // by number
    std::vector<PropertyBag> Recipients(ObjectId message,
                                        std::uint64_t longest = kLongest) const; // in order, with kRowId
    ObjectId EmbeddedMessage(ObjectId attachment) const;                         // 0: none
    // A reader keeps to the bytes as they were; NotFound once they were replaced or deleted.
    std::unique_ptr<Stream> OpenStream(const StoredStream &stream) const;
    // The stream behind a property that Read() gave whole or not; nothing when the property is not there.
    std::unique_ptr<Stream> OpenProperty(ObjectId id, Tag tag) const;

    // Folders
    // How deep folders lie in a mailbox, the root included; a branch is removed by one statement, which goes only so
    // deep.
    static constexpr int kDeepestFolder = 128;
    ObjectId CreateFolder(ObjectId parent, const PropertyBag &properties); // Collision on the display name, TooComplex
    std::optional<ObjectId> FolderNamed(ObjectId parent, const std::string &name) const; // without regard to case
    void RemoveFolder(ObjectId folder);                                                  // with everything in it

    // Anything but messages: changes properties. With `expected`, Changed unless the object has that change number.
    ChangeNumber Change(ObjectId id, const Changes &changes, std::optional<ChangeNumber> expected = {});

    // Messages
    // `change` gets the message's change number.
    ObjectId CreateMessage(ObjectId folder, const MessageChanges &content, ChangeNumber *change = nullptr);
    std::vector<ObjectId> CreateMessages(const std::vector<NewMessage> &messages);
    ChangeNumber ChangeMessage(ObjectId message, const MessageChanges &changes,
                               std::optional<ChangeNumber> expected = {});
    // Lists: up to 2,000 messages are one transaction, longer ones are done in pieces, each of them a transaction. Each
    // answers in the order of `messages`; a message that is not there (any more) gives 0 or false, and so does one that
    // was not come to since a piece failed.
    std::vector<ObjectId> CopyMessages(const std::vector<ObjectId> &messages, ObjectId folder);
    std::vector<ObjectId> MoveMessages(const std::vector<ObjectId> &messages, ObjectId folder); // the new ids
    std::vector<bool> RemoveMessages(const std::vector<ObjectId> &messages);
    // Puts the message in every destination and takes the stored one from where it lies, unless a destination is just
    // there. The ids of what was made, in the order of the destinations.
    std::vector<ObjectId> Send(const Dispatch &dispatch);
    // Sets the bits of `set` and clears those of `clear` in kMessageFlags; true where the message is there. `known`,
    // where it is the message's change number, is so after this change too: nobody else's comes between.
    std::vector<bool> ChangeFlags(const std::vector<ObjectId> &messages, std::int32_t set, std::int32_t clear,
                                  ChangeNumber *known = nullptr);
    std::vector<bool> SetRead(const std::vector<ObjectId> &messages, bool read)
    {
        return read ? ChangeFlags(messages, kFlagRead, 0) : ChangeFlags(messages, 0, kFlagRead);
    }
    // Every message of the folder that is not associated; more than 2,000 in pieces, too. False where one of them
    // failed after others, which are done.
    bool RemoveAllMessages(ObjectId folder);
    bool SetAllRead(ObjectId folder, bool read);

  private:
    Site m_site;
};

} // namespace localmapi::storage
