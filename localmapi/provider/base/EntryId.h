// Entry IDs: what an object's name looks like to a client, and how bytes from a client are checked before they are
// believed. All of ours are long-term; numbers in them are little-endian:
//
//   offset  size
//   0       4     flags, 0
//   4       16    the provider: message stores or address book
//   20      1     version, 1
//   21      1     kind of object
//   22      2     0
//   24      16    the site that the object is in
//   40      8     the object's number there
//   48      4     stores only: OPENSTORE_ flags
//
// One-off recipients have MAPI's published format.
#pragma once
#include <mapiutil.h>
#include <mapix.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace localmapi
{

using Bytes = std::vector<BYTE>;
using SiteUid = std::array<std::uint8_t, 16>;

extern const MAPIUID kStoreProvider;
extern const MAPIUID kAddressBookProvider;
extern const MAPIUID kOneOffProvider;

enum class EntryKind : BYTE {
    Store = 1,
    Folder = 2,
    Message = 3,
    AddressBookRoot = 16,
    GlobalAddressList = 17,
    MailUser = 18,
    Contact = 19,
    OneOff = 32,
};

struct EntryId {
    EntryKind kind{};
    std::int64_t object = 0;
    // Stores: the flags it was made with.
    ULONG openFlags = 0;
    // One-off recipients (UTF-8).
    std::string name;
    std::string addressType;
    std::string address;
    // One-off: MAPI_ONE_OFF_NO_RICH_INFO and, for wide text, MAPI_ONE_OFF_UNICODE.
    USHORT oneOffFlags = 0;

    bool operator==(const EntryId &) const = default;
};

Bytes MakeEntryId(const SiteUid &site, EntryKind kind, std::int64_t object = 0);
Bytes MakeStoreEntryId(const SiteUid &site, std::int64_t mailbox, ULONG openFlags);
Bytes MakeOneOff(std::string_view name, std::string_view addressType, std::string_view address, bool wide,
                 bool richInfo = true);

// Checks every byte. Throws Failure(MAPI_E_INVALID_ENTRYID) for what is no entry ID of a known format and
// Failure(MAPI_E_UNKNOWN_ENTRYID) for one of another provider or site.
EntryId ParseEntryId(const SiteUid &site, ULONG size, const ENTRYID *entry);
// The same, and MAPI_E_INVALID_ENTRYID unless it is of this kind.
EntryId ParseEntryId(const SiteUid &site, ULONG size, const ENTRYID *entry, EntryKind kind);

// Whether two entry IDs name one object: kind and object, for one-offs type and address without regard to case.
// A store's flags do not count.
bool SameObject(const EntryId &left, const EntryId &right);

// A copy from MAPIAllocateBuffer, or as a child of `root`, for a client.
void EntryIdForClient(const Bytes &bytes, ULONG *size, ENTRYID **entry);
SBinary BinaryOf(void *root, const Bytes &bytes);

} // namespace localmapi
