// Where a submitted message goes: the sender's rights, each recipient's receive folder, the sent copy, the report.
#include "localmapi/provider/store/Transport.h"
#include "ExchangeMapi.h"
#include "localmapi/provider/addressbook/AddressEntries.h"
#include "localmapi/provider/store/Addressing.h"
#include "localmapi/provider/store/NonDelivery.h"
#include "localmapi/provider/store/ReceiveFolders.h"
#include "localmapi/storage/Time.h"
#include "platform/lifetime/Lasting.h"

#include <algorithm>
#include <array>

namespace localmapi
{

using storage::Destination;
using storage::PropertyBag;

namespace
{

// What concerns the way of a message is of no use once it has arrived; some of it would be harmful there, as it is
// copied on when the message is forwarded.
constexpr std::array<storage::Tag, 4> kForTheWay = {PR_DELETE_AFTER_SUBMIT, PR_SENTMAIL_ENTRYID, PR_SUBMIT_FLAGS,
                                                    PR_MSG_STATUS};

std::int32_t TypeOf(const PropertyBag &recipient)
{
    const auto *type = recipient.get<std::int32_t>(PR_RECIPIENT_TYPE);
    return type ? *type & 0xF : MAPI_TO;
}

class Router
{
  public:
    Router(const StoreContext &store, const Outgoing &message, const std::set<storage::ObjectId> &full)
        : m_store(store), m_message(message), m_full(full)
    {
    }

    std::vector<Destination> Run()
    {
        if (m_message.recipients.empty())
            throw Failure(MAPI_E_NO_RECIPIENTS, "The message has no recipients.");
        m_sender = DirectoryProperties(m_store.site, m_store.owner.id);
        m_represented = Represented();
        const storage::ObjectId sentFolder = SentFolder();
        std::vector<Addressee> unreached;
        std::vector<storage::User> users;
        for (const PropertyBag &recipient : m_message.recipients) {
            Addressee found = FindAddressee(m_store, recipient);
            if (TypeOf(recipient) != MAPI_BCC)
                m_shown->push_back(found.recipient);
            m_all->push_back(found.recipient);
            if (found.user && m_full.count(found.user->mailbox)) {
                found.user.reset();
                found.reason = "The mailbox is full.";
                found.diagnosis = MAPI_DIAG_RECIPIENT_UNAVAILABLE;
            }
            if (!found.user) {
                unreached.push_back(std::move(found));
                continue;
            }
            Note(found.user->id, TypeOf(recipient));
            const auto same = [&](const storage::User &user) { return user.id == found.user->id; };
            if (std::none_of(users.begin(), users.end(), same))
                users.push_back(*found.user);
        }
        std::vector<Destination> destinations;
        if (!unreached.empty())
            destinations.push_back(ReportTo(m_store.owner, unreached));
        for (const storage::User &user : users)
            destinations.push_back(DeliveryTo(user));
        if (sentFolder)
            destinations.push_back(SentCopy(sentFolder));
        return destinations;
    }

  private:
    struct How {
        storage::ObjectId user;
        bool to = false, copy = false;
    };

    const std::string *Text(storage::Tag tag) const { return m_message.properties.get<std::string>(tag); }

    void Note(storage::ObjectId user, std::int32_t type)
    {
        auto known = std::find_if(m_how.begin(), m_how.end(), [&](const How &how) { return how.user == user; });
        if (known == m_how.end())
            known = m_how.insert(m_how.end(), {user});
        known->to |= type == MAPI_TO;
        known->copy |= type == MAPI_CC;
    }

    // On whose behalf: the sender's own, unless the message names somebody for whom the user may act.
    PropertyBag Represented() const
    {
        const PropertyBag named = RecipientFrom(m_message.properties, kRepresented);
        if (!named.Find(PR_EMAIL_ADDRESS_W) && !named.Find(PR_ENTRYID))
            return m_sender;
        const Addressee found = FindAddressee(m_store, named);
        const auto user = m_store.directory.GetUser(m_store.user);
        const bool may = found.user ? found.user->id == m_store.owner.id ||
                                          m_store.directory.MayOpen(m_store.user, found.user->mailbox)
                                    : user && user->service;
        if (!may)
            throw Failure(MAPI_E_NO_ACCESS, "The user may not send for whom the message says.");
        return found.user ? DirectoryProperties(m_store.site, found.user->id) : found.recipient;
    }

    // Where the message is kept: nowhere (0) when it is to be deleted, else in the folder that it names, else where it
    // lies.
    storage::ObjectId SentFolder() const
    {
        if (const auto *gone = m_message.properties.get<bool>(PR_DELETE_AFTER_SUBMIT); gone && *gone)
            return 0;
        const auto *entry = m_message.properties.get<storage::Bytes>(PR_SENTMAIL_ENTRYID);
        if (!entry || entry->empty())
            return m_message.folder;
        const EntryId id = ParseEntryId(m_store.uid, static_cast<ULONG>(entry->size()),
                                        reinterpret_cast<const ENTRYID *>(entry->data()), EntryKind::Folder);
        const auto info = m_store.objects.Find(id.object);
        const auto mailbox =
            info && info->kind == storage::ObjectKind::Folder ? m_store.directory.MailboxOf(id.object) : std::nullopt;
        if (!mailbox)
            throw Failure(MAPI_E_NOT_FOUND, "The folder for the sent copy is not there.");
        if (!m_store.directory.MayOpen(m_store.user, *mailbox))
            throw Failure(MAPI_E_NO_ACCESS, "The user may not write to the folder for the sent copy.");
        return id.object;
    }

