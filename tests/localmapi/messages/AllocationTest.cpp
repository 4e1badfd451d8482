// Proves that a failing allocation, whichever it is, gives one error, leaves nothing behind and changes nothing: the
// same call works afterwards.
#include "ExchangeMapi.h"
#include "Mailbox.h"

#include <mapiguid.h>

#include <functional>

namespace localmapi::test
{

namespace
{

class AllocationTest : public testing::Test
{
  protected:
    // Makes the first, second, ... allocation of a call fail until the call does not need so many. `call` gives its
    // code; what it handed out is freed by `after`.
    static void Sweep(const char *what, const std::function<HRESULT()> &call, const std::function<void()> &after)
    {
        SCOPED_TRACE(what);
        const LONG before = LiveBlocks();
        int failures = 0;
        for (LONG allocation = 0;; ++allocation) {
            ASSERT_LT(allocation, 1000);
            FailAllocation(allocation);
            const HRESULT hr = call();
            FailAllocation(-1);
            if (hr == S_OK)
                break;
            ++failures;
            EXPECT_CODE(hr, MAPI_E_NOT_ENOUGH_MEMORY) << "allocation " << allocation;
            EXPECT_EQ(LiveBlocks(), before) << "allocation " << allocation;
        }
        after();
        EXPECT_GT(failures, 0) << "the call allocates nothing";
        EXPECT_EQ(LiveBlocks(), before);
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
};

TEST_F(AllocationTest, ReadingRowsFailsCleanlyAndDoesNotMoveTheCursor)
{
    for (const char *subject : {"a", "b", "c", "d"})
        m_mailbox.Add({Narrow(PR_SUBJECT_A, subject)});
    auto table = m_mailbox.Contents();
    ASSERT_CODE(table->SetColumns(Tags{PR_SUBJECT_A, PR_ENTRYID}, 0), S_OK);
    SRowSet *rows = nullptr;
    Sweep(
        "QueryRows", [&] { return table->QueryRows(3, 0, &rows); },
        [&] {
            ASSERT_EQ(rows->cRows, 3u);
            EXPECT_STREQ(rows->aRow[0].lpProps[0].Value.lpszA, "a");
            FreeRows(rows);
        });
    ULONG row = 0;
    ULONG numerator = 0;
    ULONG denominator = 0;
    EXPECT_CODE(table->QueryPosition(&row, &numerator, &denominator), S_OK);
    EXPECT_EQ(row, 3u);
    SPropTagArray *tags = nullptr;
    Sweep(
        "QueryColumns", [&] { return table->QueryColumns(TBL_ALL_COLUMNS, &tags); }, [&] { FreeBuffer(tags); });
    SSortOrderSet *order = nullptr;
    Sweep(
        "QuerySortOrder", [&] { return table->QuerySortOrder(&order); }, [&] { FreeBuffer(order); });
}

TEST_F(AllocationTest, PropertiesAndEntryIdentifiersFailCleanly)
{
    auto message = m_mailbox.Open(m_mailbox.Add({Narrow(PR_SUBJECT_A, "a")}));
    SPropValue *values = nullptr;
    SPropTagArray *tags = nullptr;
    ULONG count = 0;
    Sweep(
        "GetProps", [&] { return message->GetProps(nullptr, 0, &count, &values); }, [&] { FreeBuffer(values); });
    Sweep(
        "GetPropList", [&] { return message->GetPropList(0, &tags); }, [&] { FreeBuffer(tags); });
    SPropValue computed = Long(PR_MESSAGE_SIZE, 1);
    SPropProblemArray *problems = nullptr;
    Sweep(
        "SetProps", [&] { return message->SetProps(1, &computed, &problems); }, [&] { FreeBuffer(problems); });
    ENTRYID *entry = nullptr;
    TCHAR *text = nullptr;
    Sweep(
        "GetReceiveFolder", [&] { return m_mailbox.GetStore()->GetReceiveFolder(nullptr, 0, &count, &entry, &text); },
        [&] {
            FreeBuffer(entry);
            FreeBuffer(text);
        });
    ComPtr<IExchangeManageStore> manager;
    ASSERT_CODE(
        m_mailbox.GetStore()->QueryInterface(IID_IExchangeManageStore, reinterpret_cast<void **>(manager.put())), S_OK);
    std::string server = "/cn=Configuration/cn=Servers/cn=NORVIK1/cn=Microsoft Private MDB";
    std::string mailbox = m_mailbox.Bob().dn;
    Sweep(
        "CreateStoreEntryID",
        [&] { return manager->CreateStoreEntryID(server.data(), mailbox.data(), 0, &count, &entry); },
        [&] { FreeBuffer(entry); });
}

TEST_F(AllocationTest, ErrorTextsFailCleanly)
{
    EXPECT_CODE(m_mailbox.GetStore()->Unadvise(1), MAPI_E_NO_SUPPORT);
    MAPIERROR *error = nullptr;
    Sweep(
        "GetLastError", [&] { return m_mailbox.GetStore()->GetLastError(MAPI_E_NO_SUPPORT, MAPI_UNICODE, &error); },
        [&] { FreeBuffer(error); });
}

} // namespace

} // namespace localmapi::test
