// The site that every test begins with a copy of, and the helpers that read and write objects through MAPI's
// interfaces.
#include "Mailbox.h"
#include "ExchangeMapi.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/storage/Path.h"

#include <atomic>
#include <filesystem>
#include <random>

namespace localmapi::test
{

namespace
{

std::string NewPath()
{
    static const unsigned process = std::random_device{}();
    static std::atomic<unsigned> count{0};
    const auto name = "localmapi-test-" + std::to_string(process) + "-" + std::to_string(++count) + ".db";
    const auto path = (std::filesystem::temp_directory_path() / name).u8string();
    return std::string(path.begin(), path.end());
}

void RemoveSite(const std::string &path)
{
    for (const char *suffix : {"", "-wal", "-shm", "-reserve"}) {
        std::error_code ignored;
        std::filesystem::remove(storage::PathOf(path + suffix), ignored);
    }
}

// A site with its people, made once; every mailbox of a test begins as a copy of its file.
class Template
{
  public:
    Template() : m_path(NewPath())
    {
        storage::Directory directory(storage::Site::Create(m_path, "NORVIK1", "Norvik"));
        directory.AddUser("alice", "Alice Archer");
        directory.AddUser("bob", "Bob Baker");
        directory.AddUser("vm", "Voicemail Service", {}, true);
    }
    ~Template() { RemoveSite(m_path); }
    std::string Copy() const
    {
        std::string path = NewPath();
        std::filesystem::copy_file(storage::PathOf(m_path), storage::PathOf(path));
        return path;
    }

