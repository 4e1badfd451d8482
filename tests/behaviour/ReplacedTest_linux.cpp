// A host whose site is replaced under it: nothing is acknowledged that is not in the file which is there, and a new
// logon gets that one. Windows refuses to replace a file that is open.
#include "behaviour/BehaviourTest.h"

using namespace localmapi;

class ReplacedBehaviour : public BehaviourTest
{
  protected:
    HRESULT Send(OrlMailbox mailbox)
    {
        return OrlSendEmailA(m_connection, mailbox, "alice", "Subject", "Body", 0, 0, "", "");
    }
    // Of a connection of its own, with no profile.
    std::pair<HRESULT, ULONG> MailIn(const char *alias)
    {
        DWORD connection = 0;
        OrlMailbox mailbox = 0;
        EXPECT_HR(0, OrlCreateConnection(&connection, 0));
        EXPECT_HR(0, OrlMapiConnectA(connection, "NORVIK1", alias, ""));
        EXPECT_HR(0, OrlMapiConnectToMailboxA(connection, &mailbox, alias));
        std::swap(connection, m_connection);
        Filter mail;
        mail.um = 0;
        const Page page = ListAll(mailbox, mail);
        std::swap(connection, m_connection);
        OrlMapiDisconnectFromMailbox(connection, mailbox);
        EXPECT_HR(0, OrlMapiDisconnect(connection));
        EXPECT_HR(0, OrlCloseConnection(&connection));
        return {page.hr, page.count};
    }
};

TEST_F(ReplacedBehaviour, WhatIsSentFailsUntilTheHostLogsOnAnew)
{
    Connect();
    const OrlMailbox bob = Open("bob");
    ASSERT_HR(0, Send(bob));
    EXPECT_EQ(MailIn("alice"), std::pair(HRESULT{0}, ULONG{1}));

    for (const char *suffix : {"", "-wal", "-shm"})
        if (std::filesystem::exists(File(std::string("site.db") + suffix)))
            std::filesystem::rename(File(std::string("site.db") + suffix), File(std::string("old.db") + suffix));
    EXPECT_HR(MAPI_E_OBJECT_CHANGED, Send(bob));
    {
        const storage::Site other = storage::Site::Create(File("site.db").string(), "NORVIK1", "Norvik");
        storage::Directory(other).AddUser("vm", "Voicemail Service", "", true);
        storage::Directory(other).AddUser("alice", "Alice Archer");
        storage::Directory(other).AddUser("bob", "Bob Baker");
    }
    EXPECT_HR(MAPI_E_OBJECT_CHANGED, Send(bob));
    EXPECT_HR(MAPI_E_OBJECT_CHANGED, ListAll(bob, {}).hr);
    OrlMailbox mailbox = 77;
    EXPECT_HR(MAPI_E_OBJECT_CHANGED, OrlMapiConnectToMailboxA(m_connection, &mailbox, "alice"));
    // What the others write there stays, whatever becomes of the old connection.
    EXPECT_EQ(MailIn("alice"), std::pair(HRESULT{0}, ULONG{0}));

    EXPECT_HR(0, OrlMapiDisconnectFromMailbox(m_connection, bob));
    m_mailboxes.clear();
    ASSERT_HR(0, OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""));
    ASSERT_HR(0, Send(Open("bob")));
    EXPECT_EQ(MailIn("alice"), std::pair(HRESULT{0}, ULONG{1}));
}
