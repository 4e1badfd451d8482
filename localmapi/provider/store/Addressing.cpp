// Finding the person behind a recipient: by entry ID, else by address, else by name; each says why it failed.
#include "localmapi/provider/store/Addressing.h"
#include "localmapi/provider/addressbook/AddressEntries.h"
#include "localmapi/provider/addressbook/Recipients.h"
#include "localmapi/provider/site/NameMatch.h"
#include "localmapi/provider/store/StoreTags.h"

namespace localmapi
{

using storage::PropertyBag;

namespace
{

std::string TextIn(const PropertyBag &bag, storage::Tag tag)
{
    const auto *text = bag.get<std::string>(tag);
    return text ? *text : std::string();
}

class Search
{
  public:
    Search(const StoreContext &store, const PropertyBag &recipient) : m_store(store) { m_found.recipient = recipient; }

    Addressee Run()
    {
        if (const auto *id = m_found.recipient.get<storage::Bytes>(PR_ENTRYID); id && ByEntryId(*id))
            return std::move(m_found);
        const std::string type = TextIn(m_found.recipient, PR_ADDRTYPE_W);
        const std::string address = TextIn(m_found.recipient, PR_EMAIL_ADDRESS_W);
        if (!address.empty())
            ByAddress(type.empty() && storage::IsSmtpAddress(address) ? "SMTP" : type, address);
        else
            ByName(TextIn(m_found.recipient, PR_DISPLAY_NAME_W));
        return std::move(m_found);
    }

  private:
    bool ByEntryId(const storage::Bytes &bytes)
    {
        try {
            const EntryId id =
                m_store.Parse(static_cast<ULONG>(bytes.size()), reinterpret_cast<const ENTRYID *>(bytes.data()));
            if (id.kind == EntryKind::OneOff)
                ByAddress(id.addressType, id.address);
            else if (id.kind == EntryKind::MailUser || id.kind == EntryKind::Contact)
                ByEntry(id.object);
            else
                return false;
            return true;
        } catch (const Failure &) {
            // Another provider's: the address is left to go by.
            return false;
        }
    }

    void ByAddress(const std::string &type, const std::string &address)
    {
        const bool here = EqualIgnoringCase(type, "EX");
        if (here)
            m_found.user = m_store.directory.UserByDn(address);
        else if (EqualIgnoringCase(type, "SMTP"))
            m_found.user = m_store.directory.UserBySmtp(address);
        if (m_found.user)
            Complete(m_found.user->id);
        else if (here)
            Unknown("There is no such recipient in this site.");
        else
            Away(type);
    }

    void ByName(const std::string &name)
    {
        if (const auto oneOff = ParseOneOffText(name))
            return ByAddress(oneOff->addressType, oneOff->address);
        const auto matches = MatchesOf(m_store.site, name);
        if (matches.size() == 1)
            return ByEntry(matches.front());
        if (matches.empty())
            return Unknown("There is no such recipient in this site.");
        m_found.reason = "The name fits several recipients.";
        m_found.diagnosis = MAPI_DIAG_OR_NAME_AMBIGUOUS;
    }

    void ByEntry(storage::ObjectId id)
    {
        m_found.user = m_store.directory.GetUser(id);
        const auto contact = m_found.user ? std::nullopt : m_store.directory.GetContact(id);
        if (!m_found.user && !contact)
            return Unknown("The recipient is not in the directory any more.");
        Complete(id);
        // Nobody who has a mailbox here is a contact too: an address is there once.
        if (contact)
            Away("SMTP");
    }

    void Complete(storage::ObjectId id)
    {
        constexpr storage::Tag kTags[] = {PR_DISPLAY_NAME_W, PR_ADDRTYPE_W,  PR_EMAIL_ADDRESS_W, PR_ENTRYID,
                                          PR_SEARCH_KEY,     PR_OBJECT_TYPE, PR_DISPLAY_TYPE,    kPrSmtpAddress};
        const PropertyBag entry = DirectoryProperties(m_store.site, id);
        for (const storage::Tag tag : kTags)
            if (const auto *value = entry.Find(tag); value && !m_found.recipient.FindId(storage::TagId(tag)))
                m_found.recipient.Set(tag, *value);
    }

    void Unknown(const char *reason)
    {
        m_found.reason = reason;
        m_found.diagnosis = MAPI_DIAG_OR_NAME_UNRECOGNIZED;
    }
    void Away(const std::string &type)
    {
        m_found.reason = "From this site there is no way to recipients of the type " +
                         (type.empty() ? std::string("(none)") : type) + ".";
        m_found.diagnosis = MAPI_DIAG_RECIPIENT_UNAVAILABLE;
    }

    const StoreContext &m_store;
    Addressee m_found;
};

} // namespace

Addressee FindAddressee(const StoreContext &store, const PropertyBag &recipient)
{
    return Search(store, recipient).Run();
}

void SetParty(PropertyBag &bag, const PartyTags &tags, const PropertyBag &entry)
{
    const std::pair<storage::Tag, storage::Tag> pairs[] = {{tags.name, PR_DISPLAY_NAME_W},
                                                           {tags.addressType, PR_ADDRTYPE_W},
                                                           {tags.address, PR_EMAIL_ADDRESS_W},
                                                           {tags.entryId, PR_ENTRYID},
                                                           {tags.searchKey, PR_SEARCH_KEY}};
    for (const auto &[to, from] : pairs)
        if (const auto *value = entry.Find(from))
            bag.Set(to, *value);
}

PropertyBag RecipientFrom(const PropertyBag &bag, const PartyTags &tags)
{
    PropertyBag recipient;
    const std::pair<storage::Tag, storage::Tag> pairs[] = {{PR_DISPLAY_NAME_W, tags.name},
                                                           {PR_ADDRTYPE_W, tags.addressType},
                                                           {PR_EMAIL_ADDRESS_W, tags.address},
                                                           {PR_ENTRYID, tags.entryId},
                                                           {PR_SEARCH_KEY, tags.searchKey}};
    for (const auto &[to, from] : pairs)
        if (const auto *value = bag.Find(from))
            recipient.Set(to, *value);
    return recipient;
}

} // namespace localmapi
