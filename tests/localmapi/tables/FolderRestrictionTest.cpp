// Proves restrictions on what only some rows know: messages with their parts, and names that are looked up.
#include "TableFixture.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/site/NameMatch.h"
#include "localmapi/provider/table/MemorySource.h"

namespace localmapi::test
{

namespace
{

// What is the same in every row of a folder, and what is made of a row's number, can be restricted by as well.
class FolderRestriction : public testing::Test
{
  protected:
    std::string Matching(SRestriction *restriction)
    {
        auto table = m_mailbox.Contents();
        EXPECT_EQ(table->SetColumns(Tags{kLabel}, 0), S_OK);
        const HRESULT hr = table->Restrict(restriction, 0);
        return hr == S_OK ? Read(table, 1000) : CodeName(hr);
    }
    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
    Tree m_tree;
};

TEST_F(FolderRestriction, R04_EntryIdentifiersConstantsAndKeysAreThereInEveryRow)
{
    const EntryIdBytes first = m_mailbox.Add(Row("first"));
    m_mailbox.Add(Row("second"));
    const auto bytes = Binary(PR_ENTRYID, first.data(), static_cast<ULONG>(first.size()));
    EXPECT_EQ(Matching(m_tree.Property(RELOP_EQ, bytes)), "first");
    EXPECT_EQ(Matching(m_tree.Property(RELOP_NE, bytes)), "second");
    EXPECT_EQ(Matching(m_tree.Content(FL_FULLSTRING, bytes)), "first");
    EXPECT_EQ(Matching(m_tree.Property(RELOP_EQ, Binary(PR_ENTRYID, "nonsense", 8))), "");
    EXPECT_EQ(Matching(m_tree.Property(RELOP_LT, bytes)), "MAPI_E_TOO_COMPLEX");
    EXPECT_EQ(Matching(m_tree.Exist(PR_ENTRYID)), "first second");
    EXPECT_EQ(Matching(m_tree.Property(RELOP_EQ, Long(PR_OBJECT_TYPE, MAPI_MESSAGE))), "first second");
    EXPECT_EQ(Matching(m_tree.Property(RELOP_EQ, Long(PR_OBJECT_TYPE, MAPI_FOLDER))), "");
    EXPECT_EQ(Matching(m_tree.Bits(BMR_NEZ, PR_ACCESS, MAPI_ACCESS_READ)), "first second");
}

TEST_F(FolderRestriction, R20_SubRestrictionsLookAtRecipientsAndAttachments)
{
    const auto add = [&](const char *label, const char *recipient, const char *file) {
        auto message = m_mailbox.NewMessage();
        EXPECT_CODE(SetProps(message.get(), Row(label)), S_OK);
        if (recipient) {
            ADRLIST list{};
            SPropValue props[] = {Narrow(PR_DISPLAY_NAME_A, recipient), Long(PR_RECIPIENT_TYPE, MAPI_TO)};
            list.cEntries = 1;
            list.aEntries[0].cValues = 2;
            list.aEntries[0].rgPropVals = props;
            EXPECT_CODE(message->ModifyRecipients(MODRECIP_ADD, &list), S_OK);
        }
        if (file) {
            ULONG number = 0;
            ComPtr<IAttach> attachment;
            EXPECT_CODE(message->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
            EXPECT_CODE(SetProps(attachment.get(), {Narrow(PR_ATTACH_FILENAME_A, file)}), S_OK);
            EXPECT_CODE(attachment->SaveChanges(0), S_OK);
        }
        m_mailbox.Save(message);
    };
    add("both", "Alice Archer", "voice.wav");
    add("to", "Bob Baker", nullptr);
    add("file", nullptr, "fax.tif");
    add("bare", nullptr, nullptr);
    EXPECT_EQ(Matching(m_tree.Sub(PR_MESSAGE_RECIPIENTS,
                                  m_tree.Content(FL_PREFIX | FL_IGNORECASE, Narrow(PR_DISPLAY_NAME_A, "alice")))),
              "both");
    EXPECT_EQ(Matching(m_tree.Sub(PR_MESSAGE_RECIPIENTS, m_tree.Exist(PR_DISPLAY_NAME_A))), "both to");
    EXPECT_EQ(Matching(m_tree.Sub(PR_MESSAGE_ATTACHMENTS,
                                  m_tree.Content(FL_SUBSTRING, Narrow(PR_ATTACH_FILENAME_A, ".wav")))),
              "both");
    EXPECT_EQ(Matching(m_tree.Not(m_tree.Sub(PR_MESSAGE_ATTACHMENTS, m_tree.Exist(PR_ATTACH_NUM)))), "to bare");
}

TEST_F(FolderRestriction, R16_TheReadFlagAndTheClassOfMessagesSelectThem)
{
    m_mailbox.Add(Row("mail", {Narrow(PR_MESSAGE_CLASS_A, "IPM.Note"), Long(PR_MESSAGE_FLAGS, MSGFLAG_READ)}));
    m_mailbox.Add(Row("voice", {Narrow(PR_MESSAGE_CLASS_A, "IPM.Note.Microsoft.Voicemail.UM"),
                                Long(PR_MESSAGE_FLAGS, 0), Long(PR_IMPORTANCE, IMPORTANCE_HIGH)}));
    m_mailbox.Add(Row("heard", {Narrow(PR_MESSAGE_CLASS_A, "IPM.Note.Microsoft.Voicemail.UM"),
                                Long(PR_MESSAGE_FLAGS, MSGFLAG_READ), Long(PR_IMPORTANCE, IMPORTANCE_HIGH)}));
    EXPECT_EQ(
        Matching(m_tree.And({m_tree.Property(RELOP_NE, Narrow(PR_MESSAGE_CLASS_A, "IPM.Norvik.VoiceMessage")),
                             m_tree.Property(RELOP_EQ, Narrow(PR_MESSAGE_CLASS_A, "IPM.Note.Microsoft.Voicemail.UM")),
                             m_tree.Bits(BMR_EQZ, PR_MESSAGE_FLAGS, MSGFLAG_READ),
                             m_tree.Property(RELOP_EQ, Long(PR_IMPORTANCE, IMPORTANCE_HIGH))})),
        "voice");
    EXPECT_EQ(Matching(m_tree.Bits(BMR_NEZ, PR_MESSAGE_FLAGS, MSGFLAG_READ)), "mail heard");
}

TEST(AmbiguousNames, R23_PrAnrFindsRowsByTheStartOfAnyWordWithoutExistBesideIt)
{
    LiveCountsAreZeroAtTheEnd counts;
    std::vector<storage::PropertyBag> rows;
    for (const char *name : {"Alice Archer", "Bob Baker", "Robert Alison"}) {
        const Props row = {Narrow(PR_DISPLAY_NAME_A, name), Narrow(kLabel, name)};
        rows.push_back(BagFromProps(static_cast<ULONG>(row.size()), row.data()));
    }
    const Props nameless = {Narrow(kLabel, "nameless")};
    rows.push_back(BagFromProps(1, nameless.data()));
    TableSchema schema;
    schema.columns = {StorageTag(kLabel)};
    schema.anr = [](const std::string &query) { return AnrFilter(query); };
    ComPtr<IMAPITable> table;
    ASSERT_EQ(CreateMemoryTable(std::move(rows), std::move(schema), table.put()), S_OK);
    Tree tree;
    const auto matching = [&](SRestriction *restriction) {
        const HRESULT hr = table->Restrict(restriction, 0);
        return hr == S_OK ? Read(table, 10) : CodeName(hr);
    };
    EXPECT_EQ(matching(tree.Property(RELOP_EQ, Narrow(PR_ANR_A, "ali"))), "Alice Archer Robert Alison");
    EXPECT_EQ(matching(tree.Property(RELOP_EQ, Wide(PR_ANR_W, OLESTR("BAK")))), "Bob Baker");
    EXPECT_EQ(matching(tree.Property(RELOP_EQ, Narrow(PR_ANR_A, "ali rob"))), "Robert Alison");
    EXPECT_EQ(matching(tree.Property(RELOP_EQ, Narrow(PR_ANR_A, "lice"))), "");
    EXPECT_EQ(matching(tree.Property(RELOP_EQ, Narrow(PR_ANR_A, "=bob baker"))), "Bob Baker");
    EXPECT_EQ(matching(tree.Property(RELOP_EQ, Narrow(PR_ANR_A, "=bob"))), "");
    EXPECT_EQ(matching(tree.And({tree.Property(RELOP_EQ, Narrow(PR_ANR_A, "bob")), tree.Exist(PR_DISPLAY_NAME_A)})),
              "Bob Baker");
    EXPECT_EQ(matching(tree.Property(RELOP_NE, Narrow(PR_ANR_A, "bob"))), "MAPI_E_TOO_COMPLEX");
}

TEST(AmbiguousNames, R23_WhereNamesCanNotBeResolvedPrAnrIsTooComplex)
{
    LiveCountsAreZeroAtTheEnd counts;
    Mailbox mailbox;
    auto table = mailbox.Contents();
    Tree tree;
    EXPECT_CODE(table->Restrict(tree.Property(RELOP_EQ, Narrow(PR_ANR_A, "ali")), 0), MAPI_E_TOO_COMPLEX);
}

} // namespace

} // namespace localmapi::test
