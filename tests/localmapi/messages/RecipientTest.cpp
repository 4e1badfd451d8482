// Proves a message's recipients: how the list is changed, what the recipient table shows and what follows from it.
#include "Mailbox.h"
#include "localmapi/provider/table/QueryRows.h"

namespace localmapi::test
{

namespace
{

class RecipientTest : public testing::Test
{
  protected:
    using Entry = Props;

    HRESULT Modify(const ComPtr<IMessage> &message, ULONG flags, std::vector<Entry> entries)
    {
        std::vector<BYTE> memory(CbNewADRLIST(entries.size() + 1));
        auto *list = reinterpret_cast<ADRLIST *>(memory.data());
        list->cEntries = static_cast<ULONG>(entries.size());
        for (std::size_t i = 0; i < entries.size(); ++i) {
            list->aEntries[i].cValues = static_cast<ULONG>(entries[i].size());
            list->aEntries[i].rgPropVals = entries[i].data();
        }
        return message->ModifyRecipients(flags, list);
    }
    static Entry Person(const char *name, LONG type)
    {
        return {Narrow(PR_DISPLAY_NAME_A, name), Long(PR_RECIPIENT_TYPE, type), Narrow(PR_ADDRTYPE_A, "SMTP"),
                Narrow(PR_EMAIL_ADDRESS_A, name)};
    }
    // "number=name/type" of each row.
    std::string List(const ComPtr<IMessage> &message)
    {
        ComPtr<IMAPITable> table;
        EXPECT_CODE(message->GetRecipientTable(0, table.put()), S_OK);
        Rows rows;
        EXPECT_CODE(QueryAllRows(table.get(), Tags{PR_ROWID, PR_DISPLAY_NAME_A, PR_RECIPIENT_TYPE}, nullptr, nullptr, 0,
                                 rows.put()),
                    S_OK);
        std::string list;
        for (ULONG row = 0; row < rows.size(); ++row)
            list += (row ? " " : "") + std::to_string(rows[row].lpProps[0].Value.l) + "=" +
                    rows[row].lpProps[1].Value.lpszA + "/" + std::to_string(rows[row].lpProps[2].Value.l);
        return list;
    }

    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
};

TEST_F(RecipientTest, RecipientsAreAddedModifiedRemovedAndReplaced)
{
    auto message = m_mailbox.NewMessage();
    EXPECT_EQ(List(message), "");
    ASSERT_CODE(Modify(message, MODRECIP_ADD, {Person("ann", MAPI_TO), Person("ben", MAPI_CC)}), S_OK);
    ASSERT_CODE(Modify(message, MODRECIP_ADD, {Person("cat", MAPI_BCC)}), S_OK);
    EXPECT_EQ(List(message), "0=ann/1 1=ben/2 2=cat/3");
    Entry changed = Person("bob", MAPI_TO);
    changed.push_back(Long(PR_ROWID, 1));
    ASSERT_CODE(Modify(message, MODRECIP_MODIFY, {changed}), S_OK);
    EXPECT_EQ(List(message), "0=ann/1 1=bob/1 2=cat/3");
    ASSERT_CODE(Modify(message, MODRECIP_REMOVE, {{Long(PR_ROWID, 0)}}), S_OK);
    EXPECT_EQ(List(message), "1=bob/1 2=cat/3");
    ASSERT_CODE(Modify(message, 0, {Person("dan", MAPI_TO)}), S_OK);
    EXPECT_EQ(List(message), "0=dan/1");
    ASSERT_CODE(Modify(message, 0, {}), S_OK);
    EXPECT_EQ(List(message), "");
}

TEST_F(RecipientTest, TheDisplayListsFollowTheRecipientsAndAreSaved)
{
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(
        Modify(message, MODRECIP_ADD,
               {Person("ann", MAPI_TO), Person("ben", MAPI_CC), Person("cat", MAPI_TO), Person("dan", MAPI_BCC)}),
        S_OK);
    EXPECT_EQ(TextOf(message.get(), PR_DISPLAY_TO_A), "ann; cat");
    const EntryIdBytes id = m_mailbox.Save(message);
    auto opened = m_mailbox.Open(id);
    EXPECT_EQ(TextOf(opened.get(), PR_DISPLAY_TO_A), "ann; cat");
    EXPECT_EQ(TextOf(opened.get(), PR_DISPLAY_CC_W), "ben");
    EXPECT_EQ(TextOf(opened.get(), PR_DISPLAY_BCC_A), "dan");
    EXPECT_EQ(List(opened), "0=ann/1 1=ben/2 2=cat/1 3=dan/3");
}

TEST_F(RecipientTest, OthersSeeTheListAfterSaveChangesOnly)
{
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(Modify(message, MODRECIP_ADD, {Person("ann", MAPI_TO)}), S_OK);
    const EntryIdBytes id = m_mailbox.Save(message);
    ASSERT_CODE(Modify(message, MODRECIP_REMOVE, {{Long(PR_ROWID, 0)}}), S_OK);
    EXPECT_EQ(List(m_mailbox.Open(id)), "0=ann/1");
    ASSERT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(List(m_mailbox.Open(id)), "");
}

TEST_F(RecipientTest, ARecipientKeepsEveryPropertyThatItCameWith)
{
    auto message = m_mailbox.NewMessage();
    Entry entry = Person("ann", MAPI_TO);
    entry.push_back(Binary(PR_ENTRYID, "\1\2\3", 3));
    entry.push_back(Long(PROP_TAG(PT_LONG, 0x6A50), 77));
    ASSERT_CODE(Modify(message, MODRECIP_ADD, {entry}), S_OK);
    const EntryIdBytes id = m_mailbox.Save(message);
    ComPtr<IMAPITable> table;
    ASSERT_CODE(m_mailbox.Open(id)->GetRecipientTable(MAPI_UNICODE, table.put()), S_OK);
    Rows rows;
    ASSERT_CODE(QueryAllRows(table.get(),
                             Tags{PR_ENTRYID, PROP_TAG(PT_LONG, 0x6A50), PR_EMAIL_ADDRESS_W, PR_OBJECT_TYPE}, nullptr,
                             nullptr, 0, rows.put()),
                S_OK);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].lpProps[0].Value.bin.cb, 3u);
    EXPECT_EQ(rows[0].lpProps[1].Value.l, 77);
    EXPECT_EQ(Utf8FromWide(rows[0].lpProps[2].Value.lpszW), "ann");
    EXPECT_EQ(rows[0].lpProps[3].Value.l, static_cast<LONG>(MAPI_MAILUSER));
}

