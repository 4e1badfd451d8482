// Resolution of the names in a recipient list: each that is found gets the properties of its entry, in memory of the
// list.
#include "localmapi/provider/addressbook/Recipients.h"
#include "localmapi/provider/addressbook/AddressEntries.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropArray.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/site/NameMatch.h"

#include <algorithm>
#include <iterator>

namespace localmapi
{

namespace
{

// What ResolveName gives for a recipient, in this order.
constexpr ULONG kResolvedTags[] = {PR_ENTRYID,         PR_DISPLAY_NAME_W, PR_ADDRTYPE_W,
                                   PR_EMAIL_ADDRESS_W, PR_OBJECT_TYPE,    PR_DISPLAY_TYPE,
                                   PR_SEARCH_KEY,      PR_SEND_RICH_INFO, PROP_TAG(PT_UNICODE, 0x39FE)};

bool IsAddress(std::string_view text)
{
    const std::size_t at = text.find('@');
    if (at == 0 || at == std::string_view::npos || at + 1 == text.size() || text.find('@', at + 1) != text.npos)
        return false;
    return std::none_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) <= ' ' || c == '<' || c == '>' || c == '[' || c == ']' || c == '"' ||
               c == ',' || c == ';';
    });
}

EntryId OneOff(std::string_view name, std::string_view type, std::string_view address)
{
    EntryId id;
    id.kind = EntryKind::OneOff;
    id.name = name.empty() ? address : name;
    id.addressType = type;
    id.address = address;
    return id;
}

const SPropValue *Find(const ADRENTRY &entry, ULONG id)
{
    if (!entry.rgPropVals)
        return nullptr;
    for (ULONG i = 0; i < entry.cValues; ++i)
        if (PROP_ID(entry.rgPropVals[i].ulPropTag) == id && PROP_TYPE(entry.rgPropVals[i].ulPropTag) != PT_ERROR)
            return &entry.rgPropVals[i];
    return nullptr;
}

} // namespace

std::optional<EntryId> ParseOneOffText(std::string_view text)
{
    text = Trimmed(text);
    if (IsAddress(text))
        return OneOff(text, "SMTP", text);
    const std::size_t open = text.rfind('[');
    if (text.empty() || text.back() != ']' || open == std::string_view::npos)
        return std::nullopt;
    const std::string_view inside = text.substr(open + 1, text.size() - open - 2);
    const std::size_t colon = inside.find(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    const std::string_view type = Trimmed(inside.substr(0, colon)), address = Trimmed(inside.substr(colon + 1));
    if (type.empty() || address.empty() || (EqualIgnoringCase(type, "SMTP") && !IsAddress(address)))
        return std::nullopt;
    return OneOff(Trimmed(text.substr(0, open)), EqualIgnoringCase(type, "SMTP") ? "SMTP" : type, address);
}

Resolution ResolveOne(const SessionContext &session, std::string_view name, bool oneOffs, storage::PropertyBag &found)
{
    const auto oneOff = oneOffs ? ParseOneOffText(name) : std::nullopt;
    // A recipient written out with its address type is what it says; a bare address may be somebody's here.
    const bool writtenOut = oneOff && Trimmed(name).back() == ']';
    if (!writtenOut) {
        const auto matches = MatchesOf(*session.site, name);
        if (matches.size() > 1)
            return Resolution::Ambiguous;
        if (matches.size() == 1) {
            found = DirectoryProperties(*session.site, matches.front());
            return Resolution::Resolved;
        }
    }
    if (!oneOff)
        return Resolution::NotFound;
    found = OneOffProperties(*oneOff);
    return Resolution::Resolved;
}

std::optional<std::string> DisplayNameOf(const ADRENTRY &entry)
{
    const SPropValue *value = Find(entry, PROP_ID(PR_DISPLAY_NAME));
    if (!value || !IsTextTag(value->ulPropTag) || (value->ulPropTag & MV_FLAG))
        return std::nullopt;
    return std::get<std::string>(ValueFromProp(*value));
}

bool IsResolved(const ADRENTRY &entry)
{
    const SPropValue *value = Find(entry, PROP_ID(PR_ENTRYID));
    return value && value->ulPropTag == PR_ENTRYID && value->Value.bin.cb > 0 && value->Value.bin.lpb;
}

void ReplaceEntry(ADRENTRY &entry, const storage::PropertyBag &found, const SPropTagArray *tags, bool unicode)
{
    std::vector<ULONG> wanted;
    if (tags) {
        wanted.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
    } else {
        for (const ULONG tag : kResolvedTags)
            if (found.FindId(static_cast<std::uint16_t>(PROP_ID(tag))))
                wanted.push_back(ClientTag(tag, unicode));
    }
    const auto isWanted = [&](ULONG tag) {
        return std::any_of(wanted.begin(), wanted.end(), [&](ULONG one) { return PROP_ID(one) == PROP_ID(tag); });
    };
    std::vector<const SPropValue *> kept;
    for (ULONG i = 0; entry.rgPropVals && i < entry.cValues; ++i)
        if (!isWanted(entry.rgPropVals[i].ulPropTag))
            kept.push_back(&entry.rgPropVals[i]);

    PropArray values(wanted.size() + kept.size());
    for (const ULONG tag : wanted) {
        const storage::Property *property = found.FindId(static_cast<std::uint16_t>(PROP_ID(tag)));
        storage::Value value = property ? property->value : storage::Value{};
        // What resolving does not know may stand in the entry already.
        const SPropValue *own = property ? nullptr : Find(entry, PROP_ID(tag));
        if (own && StorageTag(own->ulPropTag) == StorageTag(tag))
            value = ValueFromProp(*own);
        const bool open = PROP_TYPE(tag) == PT_UNSPECIFIED && property;
        values.Value(open ? ClientTag(property->tag, unicode) : tag, value);
    }
    for (const SPropValue *own : kept) {
        const ULONG type = PROP_TYPE(own->ulPropTag);
        if (IsValueType(type))
            values.Value(own->ulPropTag, ValueFromProp(*own));
    }
    const ULONG count = values.Count();
    FreeBuffer(entry.rgPropVals);
    entry.cValues = count;
    entry.rgPropVals = values.Release();
}

} // namespace localmapi
