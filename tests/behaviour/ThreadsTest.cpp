// Many threads at once: on one connection, on connections of their own, and with a connection closed under them.
#include "behaviour/BehaviourTest.h"
#include <atomic>
#include <mapix.h>
#include <thread>

using namespace localmapi;

class ThreadsBehaviour : public BehaviourTest
{
  protected:
    void Together(int count, const std::function<void(int)> &work)
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i)
            threads.emplace_back(work, i);
        for (std::thread &thread : threads)
            thread.join();
    }
};

TEST_F(ThreadsBehaviour, EightThreadsWorkOnOneConnection)
{
    for (int i = 0; i < 40; ++i)
        DeliverVoicemail("alice", std::to_string(i));
    Connect();
    const OrlMailbox mailbox = Open("alice");
    const Page all = ListAll(mailbox, {});
    ASSERT_EQ(40U, all.count);
    Together(8, [&](int number) {
        for (int i = number; i < 40; i += 8) {
            const Id &id = all.ids[static_cast<std::size_t>(i)];
            EXPECT_HR(0, OrlSetEmailReadFlag(m_connection, mailbox, static_cast<ULONG>(id.size()), id.data(), 1));
            BYTE isPrivate = 0, high = 0, read = 0;
            EXPECT_HR(0, OrlGetEmailFlags(m_connection, mailbox, static_cast<ULONG>(id.size()), id.data(), &isPrivate,
                                          &high, &read));
            EXPECT_EQ(1, read);
            EXPECT_EQ(0, ListAll(mailbox, {}).hr);
        }
    });
    EXPECT_EQ(0U, ListAll(mailbox, {}).count);
    Filter read;
    read.read = 1;
    EXPECT_EQ(40U, ListAll(mailbox, read).count);
}

TEST_F(ThreadsBehaviour, SixteenThreadsCreateUseAndCloseConnectionsOfTheirOwn)
{
    AddProfile("Voicemail");
    Together(16, [&](int) {
        for (int round = 0; round < 3; ++round) {
            DWORD connection = 0;
            OrlMailbox mailbox = 0;
            EXPECT_HR(0, OrlCreateConnection(&connection, 0));
            EXPECT_HR(0, OrlMapiConnectA(connection, "NORVIK1", "vm", "Voicemail"));
            EXPECT_HR(0, OrlMapiConnectToMailboxA(connection, &mailbox, "alice"));
            EXPECT_HR(0, OrlMapiDisconnectFromMailbox(connection, mailbox));
            EXPECT_HR(0, OrlCloseConnection(&connection));
        }
    });
}

// Each logs on as the user that it names, although all of them make, use and delete a profile of one name, and the
// default profile, which a logon falls back on, may open every mailbox.
TEST_F(ThreadsBehaviour, LogonsWithoutAProfileEndAsTheirOwnUser)
{
    AddProfile("Voicemail");
    std::atomic<int> strangers{0};
    Together(4, [&](int number) {
        const char *own = number % 2 ? "alice" : "bob", *others = number % 2 ? "bob" : "alice";
        DWORD connection = 0;
        EXPECT_HR(0, OrlCreateConnection(&connection, 0));
        for (int round = 0; round < 10; ++round) {
            OrlMailbox mailbox = 0;
            EXPECT_HR(0, OrlMapiConnectA(connection, "NORVIK1", own, ""));
            EXPECT_HR(0, OrlMapiConnectToMailboxA(connection, &mailbox, own));
            EXPECT_HR(0, OrlMapiDisconnectFromMailbox(connection, mailbox));
            const HRESULT hr = OrlMapiConnectToMailboxA(connection, &mailbox, others);
            if (SUCCEEDED(hr)) {
                ++strangers;
                OrlMapiDisconnectFromMailbox(connection, mailbox);
            }
            EXPECT_HR(E_ACCESSDENIED, hr);
        }
        EXPECT_HR(0, OrlCloseConnection(&connection));
    });
    EXPECT_EQ(0, strangers);
}

TEST_F(ThreadsBehaviour, AConnectionClosedUnderWorkingThreadsEndsWithTheLastOfThem)
{
    for (int i = 0; i < 20; ++i)
        DeliverVoicemail("alice", std::to_string(i));
    Connect();
    const OrlMailbox mailbox = Open("alice");
    const Page all = ListAll(mailbox, {});
    ASSERT_EQ(20U, all.count);
    const Id &id = all.ids.front();
    std::atomic<int> inside{0};
    std::atomic<bool> closed{false};
    DWORD connection = m_connection;
    Together(5, [&](int number) {
        if (number == 0) {
            while (inside < 8)
                std::this_thread::yield();
            EXPECT_HR(0, OrlCloseConnection(&m_connection));
            closed = true;
            return;
        }
        // Calls succeed until the connection is unknown, and then say just that. The listing finds nothing and so keeps
        // no table, which nobody could give back once the connection is gone.
        while (true) {
            const bool wasClosed = closed;
            DWORD table = 0, bookmark = 0;
            EmailHeaderA *headers = nullptr;
            ULONG count = 0, total = 0;
            const HRESULT listed = OrlGetEmailHeadersA(connection, mailbox, &table, &bookmark, 5, &headers, &count,
                                                       &total, 0, 1, 0, 0, 0, 1, 0, nullptr, 0, 0);
            EXPECT_EQ(0U, table);
            OrlMapiFreeBuffer(headers);
            BYTE isPrivate = 0, high = 0, read = 0;
            const HRESULT hr = OrlGetEmailFlags(connection, mailbox, static_cast<ULONG>(id.size()), id.data(),
                                                &isPrivate, &high, &read);
            EXPECT_TRUE(listed == 0 || listed == E_INVALIDARG) << NameOf(listed);
            if (hr == E_INVALIDARG)
                break;
            EXPECT_HR(0, hr);
            EXPECT_FALSE(wasClosed) << "an unknown connection worked";
            if (wasClosed)
                break;
            ++inside;
        }
    });
    EXPECT_EQ(0U, m_connection);
    // A mailbox outlives the connection that opened it: it is the store itself.
    m_mailboxes.clear();
    reinterpret_cast<IMsgStore *>(mailbox)->Release();
}
