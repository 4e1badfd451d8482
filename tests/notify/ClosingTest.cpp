// The end of a connection's sinks: with its disconnect, its new logon and its close, which cancel them all and wait for
// the callbacks that are at work.
#include "notify/NotifyTest.h"
#include <atomic>

namespace
{

class ClosingTest : public NotifyTest
{
  protected:
    // Opens the gate when the last table of a sink ends from now on. A connection ends its sinks before it waits for
    // the callbacks that are still at work.
    void OpenWhenASinkEnds(Gate &gate)
    {
        m_mapi.script.Tell("Table(unread priority).Unadvise", Does([&gate] { gate.Open(); }));
    }
    // More than is left to do for one who would not wait.
    static void WorkOn()
    {
        for (int i = 0; i < 200; ++i) {
            DWORD another = 0;
            EXPECT_EQ(OrlCreateConnection(&another, 0), S_OK);
            EXPECT_EQ(OrlCloseConnection(&another), S_OK);
        }
    }
};

TEST_F(ClosingTest, DisconnectCancelsEverySinkBeforeItLogsOff)
{
    Watch();
    Watch();
    EXPECT_EQ(Registrations().size(), 6u);
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    ExpectEnded();
    const std::vector<std::string> all = m_mapi.recorder.Everything();
    EXPECT_EQ(After(all, "Session.Logoff(0, 0, 0)"), std::vector<std::string>{"Session.Release()"});
    EXPECT_THAT(After(all, "Store(default).Release()"), ElementsAre("Session.Logoff(0, 0, 0)", "Session.Release()"));
    EXPECT_EQ(Lines().front(), "> CMAPIImpl::Disconnect()");
    EXPECT_EQ(Lines().at(1), "> CAdviseSink::Unadvise()");
    EXPECT_EQ(Lines().back(), "< CMAPIImpl::Disconnect()");
    EXPECT_EQ(Counter(), 0);
    EXPECT_EQ(Unadvise(m_sink), S_OK) << "ended before";
}

TEST_F(ClosingTest, ANewLogonCancelsThemToo)
{
    Watch();
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), S_OK);
    ExpectEnded();
    Watch();
    EXPECT_EQ(Unadvise(m_sink), S_OK);
}

TEST_F(ClosingTest, OtherConnectionsKeepTheirs)
{
    DWORD other = 0;
    ASSERT_EQ(OrlCreateConnection(&other, 0), S_OK);
    ASSERT_EQ(OrlMapiConnectA(other, "NORVIK1", "vm", "Voicemail"), S_OK);
    Watch();
    EXPECT_EQ(OrlMapiDisconnect(other), S_OK);
    EXPECT_EQ(OrlCloseConnection(&other), S_OK);
    EXPECT_EQ(Registrations().size(), 3u);
    Notify("Table(read)");
    EXPECT_EQ(TakeTold().size(), 1u);
    EXPECT_EQ(Unadvise(m_sink), S_OK);
}

TEST_F(ClosingTest, AConnectionThatIsClosedWithLiveSinksCancelsThem)
{
    Watch();
    Watch();
    Close();
    EXPECT_THAT(Registrations(), IsEmpty());
    EXPECT_THAT(LiveObjects(), IsEmpty());
    const std::vector<std::string> all = m_mapi.recorder.Everything();
    EXPECT_THAT(After(all, "Store(default).Release()"), ElementsAre("Session.Logoff(0, 0, 0)", "Session.Release()"));
}

TEST_F(ClosingTest, ClosingWaitsForACallbackThatIsAtWorkInTheLibraryAndNotTheOtherWayRound)
{
    LetUnadviseWait();
    Watch();
    Gate inside, closing;
    BOOL available = TRUE;
    HRESULT disconnected = S_OK;
    m_mapi.script.Tell("Table(read).Unadvise", Does([&] { closing.Open(); }));
    const DWORD handle = m_hConnection;
    Answer([&](const Told &) -> BOOL {
        inside.Open();
        EXPECT_TRUE(closing.Pass());
        available = OrlIsMAPIAvailable(handle);
        disconnected = OrlMapiDisconnectFromMailbox(handle, 0);
        DWORD another = 0;
        EXPECT_EQ(OrlCreateConnection(&another, 0), S_OK);
        EXPECT_EQ(OrlCloseConnection(&another), S_OK);
        return 1;
    });
    std::thread notifying = NotifyMeanwhile("Table(unread)");
    ASSERT_TRUE(inside.Pass());
    Close();
    notifying.join();
    EXPECT_EQ(available, FALSE) << "the handle is unknown at once";
    EXPECT_EQ(disconnected, E_INVALIDARG);
    EXPECT_THAT(LiveObjects(), IsEmpty());
}

