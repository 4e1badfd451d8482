// Reading values and rows as UTF-8, and making the site, its profiles and sessions for a test.
#include "SiteFixture.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/site/Profile.h"

#include <random>

namespace localmapi::test
{

const SPropValue *Find(const SPropValue *values, ULONG count, ULONG tag)
{
    for (ULONG i = 0; i < count; ++i)
        if (values[i].ulPropTag == tag)
            return &values[i];
    return nullptr;
}

std::string TextIn(const SPropValue *values, ULONG count, ULONG tag)
{
    const SPropValue *value = Find(values, count, tag);
    if (!value)
        return "(none)";
    return std::get<std::string>(ValueFromProp(*value));
}

std::string TextIn(const SRow &row, ULONG tag)
{
    return TextIn(row.lpProps, row.cValues, tag);
}

std::vector<BYTE> BytesIn(const SRow &row, ULONG tag)
{
    const SPropValue *value = Find(row.lpProps, row.cValues, tag);
    return value ? std::vector<BYTE>(value->Value.bin.lpb, value->Value.bin.lpb + value->Value.bin.cb)
                 : std::vector<BYTE>();
}

std::string TextOf(IMAPIProp *object, ULONG tag)
{
    Block<SPropValue> value;
    const HRESULT hr = HrGetOneProp(object, tag, value.put());
    return FAILED(hr) ? "(" + CodeName(hr) + ")" : std::get<std::string>(ValueFromProp(*value.get()));
}

std::vector<BYTE> BytesOf(IMAPIProp *object, ULONG tag)
{
    Block<SPropValue> value;
    EXPECT_CODE(HrGetOneProp(object, tag, value.put()), S_OK);
    return value ? std::vector<BYTE>(value->Value.bin.lpb, value->Value.bin.lpb + value->Value.bin.cb)
                 : std::vector<BYTE>();
}

LONG LongOf(IMAPIProp *object, ULONG tag)
{
    Block<SPropValue> value;
    EXPECT_CODE(HrGetOneProp(object, tag, value.put()), S_OK);
    return value ? value->Value.l : -1;
}

LPTSTR Narrow(const char *text)
{
    return reinterpret_cast<LPTSTR>(const_cast<char *>(text));
}

LPTSTR Wide(LPCWSTR text)
{
    return reinterpret_cast<LPTSTR>(const_cast<WCHAR *>(text));
}

Rows AllRows(IMAPITable *table, const std::vector<ULONG> &columns, SRestriction *restriction)
{
    std::vector<ULONG> tags = {static_cast<ULONG>(columns.size())};
    tags.insert(tags.end(), columns.begin(), columns.end());
    Rows rows;
    EXPECT_CODE(
        HrQueryAllRows(table, reinterpret_cast<SPropTagArray *>(tags.data()), restriction, nullptr, 0, rows.put()),
        S_OK);
    return rows;
}

std::string CodeName(HRESULT code)
{
    struct Known {
        HRESULT code;
        const char *name;
    };
#define NAMED(code)                                                                                                    \
    {                                                                                                                  \
        code, #code                                                                                                    \
    }
    static const Known known[] = {NAMED(S_OK),
                                  NAMED(MAPI_W_ERRORS_RETURNED),
                                  NAMED(MAPI_E_CALL_FAILED),
                                  NAMED(MAPI_E_NOT_ENOUGH_MEMORY),
                                  NAMED(MAPI_E_INVALID_PARAMETER),
                                  NAMED(MAPI_E_INTERFACE_NOT_SUPPORTED),
                                  NAMED(MAPI_E_NO_ACCESS),
                                  NAMED(MAPI_E_NO_SUPPORT),
                                  NAMED(MAPI_E_STRING_TOO_LONG),
                                  NAMED(MAPI_E_UNKNOWN_FLAGS),
                                  NAMED(MAPI_E_INVALID_ENTRYID),
                                  NAMED(MAPI_E_UNKNOWN_ENTRYID),
                                  NAMED(MAPI_E_NOT_FOUND),
                                  NAMED(MAPI_E_VERSION),
                                  NAMED(MAPI_E_LOGON_FAILED),
                                  NAMED(MAPI_E_NETWORK_ERROR),
                                  NAMED(MAPI_E_UNCONFIGURED),
                                  NAMED(MAPI_E_COMPUTED),
                                  NAMED(MAPI_E_INVALID_TYPE),
                                  NAMED(MAPI_E_TABLE_TOO_BIG),
                                  NAMED(MAPI_E_END_OF_SESSION),
                                  NAMED(MAPI_E_NOT_INITIALIZED),
                                  NAMED(MAPI_E_AMBIGUOUS_RECIP)};
#undef NAMED
    for (const Known &one : known)
        if (one.code == code)
            return one.name;
    return HexText(static_cast<ULONG>(code));
}

void SiteTest::SetUp()
{
    m_objects = g_liveObjects;
    m_blocks = LiveBlocks();
    std::random_device random;
    m_folder = std::filesystem::temp_directory_path() / ("localmapi-test-" + std::to_string(random()));
    std::filesystem::create_directories(m_folder);
    m_file = PathOf("site.db");
    m_variable.emplace("LOCALMAPI_FILE", m_file);
    ASSERT_CODE(MAPIInitialize(nullptr), S_OK);
    if (!m_makeSite)
        return;
    storage::Directory directory(storage::Site::Create(m_file, "NORVIK1", "Norvik"));
    directory.AddUser("alice", "Alice Archer");
    directory.AddUser("albert", "Albert Archer", "bert@norvik.example");
    directory.AddUser("vm", "Voicemail Service", {}, true);
    directory.AddUser("zoe", "Zo\xC3\xAB \xCE\x91\xCE\xB8\xCE\xB7\xCE\xBD\xCE\xAC \xE6\x9D\xB1");
    directory.AddContact("Bob Baker", "bob@elsewhere.example");
}

void SiteTest::TearDown()
{
    MAPIUninitialize();
    m_variable.reset();
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
    EXPECT_EQ(g_liveObjects - m_objects, 0) << "MAPI objects are left";
    EXPECT_EQ(LiveBlocks() - m_blocks, 0) << "blocks of MAPI memory are left";
}

std::string SiteTest::PathOf(const std::string &name) const
{
    const auto text = (m_folder / name).u8string();
    return std::string(text.begin(), text.end());
}

void SiteTest::AddProfile(const std::string &name, const std::string &user, bool makeDefault)
{
    AddProfileFor(std::make_shared<storage::Site>(OpenedSite()), name, user, makeDefault);
}

ComPtr<IMAPISession> SiteTest::LogOn(const std::string &profile)
{
    ComPtr<IMAPISession> session;
    EXPECT_CODE(MAPILogonEx(0, Narrow(profile.c_str()), nullptr,
                            MAPI_EXTENDED | MAPI_NEW_SESSION | MAPI_EXPLICIT_PROFILE, session.put()),
                S_OK);
    return session;
}

ComPtr<IAddrBook> SiteTest::OpenBook(const ComPtr<IMAPISession> &session)
{
    ComPtr<IAddrBook> book;
    EXPECT_CODE(session->OpenAddressBook(0, nullptr, AB_NO_DIALOG, book.put()), S_OK);
    return book;
}

ComPtr<IProfAdmin> SiteTest::Admin()
{
    ComPtr<IProfAdmin> admin;
    EXPECT_CODE(MAPIAdminProfiles(0, admin.put()), S_OK);
    return admin;
}

ComPtr<IMsgServiceAdmin> SiteTest::Services(const ComPtr<IProfAdmin> &admin, const char *profile)
{
    ComPtr<IMsgServiceAdmin> services;
    EXPECT_CODE(admin->AdminServices(Narrow(profile), Narrow(""), 0, 0, services.put()), S_OK);
    return services;
}

MAPIUID SiteTest::ServiceUid(const ComPtr<IMsgServiceAdmin> &services)
{
    ComPtr<IMAPITable> table;
    EXPECT_CODE(services->GetMsgServiceTable(0, table.put()), S_OK);
    const Rows rows = AllRows(table.get(), {PR_SERVICE_UID});
    MAPIUID uid{};
    EXPECT_EQ(rows.Count(), 1u);
    if (rows.Count() == 1 && rows[0].lpProps[0].Value.bin.cb == sizeof uid)
        std::memcpy(uid.ab, rows[0].lpProps[0].Value.bin.lpb, sizeof uid);
    return uid;
}

std::vector<std::string> SiteTest::ProfileNames()
{
    ComPtr<IMAPITable> table;
    EXPECT_CODE(Admin()->GetProfileTable(0, table.put()), S_OK);
    const Rows rows = AllRows(table.get(), {PR_DISPLAY_NAME_A});
    std::vector<std::string> names;
    for (ULONG i = 0; i < rows.Count(); ++i)
        names.push_back(TextIn(rows[i], PR_DISPLAY_NAME_A));
    return names;
}

} // namespace localmapi::test
