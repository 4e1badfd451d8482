// Many threads at once: creating, using and closing connections, sharing one, and closing it under the others' feet.
#include "OrlMapi32.h"
#include "session/SessionGuard.h"
#include "support/MapiDouble.h"
#include "support/TraceCapture.h"
#include <atomic>
#include <thread>

using namespace mapi_double;

namespace
{

constexpr int kThreads = 16;

class ThreadsTest : public MapiDoubleTest
{
  protected:
    static void OnAllThreads(const std::function<void(int)> &work)
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back(work, i);
        for (std::thread &thread : threads)
            thread.join();
    }
};

TEST_F(ThreadsTest, EachCreatesUsesAndClosesItsOwnConnections)
{
    OnAllThreads([](int) {
        for (int round = 0; round < 6; ++round) {
            DWORD h = 0;
            ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
            EXPECT_EQ(OrlIsMAPIAvailable(h), 1);
            EXPECT_EQ(OrlMapiConnectA(h, "NORVIK1", "vm", "Voicemail"), S_OK);
            EXPECT_EQ(OrlIsConnected(h), 1);
            OrlMailbox mailbox = 0;
            EXPECT_EQ(OrlMapiConnectToMailboxA(h, &mailbox, "alice"), S_OK);
            EXPECT_EQ(OrlMapiDisconnectFromMailbox(h, mailbox), S_OK);
            EXPECT_EQ(OrlMapiDisconnect(h), S_OK);
            EXPECT_EQ(OrlCloseConnection(&h), S_OK);
        }
    });
    EXPECT_EQ(m_mapi.recorder.Count("MAPIInitialize"), m_mapi.recorder.Count("MAPIUninitialize"));
}

TEST_F(ThreadsTest, StartsAndStopsOfTheMapiThreadAtOnceLeaveItRunningForWhoeverIsThere)
{
    OnAllThreads([](int) {
        for (int round = 0; round < 4; ++round) {
            DWORD h = 0;
            ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
            EXPECT_EQ(OrlIsMAPIAvailable(h), 1);
            EXPECT_EQ(OrlCloseConnection(&h), S_OK);
        }
    });
    EXPECT_EQ(m_mapi.recorder.Count("MAPIInitialize"), m_mapi.recorder.Count("MAPIUninitialize"));
}

TEST_F(ThreadsTest, ShareOneConnectionAndItsRegistries)
{
    DWORD h = 0;
    ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
    ASSERT_EQ(OrlMapiConnectA(h, "NORVIK1", "vm", "Voicemail"), S_OK);
    OnAllThreads([h](int thread) {
        for (int round = 0; round < 20; ++round) {
            EXPECT_EQ(OrlIsConnected(h), 1);
            OrlMailbox mailbox = 0;
            EXPECT_EQ(OrlMapiConnectToMailboxA(h, &mailbox, thread % 2 ? "alice" : "bob"), S_OK);
            const SessionGuard session = CMAPIImpl::Locate(h);
            const BOOKMARK value = static_cast<BOOKMARK>(thread * 100 + round + 1);
            const DWORD bookmark = session->StoreObject(value);
            EXPECT_EQ(session->LocateBookmark(bookmark), value);
            EXPECT_TRUE(session->FreeBookmarkObject(bookmark));
            EXPECT_EQ(OrlMapiDisconnectFromMailbox(h, mailbox), S_OK);
        }
    });
    EXPECT_EQ(CMAPIImpl::Locate(h)->OpenObjects().load(), 0);
    EXPECT_EQ(OrlMapiDisconnect(h), S_OK);
    EXPECT_EQ(OrlCloseConnection(&h), S_OK);
}

TEST_F(ThreadsTest, ConnectAndDisconnectWhileOthersWork)
{
    DWORD h = 0;
    ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
    OnAllThreads([h](int thread) {
        for (int round = 0; round < 10; ++round) {
            OrlMailbox mailbox = 0;
            ExchangeServerNameA *name = nullptr;
            switch (thread % 4) {
            case 0:
                EXPECT_EQ(OrlMapiConnectA(h, "NORVIK1", "vm", "Voicemail"), S_OK);
                break;
            case 1:
                EXPECT_EQ(OrlMapiDisconnect(h), S_OK);
                break;
            case 2:
                if (SUCCEEDED(OrlMapiConnectToMailboxA(h, &mailbox, "alice"))) {
                    EXPECT_EQ(OrlMapiDisconnectFromMailbox(h, mailbox), S_OK);
                }
                break;
            default:
                EXPECT_EQ(OrlGetExchangeServerNameA(h, &name, "p"), S_OK);
                EXPECT_EQ(OrlMapiFreeBuffer(name), S_OK);
            }
        }
    });
    EXPECT_EQ(OrlMapiDisconnect(h), S_OK);
    EXPECT_EQ(OrlCloseConnection(&h), S_OK);
}

