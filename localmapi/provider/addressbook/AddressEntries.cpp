// The properties of the address book's entries, made of the directory's rows, and the schema of the table over it.
#include "localmapi/provider/addressbook/AddressEntries.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/site/NameMatch.h"
#include "localmapi/storage/Objects.h"
#include "localmapi/storage/Tags.h"

#ifndef PR_SMTP_ADDRESS_W
#define PR_SMTP_ADDRESS_W PROP_TAG(PT_UNICODE, 0x39FE)
#endif

namespace localmapi
{

namespace
{

using storage::Bytes;
using storage::Filter;
using storage::PropertyBag;
using storage::Value;

constexpr char kExchange[] = "EX";

Value Number(ULONG value)
{
    return static_cast<std::int32_t>(value);
}

// "TYPE:ADDRESS" in upper case with its terminator, as search keys of recipients are.
Bytes SearchKey(const std::string &type, const std::string &address)
{
    Bytes key;
    for (const char c : type + ":" + address)
        key.push_back(static_cast<std::uint8_t>(c >= 'a' && c <= 'z' ? c - 32 : c));
    key.push_back(0);
    return key;
}

std::string TextOf(const Value &value)
{
    const auto *text = std::get_if<std::string>(&value);
    return text ? *text : std::string();
}

storage::ObjectId IdOf(const Value &value)
{
    const auto *id = std::get_if<std::int64_t>(&value);
    return id ? *id : 0;
}

bool IsUser(const Value &addressType)
{
    return TextOf(addressType) == kExchange;
}

Bytes EntryIdOf(const SiteUid &site, bool user, storage::ObjectId id)
{
    return MakeEntryId(site, user ? EntryKind::MailUser : EntryKind::Contact, id);
}

PropertyBag ContainerProperties(const Bytes &entryId, const char *name, ULONG displayType, ULONG flags)
{
    PropertyBag bag;
    bag.Set(PR_ENTRYID, entryId);
    bag.Set(PR_RECORD_KEY, entryId);
    bag.Set(PR_INSTANCE_KEY, entryId);
    bag.Set(PR_OBJECT_TYPE, Number(MAPI_ABCONT));
    bag.Set(PR_DISPLAY_TYPE, Number(displayType));
    bag.Set(PR_DISPLAY_NAME_W, std::string(name));
    bag.Set(PR_CONTAINER_FLAGS, Number(flags));
    bag.Set(PR_AB_PROVIDER_ID, Bytes(kAddressBookProvider.ab, kAddressBookProvider.ab + sizeof(MAPIUID)));
    return bag;
}

storage::ObjectId InstanceKeyId(const Bytes &key)
{
    if (key.size() != sizeof(std::int64_t))
        return 0;
    std::uint64_t id = 0;
    for (std::size_t i = key.size(); i-- > 0;)
        id = id << 8 | key[i];
    return static_cast<storage::ObjectId>(id);
}

Bytes InstanceKey(storage::ObjectId id)
{
    Bytes key;
    for (std::size_t i = 0; i < sizeof id; ++i)
        key.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(id) >> (8 * i)));
    return key;
}

Filter Nothing()
{
    return Filter::Any({});
}

Filter ObjectIs(storage::ObjectId id)
{
    return Filter::Compare(storage::kObjectId, storage::Relation::Equal, id);
}

Filter IsOfType(bool user)
{
    auto filter = Filter::Compare(storage::kAddressType, storage::Relation::Equal, std::string(kExchange));
    return user ? filter : Filter::Negate(std::move(filter));
}

// The condition that the entry ID that a client holds is the row's.
Filter EntryIdIs(const SiteUid &site, const Value &value)
{
    const auto *bytes = std::get_if<Bytes>(&value);
    try {
        if (bytes) {
            const EntryId id =
                ParseEntryId(site, static_cast<ULONG>(bytes->size()), reinterpret_cast<const ENTRYID *>(bytes->data()));
            if (id.kind == EntryKind::MailUser || id.kind == EntryKind::Contact)
                return Filter::All({ObjectIs(id.object), IsOfType(id.kind == EntryKind::MailUser)});
        }
    } catch (const Failure &) {
        // It is no row's.
    }
    return Nothing();
}

} // namespace

PropertyBag RootContainerProperties(const SiteUid &site)
{
    return ContainerProperties(MakeEntryId(site, EntryKind::AddressBookRoot), "Address Book", DT_NOT_SPECIFIC,
                               AB_SUBCONTAINERS | AB_UNMODIFIABLE);
}

PropertyBag GlobalListProperties(const SiteUid &site)
{
    auto bag = ContainerProperties(MakeEntryId(site, EntryKind::GlobalAddressList), "Global Address List", DT_GLOBAL,
                                   AB_RECIPIENTS | AB_UNMODIFIABLE);
    bag.Set(PR_DEPTH, Number(0));
    return bag;
}

PropertyBag DirectoryProperties(const storage::Site &site, storage::ObjectId id)
{
    const storage::Objects objects(site);
    const auto info = objects.Find(id);
    if (!info || (info->kind != storage::ObjectKind::User && info->kind != storage::ObjectKind::Contact))
        throw Failure(MAPI_E_NOT_FOUND, "The directory has no such entry.");
    PropertyBag bag = objects.Read(id);
    const bool user = info->kind == storage::ObjectKind::User;
    const auto text = [&](storage::Tag tag) {
        const Value *value = bag.Find(tag);
        return value ? TextOf(*value) : std::string();
    };
    const Bytes entryId = EntryIdOf(site.Info().uid, user, id);
    bag.Set(PR_ENTRYID, entryId);
    bag.Set(PR_RECORD_KEY, entryId);
    bag.Set(PR_INSTANCE_KEY, InstanceKey(id));
    bag.Set(PR_SEARCH_KEY, SearchKey(text(storage::kAddressType), text(storage::kEmailAddress)));
    bag.Set(PR_OBJECT_TYPE, Number(MAPI_MAILUSER));
    bag.Set(PR_DISPLAY_TYPE, Number(user ? DT_MAILUSER : DT_REMOTE_MAILUSER));
    bag.Set(PR_SEND_RICH_INFO, user);
    bag.Set(PR_TRANSMITABLE_DISPLAY_NAME_W, text(storage::kDisplayName));
    return bag;
}