// The callback's own call keeps the session alive while another thread closes it.
TEST_F(ClosingTest, ClosingWhileACallbackIsInsideACallCancelsTheSinkOnTheClosingThread)
{
    LetUnadviseWait();
    Watch();
    Gate inside, closing;
    m_mapi.script.Tell("MAPIAdminProfiles", Does([&] {
                           inside.Open();
                           EXPECT_TRUE(closing.Pass());
                       }));
    m_mapi.script.Tell("Table(read).Unadvise", Does([&] { closing.Open(); }));
    Answer([&](const Told &) -> BOOL {
        ExchangeProfileA *profiles = nullptr;
        ULONG count = 0;
        EXPECT_EQ(OrlGetExchangeProfilesA(m_hConnection, &profiles, &count), S_OK);
        OrlMapiFreeBuffer(profiles);
        return 1;
    });
    std::thread notifying = NotifyMeanwhile("Table(unread)");
    ASSERT_TRUE(inside.Pass());
    Close();
    EXPECT_THAT(Registrations(), IsEmpty());
    EXPECT_THAT(Lines(), Contains("> CMAPIImpl::~CMAPIImpl()")) << "here, not on MAPI's thread";
    notifying.join();
    EXPECT_THAT(LiveObjects(), IsEmpty());
}

TEST_F(ClosingTest, DisconnectWaitsForACallbackThatIsAtWorkOnItsConnection)
{
    LetUnadviseWait();
    Watch();
    Gate inside, cancelling;
    HRESULT opened = E_FAIL;
    m_mapi.script.Tell("Table(read).Unadvise", Does([&] { cancelling.Open(); }));
    Answer([&](const Told &) -> BOOL {
        inside.Open();
        EXPECT_TRUE(cancelling.Pass());
        OrlMailbox bob = 0;
        opened = OrlMapiConnectToMailboxA(m_hConnection, &bob, "bob");
        EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, bob), S_OK);
        return 1;
    });
    std::thread notifying = NotifyMeanwhile("Table(unread)");
    ASSERT_TRUE(inside.Pass());
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    notifying.join();
    EXPECT_EQ(opened, S_OK) << "still logged on while the callback ran";
    ExpectEnded();
}

// Nothing is left of such a sink that closing could wait for, but the library must not end under the callback's feet,
// nor on its thread.
TEST_F(ClosingTest, ClosingWaitsForACallbackThatHasEndedItsOwnSinkAndIsStillInsideACall)
{
    LetUnadviseWait();
    Watch();
    const OrlSink own = m_sink;
    Watch();
    Gate inside, closing;
    std::atomic<bool> returned{false};
    const DWORD handle = m_hConnection;
    m_mapi.script.Tell("MAPIAdminProfiles", Does([&] {
                           OpenWhenASinkEnds(closing);
                           inside.Open();
                           EXPECT_TRUE(closing.Pass());
                       }));
    m_mapi.script.Tell("Session.Logoff", Does([&] { EXPECT_TRUE(returned) << "logged off under the callback"; }));
    Answer([&](const Told &) -> BOOL {
        EXPECT_EQ(OrlUnadvise(handle, own, nullptr), S_OK);
        ExchangeProfileA *profiles = nullptr;
        ULONG count = 0;
        EXPECT_EQ(OrlGetExchangeProfilesA(handle, &profiles, &count), S_OK);
        OrlMapiFreeBuffer(profiles);
        EXPECT_EQ(OrlMapiDisconnect(handle), E_INVALIDARG);
        WorkOn();
        returned = true;
        return 1;
    });
    std::thread notifying = NotifyMeanwhile("Table(unread)");
    ASSERT_TRUE(inside.Pass());
    Close();
    EXPECT_TRUE(returned);
    EXPECT_THAT(Lines(), Contains("> CMAPIImpl::~CMAPIImpl()")) << "here, not on MAPI's thread";
    notifying.join();
    EXPECT_THAT(LiveObjects(), IsEmpty());
}

TEST_F(ClosingTest, DisconnectWaitsForACallbackWhoseSinkHasEndedWithoutWaiting)
{
    Watch();
    const OrlSink first = m_sink;
    Watch();
    Gate inside, disconnecting;
    std::atomic<bool> returned{false};
    Answer([&](const Told &) -> BOOL {
        inside.Open();
        EXPECT_TRUE(disconnecting.Pass());
        WorkOn();
        returned = true;
        return 1;
    });
    std::thread notifying = NotifyMeanwhile("Table(unread)");
    ASSERT_TRUE(inside.Pass());
    EXPECT_EQ(Unadvise(first), S_OK);
    OpenWhenASinkEnds(disconnecting);
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_TRUE(returned);
    notifying.join();
    ExpectEnded();
}

TEST_F(ClosingTest, ACallbackThatDisconnectsDoesNotWaitForItself)
{
    Watch();
    Answer([&](const Told &) -> BOOL {
        EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
        return 1;
    });
    Notify("Table(unread)");
    ExpectEnded();
}

} // namespace
