// Sending new messages, plain and of unified messaging: what MAPI is asked and in which order, what the message then
// holds, and what the trace shows.
#include "messages/SendTest.h"

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

const char kPlainProps[] = "PR_SUBJECT_A=\"The subject\", PR_BODY_A=\"The body\", PR_IMPORTANCE=1, PR_PRIORITY=0, "
                           "PR_SENSITIVITY=0, PR_DELETE_AFTER_SUBMIT=TRUE";
const char kVoiceProps[] = ", PR_MESSAGE_CLASS_A=\"IPM.Note.Microsoft.Voicemail.UM\", PR_UM_DURATION=12, "
                           "PR_UM_TELEPHONE_NUMBER_A=\"+15550100\", PR_UM_SENDER_NAME_A=\"Carol\", PR_UM_OFFSET=-3, "
                           "PR_UM_MESSAGE_RECEIVED=-16, PR_UM_ATTACHMENT_ORDER_A=\"a.wav;b.wav\", "
                           "PR_DISABLE_FULL_FIDELITY=TRUE";

TEST_F(SendTest, APlainMessageIsCreatedInTheOutboxAddressedFilledAndSubmitted)
{
    EXPECT_EQ(Send({}), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(),
              CallsWith(Opening(), {std::string("Message(new).SetProps([") + kPlainProps + "], NULL)",
                                    "Message(new).SubmitMessage(0)"}));
    EXPECT_TRUE(Created().submitted);
    EXPECT_EQ(Created().saved, 0) << "submitting saves";
    EXPECT_EQ(NamesOfRecipients(), "Bob Baker");
    ExpectNothingOpen();
}

TEST_F(SendTest, AVoiceMessageHasFourteenPropertiesInTheirOrder)
{
    EXPECT_EQ(SendUM({}, {}), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(),
              CallsWith(Opening(), {std::string("Message(new).SetProps([") + kPlainProps + kVoiceProps + "], NULL)",
                                    "Message(new).SubmitMessage(0)"}));
    ExpectNothingOpen();
}

TEST_F(SendTest, ThePropertiesHaveTheirPublishedNumbers)
{
    EXPECT_EQ(SendUM({}, {}), S_OK);
    std::vector<ULONG> tags;
    for (const Value &value : Created().props)
        tags.push_back(value.tag);
    EXPECT_THAT(tags, ElementsAre(0x0037001E, 0x1000001E, 0x00170003, 0x00260003, 0x00360003, 0x0E01000B, 0x001A001E,
                                  0x68010003, 0x6802001E, 0x6803001E, 0x68070003, 0x68080003, 0x6805001E, 0x10F2000B));
}

TEST_F(SendTest, UrgentAndPrivateAreThreeProperties)
{
    const struct {
        BYTE urgent, isPrivate;
        const char *properties;
    } cases[] = {
        {0, 0, "PR_IMPORTANCE=1, PR_PRIORITY=0, PR_SENSITIVITY=0, "},
        {1, 0, "PR_IMPORTANCE=2, PR_PRIORITY=1, PR_SENSITIVITY=0, "},
        {0, 1, "PR_IMPORTANCE=1, PR_PRIORITY=0, PR_SENSITIVITY=2, "},
        {1, 1, "PR_IMPORTANCE=2, PR_PRIORITY=1, PR_SENSITIVITY=2, "},
        {0x80, 0xFF, "PR_IMPORTANCE=2, PR_PRIORITY=1, PR_SENSITIVITY=2, "},
    };
    for (const auto &example : cases) {
        Email email;
        email.urgent = example.urgent;
        email.isPrivate = example.isPrivate;
        Forget();
        EXPECT_EQ(Send(email), S_OK);
        EXPECT_THAT(SetProps(), HasSubstr(example.properties));
        Forget();
        EXPECT_EQ(SendUM(email, {}), S_OK);
        EXPECT_THAT(SetProps(), HasSubstr(example.properties));
    }
}

