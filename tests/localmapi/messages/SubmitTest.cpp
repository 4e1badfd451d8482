// Proves submission: where a message arrives and what it says there, what becomes of the one that was sent, what can't
// be submitted, and that all of it is one change of the site.
#include "ExchangeMapi.h"
#include "Letters.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/site/NameMatch.h"
#include "localmapi/storage/Time.h"

#include <chrono>
#include <mapiguid.h>
#include <thread>

namespace localmapi::test
{

namespace
{

class SubmitTest : public WithLetters
{
  protected:
    LONGLONG TimeOf(IMessage *message, ULONG tag)
    {
        const Given given = GetProps(*message, {tag});
        const SPropValue *value = given.Find(tag);
        return value ? static_cast<LONGLONG>(value->Value.ft.dwHighDateTime) << 32 | value->Value.ft.dwLowDateTime : 0;
    }
};

// The kind of message that a voicemail server sends.
TEST_F(SubmitTest, AMessageArrivesInTheInboxAsItWasWritten)
{
    auto letter =
        Letter({Narrow(PR_SUBJECT_A, "Voice Mail"), Narrow(PR_BODY_A, "from me"), Long(PR_IMPORTANCE, IMPORTANCE_HIGH),
                Long(PR_PRIORITY, PRIO_URGENT), Long(PR_SENSITIVITY, SENSITIVITY_PRIVATE),
                Bool(PR_DELETE_AFTER_SUBMIT, true), Narrow(PR_MESSAGE_CLASS_A, "IPM.Note.Microsoft.Voicemail.UM"),
                Long(PR_UM_DURATION, 17), Narrow(PR_UM_TELEPHONE_NUMBER_A, "+15550100")});
    const std::string recording(300000, 'w');
    Attach(letter.get(), "message.wav", recording);
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);

