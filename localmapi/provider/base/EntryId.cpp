// Writing entry IDs and checking those that clients give: every length and offset before what lies there is read.
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace localmapi
{

const MAPIUID kStoreProvider = {
    {0x5E, 0x1C, 0x0B, 0x92, 0x37, 0xD4, 0x4A, 0x6E, 0x8F, 0x21, 0xC3, 0x70, 0x19, 0xA8, 0x54, 0xE1}};
const MAPIUID kAddressBookProvider = {
    {0x5E, 0x1C, 0x0B, 0x93, 0x37, 0xD4, 0x4A, 0x6E, 0x8F, 0x21, 0xC3, 0x70, 0x19, 0xA8, 0x54, 0xE1}};
const MAPIUID kOneOffProvider = {MAPI_ONE_OFF_UID};

namespace
{

constexpr std::size_t kProviderAt = 4, kVersionAt = 20, kKindAt = 21, kZeroAt = 22, kSiteAt = 24, kObjectAt = 40,
                      kFlagsAt = 48;
constexpr std::size_t kObjectSize = 48, kStoreSize = 52;
constexpr std::size_t kOneOffVersionAt = 20, kOneOffFlagsAt = 22, kOneOffTextAt = 24;
constexpr BYTE kVersion = 1;

bool IsProvider(std::span<const BYTE> bytes, const MAPIUID &provider)
{
    return std::memcmp(bytes.data() + kProviderAt, provider.ab, sizeof(provider.ab)) == 0;
}

[[noreturn]] void Invalid(const char *why)
{
    throw Failure(MAPI_E_INVALID_ENTRYID, std::string("The entry identifier is not valid: ") + why + ".");
}

template <class Integer> void Append(Bytes &bytes, Integer value)
{
    for (std::size_t i = 0; i < sizeof(Integer); ++i)
        bytes.push_back(static_cast<BYTE>(static_cast<std::uint64_t>(value) >> (8 * i)));
}

std::uint64_t Number(std::span<const BYTE> bytes, std::size_t at, std::size_t size)
{
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;)
        value = value << 8 | bytes[at + i];
    return value;
}

bool IsStoreKind(EntryKind kind)
{
    return kind == EntryKind::Store || kind == EntryKind::Folder || kind == EntryKind::Message;
}

bool IsAddressKind(EntryKind kind)
{
    return kind >= EntryKind::AddressBookRoot && kind <= EntryKind::Contact;
}

bool HasObject(EntryKind kind)
{
    return kind != EntryKind::AddressBookRoot && kind != EntryKind::GlobalAddressList;
}

// The next terminated text of a one-off entry ID.
std::string OneOffText(std::span<const BYTE> bytes, std::size_t &at, bool wide)
{
    if (wide) {
        WideText text;
        for (; at + 2 <= bytes.size(); at += 2) {
            const auto unit = static_cast<WCHAR>(Number(bytes, at, 2));
            if (unit == 0) {
                at += 2;
                return Utf8FromWide(text);
            }
            text += unit;
        }
    } else {
        std::string text;
        for (; at < bytes.size(); ++at) {
            if (bytes[at] == 0) {
                ++at;
                return Utf8FromAnsi(text);
            }
            text += static_cast<char>(bytes[at]);
        }
    }
    Invalid("a one-off recipient's text does not end");
}

EntryId ParseOneOff(std::span<const BYTE> bytes)
{
    if (bytes.size() < kOneOffTextAt || Number(bytes, kOneOffVersionAt, 2) != 0)
        Invalid("it is no one-off recipient of a known version");
    EntryId id;
    id.kind = EntryKind::OneOff;
    id.oneOffFlags = static_cast<USHORT>(Number(bytes, kOneOffFlagsAt, 2));
    const bool wide = (id.oneOffFlags & MAPI_ONE_OFF_UNICODE) != 0;
    std::size_t at = kOneOffTextAt;
    id.name = OneOffText(bytes, at, wide);
    id.addressType = OneOffText(bytes, at, wide);
    id.address = OneOffText(bytes, at, wide);
    return id;
}

bool SameIgnoringCase(std::string_view left, std::string_view right)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char a, char b) { return lower(a) == lower(b); });
}

Bytes Begin(const MAPIUID &provider)
{
    Bytes bytes(4, 0);
    bytes.insert(bytes.end(), std::begin(provider.ab), std::end(provider.ab));
    return bytes;
}

} // namespace

