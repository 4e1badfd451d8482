// Proves what becomes of recipients who can't be reached: whom submission takes for whom, the report that the sender
// gets, and that it tells nothing and takes nothing from those who can be reached.
#include "Letters.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/table/QueryRows.h"

namespace localmapi::test
{

namespace
{

class NonDeliveryTest : public WithLetters
{
  protected:
    // What becomes of a message to one recipient: "arrived" at Bob's, or the code of the report.
    std::string Fate(Recipient recipient)
    {
        const ULONG before = CountIn(m_bobsInbox.get());
        EXPECT_CODE(LetterTo({std::move(recipient)}, {Bool(PR_DELETE_AFTER_SUBMIT, true)})->SubmitMessage(0), S_OK);
        const bool arrived = CountIn(m_bobsInbox.get()) == before + 1;
        const auto reports = MessagesIn(m_mailbox.Inbox());
        std::string fate = arrived ? "arrived" : "";
        for (std::size_t i = 0; i < reports.size(); ++i) {
            ComPtr<IMAPITable> table;
            Rows rows;
            EXPECT_CODE(MessageIn(m_mailbox.Inbox(), i)->GetRecipientTable(0, table.put()), S_OK);
            EXPECT_CODE(QueryAllRows(table.get(), Tags{PR_NDR_DIAG_CODE}, nullptr, nullptr, 0, rows.put()), S_OK);
            for (ULONG row = 0; row < rows.size(); ++row)
                fate += "report " + std::to_string(rows[row].lpProps[0].Value.l);
        }
        if (!reports.empty()) {
            EXPECT_CODE(m_mailbox.Inbox()->DeleteMessages(EntryList(reports), 0, nullptr, 0), S_OK);
        }
        return fate;
    }
    Recipient ByEntryId(const EntryIdBytes &id)
    {
        m_ids.push_back(id);
        return {Long(PR_RECIPIENT_TYPE, MAPI_TO),
                Binary(PR_ENTRYID, m_ids.back().data(), static_cast<ULONG>(m_ids.back().size()))};
    }

