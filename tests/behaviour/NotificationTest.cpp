// Watching real mailboxes: what the callback is told when messages come, are read, marked and deleted, and how watches
// end. Every wait is for the counts themselves.
#include "behaviour/BehaviourTest.h"
#include "localmapi/storage/Time.h"
#include <array>
#include <atomic>
#include <condition_variable>
#include <mapidefs.h>
#include <mutex>
#include <thread>

using namespace localmapi;

namespace
{

using Counts = std::array<ULONG, 3>; // unread, unread urgent, read

// What one watch has been told.
class Watched
{
  public:
    static BOOL ORLAPI Callback(const WCHAR *szMailbox, ULONG unread, ULONG priority, ULONG read, ULONG_PTR context)
    {
        return reinterpret_cast<Watched *>(context)->Told(szMailbox, {unread, priority, read});
    }
    ULONG_PTR Context() { return reinterpret_cast<ULONG_PTR>(this); }

    // Until just these counts have been told last.
    testing::AssertionResult Becomes(const Counts &wanted)
    {
        std::unique_lock lock(m_lock);
        if (m_told.wait_for(lock, std::chrono::seconds(30), [&] { return !m_all.empty() && m_all.back() == wanted; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << "told last: " << (m_all.empty() ? "nothing" : testing::PrintToString(m_all.back()));
    }
    std::vector<Counts> All()
    {
        const std::lock_guard lock(m_lock);
        return m_all;
    }
    std::basic_string<WCHAR> Name()
    {
        const std::lock_guard lock(m_lock);
        return m_name;
    }

    // Runs in the callback from now on; its result is the answer.
    void Answer(std::function<BOOL(const Counts &)> answer)
    {
        const std::lock_guard lock(m_lock);
        m_answer = std::move(answer);
    }
    OrlSink sink = 0;
    OrlMailbox mailbox = 0;

  private:
    BOOL Told(const WCHAR *szMailbox, const Counts &counts)
    {
        std::function<BOOL(const Counts &)> answer;
        {
            const std::lock_guard lock(m_lock);
            answer = m_answer;
        }
        const BOOL result = answer ? answer(counts) : TRUE;
        {
            const std::lock_guard lock(m_lock);
            m_name = szMailbox;
            m_all.push_back(counts);
        }
        m_told.notify_all();
        return result;
    }

    std::mutex m_lock;
    std::condition_variable m_told;
    std::vector<Counts> m_all;
    std::basic_string<WCHAR> m_name;
    std::function<BOOL(const Counts &)> m_answer;
};

class NotificationBehaviour : public BehaviourTest
{
  protected:
    void Watch(Watched &watched, const std::string &alias)
    {
        ASSERT_HR(0, OrlAdviseA(m_connection, &watched.sink, alias.c_str(), &Watched::Callback, watched.Context(),
                                &watched.mailbox));
        ASSERT_NE(0U, watched.sink);
        ASSERT_NE(0U, watched.mailbox);
    }
    void Unwatch(const Watched &watched) { EXPECT_HR(0, OrlUnadvise(m_connection, watched.sink, nullptr)); }
    void Mark(const Watched &watched, const Id &id, BYTE read)
    {
        EXPECT_HR(0,
                  OrlSetEmailReadFlag(m_connection, watched.mailbox, static_cast<ULONG>(id.size()), id.data(), read));
    }
    // The first voice mail that is unread, and urgent or not.
    Id First(const Watched &watched, BYTE priority)
    {
        Filter filter;
        filter.priority = priority;
        const Page page = ListAll(watched.mailbox, filter);
        EXPECT_FALSE(page.ids.empty());
        return page.ids.empty() ? Id() : page.ids.front();
    }
};

} // namespace

TEST_F(NotificationBehaviour, AMailboxWithoutVoiceMailIsToldAsZerosAtOnce)
{
    Connect();
    Watched alice;
    Watch(alice, "alice");
    EXPECT_EQ(alice.All(), std::vector<Counts>{(Counts{0, 0, 0})});
    EXPECT_EQ(alice.Name(), OLESTR("alice"));
    Unwatch(alice);
}

TEST_F(NotificationBehaviour, WhatIsThereIsCountedAtOnceAndWhatComesAsItComes)
{
    DeliverVoicemail("alice", "1");
    DeliverVoicemail("alice", "2", true);
    Connect();
    Watched alice;
    Watch(alice, "alice");
    EXPECT_EQ(alice.All(), std::vector<Counts>{(Counts{2, 1, 0})});
    DeliverVoicemail("alice", "3");
    EXPECT_TRUE(alice.Becomes({3, 1, 0}));
    DeliverVoicemail("alice", "4", true);
    EXPECT_TRUE(alice.Becomes({4, 2, 0}));
    Unwatch(alice);
}

TEST_F(NotificationBehaviour, AnUrgentVoiceMailCountsTwiceUnreadAndOnceRead)
{
    Connect();
    Watched alice;
    Watch(alice, "alice");
    DeliverVoicemail("alice", "1", true);
    EXPECT_TRUE(alice.Becomes({1, 1, 0}));
    const Id id = First(alice, 1);
    Mark(alice, id, 1);
    EXPECT_TRUE(alice.Becomes({0, 0, 1}));
    Mark(alice, id, 0);
    EXPECT_TRUE(alice.Becomes({1, 1, 0}));
    EXPECT_HR(0, OrlDeleteEmail(m_connection, alice.mailbox, static_cast<ULONG>(id.size()), id.data()));
    EXPECT_TRUE(alice.Becomes({0, 0, 0}));
    Unwatch(alice);
}

TEST_F(NotificationBehaviour, MailAndFaxesChangeNoCount)
{
    Connect();
    Watched alice, bob;
    Watch(alice, "alice");
    Watch(bob, "bob");
    const storage::User to = *storage::Directory(GetSite()).UserByAlias("alice");
    Deliver("alice",
            Compose(delivery::Mail{{"Bob Baker", "", ""}, "", "No voice", "", {}}, to, storage::CurrentTime()));
    // What is told to Bob comes after whatever there was to tell to Alice.
    DeliverVoicemail("bob", "1");
    EXPECT_TRUE(bob.Becomes({1, 0, 0}));
    for (const Counts &counts : alice.All())
        EXPECT_EQ(counts, (Counts{0, 0, 0}));
    DeliverVoicemail("alice", "2");
    EXPECT_TRUE(alice.Becomes({1, 0, 0}));
    Unwatch(alice);
    Unwatch(bob);
}

TEST_F(NotificationBehaviour, ACallbackThatAnswersZeroIsLeftAloneUntilItsEnd)
{
    Connect();
    Watched alice, other;
    Watch(alice, "alice");
    Watch(other, "alice");
    const std::size_t before = alice.All().size();
    alice.Answer([](const Counts &) { return FALSE; });
    DeliverVoicemail("alice", "1");
    EXPECT_TRUE(alice.Becomes({1, 0, 0}));
    DeliverVoicemail("alice", "2");
    EXPECT_TRUE(other.Becomes({2, 0, 0}));
    DeliverVoicemail("alice", "3");
    EXPECT_TRUE(other.Becomes({3, 0, 0}));
    EXPECT_EQ(alice.All().size(), before + 1);
    Unwatch(alice);
    Unwatch(other);
}

TEST_F(NotificationBehaviour, NothingIsToldAfterTheEnd)
{
    Connect();
    Watched alice, other;
    Watch(alice, "alice");
    Watch(other, "alice");
    DeliverVoicemail("alice", "1");
    Unwatch(alice);
    const std::size_t told = alice.All().size();
    DeliverVoicemail("alice", "2");
    EXPECT_TRUE(other.Becomes({2, 0, 0}));
    EXPECT_EQ(alice.All().size(), told);
    Unwatch(alice);
    Unwatch(other);
    EXPECT_HR(0, OrlUnadvise(m_connection, 0, nullptr));
}

TEST_F(NotificationBehaviour, ACallbackMayEndItsOwnSink)
{
    Connect();
    Watched alice, other;
    Watch(alice, "alice");
    Watch(other, "alice");
    alice.Answer([&](const Counts &) {
        Unwatch(alice);
        return TRUE;
    });
    const std::size_t before = alice.All().size();
    DeliverVoicemail("alice", "1");
    EXPECT_TRUE(alice.Becomes({1, 0, 0}));
    EXPECT_TRUE(other.Becomes({1, 0, 0}));
    DeliverVoicemail("alice", "2");
    EXPECT_TRUE(other.Becomes({2, 0, 0}));
    EXPECT_EQ(alice.All().size(), before + 1);
    Unwatch(other);
}

TEST_F(NotificationBehaviour, ACallbackMayWorkOnItsMailbox)
{
    Connect();
    Watched alice;
    Watch(alice, "alice");
    std::atomic<ULONG> listed{0};
    alice.Answer([&](const Counts &) {
        const Page page = ListAll(alice.mailbox, {});
        listed = page.count;
        for (const Id &id : page.ids)
            Mark(alice, id, 1);
        return TRUE;
    });
    DeliverVoicemail("alice", "1");
    EXPECT_TRUE(alice.Becomes({0, 0, 1})) << "read by the callback itself";
    Unwatch(alice);
}

TEST_F(NotificationBehaviour, DisconnectingAndClosingEndEveryWatch)
{
    Connect();
    Watched alice, bob;
    Watch(alice, "alice");
    Watch(bob, "bob");
    EXPECT_HR(0, OrlMapiDisconnect(m_connection));
    EXPECT_HR(0, OrlUnadvise(m_connection, alice.sink, nullptr));
    DeliverVoicemail("alice", "1");
    ASSERT_HR(0, OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""));
    Watched again;
    Watch(again, "alice");
    EXPECT_EQ(again.All().front(), (Counts{1, 0, 0}));
    const std::size_t told = alice.All().size();
    EXPECT_HR(0, OrlCloseConnection(&m_connection));
    EXPECT_EQ(alice.All().size(), told);
    EXPECT_EQ(bob.All().size(), 1U);
}

TEST_F(NotificationBehaviour, ClosingWaitsForACallbackAtWorkInTheLibrary)
{
    for (int round = 0; round < 5; ++round) {
        Connect();
        const DWORD connection = m_connection;
        Watched alice;
        Watch(alice, "alice");
        std::atomic<bool> inside{false};
        alice.Answer([&](const Counts &) {
            inside = true;
            for (int i = 0; i < 20; ++i) {
                DWORD another = 0;
                EXPECT_HR(0, OrlCreateConnection(&another, 0));
                EXPECT_HR(0, OrlCloseConnection(&another));
                OrlIsConnected(connection);
            }
            return TRUE;
        });
        DeliverVoicemail("alice", std::to_string(round));
        while (!inside)
            std::this_thread::yield();
        EXPECT_HR(0, OrlCloseConnection(&m_connection));
    }
}

TEST_F(NotificationBehaviour, ClosingWaitsForACallbackThatWorksOnAfterItHasEndedItsOwnSink)
{
    for (int round = 0; round < 5; ++round) {
        Connect();
        const DWORD connection = m_connection;
        Watched alice;
        Watch(alice, "alice");
        std::atomic<bool> inside{false}, returned{false};
        alice.Answer([&](const Counts &) {
            EXPECT_HR(0, OrlUnadvise(connection, alice.sink, nullptr));
            inside = true;
            for (int i = 0; i < 20; ++i) {
                OrlMailbox bob = 0;
                if (SUCCEEDED(OrlMapiConnectToMailboxA(connection, &bob, "bob")) &&
                    FAILED(OrlMapiDisconnectFromMailbox(connection, bob))) // the connection went in between
                    reinterpret_cast<IMsgStore *>(bob)->Release();
            }
            returned = true;
            return TRUE;
        });
        DeliverVoicemail("alice", std::to_string(round));
        while (!inside)
            std::this_thread::yield();
        EXPECT_HR(0, OrlCloseConnection(&m_connection));
        EXPECT_TRUE(returned);
    }
}

TEST_F(NotificationBehaviour, ManyThreadsWatchChangeAndEnd)
{
    Connect();
    for (int thread = 0; thread < 4; ++thread)
        AddUser("user" + std::to_string(thread), "User " + std::to_string(thread));
    std::mutex delivering;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            const std::string alias = "user" + std::to_string(thread);
            for (ULONG round = 1; round <= 25; ++round) {
                Watched watched;
                Watch(watched, alias);
                {
                    const std::lock_guard lock(delivering);
                    DeliverVoicemail(alias, std::to_string(round));
                }
                EXPECT_TRUE(watched.Becomes({round, 0, 0}));
                Unwatch(watched);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
}
