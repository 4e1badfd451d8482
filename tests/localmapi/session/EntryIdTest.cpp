// Entry IDs: what is made is read back, and no other bytes are believed.
#include "localmapi/provider/base/EntryId.h"
#include "SiteFixture.h"
#include "localmapi/provider/base/ErrorText.h"

#include <gtest/gtest.h>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

const SiteUid kSite = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
const SiteUid kOtherSite = {2, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

EntryId Parse(const Bytes &bytes, const SiteUid &site = kSite)
{
    return ParseEntryId(site, static_cast<ULONG>(bytes.size()), reinterpret_cast<const ENTRYID *>(bytes.data()));
}

HRESULT CodeOf(const Bytes &bytes, const SiteUid &site = kSite)
{
    try {
        Parse(bytes, site);
        return S_OK;
    } catch (const Failure &failure) {
        return failure.Code();
    }
}

const EntryKind kObjectKinds[] = {EntryKind::Folder, EntryKind::Message, EntryKind::MailUser, EntryKind::Contact};

TEST(EntryIds, AnObjectIsReadBack)
{
    for (const EntryKind kind : kObjectKinds) {
        const EntryId id = Parse(MakeEntryId(kSite, kind, 0x123456789ABCDEF));
        EXPECT_EQ(id.kind, kind);
        EXPECT_EQ(id.object, 0x123456789ABCDEF);
    }
}

TEST(EntryIds, AStoreKeepsItsFlags)
{
    const EntryId id = Parse(MakeStoreEntryId(kSite, 7, 0xC));
    EXPECT_EQ(id.kind, EntryKind::Store);
    EXPECT_EQ(id.object, 7);
    EXPECT_EQ(id.openFlags, 0xCu);
}

TEST(EntryIds, ContainersHaveNoNumber)
{
    for (const EntryKind kind : {EntryKind::AddressBookRoot, EntryKind::GlobalAddressList}) {
        EXPECT_EQ(Parse(MakeEntryId(kSite, kind)).kind, kind);
        EXPECT_CODE(CodeOf(MakeEntryId(kSite, kind, 1)), MAPI_E_INVALID_ENTRYID);
    }
    EXPECT_CODE(CodeOf(MakeEntryId(kSite, EntryKind::Folder, 0)), MAPI_E_INVALID_ENTRYID);
    EXPECT_CODE(CodeOf(MakeEntryId(kSite, EntryKind::Folder, -1)), MAPI_E_INVALID_ENTRYID);
}

TEST(EntryIds, TheyAreLongTerm)
{
    const Bytes bytes = MakeEntryId(kSite, EntryKind::Message, 1);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 4), Bytes(4, 0));
}

TEST(EntryIds, AnotherSitesAreUnknown)
{
    for (const EntryKind kind : kObjectKinds)
        EXPECT_CODE(CodeOf(MakeEntryId(kSite, kind, 1), kOtherSite), MAPI_E_UNKNOWN_ENTRYID);
    EXPECT_CODE(CodeOf(MakeStoreEntryId(kSite, 1, 0), kOtherSite), MAPI_E_UNKNOWN_ENTRYID);
}

TEST(EntryIds, AnotherProvidersAreUnknown)
{
    Bytes bytes = MakeEntryId(kSite, EntryKind::Message, 1);
    bytes[10] ^= 0x40;
    EXPECT_CODE(CodeOf(bytes), MAPI_E_UNKNOWN_ENTRYID);
}

TEST(EntryIds, NoBytesAreInvalid)
{
    EXPECT_CODE(CodeOf({}), MAPI_E_INVALID_ENTRYID);
    EXPECT_THROW(ParseEntryId(kSite, 48, nullptr), Failure);
}

TEST(EntryIds, EveryTruncationAndEveryExcessIsRefused)
{
    for (const Bytes &whole : {MakeEntryId(kSite, EntryKind::Message, 5), MakeStoreEntryId(kSite, 5, 0),
                               MakeEntryId(kSite, EntryKind::GlobalAddressList)}) {
        for (std::size_t size = 0; size < whole.size(); ++size) {
            // Exactly as much memory as there are bytes, so that reading beyond them is seen.
            const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            EXPECT_CODE(CodeOf(part), MAPI_E_INVALID_ENTRYID) << size << " of " << whole.size();
        }
        Bytes longer = whole;
        longer.push_back(0);
        EXPECT_CODE(CodeOf(longer), MAPI_E_INVALID_ENTRYID);
    }
}