TEST_F(ThreadsTest, ClosingUnderTheFeetOfTheOthersEndsWithTheLastOfThem)
{
    for (int round = 0; round < 5; ++round) {
        DWORD h = 0;
        ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
        ASSERT_EQ(OrlMapiConnectA(h, "NORVIK1", "vm", "Voicemail"), S_OK);
        std::atomic<int> closed{0};
        OnAllThreads([&](int thread) {
            if (thread == kThreads / 2) {
                DWORD mine = h;
                closed += OrlCloseConnection(&mine) == S_OK ? 1 : 0;
                return;
            }
            for (int i = 0; i < 50; ++i) {
                OrlMailbox mailbox = 0;
                const HRESULT hr = OrlMapiConnectToMailboxA(h, &mailbox, "alice");
                if (hr == E_INVALIDARG)
                    return;
                EXPECT_EQ(hr, S_OK);
                // A store outlives the session that opened it; without the session it is the test's to release.
                if (OrlMapiDisconnectFromMailbox(h, mailbox) == E_INVALIDARG)
                    reinterpret_cast<IMsgStore *>(mailbox)->Release();
            }
        });
        EXPECT_EQ(closed, 1);
    }
}

// From the making of a connect's own profile to its deletion, nobody else touches it or logs on with it.
TEST_F(ThreadsTest, ConnectsWithoutAProfileDoNotMeet)
{
    m_mapi.script.Tell("MAPILogonEx", Does([] { Sleep(1); }));
    OnAllThreads([](int thread) {
        DWORD h = 0;
        ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
        for (int round = 0; round < 4; ++round)
            // Every fourth of them ends on the default profile.
            EXPECT_EQ(OrlMapiConnectA(h, thread % 4 ? "NORVIK1" : "", "vm", ""), S_OK);
        EXPECT_EQ(OrlCloseConnection(&h), S_OK);
    });
    int turns = 0;
    bool loggedOn = false;
    std::thread::id owner;
    for (const Record &record : m_mapi.recorder.Records()) {
        const bool logsOn = record.Is("MAPILogonEx"), deletes = record.Is("ProfAdmin.DeleteProfile");
        if (!logsOn && !deletes && !record.Is("ProfAdmin.CreateProfile"))
            continue;
        if (owner == std::thread::id())
            owner = record.thread;
        ASSERT_EQ(owner, record.thread) << record.Text() << " in the turn of another thread";
        // A deletion before the logon makes room for the profile; the one after it ends the turn.
        loggedOn = loggedOn || logsOn;
        if (deletes && loggedOn) {
            owner = {};
            loggedOn = false;
            ++turns;
        }
    }
    EXPECT_EQ(turns, 4 * kThreads);
}

TEST_F(ThreadsTest, OneOfManyClosersWins)
{
    DWORD h = 0;
    ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
    std::atomic<int> closed{0};
    OnAllThreads([&](int) {
        DWORD mine = h;
        const HRESULT hr = OrlCloseConnection(&mine);
        EXPECT_EQ(mine, hr == S_OK ? 0u : h);
        closed += hr == S_OK ? 1 : 0;
    });
    EXPECT_EQ(closed, 1);
}

TEST_F(ThreadsTest, TraceFromAllOfThemAtOnceKeepsItsLinesWhole)
{
    const TraceCapture trace;
    DWORD h = 0;
    ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
    OnAllThreads([h](int) {
        for (int round = 0; round < 50; ++round)
            EXPECT_EQ(OrlMapiDisconnect(h), S_OK);
    });
    EXPECT_EQ(OrlCloseConnection(&h), S_OK);
    size_t entries = 0;
    for (const auto &line : trace.Lines())
        entries += line.text == "> CMAPIImpl::Disconnect()" ? 1 : 0;
    EXPECT_GE(entries, 50u * kThreads);
}

} // namespace