  private:
    std::string m_path;
};

std::string CopyOfTemplate()
{
    static const Template site;
    return site.Copy();
}

struct NamedCode {
    HRESULT code;
    const char *name;
};

#define CODE(code)                                                                                                     \
    {                                                                                                                  \
        code, #code                                                                                                    \
    }
const NamedCode kCodes[] = {CODE(S_OK),
                            CODE(MAPI_E_CALL_FAILED),
                            CODE(MAPI_E_NOT_ENOUGH_MEMORY),
                            CODE(MAPI_E_INVALID_PARAMETER),
                            CODE(MAPI_E_INTERFACE_NOT_SUPPORTED),
                            CODE(MAPI_E_NO_ACCESS),
                            CODE(MAPI_E_NO_SUPPORT),
                            CODE(MAPI_E_UNKNOWN_FLAGS),
                            CODE(MAPI_E_INVALID_ENTRYID),
                            CODE(MAPI_E_UNKNOWN_ENTRYID),
                            CODE(MAPI_E_OBJECT_CHANGED),
                            CODE(MAPI_E_OBJECT_DELETED),
                            CODE(MAPI_E_NOT_FOUND),
                            CODE(MAPI_E_NETWORK_ERROR),
                            CODE(MAPI_E_DISK_ERROR),
                            CODE(MAPI_E_TOO_COMPLEX),
                            CODE(MAPI_E_COMPUTED),
                            CODE(MAPI_E_INVALID_TYPE),
                            CODE(MAPI_E_UNABLE_TO_COMPLETE),
                            CODE(MAPI_E_TABLE_TOO_BIG),
                            CODE(MAPI_E_INVALID_BOOKMARK),
                            CODE(MAPI_E_COLLISION),
                            CODE(MAPI_E_HAS_FOLDERS),
                            CODE(MAPI_E_HAS_MESSAGES),
                            CODE(MAPI_E_NO_RECIPIENTS),
                            CODE(MAPI_E_SUBMITTED),
                            CODE(MAPI_E_FOLDER_CYCLE),
                            CODE(MAPI_E_NOT_ENOUGH_DISK),
                            CODE(MAPI_E_STORE_FULL),
                            CODE(MAPI_W_ERRORS_RETURNED),
                            CODE(MAPI_W_POSITION_CHANGED),
                            CODE(MAPI_W_PARTIAL_COMPLETION),
                            CODE(STG_E_INVALIDFUNCTION),
                            CODE(STG_E_ACCESSDENIED),
                            CODE(STG_E_INVALIDPOINTER),
                            CODE(STG_E_MEDIUMFULL)};
#undef CODE

} // namespace

LiveCountsAreZeroAtTheEnd::LiveCountsAreZeroAtTheEnd() : m_objects(g_liveObjects), m_blocks(LiveBlocks())
{
}

LiveCountsAreZeroAtTheEnd::~LiveCountsAreZeroAtTheEnd()
{
    EXPECT_EQ(g_liveObjects, m_objects) << "objects are left";
    EXPECT_EQ(LiveBlocks(), m_blocks) << "blocks are left";
}

std::string CodeName(HRESULT code)
{
    for (const NamedCode &known : kCodes)
        if (known.code == code)
            return known.name;
    return HexText(static_cast<ULONG>(code));
}

const SPropValue *Given::Find(ULONG tag) const
{
    for (ULONG i = 0; i < count; ++i)
        if (values[i].ulPropTag == tag)
            return &values[i];
    return nullptr;
}

SCODE Given::Error(ULONG id) const
{
    const SPropValue *error = Find(PROP_TAG(PT_ERROR, id));
    return error ? error->Value.err : S_OK;
}

Given GetProps(IMAPIProp &object, std::initializer_list<ULONG> tags, ULONG flags)
{
    Given given;
    given.hr = object.GetProps(Tags(tags), flags, &given.count, given.values.put());
    return given;
}

Given GetAllProps(IMAPIProp &object, ULONG flags)
{
    Given given;
    given.hr = object.GetProps(nullptr, flags, &given.count, given.values.put());
    return given;
}

std::string TextOf(IMAPIProp *object, ULONG tag)
{
    const Given given = GetProps(*object, {tag});
    const SPropValue *value = given.Find(tag);
    if (!value)
        return "(none)";
    return PROP_TYPE(tag) == PT_UNICODE ? Utf8FromWide(value->Value.lpszW) : Utf8FromAnsi(value->Value.lpszA);
}

LONG LongOf(IMAPIProp *object, ULONG tag)
{
    const Given given = GetProps(*object, {tag});
    const SPropValue *value = given.Find(tag);
    if (!value)
        return -1;
    return PROP_TYPE(tag) == PT_BOOLEAN ? value->Value.b : value->Value.l;
}

EntryIdBytes BytesOf(IMAPIProp *object, ULONG tag)
{
    const Given given = GetProps(*object, {tag});
    const SPropValue *value = given.Find(tag);
    return value ? EntryIdBytes(value->Value.bin.lpb, value->Value.bin.lpb + value->Value.bin.cb) : EntryIdBytes{};
}

HRESULT SetProps(IMAPIProp *object, const Props &props)
{
    Block<SPropProblemArray> problems;
    const HRESULT hr =
        object->SetProps(static_cast<ULONG>(props.size()), const_cast<SPropValue *>(props.data()), problems.put());
    EXPECT_FALSE(problems);
    return hr;
}

SCODE ProblemOf(IMAPIProp *object, SPropValue value)
{
    Block<SPropProblemArray> problems;
    EXPECT_EQ(object->SetProps(1, &value, problems.put()), S_OK);
    if (!problems)
        return S_OK;
    EXPECT_EQ(problems->cProblem, 1u);
    EXPECT_EQ(problems->aProblem[0].ulIndex, 0u);
    EXPECT_EQ(problems->aProblem[0].ulPropTag, value.ulPropTag);
    return problems->aProblem[0].scode;
}

std::string ReadAll(IStream *stream)
{
    std::string all;
    char piece[4096];
    ULONG read = 0;
    while (stream->Read(piece, sizeof(piece), &read) == S_OK && read > 0)
        all.append(piece, read);
    return all;
}

HRESULT OpenStream(IMAPIProp *object, ULONG tag, ULONG flags, ComPtr<IStream> &stream)
{
    return object->OpenProperty(tag, &IID_IStream, 0, flags, reinterpret_cast<LPUNKNOWN *>(stream.put()));
}

std::string ReadProperty(IMAPIProp *object, ULONG tag)
{
    ComPtr<IStream> stream;
    const HRESULT hr = OpenStream(object, tag, 0, stream);
    return hr == S_OK ? ReadAll(stream.get()) : "(" + CodeName(hr) + ")";
}

HRESULT WriteStream(IStream *stream, const std::string &bytes)
{
    ULONG written = 0;
    const HRESULT hr = stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    if (hr == S_OK) {
        EXPECT_EQ(written, bytes.size());
    }
    return hr;
}

ULONGLONG SizeOfStream(IStream *stream)
{
    STATSTG stat{};
    EXPECT_EQ(stream->Stat(&stat, STATFLAG_NONAME), S_OK);
    return stat.cbSize.QuadPart;
}

HRESULT SeekTo(IStream *stream, LONGLONG distance, DWORD origin, ULONGLONG *position)
{
    LARGE_INTEGER move{};
    move.QuadPart = distance;
    ULARGE_INTEGER at{};
    const HRESULT hr = stream->Seek(move, origin, &at);
    if (position)
        *position = at.QuadPart;
    return hr;
}

Mailbox::Mailbox(Of of)
    : m_path(of == Of::TheSameSite ? CopyOfTemplate() : Template().Copy()), m_site(storage::Site::Open(m_path))
{
    const storage::Directory directory(*m_site);
    m_alice = directory.UserByAlias("alice").value();
    m_bob = directory.UserByAlias("bob").value();
    m_service = directory.UserByAlias("vm").value();
    m_store = StoreOf(m_alice);
    m_inbox = Folder(0);
}

Mailbox::~Mailbox()
{
    m_inbox.reset();
    m_store.reset();
    m_site.reset();
    RemoveSite(m_path);
}

HRESULT Mailbox::OpenStore(const storage::User &owner, const storage::User &user, ULONG flags, ComPtr<IMsgStore> &store,
                           bool isDefault)
{
    return CreateStore({*m_site, owner.mailbox, user.id, flags, isDefault}, nullptr, store.put());
}

ComPtr<IMsgStore> Mailbox::StoreOf(const storage::User &owner, ULONG flags)
{
    ComPtr<IMsgStore> store;
    EXPECT_CODE(OpenStore(owner, owner, flags, store), S_OK);
    return store;
}

ComPtr<IMAPIFolder> Mailbox::Folder(ULONG tag, IMsgStore *store)
{
    if (!store)
        store = m_store.get();
    ComPtr<IMAPIFolder> folder;
    EntryIdBytes id;
    if (tag) {
        id = BytesOf(store, tag);
    } else {
        ULONG size = 0;
        Block<ENTRYID> entry;
        EXPECT_CODE(store->GetReceiveFolder(nullptr, 0, &size, entry.put(), nullptr), S_OK);
        id.assign(reinterpret_cast<BYTE *>(entry.get()), reinterpret_cast<BYTE *>(entry.get()) + size);
    }
    EXPECT_CODE(OpenEntry(store, id, &IID_IMAPIFolder, MAPI_BEST_ACCESS, reinterpret_cast<IUnknown **>(folder.put())),
                S_OK);
    return folder;
}

ComPtr<IMessage> Mailbox::NewMessage()
{
    ComPtr<IMessage> message;
    EXPECT_CODE(m_inbox->CreateMessage(nullptr, 0, message.put()), S_OK);
    return message;
}

EntryIdBytes Mailbox::Add(const Props &props)
{
    auto message = NewMessage();
    m_submitTime += 10000000;
    EXPECT_CODE(SetProps(message.get(), {Time(PR_CLIENT_SUBMIT_TIME, m_submitTime)}), S_OK);
    EXPECT_CODE(SetProps(message.get(), props), S_OK);
    return Save(message);
}

EntryIdBytes Mailbox::Save(const ComPtr<IMessage> &message)
{
    EXPECT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    return BytesOf(message.get(), PR_ENTRYID);
}

ComPtr<IMessage> Mailbox::Open(const EntryIdBytes &id, ULONG flags)
{
    ComPtr<IMessage> message;
    EXPECT_CODE(OpenEntry(m_store.get(), id, &IID_IMessage, flags, reinterpret_cast<IUnknown **>(message.put())), S_OK);
    return message;
}

void Mailbox::Delete(const EntryIdBytes &id)
{
    const std::vector<EntryIdBytes> ids{id};
    EXPECT_CODE(m_inbox->DeleteMessages(EntryList(ids), 0, nullptr, 0), S_OK);
}

ComPtr<IMAPITable> Mailbox::Contents(ULONG flags)
{
    ComPtr<IMAPITable> table;
    EXPECT_CODE(m_inbox->GetContentsTable(flags, table.put()), S_OK);
    return table;
}

HRESULT OpenEntry(IMsgStore *store, const EntryIdBytes &id, LPCIID iid, ULONG flags, IUnknown **object, ULONG *type)
{
    ULONG ignored = 0;
    return store->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<LPENTRYID>(const_cast<BYTE *>(id.data())),
                            iid, flags, type ? type : &ignored, object);
}

EntryList::EntryList(const std::vector<EntryIdBytes> &ids)
{
    for (const EntryIdBytes &id : ids) {
        SBinary entry{};
        entry.cb = static_cast<ULONG>(id.size());
        entry.lpb = const_cast<BYTE *>(id.data());
        m_entries.push_back(entry);
    }
    m_list.cValues = static_cast<ULONG>(m_entries.size());
    m_list.lpbin = m_entries.data();
}

} // namespace localmapi::test
