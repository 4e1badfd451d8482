// Every fallible MAPI call and allocation of sending, forwarding and responding, failed one after the other, once and
// from there on, with several results: the result, one error line that names the call, nothing submitted that should
// not be, nothing left open, and the next call working.
#include "messages/CopyTest.h"
#include <cstdio>
#include <map>
#include <set>

using namespace messages_test;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

const std::vector<HRESULT> kCodes = {E_FAIL, E_OUTOFMEMORY, MAPI_E_NETWORK_ERROR, MAPI_E_UNKNOWN_FLAGS};

class SendingSweep : public CopyTest
{
  protected:
    std::string m_file;
    HRESULT m_hr = S_OK;
    std::set<std::string> m_failed;

    void SetUp() override
    {
        CopyTest::SetUp();
        m_file = File("sound.wav", "sound");
    }
    void Prepare()
    {
        m_mapi.world.created.clear();
        m_original->saved = 0;
        std::erase_if(m_original->props, [](const Value &value) { return PROP_ID(value.tag) == 0x1081; });
        Forget();
    }
    void CheckReport(const Round &round)
    {
        const std::vector<std::string> errors = ErrorLines();
        ASSERT_FALSE(errors.empty());
        if (!round.onwards) {
            EXPECT_EQ(errors.size(), 1u) << testing::PrintToString(errors);
        }
        const std::string reported = round.call.method == "OpenEntry" ? "HrOpenEntry" : round.call.method;
        EXPECT_THAT(errors[0], HasSubstr(" from " + reported));
        char code[16];
        std::snprintf(code, sizeof code, "0x%08x", static_cast<unsigned>(round.hr));
        EXPECT_THAT(errors[0], HasSubstr(std::string("Error ") + code + " ["));
    }
    bool WasSubmitted() const { return !m_mapi.world.created.empty() && m_mapi.world.created.back()->submitted; }
    void ExpectSent()
    {
        EXPECT_EQ(m_hr, S_OK);
        EXPECT_TRUE(WasSubmitted());
    }
    void ExpectRefused(const Round &round)
    {
        EXPECT_EQ(m_hr, round.hr);
        EXPECT_FALSE(WasSubmitted());
        CheckReport(round);
    }
    // What happens on the original after it was opened and marked stays.
    bool IsMarked() const { return Find(m_original->props, PR_LAST_VERB_EXECUTED) != nullptr; }
};

TEST_F(SendingSweep, OfAPlainMessageWithAFile)
{
    const int calls = Sweep([&] { Prepare(); },
                            [&] {
                                m_hr = OrlSendEmailA(m_connection, m_mailbox, "bob", "Subject", "Body", 1, 1,
                                                     m_file.c_str(), "message.wav");
                            },
                            [&](const Round &round) {
                                ExpectNothingOpen();
                                if (IsAskedAgain(round)) {
                                    ExpectSent();
                                    return;
                                }
                                ExpectRefused(round);
                            },
                            kCodes);
    // Outbox, message, recipients (the list, its entry, the name, the address book), properties, file, attachment.
    EXPECT_EQ(calls, 19);
    Prepare();
    EXPECT_EQ(OrlSendEmailA(m_connection, m_mailbox, "bob", "", "", 0, 0, "", ""), S_OK);
    EXPECT_TRUE(WasSubmitted());
}

TEST_F(SendingSweep, OfAVoiceMessage)
{
    const int calls = Sweep([&] { Prepare(); },
                            [&] {
                                m_hr = OrlSendUMEmailW(m_connection, 0, OLESTR("bob;alice"), OLESTR("Subject"),
                                                       OLESTR("Body"), 0, 0, Widened(m_file).c_str(), OLESTR("a.wav"),
                                                       3, OLESTR("1"), OLESTR("n"), OLESTR("a.wav"), 0, 0);
                            },
                            [&](const Round &round) {
                                ExpectNothingOpen();
                                if (IsAskedAgain(round)) {
                                    EXPECT_EQ(m_hr, S_OK);
                                    return;
                                }
                                ExpectRefused(round);
                            },
                            kCodes);
    EXPECT_EQ(calls, 21); // two more for the second recipient
}

