// Proves where what is submitted goes: to whom, as whose, into which folders, and what becomes of it when one of them
// is deleted meanwhile.
#include "ExchangeMapi.h"
#include "Letters.h"
#include "localmapi/storage/Database.h"

#include <chrono>
#include <mapiguid.h>
#include <thread>

namespace localmapi::test
{

namespace
{

using SubmitDestinationTest = WithLetters;

TEST_F(SubmitDestinationTest, OneCanWriteToOneself)
{
    const auto sent = SentFolder();
    auto letter = LetterTo({Alice()}, {Narrow(PR_SUBJECT_A, "note"), SentTo(sent)});
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(SubjectsIn(m_mailbox.Inbox()), "note");
    EXPECT_EQ(SubjectsIn(m_sent.get()), "note");
    // From the very folder in which it arrives.
    ComPtr<IMessage> here = m_mailbox.NewMessage();
    ASSERT_CODE(Address(here.get(), {Alice()}), S_OK);
    ASSERT_CODE(here->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    ASSERT_CODE(here->SubmitMessage(0), S_OK);
    EXPECT_EQ(CountIn(m_mailbox.Inbox()), 3u) << "what arrived, and what was sent";
}

TEST_F(SubmitDestinationTest, AServiceInSomebodysMailboxSendsAsItsOwner)
{
    ComPtr<IMsgStore> store;
    ASSERT_CODE(m_mailbox.OpenStore(m_mailbox.Alice(), m_mailbox.Service(), MAPI_BEST_ACCESS, store), S_OK);
    m_outbox = m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID, store.get());
    ASSERT_CODE(Letter()->SubmitMessage(0), S_OK);
    EXPECT_EQ(TextOf(MessageIn(m_bobsInbox.get()).get(), PR_SENDER_EMAIL_ADDRESS_A), m_mailbox.Alice().dn);
}

TEST_F(SubmitDestinationTest, OnlyWhoMayOpenAMailboxSpeaksForItsOwner)
{
    const std::string bob = m_mailbox.Bob().dn, alice = m_mailbox.Alice().dn;
    const auto speakingFor = [](const std::string &dn, const char *type = "EX") {
        return Props{Narrow(PR_SENT_REPRESENTING_NAME_A, "Whoever"), Narrow(PR_SENT_REPRESENTING_ADDRTYPE_A, type),
                     Narrow(PR_SENT_REPRESENTING_EMAIL_ADDRESS_A, dn.c_str())};
    };
    const auto changes = Changes();
    EXPECT_CODE(Letter(speakingFor(bob))->SubmitMessage(0), MAPI_E_NO_ACCESS);
    EXPECT_CODE(Letter(speakingFor("ceo@elsewhere.example", "SMTP"))->SubmitMessage(0), MAPI_E_NO_ACCESS);
    EXPECT_EQ(Changes(), changes);
    EXPECT_CODE(Letter(speakingFor(alice))->SubmitMessage(0), S_OK);
    EXPECT_EQ(TextOf(MessageIn(m_bobsInbox.get()).get(), PR_SENT_REPRESENTING_NAME_A), "Alice Archer");

    ComPtr<IMsgStore> store;
    ASSERT_CODE(m_mailbox.OpenStore(m_mailbox.Service(), m_mailbox.Service(), MAPI_BEST_ACCESS, store), S_OK);
    m_outbox = m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID, store.get());
    EXPECT_CODE(Letter(speakingFor(alice))->SubmitMessage(0), S_OK);
    auto arrived = MessageIn(m_bobsInbox.get(), 1);
    EXPECT_EQ(TextOf(arrived.get(), PR_SENDER_NAME_A), "Voicemail Service");
    EXPECT_EQ(TextOf(arrived.get(), PR_SENT_REPRESENTING_NAME_A), "Alice Archer");
    EXPECT_CODE(Letter(speakingFor("caller@elsewhere.example", "SMTP"))->SubmitMessage(0), S_OK);
    EXPECT_EQ(TextOf(MessageIn(m_bobsInbox.get(), 2).get(), PR_SENT_REPRESENTING_NAME_A), "Whoever");
}

TEST_F(SubmitDestinationTest, AFolderForSentCopiesMustBeThereAndOnesOwn)
{
    const auto changes = Changes();
    EntryIdBytes folder = BytesOf(m_bobsInbox.get(), PR_ENTRYID);
    EXPECT_CODE(Letter({SentTo(folder)})->SubmitMessage(0), MAPI_E_NO_ACCESS);
    folder = MakeEntryId(m_mailbox.GetSite().Info().uid, EntryKind::Folder, 999999);
    EXPECT_CODE(Letter({SentTo(folder)})->SubmitMessage(0), MAPI_E_NOT_FOUND);
    folder = BytesOf(m_mailbox.GetStore(), PR_ENTRYID);
    EXPECT_CODE(Letter({SentTo(folder)})->SubmitMessage(0), MAPI_E_INVALID_ENTRYID);
    folder.resize(7);
    EXPECT_CODE(Letter({SentTo(folder)})->SubmitMessage(0), MAPI_E_INVALID_ENTRYID);
    EXPECT_EQ(Changes(), changes);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 0u);
}

