// The client that has the conversation, by the functions it was given alone.
#include "Conversation.h"
#include "localmapi/provider/base/ComObject.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace localmapi::test
{

namespace
{

LPTSTR Text(const char *text)
{
    return reinterpret_cast<LPTSTR>(const_cast<char *>(text));
}

class Client
{
  public:
    explicit Client(const MapiFunctions &mapi) : m_mapi(mapi) {}

    void Run()
    {
        ComPtr<IProfAdmin> admin;
        ASSERT_EQ(m_mapi.adminProfiles(0, admin.put()), S_OK);
        ASSERT_EQ(admin->CreateProfile(Text("Conversation"), Text(""), 0, 0), S_OK);
        Configure(admin.get());
        ComPtr<IMAPISession> session;
        ASSERT_EQ(m_mapi.logonEx(0, Text("Conversation"), nullptr,
                                 MAPI_EXTENDED | MAPI_NEW_SESSION | MAPI_EXPLICIT_PROFILE, session.put()),
                  S_OK);
        EXPECT_EQ(admin->DeleteProfile(Text("Conversation"), 0), S_OK);
        Resolve(session.get());
        OpenStore(session.get());
        EXPECT_EQ(session->Logoff(0, 0, 0), S_OK);
    }

  private:
    void Configure(IProfAdmin *admin)
    {
        ComPtr<IMsgServiceAdmin> services;
        ASSERT_EQ(admin->AdminServices(Text("Conversation"), Text(""), 0, 0, services.put()), S_OK);
        ASSERT_EQ(services->CreateMsgService(Text("MSEMS"), Text("Microsoft Exchange Server"), 0, 0), S_OK);
        ComPtr<IMAPITable> table;
        ASSERT_EQ(services->GetMsgServiceTable(0, table.put()), S_OK);
        MAPIUID uid{};
        SRowSet *rows = Query(table.get(), PR_SERVICE_UID);
        ASSERT_NE(rows, nullptr);
        ASSERT_EQ(rows->aRow[0].lpProps[0].Value.bin.cb, sizeof uid);
        std::memcpy(&uid, rows->aRow[0].lpProps[0].Value.bin.lpb, sizeof uid);
        Free(rows);
        SPropValue props[2] = {};
        props[0].ulPropTag = PR_PROFILE_UNRESOLVED_NAME;
        props[0].Value.lpszA = const_cast<char *>("alice");
        props[1].ulPropTag = PR_PROFILE_UNRESOLVED_SERVER;
        props[1].Value.lpszA = const_cast<char *>("NORVIK1");
        ASSERT_EQ(services->ConfigureMsgService(&uid, 0, 0, 2, props), S_OK);
    }

    // A client's own memory goes in, the provider's comes out, and the client frees that.
    void Resolve(IMAPISession *session)
    {
        ComPtr<IAddrBook> book;
        ASSERT_EQ(session->OpenAddressBook(0, nullptr, AB_NO_DIALOG, book.put()), S_OK);
        void *block = nullptr, *text = nullptr;
        ASSERT_EQ(m_mapi.allocateBuffer(sizeof(SPropValue), &block), S_OK);
        ASSERT_EQ(m_mapi.allocateMore(6, block, &text), S_OK);
        auto *value = static_cast<SPropValue *>(block);
        *value = SPropValue{};
        value->ulPropTag = PR_DISPLAY_NAME_A;
        value->Value.lpszA = static_cast<char *>(text);
        std::memcpy(text, "alice", 6);
        ADRLIST list = {1, {{0, 1, value}}};
        EXPECT_EQ(book->ResolveName(0, 0, nullptr, &list), S_OK);
        std::string name;
        for (ULONG i = 0; i < list.aEntries[0].cValues; ++i)
            if (list.aEntries[0].rgPropVals[i].ulPropTag == PR_DISPLAY_NAME_A)
                name = list.aEntries[0].rgPropVals[i].Value.lpszA;
        EXPECT_EQ(name, "Alice Archer");
        EXPECT_EQ(m_mapi.freeBuffer(list.aEntries[0].rgPropVals), 0u);
    }

    void OpenStore(IMAPISession *session)
    {
        ComPtr<IMAPITable> table;
        ASSERT_EQ(session->GetMsgStoresTable(0, table.put()), S_OK);
        SRowSet *rows = Query(table.get(), PR_ENTRYID);
        ASSERT_NE(rows, nullptr);
        const SBinary &entry = rows->aRow[0].lpProps[0].Value.bin;
        ComPtr<IMsgStore> store;
        EXPECT_EQ(session->OpenMsgStore(0, entry.cb, reinterpret_cast<LPENTRYID>(entry.lpb), nullptr,
                                        MAPI_BEST_ACCESS | MDB_ONLINE | MDB_NO_DIALOG, store.put()),
                  S_OK);
        Free(rows);
        EXPECT_TRUE(store);
    }

    // The one row of a table; null when it has another number of rows.
    SRowSet *Query(IMAPITable *table, ULONG column)
    {
        SPropTagArray columns = {1, {column}};
        SRowSet *rows = nullptr;
        EXPECT_EQ(m_mapi.queryAllRows(table, &columns, nullptr, nullptr, 0, &rows), S_OK);
        if (rows && rows->cRows == 1)
            return rows;
        Free(rows);
        return nullptr;
    }
    void Free(SRowSet *rows)
    {
        for (ULONG i = 0; rows && i < rows->cRows; ++i)
            m_mapi.freeBuffer(rows->aRow[i].lpProps);
        m_mapi.freeBuffer(rows);
    }

    const MapiFunctions &m_mapi;
};

} // namespace

void Converse(const MapiFunctions &mapi)
{
    MAPIINIT_0 settings = {MAPI_INIT_VERSION, MAPI_MULTITHREAD_NOTIFICATIONS};
    ASSERT_EQ(mapi.initialize(&settings), S_OK);
    Client(mapi).Run();
    mapi.uninitialize();
}

} // namespace localmapi::test
