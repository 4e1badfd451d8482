// The making of the site, its users and recordings, and the listing of a mailbox as one value.
#include "behaviour/BehaviourTest.h"
#include "ExchangeMapi.h"
#include <fstream>
#include <iterator>
#include <mapiutil.h>
#include <mapix.h>

using namespace localmapi;

std::string NameOf(HRESULT hr)
{
    char name[64] = "";
    OrlGetErrorTextA(0, hr, name, sizeof name);
    char number[16];
    std::snprintf(number, sizeof number, "0x%08x", static_cast<unsigned>(hr));
    return std::string(number) + " " + name;
}

BehaviourTest::BehaviourTest() : m_folder(NewFolder())
{
    SetVariable("LOCALMAPI_FILE", File("site.db"));
    SetVariable("ORLMAPI_SETTINGS", File("settings.json"));
    m_site = storage::Site::Create(Utf8Path(File("site.db")), "NORVIK1", "Norvik");
    storage::Directory(GetSite()).AddUser("vm", "Voicemail Service", "", true);
    AddUser("alice", "Alice Archer");
    AddUser("bob", "Bob Baker");
}

BehaviourTest::~BehaviourTest()
{
    for (const OrlMailbox mailbox : m_mailboxes)
        OrlMapiDisconnectFromMailbox(m_connection, mailbox);
    if (m_connection) {
        OrlMapiDisconnect(m_connection);
        OrlCloseConnection(&m_connection);
    }
    m_site.reset();
    std::error_code error;
    std::filesystem::remove_all(m_folder, error);
}

storage::User BehaviourTest::AddUser(const std::string &alias, const std::string &name)
{
    return storage::Directory(GetSite()).AddUser(alias, name);
}

void BehaviourTest::AddProfile(const char *name)
{
    const auto text = [](const char *chars) { return const_cast<LPTSTR>(static_cast<LPCTSTR>(chars)); };
    ASSERT_HR(0, MAPIInitialize(nullptr));
    LPPROFADMIN profiles = nullptr;
    ASSERT_HR(0, MAPIAdminProfiles(0, &profiles));
    ASSERT_HR(0, profiles->CreateProfile(text(name), nullptr, 0, 0));
    LPSERVICEADMIN services = nullptr;
    ASSERT_HR(0, profiles->AdminServices(text(name), nullptr, 0, 0, &services));
    ASSERT_HR(0, services->CreateMsgService(text("MSEMS"), text("Exchange"), 0, 0));
    LPMAPITABLE table = nullptr;
    ASSERT_HR(0, services->GetMsgServiceTable(0, &table));
    SizedSPropTagArray(1, columns) = {1, {PR_SERVICE_UID}};
    LPSRowSet rows = nullptr;
    ASSERT_HR(0, HrQueryAllRows(table, reinterpret_cast<LPSPropTagArray>(&columns), nullptr, nullptr, 0, &rows));
    ASSERT_EQ(1U, rows->cRows);
    SPropValue values[2] = {};
    values[0].ulPropTag = PR_PROFILE_UNRESOLVED_NAME;
    values[0].Value.lpszA = const_cast<LPSTR>("vm");
    values[1].ulPropTag = PR_PROFILE_UNRESOLVED_SERVER;
    values[1].Value.lpszA = const_cast<LPSTR>("NORVIK1");
    EXPECT_HR(0, services->ConfigureMsgService(reinterpret_cast<LPMAPIUID>(rows->aRow[0].lpProps[0].Value.bin.lpb), 0,
                                               0, 2, values));
    FreeProws(rows);
    table->Release();
    services->Release();
    profiles->Release();
    MAPIUninitialize();
}

storage::ObjectId BehaviourTest::Deliver(const std::string &alias, const storage::MessageChanges &message)
{
    const storage::Directory directory(GetSite());
    return storage::Objects(GetSite()).CreateMessage(directory.GetMailbox(directory.UserByAlias(alias)->mailbox).inbox,
                                                     message);
}

void BehaviourTest::DeliverVoicemail(const std::string &alias, const std::string &caller, bool urgent,
                                     const std::string &wav, bool isPrivate)
{
    const storage::User to = *storage::Directory(GetSite()).UserByAlias(alias);
    // A second apart, so that their order is known.
    m_time += 10000000;
    storage::MessageChanges message =
        Compose(delivery::Voicemail{{caller, "", ""}, "+15550100", caller, 7, "", {urgent, isPrivate}}, to, m_time);
    if (!wav.empty())
        delivery::Attach(message, wav, "audio/wav");
    Deliver(alias, message);
}

std::string BehaviourTest::Wave(const std::string &name, std::size_t bytes)
{
    std::string wave = "RIFF....WAVEfmt ";
    const auto number = [&](std::uint32_t value, int count) {
        for (int i = 0; i < count; ++i)
            wave += static_cast<char>(value >> (8 * i));
    };
    number(16, 4);
    number(1, 2);
    number(1, 2);
    number(8000, 4);
    number(8000, 4);
    number(1, 2);
    number(8, 2);
    wave += "data";
    number(static_cast<std::uint32_t>(bytes), 4);
    for (std::size_t i = 0; i < bytes; ++i)
        wave += static_cast<char>(i * 31 + i / 251);
    std::ofstream(File(name), std::ios::binary) << wave;
    return File(name).string();
}

std::string BehaviourTest::Bytes(const std::filesystem::path &file) const
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void BehaviourTest::Connect()
{
    ASSERT_HR(0, OrlCreateConnection(&m_connection, 0));
    ASSERT_TRUE(OrlIsMAPIAvailable(m_connection));
    ASSERT_HR(0, OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""));
}

OrlMailbox BehaviourTest::Open(const std::string &alias)
{
    OrlMailbox mailbox = 0;
    EXPECT_HR(0, OrlMapiConnectToMailboxA(m_connection, &mailbox, alias.c_str()));
    if (mailbox)
        m_mailboxes.push_back(mailbox);
    return mailbox;
}

Page BehaviourTest::List(OrlMailbox mailbox, DWORD &table, DWORD &bookmark, LONG rows, BYTE forward, ULONG start,
                         const Filter &filter)
{
    Page page;
    EmailHeaderA *headers = nullptr;
    page.hr = OrlGetEmailHeadersA(m_connection, mailbox, &table, &bookmark, rows, &headers, &page.count, &page.total,
                                  filter.read, forward, start, filter.attachments, filter.priority, filter.fax,
                                  filter.summary, nullptr, 0, filter.um);
    for (ULONG i = 0; i < page.count; ++i) {
        const EmailHeaderA &header = headers[i];
        page.names.emplace_back(filter.um ? header.pszName : header.pszSenderName);
        page.ids.emplace_back(header.pEntryID, header.pEntryID + header.cbEntryID);
        page.attachments.emplace_back();
        for (ULONG n = 0; n < header.cAttachments; ++n)
            page.attachments.back().push_back(header.pAttachments[n].ulAttachNum);
    }
    OrlMapiFreeBuffer(headers);
    return page;
}

Page BehaviourTest::ListAll(OrlMailbox mailbox, const Filter &filter)
{
    DWORD table = 0, bookmark = 0;
    Page page = List(mailbox, table, bookmark, 1000, 1, ORL_BOOKMARK_BEGINNING, filter);
    OrlMapiReleaseHandle(m_connection, &table, &bookmark);
    return page;
}
