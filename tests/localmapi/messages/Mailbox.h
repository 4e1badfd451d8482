// A site of its own with a few people, and the mailbox of one of them open, for the tests of tables, stores, folders,
// messages, attachments and streams. The file goes with it.
#pragma once
#include "../tables/Properties.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/store/StoreLogon.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace localmapi::test
{

using EntryIdBytes = std::vector<BYTE>;

// Declared before everything else in a test: at its end no object and no block is left.
class LiveCountsAreZeroAtTheEnd
{
  public:
    LiveCountsAreZeroAtTheEnd();
    ~LiveCountsAreZeroAtTheEnd();

  private:
    LONG m_objects;
    LONG m_blocks;
};

// Codes by name in what a failed expectation prints.
std::string CodeName(HRESULT code);
#define EXPECT_CODE(actual, expected) EXPECT_EQ(CodeName(actual), CodeName(expected))
#define ASSERT_CODE(actual, expected) ASSERT_EQ(CodeName(actual), CodeName(expected))

// Properties that GetProps gave.
class Given
{
  public:
    // What GetProps answered.
    HRESULT hr = E_FAIL;
    ULONG count = 0;
    Block<SPropValue> values;

    const SPropValue &operator[](ULONG index) const { return values[index]; }
    // The value with this whole tag; null when there is none.
    const SPropValue *Find(ULONG tag) const;
    // The code of the property that could not be given; S_OK when it was.
    SCODE Error(ULONG id) const;
};
Given GetProps(IMAPIProp &object, std::initializer_list<ULONG> tags, ULONG flags = 0);
Given GetAllProps(IMAPIProp &object, ULONG flags = 0);
template <class Object> Given GetProps(const ComPtr<Object> &object, std::initializer_list<ULONG> tags, ULONG flags = 0)
{
    return GetProps(*object.get(), tags, flags);
}
// One property; what an object lacks is "(none)", -1 or no bytes.
std::string TextOf(IMAPIProp *object, ULONG tag);
LONG LongOf(IMAPIProp *object, ULONG tag);
EntryIdBytes BytesOf(IMAPIProp *object, ULONG tag);

HRESULT SetProps(IMAPIProp *object, const Props &props);
// The code of the problem that SetProps has with one property; S_OK when it has none.
SCODE ProblemOf(IMAPIProp *object, SPropValue value);

// All bytes that a stream has from where it stands.
std::string ReadAll(IStream *stream);
std::string ReadProperty(IMAPIProp *object, ULONG tag);
HRESULT OpenStream(IMAPIProp *object, ULONG tag, ULONG flags, ComPtr<IStream> &stream);
HRESULT WriteStream(IStream *stream, const std::string &bytes);
ULONGLONG SizeOfStream(IStream *stream);
HRESULT SeekTo(IStream *stream, LONGLONG distance, DWORD origin = STREAM_SEEK_SET, ULONGLONG *position = nullptr);

class Mailbox
{
  public:
    // All begin as copies of one site, unless another one is wanted.
    enum class Of { TheSameSite, AnotherSite };
    explicit Mailbox(Of of = Of::TheSameSite);
    ~Mailbox();

    storage::Site &GetSite() { return *m_site; }
    const storage::User &Alice() const { return m_alice; }
    const storage::User &Bob() const { return m_bob; }
    const storage::User &Service() const { return m_service; }
    IMsgStore *GetStore() { return m_store.get(); }
    IMAPIFolder *Inbox() { return m_inbox.get(); }

    // The mailbox of `owner` as `user` opens it.
    HRESULT OpenStore(const storage::User &owner, const storage::User &user, ULONG flags, ComPtr<IMsgStore> &store,
                      bool isDefault = false);
    ComPtr<IMsgStore> StoreOf(const storage::User &owner, ULONG flags = MAPI_BEST_ACCESS);
    // A folder by the store's property that names it; 0 is the Inbox.
    ComPtr<IMAPIFolder> Folder(ULONG tag, IMsgStore *store = nullptr);

    // A new, unsaved message in the Inbox.
    ComPtr<IMessage> NewMessage();
    // A saved message in the Inbox; those without a submit time have one later than the one before.
    EntryIdBytes Add(const Props &props);
    EntryIdBytes Save(const ComPtr<IMessage> &message);
    ComPtr<IMessage> Open(const EntryIdBytes &id, ULONG flags = MAPI_BEST_ACCESS);
    void Delete(const EntryIdBytes &id);
    ComPtr<IMAPITable> Contents(ULONG flags = 0);

  private:
    std::string m_path;
    std::optional<storage::Site> m_site;
    storage::User m_alice;
    storage::User m_bob;
    storage::User m_service;
    ComPtr<IMsgStore> m_store;
    ComPtr<IMAPIFolder> m_inbox;
    std::uint64_t m_submitTime = 0x01DA000000000000ULL;
};

HRESULT OpenEntry(IMsgStore *store, const EntryIdBytes &id, LPCIID iid, ULONG flags, IUnknown **object,
                  ULONG *type = nullptr);

// A list of entry identifiers as MAPI takes it; the bytes must live as long.
class EntryList
{
  public:
    explicit EntryList(const std::vector<EntryIdBytes> &ids);
    operator LPENTRYLIST() { return &m_list; }

  private:
    std::vector<SBinary> m_entries;
    ENTRYLIST m_list{};
};

} // namespace localmapi::test