    ASSERT_EQ(SubjectsIn(m_bobsInbox.get()), "Voice Mail");
    auto arrived = MessageIn(m_bobsInbox.get());
    EXPECT_EQ(TextOf(arrived.get(), PR_BODY_A), "from me");
    EXPECT_EQ(TextOf(arrived.get(), PR_MESSAGE_CLASS_A), "IPM.Note.Microsoft.Voicemail.UM");
    EXPECT_EQ(LongOf(arrived.get(), PR_IMPORTANCE), LONG{IMPORTANCE_HIGH});
    EXPECT_EQ(LongOf(arrived.get(), PR_PRIORITY), LONG{PRIO_URGENT});
    EXPECT_EQ(LongOf(arrived.get(), PR_SENSITIVITY), LONG{SENSITIVITY_PRIVATE});
    EXPECT_EQ(LongOf(arrived.get(), PR_UM_DURATION), 17);
    EXPECT_EQ(TextOf(arrived.get(), PR_UM_TELEPHONE_NUMBER_A), "+15550100");
    EXPECT_EQ(AttachmentsOf(arrived.get()), "message.wav=" + recording);
    EXPECT_EQ(RecipientsOf(arrived.get()), "Bob Baker/1");
    EXPECT_GE(LongOf(arrived.get(), PR_MESSAGE_SIZE), 300000);
}

TEST_F(SubmitTest, TheDeliveryPropertiesTellWhoSentItWhoGotItAndWhen)
{
    auto letter = Letter({Narrow(PR_SUBJECT_A, "RE: lunch"), Narrow(PR_SENDER_NAME_A, "Somebody else")});
    const std::int64_t before = storage::CurrentTime();
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    const std::int64_t after = storage::CurrentTime();
    auto arrived = MessageIn(m_bobsInbox.get());
    const struct {
        ULONG name, type, address, id, key;
        const storage::User &who;
    } parties[] = {{PR_SENDER_NAME_A, PR_SENDER_ADDRTYPE_A, PR_SENDER_EMAIL_ADDRESS_A, PR_SENDER_ENTRYID,
                    PR_SENDER_SEARCH_KEY, m_mailbox.Alice()},
                   {PR_SENT_REPRESENTING_NAME_A, PR_SENT_REPRESENTING_ADDRTYPE_A, PR_SENT_REPRESENTING_EMAIL_ADDRESS_A,
                    PR_SENT_REPRESENTING_ENTRYID, PR_SENT_REPRESENTING_SEARCH_KEY, m_mailbox.Alice()},
                   {PR_RECEIVED_BY_NAME_A, PR_RECEIVED_BY_ADDRTYPE_A, PR_RECEIVED_BY_EMAIL_ADDRESS_A,
                    PR_RECEIVED_BY_ENTRYID, PR_RECEIVED_BY_SEARCH_KEY, m_mailbox.Bob()},
                   {PR_RCVD_REPRESENTING_NAME_A, PR_RCVD_REPRESENTING_ADDRTYPE_A, PR_RCVD_REPRESENTING_EMAIL_ADDRESS_A,
                    PR_RCVD_REPRESENTING_ENTRYID, PR_RCVD_REPRESENTING_SEARCH_KEY, m_mailbox.Bob()}};
    for (const auto &party : parties) {
        SCOPED_TRACE(HexText(party.name));
        EXPECT_EQ(TextOf(arrived.get(), party.name), party.who.name);
        EXPECT_EQ(TextOf(arrived.get(), party.type), "EX");
        EXPECT_EQ(TextOf(arrived.get(), party.address), party.who.dn);
        EXPECT_EQ(BytesOf(arrived.get(), party.id),
                  MakeEntryId(m_mailbox.GetSite().Info().uid, EntryKind::MailUser, party.who.id));
        EXPECT_FALSE(BytesOf(arrived.get(), party.key).empty());
    }
    for (const ULONG tag : {PR_CLIENT_SUBMIT_TIME, PR_MESSAGE_DELIVERY_TIME}) {
        EXPECT_GE(TimeOf(arrived.get(), tag), before);
        EXPECT_LE(TimeOf(arrived.get(), tag), after);
    }
    EXPECT_EQ(LongOf(arrived.get(), PR_MESSAGE_FLAGS), 0) << "neither read nor unsent";
    EXPECT_EQ(LongOf(arrived.get(), PR_MESSAGE_TO_ME), 1);
    EXPECT_EQ(LongOf(arrived.get(), PR_MESSAGE_CC_ME), 0);
    EXPECT_EQ(LongOf(arrived.get(), PR_MESSAGE_RECIP_ME), 1);
    EXPECT_EQ(TextOf(arrived.get(), PR_CONVERSATION_TOPIC_A), "lunch");
    EXPECT_EQ(TextOf(arrived.get(), PR_CREATOR_NAME_A), "Alice Archer");
    EXPECT_EQ(BytesOf(arrived.get(), PR_PARENT_ENTRYID), BytesOf(m_bobsInbox.get(), PR_ENTRYID));
    // Who answers by the address reaches the sender.
    EXPECT_EQ(MatchesOf(m_mailbox.GetSite(), TextOf(arrived.get(), PR_SENDER_EMAIL_ADDRESS_A)),
              std::vector<storage::ObjectId>{m_mailbox.Alice().id});
}

TEST_F(SubmitTest, DeleteAfterSubmitLeavesNothingWithTheSender)
{
    const auto sent = SentFolder();
    auto letter = Letter({Bool(PR_DELETE_AFTER_SUBMIT, true), SentTo(sent)});
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(CountIn(m_outbox.get()), 0u);
    EXPECT_EQ(CountIn(m_sent.get()), 0u) << "deleting goes before keeping";
    auto stored = Letter({Bool(PR_DELETE_AFTER_SUBMIT, true)});
    ASSERT_CODE(stored->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    ASSERT_EQ(CountIn(m_outbox.get()), 1u);
    ASSERT_CODE(stored->SubmitMessage(0), S_OK);
    EXPECT_EQ(CountIn(m_outbox.get()), 0u);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 2u);
}

TEST_F(SubmitTest, TheFolderForSentCopiesGetsOneWhetherTheMessageWasSavedBeforeOrNot)
{
    const auto sent = SentFolder();
    for (const bool saved : {false, true}) {
        SCOPED_TRACE(saved);
        auto letter = LetterTo({Bob(), ByName("vm", MAPI_BCC)}, {Narrow(PR_SUBJECT_A, "kept"), SentTo(sent)});
        Attach(letter.get(), "a.txt", "attached");
        if (saved) {
            ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
        }
        ASSERT_CODE(letter->SubmitMessage(0), S_OK);
        EXPECT_EQ(CountIn(m_outbox.get()), 0u);
        ASSERT_EQ(CountIn(m_sent.get()), saved ? 2u : 1u);
        auto copy = MessageIn(m_sent.get(), saved ? 1 : 0);
        EXPECT_EQ(LongOf(copy.get(), PR_MESSAGE_FLAGS), LONG{MSGFLAG_READ | MSGFLAG_HASATTACH});
        EXPECT_EQ(TextOf(copy.get(), PR_SENDER_NAME_A), "Alice Archer");
        EXPECT_EQ(RecipientsOf(copy.get()), "Bob Baker/1, vm/3");
        EXPECT_EQ(AttachmentsOf(copy.get()), "a.txt=attached");
        auto arrived = MessageIn(m_bobsInbox.get(), saved ? 1 : 0);
        EXPECT_EQ(AttachmentsOf(arrived.get()), "a.txt=attached");
        EXPECT_EQ(RecipientsOf(arrived.get()), "Bob Baker/1");
        // What concerned its way does not travel on when it is forwarded.
        for (IMessage *message : {copy.get(), arrived.get()})
            EXPECT_CODE(GetProps(*message, {PR_SENTMAIL_ENTRYID}).Error(PROP_ID(PR_SENTMAIL_ENTRYID)),
                        MAPI_E_NOT_FOUND);
    }
}

TEST_F(SubmitTest, WhatIsNeitherDeletedNorKeptElsewhereStaysWhereItWasAsSent)
{
    for (const bool saved : {false, true}) {
        SCOPED_TRACE(saved);
        auto letter = Letter({Narrow(PR_SUBJECT_A, "stays")});
        EntryIdBytes id;
        if (saved) {
            ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
            id = BytesOf(letter.get(), PR_ENTRYID);
        }
        ASSERT_CODE(letter->SubmitMessage(0), S_OK);
        ASSERT_EQ(CountIn(m_outbox.get()), saved ? 2u : 1u);
        auto stays = MessageIn(m_outbox.get(), saved ? 1 : 0);
        EXPECT_EQ(LongOf(stays.get(), PR_MESSAGE_FLAGS), LONG{MSGFLAG_READ});
        if (saved) {
            EXPECT_EQ(BytesOf(stays.get(), PR_ENTRYID), id);
        }
        EXPECT_CODE(stays->SubmitMessage(0), MAPI_E_SUBMITTED);
    }
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 2u);
}

