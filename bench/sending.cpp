// Sending a voice mail with a recording of 200 KB, until it is durable in the mailbox of who gets it.
#include "ExchangeMapi.h"
#include "Sites.h"
#include <benchmark/benchmark.h>
#include <fstream>
#include <mapiutil.h>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench
{

namespace
{

constexpr std::size_t kBytes = 200 * 1024;

std::string Noise()
{
    std::string bytes(kBytes, '\0');
    std::uint32_t noise = 1;
    for (char &byte : bytes) {
        noise = noise * 1664525 + 1013904223;
        byte = static_cast<char>(noise >> 24);
    }
    return bytes;
}

const char *Recording()
{
    static const char *name = "voicemail.wav";
    std::ofstream(name, std::ios::binary) << Noise();
    return name;
}

void Require(HRESULT hr, const char *what)
{
    if (FAILED(hr))
        throw std::runtime_error(std::string(what) + " failed");
}

// One reference, given back at the end of the scope.
template <class T> struct Held {
    T *object = nullptr;
    ~Held()
    {
        if (object)
            object->Release();
    }
    T *operator->() const { return object; }
};

SPropValue Text(ULONG tag, const char *text)
{
    SPropValue value = {};
    value.ulPropTag = tag;
    value.Value.lpszA = const_cast<char *>(text);
    return value;
}

SPropValue Number(ULONG tag, LONG number)
{
    SPropValue value = {};
    value.ulPropTag = tag;
    value.Value.l = number;
    return value;
}

SPropValue Flag(ULONG tag, bool flag)
{
    SPropValue value = {};
    value.ulPropTag = tag;
    value.Value.b = flag;
    return value;
}

void AttachFile(IMessage &message, const char *name)
{
    Held<IStream> file, data;
    Held<IAttach> attachment;
    ULONG number = 0;
    Require(OpenStreamOnFile(MAPIAllocateBuffer, MAPIFreeBuffer, 0, const_cast<char *>(name), nullptr, &file.object),
            "OpenStreamOnFile");
    Require(message.CreateAttach(nullptr, 0, &number, &attachment.object), "CreateAttach");
    Require(attachment->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, MAPI_CREATE | MAPI_MODIFY,
                                     reinterpret_cast<LPUNKNOWN *>(&data.object)),
            "OpenProperty");
    STATSTG stat = {};
    Require(file->Stat(&stat, STATFLAG_NONAME), "Stat");
    Require(file->CopyTo(data.object, stat.cbSize, nullptr, nullptr), "CopyTo");
    data.object->Release();
    data.object = nullptr;
    SPropValue values[] = {Text(PR_ATTACH_LONG_FILENAME_A, "message.wav"), Number(PR_ATTACH_METHOD, ATTACH_BY_VALUE),
                           Number(PR_RENDERING_POSITION, -1)};
    Require(attachment->SetProps(3, values, nullptr), "SetProps");
    Require(attachment->SaveChanges(0), "SaveChanges");
}

void Send(IMsgStore &store, const char *to, const char *file)
{
    LPSPropValue id = nullptr;
    ULONG type = 0;
    Held<IMAPIFolder> outbox;
    Held<IMessage> message;
    Require(HrGetOneProp(&store, PR_IPM_OUTBOX_ENTRYID, &id), "HrGetOneProp");
    const HRESULT opened =
        store.OpenEntry(id->Value.bin.cb, reinterpret_cast<LPENTRYID>(id->Value.bin.lpb), &IID_IMAPIFolder, MAPI_MODIFY,
                        &type, reinterpret_cast<LPUNKNOWN *>(&outbox.object));
    MAPIFreeBuffer(id);
    Require(opened, "OpenEntry");
    Require(outbox->CreateMessage(nullptr, 0, &message.object), "CreateMessage");
    SPropValue recipient[] = {Number(PR_RECIPIENT_TYPE, MAPI_TO), Text(PR_ADDRTYPE_A, "SMTP"),
                              Text(PR_EMAIL_ADDRESS_A, to)};
    ADRLIST list = {};
    list.cEntries = 1;
    list.aEntries[0].cValues = 3;
    list.aEntries[0].rgPropVals = recipient;
    Require(message->ModifyRecipients(0, &list), "ModifyRecipients");
    SPropValue values[] = {Text(PR_SUBJECT_A, "Voice Mail from Carla Costa (17 seconds)"),
                           Text(PR_BODY_A, "You received a voice mail.\r\n"),
                           Number(PR_IMPORTANCE, IMPORTANCE_NORMAL),
                           Number(PR_PRIORITY, PRIO_NORMAL),
                           Number(PR_SENSITIVITY, SENSITIVITY_NONE),
                           Flag(PR_DELETE_AFTER_SUBMIT, true),
                           Text(PR_MESSAGE_CLASS_A, "IPM.Note.Microsoft.Voicemail.UM"),
                           Number(PR_UM_DURATION, 17),
                           Text(PR_UM_TELEPHONE_NUMBER_A, "+15550100"),
                           Text(PR_UM_SENDER_NAME_A, "Carla Costa"),
                           Number(PR_UM_OFFSET, 0),
                           Number(PR_UM_MESSAGE_RECEIVED, 1795000000)};
    Require(message->SetProps(static_cast<ULONG>(std::size(values)), values, nullptr), "SetProps");
    AttachFile(*message.object, file);
    Require(message->SubmitMessage(0), "SubmitMessage");
}

void SendVoiceMail(benchmark::State &state)
{
    const HostSession host(SiteForSending());
    auto &store = *reinterpret_cast<IMsgStore *>(host.mailbox());
    const char *file = Recording();
    for (auto _ : state)
        Send(store, "bob@norvik.example", file);
}

// On a site of the same kind, in a table beside localmapi's own, as durably as those are written.
class Reference
{
  public:
    explicit Reference(const std::string &site)
    {
        if (sqlite3_open(site.c_str(), &m_database) != SQLITE_OK)
            throw std::runtime_error("the site can't be opened");
        Run("PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 4000; PRAGMA cache_size = -16000;"
            "CREATE TABLE reference (id INTEGER PRIMARY KEY, data BLOB NOT NULL)");
        sqlite3_prepare_v2(m_database, "INSERT INTO reference (data) VALUES (?)", -1, &m_insert, nullptr);
    }
    ~Reference()
    {
        sqlite3_finalize(m_insert);
        sqlite3_close(m_database);
    }
    Reference(const Reference &) = delete;
    Reference &operator=(const Reference &) = delete;

    void Write(const std::string &bytes)
    {
        Run("BEGIN IMMEDIATE");
        sqlite3_bind_blob(m_insert, 1, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC);
        if (sqlite3_step(m_insert) != SQLITE_DONE)
            throw std::runtime_error("writing failed");
        sqlite3_reset(m_insert);
        Run("COMMIT");
    }

  private:
    void Run(const char *sql)
    {
        if (sqlite3_exec(m_database, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
            throw std::runtime_error(sql);
    }

    sqlite3 *m_database = nullptr;
    sqlite3_stmt *m_insert = nullptr;
};

void OneTransaction(benchmark::State &state)
{
    Reference reference(SiteForSending());
    const std::string bytes = Noise();
    for (auto _ : state)
        reference.Write(bytes);
}

BENCHMARK(SendVoiceMail)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(2);
BENCHMARK(OneTransaction)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(2);

} // namespace

} // namespace bench