    std::list<EntryIdBytes> m_ids;
};

TEST_F(NonDeliveryTest, WhoIsMeantFollowsFromEntryIdentifierThenAddressThenName)
{
    const SiteUid site = m_mailbox.GetSite().Info().uid;
    const storage::User &bob = m_mailbox.Bob();
    storage::Directory directory(m_mailbox.GetSite());
    const auto contact = directory.AddContact("Bobby", "bobby@elsewhere.example");
    directory.AddUser("bart", "Bart Baker");
    const std::string unknown = "report " + std::to_string(MAPI_DIAG_OR_NAME_UNRECOGNIZED);
    const std::string ambiguous = "report " + std::to_string(MAPI_DIAG_OR_NAME_AMBIGUOUS);
    const std::string away = "report " + std::to_string(MAPI_DIAG_RECIPIENT_UNAVAILABLE);

    EXPECT_EQ(Fate(ByEntryId(MakeEntryId(site, EntryKind::MailUser, bob.id))), "arrived");
    EXPECT_EQ(Fate(ByEntryId(MakeEntryId(site, EntryKind::MailUser, 999999))), unknown);
    EXPECT_EQ(Fate(ByEntryId(MakeEntryId(site, EntryKind::Contact, contact.id))), away);
    EXPECT_EQ(Fate(ByEntryId(MakeOneOff("Bob", "SMTP", bob.smtp, true))), "arrived");
    EXPECT_EQ(Fate(ByEntryId(MakeOneOff("Bob", "EX", bob.dn, false))), "arrived");
    EXPECT_EQ(Fate(ByEntryId(MakeOneOff("Eve", "SMTP", "eve@elsewhere.example", true))), away);
    EXPECT_EQ(Fate(ByEntryId(MakeOneOff("Fax", "FAX", "+15550100", true))), away);

    // What is no entry identifier of ours leaves the address to go by, and the name.
    Recipient foreign = ByEntryId(EntryIdBytes(30, 0x5A));
    EXPECT_EQ(Fate(foreign), unknown);
    foreign.With(ByAddress("EX", bob.dn));
    EXPECT_EQ(Fate(foreign), "arrived");

    EXPECT_EQ(Fate(ByAddress("EX", bob.dn)), "arrived");
    EXPECT_EQ(Fate(ByAddress("ex", bob.dn)), "arrived") << "types are compared without case";
    EXPECT_EQ(Fate(ByAddress("EX", "/o=Norvik/cn=nobody")), unknown);
    EXPECT_EQ(Fate(ByAddress("SMTP", bob.smtp)), "arrived");
    EXPECT_EQ(Fate(ByAddress("", bob.smtp)), "arrived") << "an address that says itself what it is";
    EXPECT_EQ(Fate(ByAddress("SMTP", "eve@elsewhere.example")), away);
    EXPECT_EQ(Fate(ByAddress("", "eve")), away);

    EXPECT_EQ(Fate(ByName("bob")), "arrived");
    EXPECT_EQ(Fate(ByName("Bob Baker")), "arrived");
    EXPECT_EQ(Fate(ByName("Baker")), ambiguous);
    EXPECT_EQ(Fate(ByName("nobody")), unknown);
    EXPECT_EQ(Fate(ByName("")), unknown);
    EXPECT_EQ(Fate(ByName("Bob [SMTP:" + bob.smtp + "]")), "arrived");
    EXPECT_EQ(Fate(Recipient{Long(PR_RECIPIENT_TYPE, MAPI_TO)}), unknown);
    EXPECT_EQ(Fate(ByName("Bobby")), away) << "a contact";
    EXPECT_EQ(Fate(ByName("bobby@elsewhere.example")), away);
    EXPECT_THROW(directory.AddContact("Robert", bob.smtp), storage::Error) << "nobody is a user and a contact";
}

TEST_F(NonDeliveryTest, TheReportNamesTheUnreachedAndHoldsTheMessage)
{
    auto letter =
        LetterTo({ByAddress("SMTP", "eve@elsewhere.example"), Bob(), ByName("nobody", MAPI_BCC)},
                 {Narrow(PR_SUBJECT_A, "lunch?"), Narrow(PR_BODY_A, "at noon"), Bool(PR_DELETE_AFTER_SUBMIT, true)});
    Attach(letter.get(), "menu.txt", std::string(100000, 'm'));
    const EntryIdBytes key = BytesOf(letter.get(), PR_SEARCH_KEY);
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(SubjectsIn(m_bobsInbox.get()), "lunch?") << "who can be reached gets it";

    ASSERT_EQ(SubjectsIn(m_mailbox.Inbox()), "Undeliverable: lunch?");
    auto report = MessageIn(m_mailbox.Inbox());
    EXPECT_EQ(TextOf(report.get(), PR_MESSAGE_CLASS_A), "REPORT.IPM.Note.NDR");
    EXPECT_EQ(LongOf(report.get(), PR_MESSAGE_FLAGS), LONG{MSGFLAG_HASATTACH}) << "unread";
    EXPECT_EQ(TextOf(report.get(), PR_SENDER_NAME_A), "System Administrator");
    EXPECT_EQ(TextOf(report.get(), PR_SENDER_EMAIL_ADDRESS_A), "(none)") << "nobody to be answered";
    EXPECT_EQ(TextOf(report.get(), PR_RECEIVED_BY_NAME_A), "Alice Archer");
    EXPECT_EQ(TextOf(report.get(), PR_ORIGINAL_SUBJECT_A), "lunch?");
    EXPECT_EQ(TextOf(report.get(), PR_ORIG_MESSAGE_CLASS_A), "IPM.Note");
    EXPECT_EQ(BytesOf(report.get(), PR_ORIGINAL_SEARCH_KEY), key);
    EXPECT_NE(BytesOf(report.get(), PR_SEARCH_KEY), key);
    const std::string text = TextOf(report.get(), PR_BODY_A);
    EXPECT_NE(text.find("Subject: lunch?\r\nSent: 20"), text.npos) << text;
    EXPECT_NE(text.find("  eve@elsewhere.example\r\n    From this site there is no way to recipients of the type "
                        "SMTP.\r\n"),
              text.npos)
        << text;
    EXPECT_NE(text.find("  nobody\r\n    There is no such recipient in this site.\r\n"), text.npos) << text;
    EXPECT_EQ(text.find("Bob"), text.npos) << text;
    EXPECT_EQ(RecipientsOf(report.get()), "(none)/1, nobody/3");

    auto held = AttachmentOf(report.get(), 0);
    EXPECT_EQ(LongOf(held.get(), PR_ATTACH_METHOD), LONG{ATTACH_EMBEDDED_MSG});
    EXPECT_EQ(TextOf(held.get(), PR_DISPLAY_NAME_A), "lunch?");
    EXPECT_GT(LongOf(held.get(), PR_ATTACH_SIZE), 100000);
    auto original = EmbeddedIn(held.get());
    EXPECT_EQ(TextOf(original.get(), PR_BODY_A), "at noon");
    EXPECT_EQ(AttachmentsOf(original.get()), "menu.txt=" + std::string(100000, 'm'));
    EXPECT_EQ(RecipientsOf(original.get()), "(none)/1, (none)/1, nobody/3");
}

TEST_F(NonDeliveryTest, ASavedMessageIsReportedWithAllThatItHolds)
{
    auto letter = LetterTo({ByName("nobody")}, {Narrow(PR_SUBJECT_A, "saved"), Bool(PR_DELETE_AFTER_SUBMIT, true)});
    Attach(letter.get(), "menu.txt", std::string(100000, 'm'));
    {
        ComPtr<IAttach> attachment;
        ULONG number = 0;
        ASSERT_CODE(letter->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
        ASSERT_CODE(SetProps(attachment.get(), {Long(PR_ATTACH_METHOD, ATTACH_EMBEDDED_MSG)}), S_OK);
        auto inner = EmbeddedIn(attachment.get(), MAPI_CREATE | MAPI_MODIFY);
        ASSERT_CODE(SetProps(inner.get(), {Narrow(PR_SUBJECT_A, "within")}), S_OK);
        ASSERT_CODE(inner->SaveChanges(0), S_OK);
        ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    }
    ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(CountIn(m_outbox.get()), 0u);
    ASSERT_EQ(CountIn(m_mailbox.Inbox()), 1u);
    auto report = MessageIn(m_mailbox.Inbox());
    auto original = EmbeddedIn(AttachmentOf(report.get(), 0).get());
    EXPECT_EQ(ReadProperty(AttachmentOf(original.get(), 0).get(), PR_ATTACH_DATA_BIN), std::string(100000, 'm'));
    EXPECT_EQ(TextOf(EmbeddedIn(AttachmentOf(original.get(), 1).get()).get(), PR_SUBJECT_A), "within");
}

TEST_F(NonDeliveryTest, ReportsGoToTheSenderAlsoWhenAServiceWrites)
{
    ComPtr<IMsgStore> store;
    ASSERT_CODE(m_mailbox.OpenStore(m_mailbox.Alice(), m_mailbox.Service(), MAPI_BEST_ACCESS, store), S_OK);
    m_outbox = m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID, store.get());
    ASSERT_CODE(LetterTo({ByName("nobody")})->SubmitMessage(0), S_OK);
    EXPECT_EQ(SubjectsIn(m_mailbox.Inbox()), "Undeliverable: ");
}

} // namespace

} // namespace localmapi::test