TEST_F(SubmitTest, AMessageWithoutRecipientsIsNotSubmittedAndCanBeMended)
{
    auto letter = LetterTo({}, {Narrow(PR_SUBJECT_A, "to whom?"), Bool(PR_DELETE_AFTER_SUBMIT, true)});
    const auto changes = Changes();
    EXPECT_CODE(letter->SubmitMessage(0), MAPI_E_NO_RECIPIENTS);
    EXPECT_EQ(Changes(), changes);
    ASSERT_CODE(Address(letter.get(), {Bob()}), S_OK);
    EXPECT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(SubjectsIn(m_bobsInbox.get()), "to whom?");
}

TEST_F(SubmitTest, AMessageIsSubmittedOnce)
{
    auto letter = Letter({Bool(PR_DELETE_AFTER_SUBMIT, true)});
    ComPtr<IAttach> attachment;
    ULONG number = 0;
    ASSERT_CODE(letter->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_CODE(letter->SubmitMessage(0), MAPI_E_SUBMITTED);
    EXPECT_CODE(letter->SubmitMessage(FORCE_SUBMIT), MAPI_E_SUBMITTED);
    EXPECT_CODE(letter->SaveChanges(0), MAPI_E_NO_ACCESS);
    EXPECT_CODE(attachment->SaveChanges(0), MAPI_E_NO_ACCESS);
    EXPECT_CODE(GetProps(*letter.get(), {PR_SUBJECT_A}).hr, MAPI_E_OBJECT_DELETED);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 1u);
    auto arrived = MessageIn(m_bobsInbox.get());
    EXPECT_CODE(arrived->SubmitMessage(0), MAPI_E_SUBMITTED) << "what arrived is no draft";
}