TEST(EntryIds, EveryChangedByteIsSeenOrNamesAnotherObject)
{
    const Bytes whole = MakeEntryId(kSite, EntryKind::Message, 5);
    const EntryId original = Parse(whole);
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (int bit = 0; bit < 8; ++bit) {
            Bytes changed = whole;
            changed[at] = static_cast<BYTE>(changed[at] ^ 1 << bit);
            const HRESULT code = CodeOf(changed);
            if (code == S_OK) {
                EXPECT_FALSE(SameObject(Parse(changed), original)) << "byte " << at << " bit " << bit;
            } else {
                EXPECT_TRUE(code == MAPI_E_INVALID_ENTRYID || code == MAPI_E_UNKNOWN_ENTRYID) << CodeName(code);
            }
        }
}

TEST(EntryIds, AStoresKindDoesNotServeTheAddressBook)
{
    Bytes bytes = MakeEntryId(kSite, EntryKind::Message, 1);
    bytes[21] = static_cast<BYTE>(EntryKind::MailUser);
    EXPECT_CODE(CodeOf(bytes), MAPI_E_INVALID_ENTRYID);
}

TEST(EntryIds, AKindCanBeAskedFor)
{
    const Bytes bytes = MakeEntryId(kSite, EntryKind::Message, 1);
    const auto *entry = reinterpret_cast<const ENTRYID *>(bytes.data());
    const auto size = static_cast<ULONG>(bytes.size());
    EXPECT_EQ(ParseEntryId(kSite, size, entry, EntryKind::Message).object, 1);
    EXPECT_THROW(ParseEntryId(kSite, size, entry, EntryKind::Folder), Failure);
}

TEST(EntryIds, AOneOffHasThePublishedFormat)
{
    const Bytes expected = {0,    0,    0,    0,    0x81, 0x2B, 0x1F, 0xA4, 0xBE, 0xA3, 0x10, 0x19,
                            0x9D, 0x6E, 0x00, 0xDD, 0x01, 0x0F, 0x54, 0x02, 0,    0,    0,    0,
                            'B',  0,    'S',  'M',  'T',  'P',  0,    'b',  '@',  'c',  0};
    EXPECT_EQ(MakeOneOff("B", "SMTP", "b@c", false), expected);
    const Bytes wide = MakeOneOff("B", "SMTP", "b@c", true, false);
    EXPECT_EQ(wide[22], 0x01);
    EXPECT_EQ(wide[23], 0x80);
    EXPECT_EQ(Bytes(wide.begin() + 24, wide.begin() + 28), (Bytes{'B', 0, 0, 0}));
    EXPECT_EQ(wide.size(), 24u + 2 * (2 + 5 + 4));
}

TEST(EntryIds, AOneOffIsReadBackInBothWidths)
{
    for (const bool wide : {false, true}) {
        const EntryId id = Parse(MakeOneOff("Name of it", "SMTP", "b@c", wide), kOtherSite);
        EXPECT_EQ(id.kind, EntryKind::OneOff);
        EXPECT_EQ(id.name, "Name of it");
        EXPECT_EQ(id.addressType, "SMTP");
        EXPECT_EQ(id.address, "b@c");
    }
    const std::string name = "\xE6\x9D\xB1 \xF0\x9F\x93\x9E";
    EXPECT_EQ(Parse(MakeOneOff(name, "SMTP", "b@c", true)).name, name);
}

TEST(EntryIds, AOneOffWithoutItsEndIsRefused)
{
    for (const bool wide : {false, true}) {
        const Bytes whole = MakeOneOff("Name", "SMTP", "b@c", wide);
        for (std::size_t size = 0; size < whole.size(); ++size)
            EXPECT_CODE(CodeOf(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))),
                        MAPI_E_INVALID_ENTRYID)
                << size;
    }
}

TEST(EntryIds, SameObjectLooksAtTheObjectOnly)
{
    EXPECT_TRUE(SameObject(Parse(MakeStoreEntryId(kSite, 7, 0xC)), Parse(MakeStoreEntryId(kSite, 7, 0))));
    EXPECT_FALSE(SameObject(Parse(MakeStoreEntryId(kSite, 7, 0)), Parse(MakeStoreEntryId(kSite, 8, 0))));
    EXPECT_FALSE(
        SameObject(Parse(MakeEntryId(kSite, EntryKind::Folder, 7)), Parse(MakeEntryId(kSite, EntryKind::Message, 7))));
    EXPECT_TRUE(SameObject(Parse(MakeOneOff("A", "SMTP", "b@c", false)), Parse(MakeOneOff("B", "smtp", "B@C", true))));
    EXPECT_FALSE(SameObject(Parse(MakeOneOff("A", "SMTP", "b@c", true)), Parse(MakeOneOff("A", "SMTP", "b@d", true))));
}

} // namespace
