// The end of a sink: by its value, once, from any thread and from inside its own callback; with its connection's
// disconnect, new logon and close; and what a value that is no sink does.
#include "notify/AdviseSink.h"
#include "notify/NotifyTest.h"
#include <atomic>
#include <condition_variable>

namespace
{

// Waits for each other in tests; generous, never in the way of one that works.
class Gate
{
  public:
    void Open()
    {
        {
            const std::lock_guard lock(m_lock);
            m_open = true;
        }
        m_opened.notify_all();
    }
    bool Pass()
    {
        std::unique_lock lock(m_lock);
        return m_opened.wait_for(lock, std::chrono::seconds(30), [&] { return m_open; });
    }

  private:
    std::mutex m_lock;
    std::condition_variable m_opened;
    bool m_open = false;
};

class UnadviseTest : public NotifyTest
{
  protected:
    void ExpectEnded()
    {
        EXPECT_THAT(Registrations(), IsEmpty());
        EXPECT_THAT(LiveObjects(), testing::Not(Contains("Store(alice)")));
    }
};

TEST_F(UnadviseTest, EndsTheRegistrationsAndClosesTheMailbox)
{
    Watch();
    EXPECT_EQ(Counter(), 1);
    EXPECT_EQ(Unadvise(sink), S_OK);
    EXPECT_THAT(mapi.recorder.Everything(),
                ElementsAre("Table(read).Unadvise()", "Table(unread).Unadvise()", "Table(unread priority).Unadvise()",
                            "Table(read).Release()", "Table(unread).Release()", "Table(unread priority).Release()",
                            "Store(alice).StoreLogoff(NULL)", "Store(alice).Release()"));
    EXPECT_THAT(IndentedLines(),
                ElementsAre(Like("> CMAPIImpl::Unadvise(pSink: *, mailbox: \"alice\", ulCount: 0)"),
                            "  > CAdviseSink::Unadvise()", Like("    > CAdviseSink::CAdviseSink(*: \"alice\")"),
                            "    < CAdviseSink::CAdviseSink()", "  < CAdviseSink::Unadvise()",
                            "< CMAPIImpl::Unadvise()"));
    EXPECT_EQ(Counter(), 0);
}

TEST_F(UnadviseTest, GivesTheReferencesThatAreLeft)
{
    Watch();
    auto *const object = reinterpret_cast<CAdviseSink *>(sink);
    object->AddRef();
    ULONG count = 99;
    EXPECT_EQ(Session()->Unadvise(object, &count), S_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_THAT(Lines(), Contains(Like("> CMAPIImpl::Unadvise(*, ulCount: 99)")));
    EXPECT_EQ(object->Release(), 0u);
}

TEST_F(UnadviseTest, OfNoSinkIsASuccessThatDoesNothing)
{
    EXPECT_EQ(Unadvise(0), S_OK);
    EXPECT_THAT(mapi.recorder.Everything(), IsEmpty());
    EXPECT_THAT(Lines(), ElementsAre(Like("> CMAPIImpl::Unadvise(pSink: 0*0, mailbox: \"NULL\", ulCount: 0)"),
                                     "< CMAPIImpl::Unadvise()"));
}

TEST_F(UnadviseTest, TheThirdParameterIsNeitherReadNorWritten)
{
    ULONG count = 4711;
    EXPECT_EQ(OrlUnadvise(hConnection, 0, &count), S_OK);
    Watch();
    EXPECT_EQ(OrlUnadvise(hConnection, sink, &count), S_OK);
    EXPECT_EQ(count, 4711u);
    EXPECT_EQ(OrlUnadvise(hConnection, 0, reinterpret_cast<ULONG *>(1)), S_OK);
}

TEST_F(UnadviseTest, ASinkEndsOnceAndAnyOtherValueIsLeftAlone)
{
    Watch();
    EXPECT_EQ(Unadvise(sink), S_OK);
    Forget();
    EXPECT_EQ(Unadvise(sink), S_OK) << "ended before";
    EXPECT_EQ(Unadvise(1), S_OK) << "never a sink";
    EXPECT_EQ(Unadvise(mailbox), S_OK);
    EXPECT_THAT(mapi.recorder.Everything(), IsEmpty());
    EXPECT_EQ(Counter(), 0);
}

TEST_F(UnadviseTest, AnUnknownConnectionEndsNothing)
{
    Watch();
    EXPECT_EQ(OrlUnadvise(0, sink, nullptr), E_INVALIDARG);
    EXPECT_EQ(OrlUnadvise(40000, sink, nullptr), E_INVALIDARG);
    EXPECT_EQ(Registrations().size(), 3u);
    EXPECT_EQ(Unadvise(sink), S_OK);
}

TEST_F(UnadviseTest, ASinkOfAnotherConnectionEndsToo)
{
    Watch();
    DWORD other = 0;
    ASSERT_EQ(OrlCreateConnection(&other, 0), S_OK);
    EXPECT_EQ(OrlUnadvise(other, sink, nullptr), S_OK);
    ExpectEnded();
    EXPECT_EQ(Counter(), 0);
    EXPECT_EQ(OrlCloseConnection(&other), S_OK);
    Forget();
    EXPECT_EQ(OrlMapiDisconnect(hConnection), S_OK) << "which has no sink any more";
    EXPECT_EQ(mapi.recorder.Count("Table.Unadvise"), 0);
}

TEST_F(UnadviseTest, AfterZeroItStillEndsTheSink)
{
    Watch();
    Answer([](const Told &) { return 0; });
    Notify("Table(read)");
    EXPECT_EQ(Unadvise(sink), S_OK);
    ExpectEnded();
}

TEST_F(UnadviseTest, WhatMapiStillHasOnItsWayIsNotTold)
{
    KeepSinksAfterUnadvise();
    Watch();
    EXPECT_EQ(Unadvise(sink), S_OK);
    EXPECT_THAT(LiveObjects(), Contains("Store(alice)")) << "MAPI holds the sink";
    EXPECT_EQ(NotifyKeptSinks(), (std::vector<HRESULT>{E_FAIL, E_FAIL, E_FAIL}));
    EXPECT_THAT(TakeTold(), IsEmpty());
    ExpectEnded();
}

TEST_F(UnadviseTest, FromInsideTheCallbackEndsTheSinkThatCalls)
{
    for (const bool waits : {false, true}) {
        SCOPED_TRACE(waits);
        if (waits)
            LetUnadviseWait();
        Watch();
        Answer([&](const Told &) -> BOOL {
            EXPECT_EQ(Unadvise(sink), S_OK);
            EXPECT_THAT(Registrations(), IsEmpty());
            return 1;
        });
        EXPECT_EQ(Notify("Table(unread)", {fnevTableModified, fnevTableModified}), std::vector<HRESULT>{S_OK});
        EXPECT_EQ(TakeTold().size(), 1u) << "the rest of the batch is not told";
        ExpectEnded();
        Answer(nullptr);
    }
}

TEST_F(UnadviseTest, FromInsideTheCallbackAlsoOfAnotherSink)
{
    Watch();
    const OrlSink first = sink;
    Watch();
    Answer([&](const Told &) -> BOOL {
        EXPECT_EQ(Unadvise(first), S_OK);
        return 1;
    });
    Notify("Table(unread)");
    EXPECT_EQ(Registrations().size(), 3u);
    Answer(nullptr);
    EXPECT_EQ(Unadvise(sink), S_OK);
}

TEST_F(UnadviseTest, WhileANotificationRunsOnAnotherThread)
{
    for (const bool waits : {false, true}) {
        SCOPED_TRACE(waits);
        if (waits)
            LetUnadviseWait();
        Watch();
        Gate inside, ended;
        std::atomic<bool> returned{false};
        Answer([&](const Told &) -> BOOL {
            inside.Open();
            // A provider that waits is waiting now; one that does not lets the other thread go on.
            if (!waits) {
                EXPECT_TRUE(ended.Pass());
            }
            returned = true;
            return 1;
        });
        std::thread notifying = NotifyMeanwhile("Table(unread)");
        ASSERT_TRUE(inside.Pass());
        EXPECT_EQ(Unadvise(sink), S_OK);
        if (waits) {
            EXPECT_TRUE(returned);
        } else {
            EXPECT_THAT(LiveObjects(), Contains("Store(alice)")) << "held by the notification that runs";
        }
        ended.Open();
        notifying.join();
        EXPECT_EQ(TakeTold().size(), 1u);
        ExpectEnded();
        Answer(nullptr);
    }
}

TEST_F(UnadviseTest, OfTwoAtOnceOneEndsTheSink)
{
    for (int round = 0; round < 50; ++round) {
        Watch();
        std::thread other([&] { EXPECT_EQ(Unadvise(sink), S_OK); });
        EXPECT_EQ(Unadvise(sink), S_OK);
        other.join();
        ExpectEnded();
        EXPECT_EQ(Counter(), 0);
    }
}

TEST_F(UnadviseTest, DisconnectCancelsEverySinkBeforeItLogsOff)
{
    Watch();
    Watch();
    EXPECT_EQ(Registrations().size(), 6u);
    EXPECT_EQ(OrlMapiDisconnect(hConnection), S_OK);
    ExpectEnded();
    const std::vector<std::string> all = mapi.recorder.Everything();
    EXPECT_EQ(After(all, "Session.Logoff(0, 0, 0)"), std::vector<std::string>{"Session.Release()"});
    EXPECT_THAT(After(all, "Store(default).Release()"), ElementsAre("Session.Logoff(0, 0, 0)", "Session.Release()"));
    EXPECT_EQ(Lines().front(), "> CMAPIImpl::Disconnect()");
    EXPECT_EQ(Lines().at(1), "> CAdviseSink::Unadvise()");
    EXPECT_EQ(Lines().back(), "< CMAPIImpl::Disconnect()");
    EXPECT_EQ(Counter(), 0);
    EXPECT_EQ(Unadvise(sink), S_OK) << "ended before";
}

TEST_F(UnadviseTest, ANewLogonCancelsThemToo)
{
    Watch();
    EXPECT_EQ(OrlMapiConnectA(hConnection, "NORVIK1", "vm", "Voicemail"), S_OK);
    ExpectEnded();
    Watch();
    EXPECT_EQ(Unadvise(sink), S_OK);
}

TEST_F(UnadviseTest, OtherConnectionsKeepTheirs)
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
    EXPECT_EQ(Unadvise(sink), S_OK);
}

TEST_F(UnadviseTest, AConnectionThatIsClosedWithLiveSinksCancelsThem)
{
    Watch();
    Watch();
    Close();
    EXPECT_THAT(Registrations(), IsEmpty());
    EXPECT_THAT(LiveObjects(), IsEmpty());
    const std::vector<std::string> all = mapi.recorder.Everything();
    EXPECT_THAT(After(all, "Store(default).Release()"), ElementsAre("Session.Logoff(0, 0, 0)", "Session.Release()"));
}

TEST_F(UnadviseTest, ClosingWaitsForACallbackThatIsAtWorkInTheLibraryAndNotTheOtherWayRound)
{
    LetUnadviseWait();
    Watch();
    Gate inside, closing;
    BOOL available = TRUE;
    HRESULT disconnected = S_OK;
    mapi.script.Tell("Table(read).Unadvise", Does([&] { closing.Open(); }));
    const DWORD handle = hConnection;
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
TEST_F(UnadviseTest, ClosingWhileACallbackIsInsideACallCancelsTheSinkOnTheClosingThread)
{
    LetUnadviseWait();
    Watch();
    Gate inside, closing;
    mapi.script.Tell("MAPIAdminProfiles", Does([&] {
                         inside.Open();
                         EXPECT_TRUE(closing.Pass());
                     }));
    mapi.script.Tell("Table(read).Unadvise", Does([&] { closing.Open(); }));
    Answer([&](const Told &) -> BOOL {
        ExchangeProfileA *profiles = nullptr;
        ULONG count = 0;
        EXPECT_EQ(OrlGetExchangeProfilesA(hConnection, &profiles, &count), S_OK);
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

TEST_F(UnadviseTest, DisconnectWaitsForACallbackThatIsAtWorkOnItsConnection)
{
    LetUnadviseWait();
    Watch();
    Gate inside, cancelling;
    HRESULT opened = E_FAIL;
    mapi.script.Tell("Table(read).Unadvise", Does([&] { cancelling.Open(); }));
    Answer([&](const Told &) -> BOOL {
        inside.Open();
        EXPECT_TRUE(cancelling.Pass());
        OrlMailbox bob = 0;
        opened = OrlMapiConnectToMailboxA(hConnection, &bob, "bob");
        EXPECT_EQ(OrlMapiDisconnectFromMailbox(hConnection, bob), S_OK);
        return 1;
    });
    std::thread notifying = NotifyMeanwhile("Table(unread)");
    ASSERT_TRUE(inside.Pass());
    EXPECT_EQ(OrlMapiDisconnect(hConnection), S_OK);
    notifying.join();
    EXPECT_EQ(opened, S_OK) << "still logged on while the callback ran";
    ExpectEnded();
}

// Nothing is left of such a sink that closing could wait for, but the library must not end under the callback's feet,
// nor on its thread.
TEST_F(UnadviseTest, ClosingWaitsForACallbackThatHasEndedItsOwnSinkAndIsStillInsideACall)
{
    LetUnadviseWait();
    Watch();
    Gate inside;
    std::atomic<bool> returned{false};
    const DWORD handle = hConnection;
    mapi.script.Tell("MAPIAdminProfiles", Does([&] {
                         inside.Open();
                         while (OrlIsMAPIAvailable(handle))
                             std::this_thread::yield();
                         // For a close that would not wait to go on.
                         std::this_thread::sleep_for(std::chrono::milliseconds(50));
                     }));
    mapi.script.Tell("Session.Logoff", Does([&] { EXPECT_TRUE(returned) << "logged off under the callback"; }));
    Answer([&](const Told &) -> BOOL {
        EXPECT_EQ(OrlUnadvise(handle, sink, nullptr), S_OK);
        ExchangeProfileA *profiles = nullptr;
        ULONG count = 0;
        EXPECT_EQ(OrlGetExchangeProfilesA(handle, &profiles, &count), S_OK);
        OrlMapiFreeBuffer(profiles);
        EXPECT_EQ(OrlMapiDisconnect(handle), E_INVALIDARG);
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

TEST_F(UnadviseTest, DisconnectWaitsForACallbackWhoseSinkHasEndedWithoutWaiting)
{
    Watch();
    Gate inside;
    std::atomic<bool> returned{false};
    Answer([&](const Told &) -> BOOL {
        inside.Open();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        returned = true;
        return 1;
    });
    std::thread notifying = NotifyMeanwhile("Table(unread)");
    ASSERT_TRUE(inside.Pass());
    EXPECT_EQ(Unadvise(sink), S_OK);
    EXPECT_EQ(OrlMapiDisconnect(hConnection), S_OK);
    EXPECT_TRUE(returned);
    notifying.join();
    ExpectEnded();
}

TEST_F(UnadviseTest, ACallbackThatDisconnectsDoesNotWaitForItself)
{
    Watch();
    Answer([&](const Told &) -> BOOL {
        EXPECT_EQ(OrlMapiDisconnect(hConnection), S_OK);
        return 1;
    });
    Notify("Table(unread)");
    ExpectEnded();
}

} // namespace