TEST_F(SendTest, AFileIsAttachedBeforeTheMessageIsSubmitted)
{
    Email email;
    email.file = File("sound.wav", "sound");
    email.filename = "message.wav";
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(),
              CallsWith(Opening(), {std::string("Message(new).SetProps([") + kPlainProps + "], NULL)",
                                    "OpenStreamOnFile(0, \"" + email.file + "\", NULL)", "Stream(file).Seek(0, SET)",
                                    "Message(new).CreateAttach(NULL, 0)",
                                    "Attach(new#0).OpenProperty(PR_ATTACH_DATA_BIN, IStream, 0, 0x3)",
                                    "Stream(file).Stat(1)", "Stream(file).CopyTo(Stream(new#0.PR_ATTACH_DATA_BIN), 5)",
                                    "Attach(new#0).SetProps([PR_ATTACH_LONG_FILENAME_A=\"message.wav\", "
                                    "PR_ATTACH_METHOD=1, PR_RENDERING_POSITION=-1], NULL)",
                                    "Attach(new#0).SaveChanges(0)", "Message(new).SubmitMessage(0)"}));
    ASSERT_EQ(Created().attachments.size(), 1u);
    EXPECT_EQ(Created().attachments[0]->streams[PR_ATTACH_DATA_BIN]->bytes, "sound");
    EXPECT_THAT(Lines(), Contains(HasSubstr("szFilename: \"" + email.file + "\", szDisplayName: \"message.wav\")")));
    ExpectNothingOpen();
}

TEST_F(SendTest, WithoutAFileNoStreamIsOpened)
{
    Email email;
    email.filename = "message.wav";
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_EQ(SendUM(email, {}), S_OK);
    EXPECT_EQ(m_mapi.recorder.Count("OpenStreamOnFile"), 0);
    EXPECT_EQ(m_mapi.recorder.Count("Message.CreateAttach"), 0);
}

TEST_F(SendTest, WithoutAMailboxTheDefaultStoreSends)
{
    EXPECT_EQ(SendFrom(0, {}), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(),
              CallsWith(Opening("default"), {std::string("Message(new).SetProps([") + kPlainProps + "], NULL)",
                                             "Message(new).SubmitMessage(0)"}));
    Forget();
    EXPECT_EQ(SendUMFrom(0, {}, {}), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls().front(), "HrGetOneProp(Store(default), PR_IPM_OUTBOX_ENTRYID)");
    EXPECT_TRUE(Created().submitted);
    ExpectNothingOpen();
}

TEST_F(SendTest, SeveralRecipientsAreSeparatedBySemicolons)
{
    Email email;
    email.recipients = "bob;alice";
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_EQ(NamesOfRecipients(), "Bob Baker;Alice Archer");
}

TEST_F(SendTest, WideTextsBecomeTheSameMessage)
{
    const std::string file = File("sound.wav", "sound");
    EXPECT_EQ(OrlSendEmailW(m_connection, m_mailbox, OLESTR("bob"), OLESTR("The subject"), OLESTR("The body"), 1, 1,
                            Widened(file).c_str(), OLESTR("message.wav")),
              S_OK);
    const std::vector<std::string> wide = m_mapi.recorder.Calls();
    Email email;
    email.urgent = email.isPrivate = 1;
    email.file = file;
    email.filename = "message.wav";
    Forget();
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(), wide);

    Forget();
    EXPECT_EQ(OrlSendUMEmailW(m_connection, m_mailbox, OLESTR("bob"), OLESTR("The subject"), OLESTR("The body"), 1, 1,
                              Widened(file).c_str(), OLESTR("message.wav"), 12, OLESTR("+15550100"), OLESTR("Carol"),
                              OLESTR("a.wav;b.wav"), -3, 0xFFFFFFF0),
              S_OK);
    const std::vector<std::string> wideVoice = m_mapi.recorder.Calls();
    Forget();
    EXPECT_EQ(SendUM(email, {}), S_OK);
    EXPECT_EQ(m_mapi.recorder.Calls(), wideVoice);
}

