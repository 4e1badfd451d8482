// Names beyond ASCII through both conversions of the boundary: arguments go to the ANSI code page, results are read as
// UTF-8. Where the ANSI code page cannot hold a name, it cannot be named, and says so.
#include "behaviour/BehaviourTest.h"
#include "localmapi/storage/Time.h"
#include <windows.h>

using namespace localmapi;

namespace
{

using Wide = std::basic_string<WCHAR>;

Wide Widen(const std::string &utf8)
{
    Wide wide(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0), 0);
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), wide.data(),
                        static_cast<int>(wide.size()));
    return wide;
}

// The name in the ANSI code page, or nothing where it cannot be written there.
std::optional<std::string> Ansi(const std::string &utf8)
{
    const Wide wide = Widen(utf8);
    char text[200] = "";
    const int length =
        WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), text, sizeof text, nullptr, nullptr);
    WCHAR back[200] = {};
    const int again = MultiByteToWideChar(CP_ACP, 0, text, length, back, 200);
    if (Wide(back, again) != wide)
        return std::nullopt;
    return std::string(text, length);
}

} // namespace

class NamesBehaviour : public BehaviourTest, public testing::WithParamInterface<const char *>
{
};

TEST_P(NamesBehaviour, AMailboxIsOpenedByItsNameWhereTheAnsiCodePageHoldsIt)
{
    const std::string name = GetParam();
    AddUser("user1", name);
    Connect();
    const std::optional<std::string> ansi = Ansi(name);
    OrlMailbox mailbox = 0;
    if (ansi) {
        EXPECT_HR(0, OrlMapiConnectToMailboxA(m_connection, &mailbox, ansi->c_str()));
        OrlMapiDisconnectFromMailbox(m_connection, mailbox);
        EXPECT_HR(0, OrlMapiConnectToMailboxW(m_connection, &mailbox, Widen(name).c_str()));
        OrlMapiDisconnectFromMailbox(m_connection, mailbox);
    } else {
        EXPECT_LT(OrlMapiConnectToMailboxW(m_connection, &mailbox, Widen(name).c_str()), 0);
        EXPECT_EQ(0U, mailbox);
    }
}

TEST_P(NamesBehaviour, ACallersNameComesOutAsTheAnsiCodePageHasIt)
{
    const std::string name = GetParam();
    DeliverVoicemail("alice", name);
    Connect();
    const OrlMailbox mailbox = Open("alice");
    const std::optional<std::string> ansi = Ansi(name);
    const Page page = ListAll(mailbox, {});
    ASSERT_EQ(1U, page.count);
    if (ansi) {
        EXPECT_EQ(*ansi, page.names[0]);
    }

    EmailHeaderW *header = nullptr;
    ASSERT_HR(0, OrlGetEmailHeaderW(m_connection, mailbox, static_cast<ULONG>(page.ids[0].size()), page.ids[0].data(),
                                    &header));
    if (ansi) {
        EXPECT_TRUE(Widen(name) == header->pszName);
    } else {
        EXPECT_NE(0, header->pszName[0]) << "replaced, not lost";
    }
    OrlMapiFreeBuffer(header);
}

INSTANTIATE_TEST_SUITE_P(Scripts, NamesBehaviour,
                         testing::Values("Jiří Čáp", "Zoë Müller", "Ελένη Παπαδάκη", "田中 宏", "Smile 😀 Jones",
                                         "100% %s%n%d", "\"quoted\" ; semi"));

TEST_F(NamesBehaviour, BrokenTextIsNoNameAndNoCrash)
{
    Connect();
    OrlMailbox mailbox = 0;
    for (const char *name : {"\xC3", "\xFF\xFE", "\xED\xA0\x80", "\xF0\x9F\x98"})
        EXPECT_LT(OrlMapiConnectToMailboxA(m_connection, &mailbox, name), 0) << name;
    const WCHAR loneSurrogate[] = {0xD83D, 'x', 0};
    EXPECT_LT(OrlMapiConnectToMailboxW(m_connection, &mailbox, loneSurrogate), 0);
    EXPECT_LT(OrlMapiConnectToMailboxA(m_connection, &mailbox, nullptr), 0);
    EXPECT_LT(OrlMapiConnectToMailboxW(m_connection, &mailbox, nullptr), 0);
    EXPECT_LT(OrlMapiConnectToMailboxA(m_connection, &mailbox, ""), 0);
    EXPECT_LT(OrlMapiConnectToMailboxA(m_connection, &mailbox, std::string(100000, 'x').c_str()), 0);
    EXPECT_EQ(0U, mailbox);
}

TEST_F(NamesBehaviour, HostileTextInEveryFieldIsListedReadAndSavedAsItIs)
{
    const std::string hostile = "%s%s%s%s%n%1000000d";
    const storage::User to = *storage::Directory(GetSite()).UserByAlias("alice");
    Deliver("alice", Compose(delivery::Mail{{hostile, "SMTP", hostile + "@x"}, hostile, hostile, hostile, {}}, to,
                             storage::CurrentTime()));
    Connect();
    const OrlMailbox mailbox = Open("alice");
    Filter mail;
    mail.um = 0;
    const Page page = ListAll(mailbox, mail);
    ASSERT_EQ(1U, page.count);
    EXPECT_EQ(hostile, page.names[0]);
    EmailTextA *text = nullptr;
    ASSERT_HR(
        0, OrlDownloadEmailA(m_connection, mailbox, static_cast<ULONG>(page.ids[0].size()), page.ids[0].data(), &text));
    EXPECT_EQ(hostile, text->pszSubject);
    EXPECT_EQ(hostile, text->pszBody);
    OrlMapiFreeBuffer(text);
    OrlMailbox none = 0;
    EXPECT_LT(OrlMapiConnectToMailboxA(m_connection, &none, hostile.c_str()), 0);
    EXPECT_LT(OrlMapiConnectA(m_connection, hostile.c_str(), hostile.c_str(), hostile.c_str()), 0);
}
