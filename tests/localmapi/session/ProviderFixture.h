// A session with LOCALMAPI_BEHAVIOUR, its mailbox and Inbox, for the tests of what the variable does.
#pragma once
#include "SiteFixture.h"
#include "localmapi/provider/base/Text.h"

#include <gtest/gtest.h>

namespace localmapi::test
{

using EntryBytes = std::vector<BYTE>;

inline constexpr ULONG kOwnNumber = PROP_TAG(PT_LONG, 0x6A01);
inline constexpr ULONG kOwnBytes = PROP_TAG(PT_BINARY, 0x6A02);
inline constexpr ULONG kOwnTexts = PROP_TAG(PT_MV_UNICODE, 0x6A03);

class ProviderBehaviour : public SiteTest
{
  protected:
    void SetUp() override
    {
        SiteTest::SetUp();
        AddProfile();
    }
    void TearDown() override
    {
        Leave();
        SiteTest::TearDown();
    }
    void Leave()
    {
        m_inbox.reset();
        m_store.reset();
        m_session.reset();
    }
    // Logs on with the variable, which is gone afterwards, and opens the mailbox.
    void LogOnWith(const std::string &behaviour)
    {
        {
            const ScopedVariable variable("LOCALMAPI_BEHAVIOUR", behaviour);
            m_session = LogOn();
        }
        ASSERT_TRUE(m_session);
        Open();
    }
    void Open()
    {
        ComPtr<IMAPITable> table;
        ASSERT_CODE(m_session->GetMsgStoresTable(0, table.put()), S_OK);
        EntryBytes entry = BytesIn(AllRows(table.get(), {PR_ENTRYID})[0], PR_ENTRYID);
        ASSERT_CODE(m_session->OpenMsgStore(0, static_cast<ULONG>(entry.size()), Entry(entry), nullptr,
                                            MAPI_BEST_ACCESS, m_store.put()),
                    S_OK);
        ULONG size = 0;
        Block<ENTRYID> inbox;
        ASSERT_CODE(m_store->GetReceiveFolder(nullptr, 0, &size, inbox.put(), nullptr), S_OK);
        ComPtr<IUnknown> folder;
        ULONG type = 0;
        ASSERT_CODE(m_store->OpenEntry(size, inbox.get(), &IID_IMAPIFolder, MAPI_BEST_ACCESS, &type, folder.put()),
                    S_OK);
        m_inbox = Share(static_cast<IMAPIFolder *>(folder.get()));
    }
    static LPENTRYID Entry(EntryBytes &bytes) { return reinterpret_cast<LPENTRYID>(bytes.data()); }

    static SPropValue Number(LONG number)
    {
        SPropValue value{};
        value.ulPropTag = kOwnNumber;
        value.Value.l = number;
        return value;
    }
    // A saved message with these properties.
    ComPtr<IMessage> Add(std::vector<SPropValue> values)
    {
        ComPtr<IMessage> message;
        EXPECT_CODE(m_inbox->CreateMessage(nullptr, 0, message.put()), S_OK);
        EXPECT_CODE(message->SetProps(static_cast<ULONG>(values.size()), values.data(), nullptr), S_OK);
        EXPECT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
        return message;
    }
    ComPtr<IMessage> AddSubject(const std::string &subject)
    {
        WideText wide = WideFromUtf8(subject);
        SPropValue value{};
        value.ulPropTag = PR_SUBJECT_W;
        value.Value.lpszW = wide.data();
        return Add({value});
    }
    ComPtr<IMAPITable> Contents(std::vector<ULONG> columns)
    {
        ComPtr<IMAPITable> table;
        EXPECT_CODE(m_inbox->GetContentsTable(0, table.put()), S_OK);
        columns.insert(columns.begin(), static_cast<ULONG>(columns.size()));
        EXPECT_CODE(table->SetColumns(reinterpret_cast<LPSPropTagArray>(columns.data()), 0), S_OK);
        return table;
    }
    // The Inbox with messages 1 to `count`, in this order.
    ComPtr<IMAPITable> Numbered(LONG count)
    {
        for (LONG i = 1; i <= count; ++i)
            Add({Number(i)});
        auto table = Contents({kOwnNumber});
        SizedSSortOrderSet(1, order) = {1, 0, 0, {{kOwnNumber, TABLE_SORT_ASCEND}}};
        EXPECT_CODE(table->SortTable(reinterpret_cast<LPSSortOrderSet>(&order), 0), S_OK);
        return table;
    }
    static std::vector<LONG> Read(const ComPtr<IMAPITable> &table, LONG count, ULONG flags = 0)
    {
        Rows rows;
        EXPECT_CODE(table->QueryRows(count, flags, rows.put()), S_OK);
        std::vector<LONG> numbers;
        for (ULONG i = 0; i < rows.Count(); ++i)
            numbers.push_back(rows[i].lpProps[0].Value.l);
        return numbers;
    }
    static ULONG PositionOf(const ComPtr<IMAPITable> &table)
    {
        ULONG row = 0, numerator = 0, denominator = 0;
        EXPECT_CODE(table->QueryPosition(&row, &numerator, &denominator), S_OK);
        return row;
    }
    std::string SubjectInRow(ULONG tag)
    {
        auto table = Contents({tag});
        Rows rows;
        EXPECT_CODE(table->QueryRows(1, 0, rows.put()), S_OK);
        return rows.Count() == 1 ? TextIn(rows[0], tag) : "(no row)";
    }
    // Makes calls until the session is dropped.
    void UseUp()
    {
        ULONG size = 0;
        Block<ENTRYID> entry;
        HRESULT hr = S_OK;
        for (int i = 0; i < 1000 && hr == S_OK; ++i)
            hr = m_session->QueryIdentity(&size, entry.put());
        ASSERT_CODE(hr, MAPI_E_NETWORK_ERROR);
    }

    ComPtr<IMAPISession> m_session;
    ComPtr<IMsgStore> m_store;
    ComPtr<IMAPIFolder> m_inbox;
};

} // namespace localmapi::test