    // What the message says of its way, in every place.
    storage::MessageChanges Sent() const
    {
        storage::MessageChanges changes;
        changes.properties.remove.assign(kForTheWay.begin(), kForTheWay.end());
        PropertyBag &set = changes.properties.set;
        set.Set(PR_CLIENT_SUBMIT_TIME, m_now);
        set.Set(PR_MESSAGE_DELIVERY_TIME, m_now);
        SetParty(set, kSender, m_sender);
        SetParty(set, kRepresented, m_represented);
        if (!Text(PR_CREATOR_NAME_W))
            set.Set(PR_CREATOR_NAME_W, *m_sender.get<std::string>(PR_DISPLAY_NAME_W));
        const std::string *topic = Text(PR_NORMALIZED_SUBJECT_W);
        if (topic && !Text(PR_CONVERSATION_TOPIC_W))
            set.Set(PR_CONVERSATION_TOPIC_W, *topic);
        return changes;
    }

    Destination DeliveryTo(const storage::User &user) const
    {
        const std::string *messageClass = Text(PR_MESSAGE_CLASS_W);
        const How &how = *std::find_if(m_how.begin(), m_how.end(), [&](const How &one) { return one.user == user.id; });
        Destination destination{Receiving(user, messageClass ? *messageClass : std::string()), Sent(), {}};
        PropertyBag &set = destination.changes.properties.set;
        set.Set(PR_MESSAGE_FLAGS, std::int32_t{0});
        const PropertyBag receiver = DirectoryProperties(m_store.site, user.id);
        SetParty(set, kReceivedBy, receiver);
        SetParty(set, kReceivedFor, receiver);
        set.Set(PR_MESSAGE_TO_ME, how.to);
        set.Set(PR_MESSAGE_CC_ME, how.copy);
        set.Set(PR_MESSAGE_RECIP_ME, how.to || how.copy);
        // Nobody sees who got a blind copy.
        set.Set(PR_DISPLAY_BCC_W, std::string());
        destination.recipients = m_shown;
        return destination;
    }

    Destination SentCopy(storage::ObjectId folder) const
    {
        Destination destination{folder, Sent(), {}};
        destination.changes.properties.set.Set(PR_MESSAGE_FLAGS, std::int32_t{MSGFLAG_READ});
        destination.recipients = m_all;
        return destination;
    }

    Destination ReportTo(const storage::User &sender, const std::vector<Addressee> &unreached) const
    {
        // The message as it was submitted, so that it can be sent again.
        Destination destination;
        destination.changes.properties.set.Set(PR_CLIENT_SUBMIT_TIME, m_now);
        destination.cover = NonDeliveryReport({m_message.properties, unreached, m_sender, m_now});
        destination.folder = Receiving(sender, *destination.cover->properties.set.get<std::string>(PR_MESSAGE_CLASS_W));
        return destination;
    }

    storage::ObjectId Receiving(const storage::User &user, const std::string &messageClass) const
    {
        const auto folders = ReceiveFoldersOf(m_store.objects, m_store.directory.GetMailbox(user.mailbox));
        return ReceiveFolderFor(folders, messageClass).folder;
    }

    const StoreContext &m_store;
    const Outgoing &m_message;
    const std::set<storage::ObjectId> &m_full;
    const std::int64_t m_now = storage::CurrentTime();
    PropertyBag m_sender, m_represented;
    // Recipients, without and with those of blind copies.
    using List = std::shared_ptr<std::vector<PropertyBag>>;
    const List m_shown = std::make_shared<std::vector<PropertyBag>>();
    const List m_all = std::make_shared<std::vector<PropertyBag>>();
    std::vector<How> m_how;
};

} // namespace

const std::vector<storage::Tag> &SubmissionTags()
{
    static const std::vector<storage::Tag> &tags = lifetime::LastingFrom([] {
        return std::vector<storage::Tag>{PR_MESSAGE_CLASS_W,      PR_MESSAGE_FLAGS,         PR_SUBJECT_W,
                                         PR_NORMALIZED_SUBJECT_W, PR_CONVERSATION_TOPIC_W,  PR_SEARCH_KEY,
                                         PR_DELETE_AFTER_SUBMIT,  PR_SENTMAIL_ENTRYID,      PR_CREATOR_NAME_W,
                                         kRepresented.name,       kRepresented.addressType, kRepresented.address,
                                         kRepresented.entryId,    kRepresented.searchKey};
    });
    return tags;
}

std::vector<Destination> Route(const StoreContext &store, const Outgoing &message,
                               const std::set<storage::ObjectId> &full)
{
    return Router(store, message, full).Run();
}

} // namespace localmapi
