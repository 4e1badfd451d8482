// Names and identifiers of named properties, translated to and from the site's numbering.
#include "localmapi/provider/property/NamedProperties.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"

#include <mapiguid.h>

#include <algorithm>
#include <cstring>

namespace localmapi
{

using storage::PropertyName;

namespace
{

constexpr ULONG kNameLimit = 0x10000;
constexpr LONG kFirstNamed = 0x8000;

storage::Guid GuidOf(const GUID &guid)
{
    storage::Guid bytes;
    static_assert(sizeof(guid) == std::tuple_size_v<storage::Guid>);
    std::memcpy(bytes.data(), &guid, sizeof(guid));
    return bytes;
}

PropertyName NameFrom(const MAPINAMEID *name)
{
    Require(name && name->lpguid && (name->ulKind == MNID_ID || name->ulKind == MNID_STRING), "a property's name");
    PropertyName result{GuidOf(*name->lpguid), {}};
    if (name->ulKind == MNID_ID) {
        result.name = std::int32_t{name->Kind.lID};
    } else {
        Require(name->Kind.lpwstrName != nullptr && *name->Kind.lpwstrName != 0, "a property's name");
        result.name = Utf8FromWide(name->Kind.lpwstrName);
    }
    return result;
}

Block<SPropTagArray> NewTags(std::size_t count)
{
    Block<SPropTagArray> tags(static_cast<SPropTagArray *>(AllocateRootBytes(CbNewSPropTagArray(count))));
    tags->cValues = static_cast<ULONG>(count);
    return tags;
}

std::optional<PropertyName> StandardName(ULONG id)
{
    if (id == PROP_ID_NULL)
        return std::nullopt;
    return PropertyName{GuidOf(PS_MAPI), static_cast<std::int32_t>(id)};
}

std::vector<std::optional<PropertyName>> NamesFor(const storage::Site &site, const SPropTagArray &tags)
{
    std::vector<std::uint16_t> ids;
    for (ULONG i = 0; i < tags.cValues; ++i)
        ids.push_back(static_cast<std::uint16_t>(PROP_ID(tags.aulPropTag[i])));
    auto names = storage::Names(site).NamesOf(ids);
    for (std::size_t i = 0; i < ids.size(); ++i)
        if (ids[i] < kFirstNamed)
            names[i] = StandardName(ids[i]);
    return names;
}

// The array of names, with all they point to in one block.
Block<MAPINAMEID *> NamesForClient(const std::vector<std::optional<PropertyName>> &names)
{
    Block<MAPINAMEID *> block(static_cast<MAPINAMEID **>(AllocateRootBytes(names.size() * sizeof(void *))));
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (!names[i])
            continue;
        auto *name = NewChild<MAPINAMEID>(block.get());
        name->lpguid = NewChild<GUID>(block.get());
        std::memcpy(name->lpguid, names[i]->set.data(), sizeof(GUID));
        if (const auto *number = std::get_if<std::int32_t>(&names[i]->name)) {
            name->ulKind = MNID_ID;
            name->Kind.lID = *number;
        } else {
            name->ulKind = MNID_STRING;
            name->Kind.lpwstrName = WideCopy(block.get(), std::get<std::string>(names[i]->name));
        }
        block[i] = name;
    }
    return block;
}

} // namespace

HRESULT GiveIdsOfNames(const storage::Site &site, bool mayCreate, ULONG count, MAPINAMEID **names, ULONG flags,
                       SPropTagArray **tags)
{
    Require(tags != nullptr, "where the tags go");
    *tags = nullptr;
    RequireFlags(flags, MAPI_CREATE);
    storage::Names known(site);
    if (!names) {
        Require(count == 0, "the names");
        const auto all = known.All();
        auto given = NewTags(all.size());
        for (std::size_t i = 0; i < all.size(); ++i)
            given->aulPropTag[i] = PROP_TAG(PT_UNSPECIFIED, ULONG{all[i].first});
        *tags = given.release();
        return S_OK;
    }
    Require(count > 0 && count <= kNameLimit, "the names");
    const storage::Guid standard = GuidOf(PS_MAPI);
    std::vector<std::uint16_t> ids(count);
    std::vector<PropertyName> wanted;
    std::vector<std::size_t> places;
    for (ULONG i = 0; i < count; ++i) {
        PropertyName name = NameFrom(names[i]);
        if (name.set != standard) {
            wanted.push_back(std::move(name));
            places.push_back(i);
        } else if (const auto *number = std::get_if<std::int32_t>(&name.name)) {
            if (*number > 0 && *number < kFirstNamed)
                ids[i] = static_cast<std::uint16_t>(*number);
        }
    }
    auto found = known.Ids(wanted, false);
    if ((flags & MAPI_CREATE) && std::find(found.begin(), found.end(), 0) != found.end()) {
        if (!mayCreate)
            throw Failure(MAPI_E_NO_ACCESS, "Names can not be made: the store is open for reading only.");
        found = known.Ids(wanted, true);
    }
    for (std::size_t i = 0; i < found.size(); ++i)
        ids[places[i]] = found[i];
    auto given = NewTags(count);
    for (ULONG i = 0; i < count; ++i)
        given->aulPropTag[i] = ids[i] ? PROP_TAG(PT_UNSPECIFIED, ULONG{ids[i]}) : PROP_TAG(PT_ERROR, PROP_ID_NULL);
    *tags = given.release();
    return std::find(ids.begin(), ids.end(), 0) == ids.end() ? S_OK : MAPI_W_ERRORS_RETURNED;
}

HRESULT GiveNamesOfIds(const storage::Site &site, SPropTagArray **tags, const GUID *set, ULONG flags, ULONG *count,
                       MAPINAMEID ***names)
{
    Require(tags && count && names, "where the names go");
    *count = 0;
    *names = nullptr;
    RequireFlags(flags, MAPI_NO_STRINGS | MAPI_NO_IDS);
    if (*tags) {
        Require((*tags)->cValues <= kNameLimit, "the list of properties");
        const auto found = NamesFor(site, **tags);
        *names = NamesForClient(found).release();
        *count = (*tags)->cValues;
        return std::find(found.begin(), found.end(), std::nullopt) == found.end() ? S_OK : MAPI_W_ERRORS_RETURNED;
    }
    std::vector<std::optional<PropertyName>> found;
    std::vector<ULONG> ids;
    for (auto &[id, name] : storage::Names(site).All()) {
        const bool text = std::holds_alternative<std::string>(name.name);
        if ((set && name.set != GuidOf(*set)) || (flags & (text ? MAPI_NO_STRINGS : MAPI_NO_IDS)))
            continue;
        ids.push_back(PROP_TAG(PT_UNSPECIFIED, ULONG{id}));
        found.emplace_back(std::move(name));
    }
    auto given = NewTags(ids.size());
    std::copy(ids.begin(), ids.end(), given->aulPropTag);
    *names = NamesForClient(found).release();
    *count = static_cast<ULONG>(ids.size());
    *tags = given.release();
    return S_OK;
}

} // namespace localmapi
