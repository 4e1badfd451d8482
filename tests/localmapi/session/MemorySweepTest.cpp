// MAPI memory runs out at each place of a client's way through profile, session and address book, once and from there
// on: the call says so, nothing is left behind, and the next client gets through.
#include "SiteFixture.h"

#include <gtest/gtest.h>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

// The first failure of a step ends the way.
#define STEP(call)                                                                                                     \
    do {                                                                                                               \
        const HRESULT hr = (call);                                                                                     \
        if (FAILED(hr))                                                                                                \
            return hr;                                                                                                 \
    } while (false)

HRESULT ReadAll(IMAPITable *table)
{
    Rows rows;
    STEP(HrQueryAllRows(table, nullptr, nullptr, nullptr, 0, rows.put()));
    return rows.Count() > 0 ? S_OK : MAPI_E_NOT_FOUND;
}

HRESULT ThroughTheProfile()
{
    ComPtr<IProfAdmin> admin;
    ComPtr<IMAPITable> table;
    ComPtr<IMsgServiceAdmin> services;
    ComPtr<IProfSect> section;
    STEP(MAPIAdminProfiles(0, admin.put()));
    STEP(admin->GetProfileTable(0, table.put()));
    STEP(ReadAll(table.get()));
    STEP(admin->AdminServices(Narrow("Work"), nullptr, 0, 0, services.put()));
    STEP(services->GetMsgServiceTable(0, table.put()));
    STEP(ReadAll(table.get()));
    STEP(services->GetProviderTable(MAPI_UNICODE, table.put()));
    STEP(ReadAll(table.get()));
    STEP(services->OpenProfileSection(nullptr, nullptr, 0, section.put()));
    ULONG count = 0;
    Block<SPropValue> values;
    STEP(section->GetProps(nullptr, 0, &count, values.put()));
    Block<SPropTagArray> tags;
    return section->GetPropList(0, tags.put());
}

HRESULT ThroughTheSession()
{
    ComPtr<IMAPISession> session;
    ComPtr<IMAPITable> table;
    STEP(MAPILogonEx(0, Narrow("Work"), nullptr, MAPI_EXTENDED | MAPI_EXPLICIT_PROFILE, session.put()));
    STEP(session->GetMsgStoresTable(0, table.put()));
    STEP(ReadAll(table.get()));
    ULONG size = 0;
    Block<ENTRYID> entry;
    STEP(session->QueryIdentity(&size, entry.put()));
    ComPtr<IUnknown> object;
    STEP(session->OpenEntry(size, entry.get(), nullptr, 0, nullptr, object.put()));
    Block<LPTSTR> types;
    ULONG count = 0;
    STEP(session->EnumAdrTypes(MAPI_UNICODE, &count, types.put()));
    return session->Logoff(0, 0, 0);
}

HRESULT ThroughTheAddressBook()
{
    ComPtr<IMAPISession> session;
    ComPtr<IAddrBook> book;
    ComPtr<IUnknown> root;
    ComPtr<IMAPITable> table;
    STEP(MAPILogonEx(0, Narrow("Work"), nullptr, MAPI_EXTENDED | MAPI_EXPLICIT_PROFILE, session.put()));
    STEP(session->OpenAddressBook(0, nullptr, 0, book.put()));
    STEP(book->OpenEntry(0, nullptr, nullptr, 0, nullptr, root.put()));
    STEP(static_cast<IABContainer *>(root.get())->GetHierarchyTable(0, table.put()));
    STEP(ReadAll(table.get()));
    ULONG size = 0;
    Block<ENTRYID> entry;
    STEP(book->GetDefaultDir(&size, entry.put()));
    ComPtr<IUnknown> list;
    STEP(book->OpenEntry(size, entry.get(), nullptr, 0, nullptr, list.put()));
    STEP(static_cast<IABContainer *>(list.get())->GetContentsTable(MAPI_UNICODE, table.put()));
    STEP(ReadAll(table.get()));
    Rows path;
    STEP(book->GetSearchPath(0, path.put()));
    return book->CreateOneOff(Narrow("C"), Narrow("SMTP"), Narrow("c@x.example"), 0, &size, entry.put());
}

class MemorySweep : public SiteTest
{
  protected:
    void SetUp() override
    {
        SiteTest::SetUp();
        AddProfile();
        // What a process keeps from its first use on is there before anything is counted.
        ASSERT_CODE(ThroughTheProfile(), S_OK);
    }
    static void Sweep(HRESULT (*way)())
    {
        for (const bool fromThereOn : {false, true}) {
            LONG after = 0;
            for (;; ++after) {
                ASSERT_LT(after, 1000) << "it never gets through";
                const LONG objects = g_liveObjects, blocks = LiveBlocks();
                FailAllocation(after, fromThereOn);
                const HRESULT hr = way();
                FailAllocation(-1);
                EXPECT_EQ(g_liveObjects, objects) << "at allocation " << after;
                EXPECT_EQ(LiveBlocks(), blocks) << "at allocation " << after;
                if (hr == S_OK)
                    break;
                EXPECT_CODE(hr, MAPI_E_NOT_ENOUGH_MEMORY) << "at allocation " << after;
            }
            EXPECT_GT(after, 3) << "the allocations were counted";
            EXPECT_CODE(way(), S_OK);
        }
    }
};

TEST_F(MemorySweep, ProfilesAndServices)
{
    Sweep(ThroughTheProfile);
}

TEST_F(MemorySweep, Session)
{
    Sweep(ThroughTheSession);
}

TEST_F(MemorySweep, AddressBook)
{
    Sweep(ThroughTheAddressBook);
}

} // namespace
