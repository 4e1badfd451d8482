// Proves Exchange's administration interface of a store: entry identifiers of other mailboxes, and their table.
#include "ExchangeMapi.h"
#include "StoreFixture.h"
#include "localmapi/provider/base/EntryId.h"

#include <mapiguid.h>

namespace localmapi::test
{

namespace
{

class ManageStoreTest : public StoreTest
{
  protected:
    ManageStoreTest()
    {
        EXPECT_CODE(
            m_mailbox.GetStore()->QueryInterface(IID_IExchangeManageStore, reinterpret_cast<void **>(m_manager.put())),
            S_OK);
    }
    HRESULT Create(const std::string &server, const std::string &mailbox, ULONG flags = 0x0C)
    {
        m_size = 0;
        return m_manager->CreateStoreEntryID(const_cast<char *>(server.c_str()), const_cast<char *>(mailbox.c_str()),
                                             flags, &m_size, m_entry.put());
    }

    ComPtr<IExchangeManageStore> m_manager;
    ULONG m_size = 0;
    Block<ENTRYID> m_entry;
};

const char *const kServerDn = "/cn=Configuration/cn=Servers/cn=NORVIK1/cn=Microsoft Private MDB";

TEST_F(ManageStoreTest, ServerAndMailboxNamesMakeAStoreEntryIdentifier)
{
    ASSERT_CODE(Create(kServerDn, m_mailbox.Bob().dn), S_OK);
    const SiteUid uid = m_mailbox.GetSite().Info().uid;
    const EntryId id = ParseEntryId(uid, m_size, m_entry.get(), EntryKind::Store);
    EXPECT_EQ(id.object, m_mailbox.Bob().mailbox);
    EXPECT_EQ(id.openFlags, 0x0Cu);
    // With the organisation before it, and in another case.
    EXPECT_CODE(Create("/o=Norvik/ou=First Administrative Group" + std::string(kServerDn), m_mailbox.Bob().dn), S_OK);
    EXPECT_CODE(Create("/CN=configuration/CN=servers/CN=norvik1/CN=microsoft private mdb", m_mailbox.Bob().dn), S_OK);
}

TEST_F(ManageStoreTest, AWrongServerOrMailboxIsRefused)
{
    EXPECT_CODE(Create("/cn=Configuration/cn=Servers/cn=OTHER/cn=Microsoft Private MDB", m_mailbox.Bob().dn),
                MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(m_size, 0u);
    EXPECT_FALSE(m_entry.get());
    EXPECT_CODE(Create(kServerDn, "/o=Norvik/ou=First Administrative Group/cn=Recipients/cn=nobody"), MAPI_E_NOT_FOUND);
    EXPECT_CODE(Create(kServerDn, m_mailbox.Bob().dn, 0x40000000), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(m_manager->CreateStoreEntryID(nullptr, nullptr, 0, &m_size, m_entry.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_manager->CreateStoreEntryID(const_cast<char *>(kServerDn), nullptr, 0, &m_size, m_entry.put()),
                MAPI_E_NO_SUPPORT);
    EXPECT_CODE(m_manager->CreateStoreEntryID(const_cast<char *>(kServerDn), const_cast<char *>("x"), 0, nullptr,
                                              m_entry.put()),
                MAPI_E_INVALID_PARAMETER);
}

TEST_F(ManageStoreTest, TheMailboxTableListsEveryMailboxOfTheServer)
{
    ComPtr<IMAPITable> table;
    ASSERT_CODE(m_manager->GetMailboxTable(const_cast<char *>("NORVIK1"), table.put(), 0), S_OK);
    ULONG count = 0;
    ASSERT_CODE(table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 3u);
    EXPECT_CODE(m_manager->GetMailboxTable(const_cast<char *>("OTHER"), table.put(), 0), MAPI_E_NETWORK_ERROR);
}

} // namespace

} // namespace localmapi::test