TEST_F(RecipientTest, EntriesWithoutPropertiesAndWithoutATypeAreTakenAsMapiMeansThem)
{
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(Modify(message, MODRECIP_ADD, {{}, {Narrow(PR_DISPLAY_NAME_A, "ann")}}), S_OK);
    EXPECT_EQ(List(message), "0=ann/1");
}

TEST_F(RecipientTest, AListMayHave65536RecipientsInACall)
{
    auto message = m_mailbox.NewMessage();
    Entry ann = Person("ann", MAPI_BCC);
    constexpr ULONG kMost = 0x10000;
    std::vector<BYTE> memory(CbNewADRLIST(kMost + 1));
    auto *list = reinterpret_cast<ADRLIST *>(memory.data());
    for (list->cEntries = 0; list->cEntries <= kMost; ++list->cEntries) {
        list->aEntries[list->cEntries].cValues = static_cast<ULONG>(ann.size());
        list->aEntries[list->cEntries].rgPropVals = ann.data();
    }
    EXPECT_CODE(message->ModifyRecipients(0, list), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(List(message), "");
    list->cEntries = kMost;
    ASSERT_CODE(message->ModifyRecipients(0, list), S_OK);
    list->cEntries = 1;
    ASSERT_CODE(message->ModifyRecipients(MODRECIP_ADD, list), S_OK);
    ComPtr<IMAPITable> table;
    ASSERT_CODE(message->GetRecipientTable(0, table.put()), S_OK);
    ASSERT_CODE(table->SetColumns(Tags{PR_ROWID}, 0), S_OK);
    LONG sought = 0;
    ASSERT_CODE(table->SeekRow(BOOKMARK_END, -2, &sought), S_OK);
    Rows rows;
    ASSERT_CODE(table->QueryRows(10, 0, rows.put()), S_OK);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].lpProps[0].Value.l, LONG{kMost} - 1);
    EXPECT_EQ(rows[1].lpProps[0].Value.l, LONG{kMost});
}

TEST_F(RecipientTest, BadCallsAreRefusedAndChangeNothing)
{
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(Modify(message, MODRECIP_ADD, {Person("ann", MAPI_TO)}), S_OK);
    EXPECT_CODE(message->ModifyRecipients(MODRECIP_ADD, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Modify(message, MODRECIP_ADD | MODRECIP_REMOVE, {}), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Modify(message, 0x100, {}), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(Modify(message, MODRECIP_REMOVE, {{Narrow(PR_DISPLAY_NAME_A, "ann")}}), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Modify(message, MODRECIP_REMOVE, {{Long(PR_ROWID, 9)}}), MAPI_E_NOT_FOUND);
    EXPECT_CODE(Modify(message, MODRECIP_ADD, {Person("ben", MAPI_TO), {Narrow(PR_DISPLAY_NAME_A, nullptr)}}),
                MAPI_E_INVALID_PARAMETER);
    ADRLIST huge{};
    huge.cEntries = 0x7FFFFFFF;
    EXPECT_CODE(message->ModifyRecipients(MODRECIP_ADD, &huge), MAPI_E_INVALID_PARAMETER);
    huge.cEntries = 1;
    huge.aEntries[0].cValues = 3;
    EXPECT_CODE(message->ModifyRecipients(MODRECIP_ADD, &huge), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(List(message), "0=ann/1");
    ComPtr<IMAPITable> table;
    EXPECT_CODE(message->GetRecipientTable(1, table.put()), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(message->GetRecipientTable(0, nullptr), MAPI_E_INVALID_PARAMETER);
}

} // namespace

} // namespace localmapi::test