PropertyBag OneOffProperties(const EntryId &oneOff)
{
    const Bytes entryId = MakeOneOff(oneOff.name, oneOff.addressType, oneOff.address, true,
                                     !(oneOff.oneOffFlags & MAPI_ONE_OFF_NO_RICH_INFO));
    PropertyBag bag;
    bag.Set(PR_ENTRYID, entryId);
    bag.Set(PR_RECORD_KEY, entryId);
    bag.Set(PR_INSTANCE_KEY, entryId);
    bag.Set(PR_SEARCH_KEY, SearchKey(oneOff.addressType, oneOff.address));
    bag.Set(PR_OBJECT_TYPE, Number(MAPI_MAILUSER));
    bag.Set(PR_DISPLAY_TYPE, Number(DT_MAILUSER));
    bag.Set(PR_DISPLAY_NAME_W, oneOff.name);
    bag.Set(PR_TRANSMITABLE_DISPLAY_NAME_W, oneOff.name);
    bag.Set(PR_ADDRTYPE_W, oneOff.addressType);
    bag.Set(PR_EMAIL_ADDRESS_W, oneOff.address);
    bag.Set(PR_SEND_RICH_INFO, !(oneOff.oneOffFlags & MAPI_ONE_OFF_NO_RICH_INFO));
    if (EqualIgnoringCase(oneOff.addressType, "SMTP"))
        bag.Set(PR_SMTP_ADDRESS_W, oneOff.address);
    return bag;
}

PropertyBag RecipientProperties(const SessionContext &session, ULONG size, const ENTRYID *entry)
{
    const EntryId id = ParseEntryId(session.uid, size, entry);
    switch (id.kind) {
    case EntryKind::MailUser:
    case EntryKind::Contact:
        return DirectoryProperties(*session.site, id.object);
    case EntryKind::OneOff:
        return OneOffProperties(id);
    default:
        throw Failure(MAPI_E_INVALID_ENTRYID, "The entry identifier is not that of a recipient.");
    }
}

TableSchema DirectorySchema(const SiteUid &site, bool unicode)
{
    using From = std::span<const Value>;
    TableSchema schema;
    schema.columns = {PR_ENTRYID,        PR_DISPLAY_NAME_W, PR_ADDRTYPE_W,   PR_EMAIL_ADDRESS_W,
                      PR_OBJECT_TYPE,    PR_DISPLAY_TYPE,   PR_INSTANCE_KEY, PR_ACCOUNT_W,
                      PR_SMTP_ADDRESS_W, PR_SEARCH_KEY,     PR_RECORD_KEY};
    schema.unicode = unicode;
    schema.constants.Set(PR_OBJECT_TYPE, Number(MAPI_MAILUSER));
    const auto entryId = [site](From from) -> Value { return EntryIdOf(site, IsUser(from[1]), IdOf(from[0])); };
    const auto entryIdIs = [site](const Value &value) { return EntryIdIs(site, value); };
    for (const storage::Tag tag : {PR_ENTRYID, PR_RECORD_KEY})
        schema.derived.push_back({tag, {storage::kObjectId, storage::kAddressType}, entryId, entryIdIs});
    schema.derived.push_back({PR_INSTANCE_KEY,
                              {storage::kObjectId},
                              [](From from) -> Value { return InstanceKey(IdOf(from[0])); },
                              [](const Value &value) {
                                  const auto *key = std::get_if<Bytes>(&value);
                                  const storage::ObjectId id = key ? InstanceKeyId(*key) : 0;
                                  return id ? ObjectIs(id) : Nothing();
                              }});
    schema.derived.push_back({PR_DISPLAY_TYPE,
                              {storage::kAddressType},
                              [](From from) { return Number(IsUser(from[0]) ? DT_MAILUSER : DT_REMOTE_MAILUSER); },
                              [](const Value &value) {
                                  if (value == Number(DT_MAILUSER))
                                      return IsOfType(true);
                                  return value == Number(DT_REMOTE_MAILUSER) ? IsOfType(false) : Nothing();
                              }});
    schema.derived.push_back({PR_SEARCH_KEY,
                              {storage::kEmailAddress, storage::kAddressType},
                              [](From from) -> Value { return SearchKey(TextOf(from[1]), TextOf(from[0])); },
                              [](const Value &value) {
                                  // The key of an entry is its type and address without regard to case.
                                  const auto *key = std::get_if<Bytes>(&value);
                                  if (!key || key->empty() || key->back() != 0)
                                      return Nothing();
                                  const std::string text(key->begin(), key->end() - 1);
                                  const std::size_t colon = text.find(':');
                                  if (colon == std::string::npos)
                                      return Nothing();
                                  const auto is = [](storage::Tag tag, const std::string &part) {
                                      return Filter::Content(tag, Filter::Match::Whole, part, true);
                                  };
                                  return Filter::All({is(storage::kAddressType, text.substr(0, colon)),
                                                      is(storage::kEmailAddress, text.substr(colon + 1))});
                              }});
    schema.anr = [](const std::string &text) { return AnrFilter(text); };
    return schema;
}

} // namespace localmapi