TEST_F(SubmitTest, UnknownFlagsAndReadersAreRefused)
{
    auto letter = Letter();
    EXPECT_CODE(letter->SubmitMessage(2), MAPI_E_UNKNOWN_FLAGS);
    ASSERT_CODE(letter->SaveChanges(0), S_OK);
    EXPECT_CODE(letter->SubmitMessage(0), MAPI_E_NO_ACCESS) << "it was left open for reading at most";
    EXPECT_CODE(MessageIn(m_outbox.get(), 0, 0)->SubmitMessage(0), MAPI_E_NO_ACCESS);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 0u);
}

TEST_F(SubmitTest, AMessageInAnAttachmentIsNotSubmitted)
{
    auto letter = Letter();
    ComPtr<IAttach> attachment;
    ULONG number = 0;
    ASSERT_CODE(letter->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
    auto embedded = EmbeddedIn(attachment.get(), MAPI_CREATE | MAPI_MODIFY);
    ASSERT_CODE(Address(embedded.get(), {Bob()}), S_OK);
    EXPECT_CODE(embedded->SubmitMessage(0), MAPI_E_NO_SUPPORT);
    Block<MAPIERROR> error;
    ASSERT_CODE(embedded->GetLastError(MAPI_E_NO_SUPPORT, 0, error.put()), S_OK);
    ASSERT_TRUE(error);
    EXPECT_NE(std::string(reinterpret_cast<const char *>(error->lpszError)).find("SubmitMessage"), std::string::npos);
}

TEST_F(SubmitTest, WhatWasChangedSinceTheLastSaveIsSentToo)
{
    auto letter = Letter({Narrow(PR_SUBJECT_A, "first")});
    Attach(letter.get(), "one.txt", "1");
    ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    ASSERT_CODE(SetProps(letter.get(), {Narrow(PR_SUBJECT_A, "second")}), S_OK);
    Attach(letter.get(), "two.txt", "2");
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(SubjectsIn(m_bobsInbox.get()), "second");
    EXPECT_EQ(AttachmentsOf(MessageIn(m_bobsInbox.get()).get()), "one.txt=1, two.txt=2");
    EXPECT_EQ(AttachmentsOf(MessageIn(m_outbox.get()).get()), "one.txt=1, two.txt=2");
}

TEST_F(SubmitTest, WhatWasWrittenToAStreamThatIsStillOpenIsSentToo)
{
    auto letter = Letter();
    ComPtr<IStream> body;
    ASSERT_CODE(OpenStream(letter.get(), PR_BODY_A, MAPI_CREATE | MAPI_MODIFY, body), S_OK);
    ASSERT_CODE(WriteStream(body.get(), "not committed"), S_OK);
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(TextOf(MessageIn(m_bobsInbox.get()).get(), PR_BODY_A), "not committed");
    ASSERT_CODE(WriteStream(body.get(), "too late"), S_OK);
    EXPECT_CODE(letter->SubmitMessage(0), MAPI_E_SUBMITTED);
    EXPECT_CODE(body->Commit(0), MAPI_E_NO_ACCESS);
}

TEST_F(SubmitTest, AMessageThatSomebodyElseChangedOrDeletedIsNotSent)
{
    auto letter = Letter();
    ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    {
        auto other = MessageIn(m_outbox.get());
        ASSERT_CODE(SetProps(other.get(), {Narrow(PR_SUBJECT_A, "theirs")}), S_OK);
        ASSERT_CODE(other->SaveChanges(0), S_OK);
    }
    EXPECT_CODE(letter->SubmitMessage(0), MAPI_E_OBJECT_CHANGED);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 0u);
    const auto ids = MessagesIn(m_outbox.get());
    ASSERT_CODE(m_outbox->DeleteMessages(EntryList(ids), 0, nullptr, 0), S_OK);
    EXPECT_CODE(letter->SubmitMessage(0), MAPI_E_OBJECT_DELETED);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 0u);
}