// The steps whose failure does not keep the copy from being sent.
bool IsOnTheOriginal(const Round &round)
{
    return round.call.object == "Message(m)" && (round.call.method == "SetProps" || round.call.method == "SaveChanges");
}

TEST_F(SendingSweep, OfAForward)
{
    m_original->recipients.clear();
    SessionGuard session = CMAPIImpl::Locate(m_connection);
    auto *store = reinterpret_cast<IMsgStore *>(m_mailbox);
    Sweep([&] { Prepare(); }, [&] { m_hr = session->ForwardEmail(store, SizeOf(m_id), AsBytes(m_id), "bob"); },
          [&](const Round &round) {
              m_failed.insert(round.call.object + "." + round.call.method);
              ExpectNothingOpen();
              if (IsAskedAgain(round) || (!round.onwards && IsOnTheOriginal(round))) {
                  ExpectSent();
                  return;
              }
              EXPECT_EQ(m_hr, round.hr);
              EXPECT_FALSE(WasSubmitted());
              // The submission that is tried without recipients is reported too.
              const std::vector<std::string> errors = ErrorLines();
              ASSERT_FALSE(errors.empty());
              const std::string reported = round.call.method == "OpenEntry" ? "HrOpenEntry" : round.call.method;
              EXPECT_THAT(errors[0], HasSubstr(" from " + reported));
              if (!round.onwards && errors.size() > 1) {
                  EXPECT_EQ(errors.size(), 2u);
                  EXPECT_THAT(errors[1], HasSubstr("[MAPI_E_NO_RECIPIENTS] from SubmitMessage "));
                  EXPECT_FALSE(WasSubmitted());
              }
          },
          kCodes);
    EXPECT_EQ(m_failed,
              (std::set<std::string>{"Store(alice).OpenEntry", ".HrGetOneProp", "Folder(alice/Outbox).CreateMessage",
                                     "Message(m).SetProps", "Message(m).SaveChanges", "Message(m).CopyTo",
                                     "Message(new).SetProps", ".MAPIAllocateBuffer", ".MAPIAllocateMore",
                                     "Session.OpenAddressBook", "AddrBook.ResolveName", "Message(new).ModifyRecipients",
                                     "Message(new).SaveChanges", "Message(new).SubmitMessage"}));
}

TEST_F(SendingSweep, OfAnAnswerWithAFile)
{
    m_original->recipients.clear();
    SessionGuard session = CMAPIImpl::Locate(m_connection);
    auto *store = reinterpret_cast<IMsgStore *>(m_mailbox);
    Sweep([&] { Prepare(); },
          [&] { m_hr = session->RespondEmail(store, SizeOf(m_id), AsBytes(m_id), m_file, "answer.wav", 0); },
          [&](const Round &round) {
              m_failed.insert(round.call.method);
              ExpectNothingOpen();
              if (IsAskedAgain(round) || (!round.onwards && IsOnTheOriginal(round))) {
                  ExpectSent();
                  return;
              }
              ExpectRefused(round);
              const bool beforeTheMarks = m_mapi.recorder.Count("Message(m).SetProps") == 0;
              EXPECT_EQ(IsMarked(), !beforeTheMarks &&
                                        !(round.onwards && IsOnTheOriginal(round) && round.call.method == "SetProps"));
          },
          kCodes);
    for (const char *method : {"OpenStreamOnFile", "Seek", "CreateAttach", "OpenProperty", "Stat", "CopyTo", "GetProps",
                               "ModifyRecipients", "SubmitMessage"})
        EXPECT_EQ(m_failed.count(method), 1u) << method;
}

TEST_F(SendingSweep, TheExportsThatForwardAndAnswerAreSilentInEveryRound)
{
    Sweep([&] { Prepare(); },
          [&] {
              EXPECT_EQ(OrlForwardEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), "bob"), S_OK);
              EXPECT_EQ(
                  OrlRespondEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), m_file.c_str(), "a.wav", 0),
                  S_OK);
          },
          [&](const Round &) { ExpectNothingOpen(); }, {MAPI_E_NETWORK_ERROR});
}

