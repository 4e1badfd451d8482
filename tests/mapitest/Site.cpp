// The template, its copies, and the way in.
#include "Site.h"
#include "ExchangeMapi.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/site/Profile.h"
#include "localmapi/storage/Check.h"
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Path.h"
#include "tests/localmapi/session/Environment.h"
#include <atomic>
#include <filesystem>
#include <random>
#include <stdexcept>

namespace mapitest
{

using namespace localmapi;

namespace
{

constexpr const char *kAliases[] = {"alice", "bob", "vm"};
constexpr const char *kUserNames[] = {"Alice Archer", "Bob Baker", "Voicemail Service"};

std::string NewPath(const std::string &folder)
{
    static const unsigned process = std::random_device{}();
    static std::atomic<unsigned> count{0};
    return folder + "/mapitest-" + std::to_string(process) + "-" + std::to_string(++count) + ".db";
}

class Template
{
  public:
    explicit Template(const std::string &folder) : m_path(NewPath(folder))
    {
        const auto site = std::make_shared<storage::Site>(storage::Site::Create(m_path, "NORVIK1", "Norvik"));
        storage::Directory directory(*site);
        for (int user = 0; user < 3; ++user) {
            directory.AddUser(kAliases[user], kUserNames[user], {}, user == 2);
            AddProfileFor(site, kAliases[user], kAliases[user], false);
        }
    }
    Template(const Template &) = delete;
    Template &operator=(const Template &) = delete;
    ~Template() { RemoveSite(m_path); }
    const std::string &Path() const { return m_path; }

  private:
    const std::string m_path;
};

const Template &TheTemplate(const std::string &folder)
{
    static const Template made(folder);
    return made;
}

void Require(HRESULT hr, const char *call)
{
    if (hr != S_OK)
        throw std::runtime_error(call + (": " + NameOf(hr)));
}

} // namespace

std::string CopyOfTemplate(const std::string &folder)
{
    std::string path = NewPath(folder);
    std::filesystem::copy_file(storage::PathOf(TheTemplate(folder).Path()), storage::PathOf(path));
    return path;
}

std::string AddressOfUser(int user)
{
    return std::string("/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=") + kAliases[user];
}

void RemoveSite(const std::string &path)
{
    for (const char *suffix : {"", "-wal", "-shm", "-reserve"}) {
        std::error_code ignored;
        std::filesystem::remove(storage::PathOf(path + suffix), ignored);
    }
}

void UseSite(const std::string &path)
{
    test::SetVariable("LOCALMAPI_FILE", path);
}

ComPtr<IMAPISession> LogOnAs(int user)
{
    ComPtr<IMAPISession> session;
    std::string profile = kAliases[user];
    Require(MAPILogonEx(0, reinterpret_cast<LPTSTR>(profile.data()), nullptr,
                        MAPI_EXTENDED | MAPI_NEW_SESSION | MAPI_EXPLICIT_PROFILE, session.put()),
            "MAPILogonEx");
    return session;
}

ComPtr<IMsgStore> OpenStoreOf(IMAPISession *session, int user, int mailbox)
{
    ComPtr<IMAPITable> table;
    Require(session->GetMsgStoresTable(0, table.put()), "GetMsgStoresTable");
    SizedSPropTagArray(1, columns) = {1, {PR_ENTRYID}};
    Require(table->SetColumns(reinterpret_cast<SPropTagArray *>(&columns), 0), "SetColumns");
    SRowSet *rows = nullptr;
    Require(table->QueryRows(1, 0, &rows), "QueryRows");
    const SBinary id = rows->aRow[0].lpProps[0].Value.bin;
    ComPtr<IMsgStore> store;
    const HRESULT hr = session->OpenMsgStore(0, id.cb, reinterpret_cast<ENTRYID *>(id.lpb), nullptr,
                                             MAPI_BEST_ACCESS | MDB_NO_DIALOG, store.put());
    FreeRows(rows);
    Require(hr, "OpenMsgStore");
    if (user == mailbox)
        return store;
    ComPtr<IExchangeManageStore> manage;
    Require(store->QueryInterface(IID_IExchangeManageStore, reinterpret_cast<void **>(manage.put())), "QueryInterface");
    std::string server = "/cn=Configuration/cn=Servers/cn=NORVIK1/cn=Microsoft Private MDB";
    std::string owner = AddressOfUser(mailbox);
    ULONG size = 0;
    Block<ENTRYID> other;
    Require(manage->CreateStoreEntryID(server.data(), owner.data(), 0, &size, other.put()), "CreateStoreEntryID");
    Require(session->OpenMsgStore(0, size, other.get(), nullptr, MAPI_BEST_ACCESS | MDB_NO_DIALOG, store.put()),
            "OpenMsgStore");
    return store;
}

Bytes ReceiveFolderOf(IMsgStore *store)
{
    ULONG size = 0;
    Block<ENTRYID> entry;
    Require(store->GetReceiveFolder(nullptr, 0, &size, entry.put(), nullptr), "GetReceiveFolder");
    return {reinterpret_cast<BYTE *>(entry.get()), reinterpret_cast<BYTE *>(entry.get()) + size};
}

std::string CheckOf(const std::string &path)
{
    std::string text;
    for (const storage::Finding &finding : storage::Check(storage::Site::Open(path), false))
        text += finding.text + "\n";
    return text;
}

} // namespace mapitest