TEST_F(SubmitTest, ForcedSubmissionTakesTheMessageAsItIs)
{
    auto letter = Letter({Narrow(PR_SUBJECT_A, "mine")});
    ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    {
        auto other = MessageIn(m_outbox.get());
        ASSERT_CODE(SetProps(other.get(), {Narrow(PR_SUBJECT_A, "theirs")}), S_OK);
        ASSERT_CODE(other->SaveChanges(0), S_OK);
    }
    EXPECT_CODE(letter->SubmitMessage(FORCE_SUBMIT), S_OK);
    EXPECT_EQ(SubjectsIn(m_bobsInbox.get()), "theirs");
}

TEST_F(SubmitTest, SomebodyNamedSeveralTimesGetsItOnce)
{
    auto letter = LetterTo({Bob(MAPI_CC), ByName("Bob Baker"), ByAddress("SMTP", m_mailbox.Bob().smtp, MAPI_BCC)});
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    ASSERT_EQ(CountIn(m_bobsInbox.get()), 1u);
    auto arrived = MessageIn(m_bobsInbox.get());
    EXPECT_EQ(LongOf(arrived.get(), PR_MESSAGE_TO_ME), 1);
    EXPECT_EQ(LongOf(arrived.get(), PR_MESSAGE_CC_ME), 1);
    EXPECT_EQ(RecipientsOf(arrived.get()), "Bob Baker/2, Bob Baker/1");
}

TEST_F(SubmitTest, NobodySeesWhoGotABlindCopy)
{
    auto letter = LetterTo({Alice(), Bob(MAPI_BCC)}, {Bool(PR_DELETE_AFTER_SUBMIT, true)});
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    for (IMAPIFolder *inbox : {m_mailbox.Inbox(), m_bobsInbox.get()}) {
        ASSERT_EQ(CountIn(inbox), 1u);
        auto arrived = MessageIn(inbox);
        EXPECT_EQ(RecipientsOf(arrived.get()), "Alice Archer/1");
        EXPECT_EQ(TextOf(arrived.get(), PR_DISPLAY_BCC_A), "");
        EXPECT_EQ(LongOf(arrived.get(), PR_MESSAGE_RECIP_ME), inbox == m_mailbox.Inbox() ? 1 : 0);
    }
}

TEST_F(SubmitTest, WhateverIsSentIsOneChangeOfTheSite)
{
    const auto sent = SentFolder();
    auto letter = LetterTo({Bob(), Alice(MAPI_CC), ByName("nobody at all")}, {SentTo(sent)});
    const auto changes = Changes();
    Attach(letter.get(), "message.wav", std::string(300000, 'w'));
    EXPECT_EQ(Changes(), changes) << "an attachment's own save is a promise of the message, not of the site";
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(Changes(), changes + 1);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 1u);
    EXPECT_EQ(CountIn(m_mailbox.Inbox()), 2u) << "the copy and the report";
    EXPECT_EQ(CountIn(m_sent.get()), 1u);
}

} // namespace

} // namespace localmapi::test