TEST_F(SendTest, NullTextsAreEmpty)
{
    EXPECT_EQ(OrlSendEmailA(m_connection, m_mailbox, "bob", nullptr, nullptr, 0, 0, nullptr, nullptr), S_OK);
    EXPECT_THAT(SetProps(), StartsWith("Message(new).SetProps([PR_SUBJECT_A=\"\", PR_BODY_A=\"\", "));
    EXPECT_EQ(m_mapi.recorder.Count("OpenStreamOnFile"), 0);
    EXPECT_EQ(OrlSendUMEmailW(m_connection, m_mailbox, nullptr, nullptr, nullptr, 0, 0, nullptr, nullptr, 0, nullptr,
                              nullptr, nullptr, 0, 0),
              E_INVALIDARG);
}

TEST_F(SendTest, TheEntryLineShowsTheArguments)
{
    Email email;
    email.file = "no/such/file";
    email.filename = "shown";
    Send(email);
    const std::string texts = ", m_TargetAlias: \"bob\", szSubject: \"The subject\", szBody: \"The body\"";
    const std::string files = ", szFile: \"" + email.file + "\", szFilename: \"shown\"";
    EXPECT_THAT(LinesOf("> CMAPIImpl::SendEmail(pIMsgStore: ", '8'), ElementsAre(EndsWith(texts + files + ")")));
    email.urgent = 1;
    Forget();
    Send(email);
    EXPECT_THAT(Lines(), Contains(EndsWith(texts + ", URGENT" + files + ")")));
    email.isPrivate = 1;
    Forget();
    Send(email);
    EXPECT_THAT(Lines(), Contains(EndsWith(texts + ", URGENT, PRIVATE" + files + ")")));

    // A line has 255 characters at most, so this one's texts are short.
    email = {};
    email.recipients = email.subject = email.body = "b";
    email.isPrivate = 1;
    Forget();
    SendUM(email, {});
    EXPECT_THAT(LinesOf("> CMAPIImpl::SendUMEmail(pIMsgStore: ", '8'),
                ElementsAre(EndsWith(", m_TargetAlias: \"b\", szSubject: \"b\", szBody: \"b\", PRIVATE, szFile: \"\", "
                                     "szFilename: \"\", lSecs: 12, szNumber: +15550100, szName: \"Carol\", szOrder: "
                                     "a.wav;b.wav, offset: -3, ulMsgReceived: 4294967280)")));
}

TEST_F(SendTest, TheCounterIsShownAtEntryAndExitWithTheirOwnSpelling)
{
    EXPECT_EQ(Send({}), S_OK);
    EXPECT_THAT(LinesOf("CMAPIImpl::SendEmail[n]", '5'), ElementsAre("CMAPIImpl::SendEmail[n]: At Entry, counter=[0]",
                                                                     "CMAPIImpl::SendEmail[n]: At Exit, counter=[0]"));
    EXPECT_EQ(SendUM({}, {}), S_OK);
    EXPECT_THAT(LinesOf("CMAPIImpl::SendUMEmail[n]", '5'),
                ElementsAre("CMAPIImpl::SendUMEmail[n]: At entry, counter=[0]",
                            "CMAPIImpl::SendUMEmail[n]: Message submitted successfully.[3]",
                            "CMAPIImpl::SendUMEmail[n]: At Exit, counter=[0]"));
}

TEST_F(SendTest, WhatIsHeldIsCounted)
{
    std::vector<LONG> counts;
    for (const char *call : {"HrGetOneProp", "Store(alice).OpenEntry", "Folder.CreateMessage", "Message.SetProps",
                             "Stream(file).Seek", "Message.CreateAttach", "Attach.OpenProperty", "Stream(file).CopyTo",
                             "Attach.SaveChanges", "Message.SubmitMessage"})
        m_mapi.script.Tell(call, Does([&] { counts.push_back(OpenObjects()); }));
    Email email;
    email.file = File("sound.wav", "sound");
    EXPECT_EQ(Send(email), S_OK);
    EXPECT_THAT(counts, ElementsAre(0, 1, 2, 3, 4, 4, 5, 6, 6, 4));
    std::vector<std::string> released;
    for (const std::string &call : m_mapi.recorder.Everything())
        if (call.find(".Release()") != std::string::npos || call.find("FreePadrlist") == 0)
            released.push_back(call.substr(0, call.find('(')));
    EXPECT_THAT(released,
                ElementsAre("AddrBook.Release", "Stream", "Attach", "FreePadrlist", "Stream", "Message", "Folder"));
}

} // namespace