Bytes MakeEntryId(const SiteUid &site, EntryKind kind, std::int64_t object)
{
    Bytes bytes = Begin(IsStoreKind(kind) ? kStoreProvider : kAddressBookProvider);
    bytes.insert(bytes.end(), {kVersion, static_cast<BYTE>(kind), 0, 0});
    bytes.insert(bytes.end(), site.begin(), site.end());
    Append(bytes, object);
    return bytes;
}

Bytes MakeStoreEntryId(const SiteUid &site, std::int64_t mailbox, ULONG openFlags)
{
    Bytes bytes = MakeEntryId(site, EntryKind::Store, mailbox);
    Append(bytes, static_cast<std::uint32_t>(openFlags));
    return bytes;
}

Bytes MakeOneOff(std::string_view name, std::string_view addressType, std::string_view address, bool wide,
                 bool richInfo)
{
    Bytes bytes = Begin(kOneOffProvider);
    Append(bytes, std::uint16_t{0});
    Append(bytes,
           static_cast<std::uint16_t>((wide ? MAPI_ONE_OFF_UNICODE : 0) | (richInfo ? 0 : MAPI_ONE_OFF_NO_RICH_INFO)));
    for (const std::string_view text : {name, addressType, address}) {
        if (wide) {
            for (const WCHAR unit : WideFromUtf8(text))
                Append(bytes, static_cast<std::uint16_t>(unit));
            Append(bytes, std::uint16_t{0});
        } else {
            const std::string narrow = AnsiFromUtf8(text);
            bytes.insert(bytes.end(), narrow.begin(), narrow.end());
            bytes.push_back(0);
        }
    }
    return bytes;
}

EntryId ParseEntryId(const SiteUid &site, ULONG size, const ENTRYID *entry)
{
    if (!entry || size < kProviderAt + sizeof(MAPIUID))
        Invalid("it is too short");
    const std::span bytes(reinterpret_cast<const BYTE *>(entry), size);
    if (IsProvider(bytes, kOneOffProvider))
        return ParseOneOff(bytes);
    const bool ofStores = IsProvider(bytes, kStoreProvider);
    if (!ofStores && !IsProvider(bytes, kAddressBookProvider))
        throw Failure(MAPI_E_UNKNOWN_ENTRYID, "The entry identifier is of another provider.");
    if (Number(bytes, 0, kProviderAt) != 0)
        Invalid("its flags are not those of a long-term identifier");
    if (size < kObjectSize)
        Invalid("it is too short");
    EntryId id;
    id.kind = static_cast<EntryKind>(bytes[kKindAt]);
    if (bytes[kVersionAt] != kVersion || Number(bytes, kZeroAt, 2) != 0)
        Invalid("its version is not known");
    if (ofStores ? !IsStoreKind(id.kind) : !IsAddressKind(id.kind))
        Invalid("it names no kind of object that is known");
    if (size != (id.kind == EntryKind::Store ? kStoreSize : kObjectSize))
        Invalid("its size is not that of its kind");
    id.object = static_cast<std::int64_t>(Number(bytes, kObjectAt, 8));
    if (HasObject(id.kind) ? id.object <= 0 : id.object != 0)
        Invalid("it names no object");
    if (id.kind == EntryKind::Store)
        id.openFlags = static_cast<ULONG>(Number(bytes, kFlagsAt, 4));
    if (std::memcmp(bytes.data() + kSiteAt, site.data(), site.size()) != 0)
        throw Failure(MAPI_E_UNKNOWN_ENTRYID, "The entry identifier is of another site.");
    return id;
}

EntryId ParseEntryId(const SiteUid &site, ULONG size, const ENTRYID *entry, EntryKind kind)
{
    EntryId id = ParseEntryId(site, size, entry);
    if (id.kind != kind)
        Invalid("it is of another kind of object");
    return id;
}

bool SameObject(const EntryId &left, const EntryId &right)
{
    if (left.kind != right.kind)
        return false;
    if (left.kind == EntryKind::OneOff)
        return SameIgnoringCase(left.addressType, right.addressType) && SameIgnoringCase(left.address, right.address);
    return left.object == right.object;
}

void EntryIdForClient(const Bytes &bytes, ULONG *size, ENTRYID **entry)
{
    auto block = NewRoot<BYTE>(bytes.size());
    std::memcpy(block.get(), bytes.data(), bytes.size());
    *size = static_cast<ULONG>(bytes.size());
    *entry = reinterpret_cast<ENTRYID *>(block.release());
}

SBinary BinaryOf(void *root, const Bytes &bytes)
{
    SBinary binary{};
    binary.cb = static_cast<ULONG>(bytes.size());
    binary.lpb = CopyBytes(root, bytes.data(), bytes.size());
    return binary;
}

} // namespace localmapi