// Text that looks like a format, through every field that reaches a line of the trace.
const char *const kHostile[] = {"%s%s%n", "%s%s%s%s%n%1000000d", "%n", "%hhn%lln", "%*d%*.*f", "%5$s%1$n",
                                "100%",   "%ls%S%hs%C"};

class HostileSendingTest : public CopyTest, public testing::WithParamInterface<const char *>
{
  protected:
    const std::string m_hostile = GetParam();

    HRESULT Send(const std::string &recipients, const std::string &path)
    {
        const char *text = m_hostile.c_str();
        const HRESULT plain =
            OrlSendEmailA(m_connection, m_mailbox, recipients.c_str(), text, text, 0, 0, path.c_str(), text);
        const HRESULT voice = OrlSendUMEmailA(m_connection, m_mailbox, recipients.c_str(), text, text, 0, 0,
                                              path.c_str(), text, 1, text, text, text, 0, 0);
        EXPECT_EQ(voice, plain);
        return voice;
    }
};

TEST_P(HostileSendingTest, InEveryTextOfAMessage)
{
    EXPECT_EQ(Send("bob", File("sound.wav", "sound")), S_OK);
    EXPECT_EQ(Find(Created().props, PR_SUBJECT_A)->bytes, m_hostile);
    EXPECT_EQ(Find(Created().props, PR_BODY_A)->bytes, m_hostile);
    EXPECT_EQ(Find(Created().props, PR_UM_SENDER_NAME_A)->bytes, m_hostile);
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_P(HostileSendingTest, InTheRecipientsAndTheFilesName)
{
    EXPECT_EQ(Send(m_hostile, ""), MAPI_E_NOT_FOUND);
    EXPECT_EQ(ErrorLines().size(), 2u);
    Forget();
    EXPECT_EQ(Send("bob", MissingFile() + m_hostile), MAPI_E_NOT_FOUND);
    EXPECT_EQ(ErrorLines().size(), 2u);
    for (const std::string &line : ErrorLines())
        EXPECT_THAT(line, HasSubstr("from OpenStreamOnFile trying open a stream on the file "));
    Forget();
    EXPECT_EQ(OrlForwardEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), m_hostile.c_str()), S_OK);
    EXPECT_EQ(OrlRespondEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id),
                               (MissingFile() + m_hostile).c_str(), m_hostile.c_str(), 0),
              S_OK);
    EXPECT_EQ(ErrorLines().size(), 2u) << "the forward's recipients, the answer's file";
    m_original->props = {Text(PR_SENDER_EMAIL_ADDRESS_A, m_hostile)};
    Forget();
    EXPECT_EQ(OrlRespondEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), "", "", 0), S_OK);
    EXPECT_THAT(ErrorLines(), testing::ElementsAre(HasSubstr("from ResolveName trying to resolve the recipients ")));
}

TEST_P(HostileSendingTest, InWhatObjectsSayAboutThemselves)
{
    m_mapi.script.SetLastError("*", {GetParam(), GetParam(), 1});
    const std::string path = File("sound.wav", "sound");
    for (const char *call :
         {"HrGetOneProp", "Store.OpenEntry", "Folder.CreateMessage", "Message.ModifyRecipients", "Message.SetProps",
          "Message.CreateAttach", "Attach.OpenProperty", "Attach.SetProps", "Attach.SaveChanges",
          "Message.SubmitMessage", "Message.CopyTo", "Message.SaveChanges", "Message.GetProps"}) {
        SCOPED_TRACE(call);
        m_mapi.script.Tell(call, Fails(MAPI_E_NETWORK_ERROR).From(1));
        Forget();
        Send("bob", path);
        OrlForwardEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), "bob");
        OrlRespondEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), path.c_str(), "", 0);
        EXPECT_FALSE(ErrorLines().empty());
        for (const std::string &line : ErrorLines())
            EXPECT_THAT(line, HasSubstr("[n]: Error 0x8004"));
        m_mapi.script.Clear();
        m_mapi.script.SetLastError("*", {GetParam(), GetParam(), 1});
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, HostileSendingTest, testing::ValuesIn(kHostile),
                         [](const auto &format) { return "Format" + std::to_string(format.index); });

} // namespace
