// Sinks made, notified and ended by four threads at once, a thousand rounds in all; ended by their own callbacks, by
// the threads that made them, and by disconnects.
#include "notify/NotifyTest.h"
#include <atomic>
#include <memory>

namespace
{

constexpr int kThreads = 4;
constexpr int kRounds = 250;

class NotifyThreadsTest : public NotifyTest
{
  protected:
    void SetUp() override
    {
        m_mapi.world.mailboxes.at("alice")->inbox->contentsInTurn.clear();
        NotifyTest::SetUp();
    }
    static void OnAllThreads(const std::function<void(int)> &work)
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back(work, i);
        for (std::thread &thread : threads)
            thread.join();
    }
};

// One round's watch. Its callback may run on every thread that notifies.
struct Watched {
    DWORD connection = 0;
    std::atomic<OrlSink> sink{0};
    std::atomic<int> calls{0};
    std::atomic<bool> ended{false};
    enum { ByItsThread, ByItself, AfterZero } end = ByItsThread;

    // Once: a later sink may have the same value.
    bool End()
    {
        const OrlSink taken = sink.exchange(0);
        if (taken == 0)
            return false;
        EXPECT_EQ(OrlUnadvise(connection, taken, nullptr), S_OK);
        return true;
    }
};

BOOL ORLAPI WatchedCallback(const WCHAR *szMailbox, ULONG, ULONG, ULONG, ULONG_PTR ulContext)
{
    auto &watched = *reinterpret_cast<Watched *>(ulContext);
    EXPECT_TRUE(szMailbox[0] == 'a');
    EXPECT_FALSE(watched.ended) << "called after its end";
    ++watched.calls;
    EXPECT_EQ(OrlIsConnected(watched.connection), 1);
    if (watched.end == Watched::ByItself)
        watched.End();
    return watched.end == Watched::AfterZero ? 0 : 1;
}

TEST_F(NotifyThreadsTest, AThousandRoundsOfAdviseChangeAndUnadvise)
{
    LetUnadviseWait();
    std::vector<std::unique_ptr<Watched>> rounds;
    for (int i = 0; i < kThreads * kRounds; ++i)
        rounds.push_back(std::make_unique<Watched>());
    std::atomic<bool> done{false};
    std::thread changes([&] {
        while (!done) {
            NotifyHere("Table(alice/Inbox)");
            Forget();
            std::this_thread::yield();
        }
    });
    OnAllThreads([&](int thread) {
        for (int round = 0; round < kRounds; ++round) {
            Watched &watched = *rounds[static_cast<size_t>(thread * kRounds + round)];
            watched.connection = m_hConnection;
            watched.end = round % 3 == 0   ? Watched::ByItsThread
                          : round % 3 == 1 ? Watched::ByItself
                                           : Watched::AfterZero;
            OrlSink made = 0;
            OrlMailbox opened = 0;
            ASSERT_EQ(OrlAdviseA(m_hConnection, &made, "alice", &WatchedCallback, reinterpret_cast<ULONG_PTR>(&watched),
                                 &opened),
                      S_OK);
            ASSERT_NE(made, 0u);
            watched.sink = made;
            do
                NotifyHere("Table(alice/Inbox)");
            while (watched.end == Watched::ByItself && watched.sink != 0);
            if (watched.End())
                watched.ended = true;
        }
    });
    done = true;
    changes.join();
    for (const auto &watched : rounds)
        EXPECT_GE(watched->calls, 1);
    EXPECT_THAT(Registrations(), IsEmpty());
    EXPECT_EQ(Counter(), 0);
}

TEST_F(NotifyThreadsTest, DisconnectAndConnectWhileOthersAdviseAndUnadvise)
{
    LetUnadviseWait();
    OnAllThreads([&](int thread) {
        for (int round = 0; round < 40; ++round) {
            if (thread == 0) {
                EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), S_OK);
                continue;
            }
            OrlSink made = 0;
            OrlMailbox opened = 0;
            if (FAILED(OrlAdviseA(m_hConnection, &made, "alice", &Callback, 0, &opened)))
                continue;
            EXPECT_NE(made, 0u);
            if (thread == 1)
                NotifyHere("Table(alice/Inbox)");
            // The others are left to the disconnects: by now the value may be a newer sink's.
            if (round == 39) {
                EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
            }
        }
    });
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_THAT(Registrations(), IsEmpty());
    EXPECT_EQ(Counter(), 0);
}

} // namespace