TEST_F(SubmitDestinationTest, AMessageArrivesInTheFolderThatReceivesItsClass)
{
    ComPtr<IMAPIFolder> folder;
    std::string name = "Faxes", messageClass = "IPM.Note.Fax";
    ASSERT_CODE(m_bobsInbox->CreateFolder(FOLDER_GENERIC, name.data(), nullptr, nullptr, 0, folder.put()), S_OK);
    EntryIdBytes id = BytesOf(folder.get(), PR_ENTRYID);
    ASSERT_CODE(m_bobsStore->SetReceiveFolder(messageClass.data(), 0, static_cast<ULONG>(id.size()),
                                              reinterpret_cast<LPENTRYID>(id.data())),
                S_OK);
    ASSERT_CODE(Letter({Narrow(PR_MESSAGE_CLASS_A, "IPM.Note.Fax.Color")})->SubmitMessage(0), S_OK);
    ASSERT_CODE(Letter()->SubmitMessage(0), S_OK);
    EXPECT_EQ(CountIn(folder.get()), 1u);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 1u);
}

// The way is found, and then there is no such folder any more when the message is to be written.
TEST_F(SubmitDestinationTest, AFolderThatIsDeletedOnTheWayLosesNothing)
{
    for (const bool isSaved : {false, true}) {
        ComPtr<IMAPIFolder> folder;
        std::string name = "Letters", messageClass = "IPM.Note";
        ASSERT_CODE(m_bobsInbox->CreateFolder(FOLDER_GENERIC, name.data(), nullptr, nullptr, 0, folder.put()), S_OK);
        EntryIdBytes id = BytesOf(folder.get(), PR_ENTRYID);
        ASSERT_CODE(m_bobsStore->SetReceiveFolder(messageClass.data(), 0, static_cast<ULONG>(id.size()),
                                                  reinterpret_cast<LPENTRYID>(id.data())),
                    S_OK);
        auto letter = Letter({Narrow(PR_SUBJECT_A, "letter"), Bool(PR_DELETE_AFTER_SUBMIT, true)});
        if (isSaved) {
            ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
        }
        std::thread sender;
        {
            storage::Writer writer(m_mailbox.GetSite().GetDatabase());
            sender = std::thread([&] { EXPECT_CODE(letter->SubmitMessage(0), S_OK); });
            // Long enough for it to have found the way; were it not, nothing would be tried, and nothing fail.
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            const storage::ObjectId object =
                ParseEntryId(m_mailbox.GetSite().Info().uid, static_cast<ULONG>(id.size()),
                             reinterpret_cast<const ENTRYID *>(id.data()), EntryKind::Folder)
                    .object;
            writer.Entries().FolderRemoved(*writer, object);
            writer->Prepare("DELETE FROM object WHERE id = ?").Bind(object).Run();
            writer.Commit();
        }
        sender.join();
        EXPECT_EQ(CountIn(m_bobsInbox.get()), isSaved ? 2u : 1u);
        EXPECT_EQ(CountIn(m_outbox.get()), 0u);
    }
}

// With nowhere to go it is where it was, and the sender knows.
TEST_F(SubmitDestinationTest, AMessageWhoseOwnFolderIsDeletedIsNotSent)
{
    ComPtr<IMAPIFolder> folder;
    std::string name = "Letters";
    ASSERT_CODE(m_outbox->CreateFolder(FOLDER_GENERIC, name.data(), nullptr, nullptr, 0, folder.put()), S_OK);
    auto letter = Letter({SentTo(BytesOf(folder.get(), PR_ENTRYID))});
    EntryIdBytes id = BytesOf(folder.get(), PR_ENTRYID);
    ASSERT_CODE(
        m_outbox->DeleteFolder(static_cast<ULONG>(id.size()), reinterpret_cast<LPENTRYID>(id.data()), 0, nullptr, 0),
        S_OK);
    EXPECT_CODE(letter->SubmitMessage(0), MAPI_E_NOT_FOUND);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 0u);
    EXPECT_CODE(SetProps(letter.get(), {Bool(PR_DELETE_AFTER_SUBMIT, true)}), S_OK);
    EXPECT_CODE(letter->SubmitMessage(0), S_OK);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 1u);
}

} // namespace

} // namespace localmapi::test
