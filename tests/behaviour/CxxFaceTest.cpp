// The C++ face over the exports, against real mailboxes: each function once, what its owners give back, and both ways
// in which failures come.
#include "OrlMapi32.hpp"
#include "behaviour/BehaviourTest.h"
#include <atomic>
#include <iterator>

namespace
{

class CxxFace : public BehaviourTest
{
  protected:
    void SetUp() override { AddProfile("Voicemail"); }

    void Deliver(int count)
    {
        for (int i = 0; i < count; ++i)
            DeliverVoicemail("alice", "Caller " + std::to_string(i));
    }
    static std::vector<std::string> Names(orlmapi::Listing &&listing)
    {
        std::vector<std::string> names;
        for (const EmailHeaderA &header : listing)
            names.emplace_back(header.pszName);
        return names;
    }
    static orlmapi::Filter Mail()
    {
        orlmapi::Filter filter;
        filter.voiceMail = false;
        return filter;
    }
};

std::basic_string<WCHAR> Wide(const char *ascii)
{
    return {ascii, ascii + std::char_traits<char>::length(ascii)};
}

TEST_F(CxxFace, AConnectionIsClosedByItsOwner)
{
    DWORD handle = 0;
    {
        orlmapi::Connection first;
        handle = first.Handle();
        EXPECT_TRUE(first.IsMapiAvailable());
        EXPECT_FALSE(first.IsConnected());
        orlmapi::Connection second = std::move(first);
        EXPECT_EQ(second.Handle(), handle);
        EXPECT_EQ(first.Handle(), 0U);
        EXPECT_TRUE(second.Connect("Voicemail"));
        EXPECT_TRUE(second.IsConnected());
        EXPECT_TRUE(second.Disconnect());
        EXPECT_FALSE(second.IsConnected());
        EXPECT_TRUE(second.Connect(std::string("NORVIK1"), std::string("vm"), ""));
    }
    EXPECT_FALSE(OrlIsMAPIAvailable(handle));
    EXPECT_HR(E_FAIL, OrlCloseConnection(&handle));
}

TEST_F(CxxFace, AFailureIsThrownWithItsCodeAndName)
{
    const orlmapi::Connection connection;
    try {
        connection.Connect("No such profile");
        ADD_FAILURE() << "nothing was thrown";
    } catch (const orlmapi::Error &error) {
        EXPECT_HR(MAPI_E_LOGON_FAILED, error.Result());
        EXPECT_THAT(error.what(),
                    testing::AllOf(testing::HasSubstr("OrlMapiConnect"), testing::HasSubstr("MAPI_E_LOGON_FAILED")));
    }
}

TEST_F(CxxFace, AFailureIsStoredWhereThereIsAPlaceForIt)
{
    std::error_code code;
    const orlmapi::Connection connection(false, code);
    EXPECT_FALSE(code);
    EXPECT_FALSE(connection.Connect("No such profile", code));
    EXPECT_EQ(code, std::error_code(MAPI_E_LOGON_FAILED, orlmapi::Category()));
    EXPECT_EQ(code.message(), "MAPI_E_LOGON_FAILED");
    EXPECT_TRUE(connection.Connect("Voicemail", code));
    EXPECT_FALSE(code);
    const orlmapi::Mailbox none = connection.Open("nobody at all", code);
    EXPECT_TRUE(code);
    EXPECT_EQ(none.Handle(), 0U);
    EXPECT_EQ(none.Header({nullptr, 0}, code), nullptr);
    EXPECT_EQ(code.value(), E_INVALIDARG);
    EXPECT_EQ(std::error_code(0x12345678, orlmapi::Category()).message(), "0x12345678");
}

TEST_F(CxxFace, ARangeGoesThroughAllPages)
{
    Deliver(23);
    const orlmapi::Connection connection;
    connection.Connect("Voicemail");
    const orlmapi::Mailbox alice = connection.Open("alice");
    std::vector<std::string> all;
    for (int i = 0; i < 23; ++i)
        all.push_back("Caller " + std::to_string(i));
    EXPECT_EQ(Names(alice.List()), all);
    orlmapi::Filter backwards;
    backwards.backwards = true;
    const std::vector<std::string> newestPagesFirst = Names(alice.List(backwards));
    ASSERT_EQ(newestPagesFirst.size(), 23U);
    EXPECT_EQ(newestPagesFirst[0], "Caller 13");
    EXPECT_THAT(newestPagesFirst, testing::UnorderedElementsAreArray(all));
    orlmapi::Filter urgent;
    urgent.urgent = true;
    EXPECT_THAT(Names(alice.List(urgent)), testing::IsEmpty());
}

TEST_F(CxxFace, PagesCanBeHadOneByOneAndLeftEarly)
{
    Deliver(20);
    const orlmapi::Connection connection;
    connection.Connect("Voicemail");
    const orlmapi::Mailbox alice = connection.Open("alice");
    orlmapi::Listing listing = alice.List();
    EXPECT_EQ(listing.Next().size(), 10U);
    EXPECT_EQ(listing.Total(), 20U);
    orlmapi::Listing moved = std::move(listing);
    EXPECT_TRUE(listing.Next().empty()) << "it has gone on elsewhere";
    const orlmapi::Listing::Page second = moved.Next();
    ASSERT_EQ(second.size(), 10U);
    EXPECT_STREQ(second[0].pszName, "Caller 10");
    EXPECT_TRUE(moved.Next().empty());
    EXPECT_TRUE(moved.Next().empty()) << "and no new listing begins";
    orlmapi::Listing left = alice.List();
    EXPECT_STREQ(left.begin()->pszName, "Caller 0");
}

TEST_F(CxxFace, AListingThatFailsSaysSoAndEnds)
{
    const orlmapi::Connection connection;
    connection.Connect("Voicemail");
    orlmapi::Listing nowhere(connection.Handle(), 0, {});
    std::error_code code;
    EXPECT_TRUE(nowhere.Next(code).empty());
    EXPECT_EQ(code.value(), E_INVALIDARG);
    orlmapi::Listing ranged(connection.Handle(), 0, {});
    code.clear();
    for (const EmailHeaderA &header : ranged.Reporting(code))
        ADD_FAILURE() << header.pszName;
    EXPECT_EQ(code.value(), E_INVALIDARG);
    orlmapi::Listing thrown(connection.Handle(), 0, {});
    EXPECT_THROW(thrown.begin(), orlmapi::Error);
}

TEST_F(CxxFace, AMessageIsReadSavedMarkedAndDeleted)
{
    const std::string wave = Wave("in.wav", 4000);
    DeliverVoicemail("alice", "Caller", false, wave, true);
    const orlmapi::Connection connection;
    connection.Connect("Voicemail");
    const orlmapi::Mailbox alice = connection.Open("alice");
    orlmapi::Listing listing = alice.List();
    const orlmapi::Listing::Page page = listing.Next();
    ASSERT_EQ(page.size(), 1U);
    const EmailHeaderA &header = page[0];
    ASSERT_EQ(header.cAttachments, 1U);

    EXPECT_STREQ(alice.Header(header)->pszName, "Caller");
    const orlmapi::Flags flags = alice.Flags(header);
    EXPECT_TRUE(flags.isPrivate);
    EXPECT_FALSE(flags.isUrgent);
    EXPECT_FALSE(flags.isRead);
    EXPECT_NE(alice.Text(header)->pszSubject, nullptr);
    EXPECT_TRUE(alice.Save(header, header.pAttachments[0].ulAttachNum, File("out.wav").string()));
    EXPECT_EQ(Bytes(File("out.wav")), Bytes(File("in.wav")));
    EXPECT_TRUE(alice.MarkRead(header));
    EXPECT_TRUE(alice.Flags(header).isRead);
    EXPECT_TRUE(alice.MarkRead(header, false));
    EXPECT_FALSE(alice.Flags(header).isRead);
    EXPECT_TRUE(alice.Delete(std::vector<BYTE>(header.pEntryID, header.pEntryID + header.cbEntryID)));
    EXPECT_THROW(alice.Header(header), orlmapi::Error);
}

TEST_F(CxxFace, WideTextIsTheSameFace)
{
    Deliver(11);
    const orlmapi::WConnection connection;
    connection.Connect(Wide("Voicemail"));
    const orlmapi::WMailbox alice = connection.Open(Wide("alice"));
    std::vector<std::basic_string<WCHAR>> names;
    for (const EmailHeaderW &header : alice.List())
        names.emplace_back(header.pszName);
    ASSERT_EQ(names.size(), 11U);
    EXPECT_EQ(names[10], Wide("Caller 10"));
}

TEST_F(CxxFace, LettersAndVoiceMailsAreSentForwardedAndAnswered)
{
    const std::string wave = Wave("in.wav", 1000);
    AddUser("carol", "Carol Clark");
    const orlmapi::Connection connection;
    connection.Connect("Voicemail");
    const orlmapi::Mailbox bob = connection.Open("bob"), alice = connection.Open("alice"),
                           carol = connection.Open("carol");
    orlmapi::Letter letter;
    letter.recipients = "alice";
    letter.subject = "Hello";
    letter.body = "How are you?";
    EXPECT_TRUE(bob.Send(letter));
    orlmapi::VoiceMail mail;
    mail.recipients = "alice";
    mail.subject = "Voice";
    mail.file = wave;
    mail.fileName = "message.wav";
    mail.seconds = 12;
    mail.number = "+15550100";
    mail.name = "Carol";
    mail.order = "message.wav";
    EXPECT_TRUE(bob.Send(mail));
    EXPECT_TRUE(connection.Own().Send(letter));
    orlmapi::Letter lost;
    std::error_code code;
    EXPECT_FALSE(bob.Send(lost, code));
    EXPECT_EQ(code.value(), E_INVALIDARG);

    orlmapi::Listing voice = alice.List();
    const orlmapi::Listing::Page page = voice.Next();
    ASSERT_EQ(page.size(), 1U);
    EXPECT_EQ(page[0].lSecs, 12);
    EXPECT_STREQ(page[0].pszNumber, "+15550100");
    alice.Forward(page[0], "carol");
    EXPECT_EQ(Names(carol.List()).size(), 1U);
    alice.Respond(page[0], wave, "answer.wav");
    EXPECT_EQ(Names(bob.List()).size(), 1U);
    orlmapi::Listing mails = alice.List(Mail());
    EXPECT_EQ(mails.Next().size(), 2U);
}

TEST_F(CxxFace, ASinkIsToldTheCountsUntilItEnds)
{
    DeliverVoicemail("alice", "Caller");
    const orlmapi::Connection connection;
    connection.Connect("Voicemail");
    std::atomic<ULONG> unread{99};
    {
        const orlmapi::Sink sink = connection.Watch("alice", [&](const orlmapi::Counts &counts) -> bool {
            unread = counts.unread;
            throw std::runtime_error("does not leave the face");
        });
        ASSERT_TRUE(sink);
        EXPECT_EQ(unread, 1U);
        EXPECT_EQ(Names(sink.Mailbox().List()).size(), 1U);
        DeliverVoicemail("alice", "Caller");
        for (int i = 0; i < 1000 && unread != 2; ++i)
            Sleep(10);
        EXPECT_EQ(unread, 2U);
        const orlmapi::Sink moved = connection.Watch("bob", [](const orlmapi::Counts &) { return true; });
    }
    unread = 99;
    DeliverVoicemail("alice", "Caller");
    const orlmapi::Sink again =
        connection.Watch("alice", [](const orlmapi::Counts &counts) { return counts.unread == 3; });
    EXPECT_EQ(unread, 99U) << "the one that has ended is told nothing";
    std::error_code code;
    EXPECT_FALSE(connection.Watch(
        "nobody at all", [](const orlmapi::Counts &) { return true; }, code));
    EXPECT_TRUE(code);
}

TEST_F(CxxFace, ProfilesServerAndDaysAreRecords)
{
    const orlmapi::Connection connection;
    connection.Connect("Voicemail");
    std::vector<std::string> names;
    for (const ExchangeProfileA &profile : connection.Profiles())
        names.emplace_back(profile.pszDisplayName);
    EXPECT_THAT(names, testing::ElementsAre("Voicemail"));
    EXPECT_STREQ(connection.ServerName("Voicemail")->pszHomeServer, "NORVIK1");
    EXPECT_TRUE(connection.Open("alice").Day("2026-11-23").empty());
    std::error_code code;
    EXPECT_TRUE(connection.Open("alice").Day("no day", code).empty());
    EXPECT_EQ(static_cast<HRESULT>(code.value()), static_cast<HRESULT>(0x80020005));
}

} // namespace
