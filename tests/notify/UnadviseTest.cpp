// The end of a sink: by its value, once, from any thread and from inside its own callback; and what a value that is no
// sink does.
#include "notify/AdviseSink.h"
#include "notify/NotifyTest.h"
#include <atomic>

namespace
{

class UnadviseTest : public NotifyTest
{
};

TEST_F(UnadviseTest, EndsTheRegistrationsAndClosesTheMailbox)
{
    Watch();
    EXPECT_EQ(Counter(), 1);
    EXPECT_EQ(Unadvise(m_sink), S_OK);
    EXPECT_THAT(m_mapi.recorder.Everything(),
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
    auto *const object = reinterpret_cast<CAdviseSink *>(m_sink);
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
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
    EXPECT_THAT(Lines(), ElementsAre(Like("> CMAPIImpl::Unadvise(pSink: 0*0, mailbox: \"NULL\", ulCount: 0)"),
                                     "< CMAPIImpl::Unadvise()"));
}

TEST_F(UnadviseTest, TheThirdParameterIsNeitherReadNorWritten)
{
    ULONG count = 4711;
    EXPECT_EQ(OrlUnadvise(m_hConnection, 0, &count), S_OK);
    Watch();
    EXPECT_EQ(OrlUnadvise(m_hConnection, m_sink, &count), S_OK);
    EXPECT_EQ(count, 4711u);
    EXPECT_EQ(OrlUnadvise(m_hConnection, 0, reinterpret_cast<ULONG *>(1)), S_OK);
}

TEST_F(UnadviseTest, ASinkEndsOnceAndAnyOtherValueIsLeftAlone)
{
    Watch();
    EXPECT_EQ(Unadvise(m_sink), S_OK);
    Forget();
    EXPECT_EQ(Unadvise(m_sink), S_OK) << "ended before";
    EXPECT_EQ(Unadvise(1), S_OK) << "never a sink";
    EXPECT_EQ(Unadvise(m_mailbox), S_OK);
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
    EXPECT_EQ(Counter(), 0);
}

TEST_F(UnadviseTest, AnUnknownConnectionEndsNothing)
{
    Watch();
    EXPECT_EQ(OrlUnadvise(0, m_sink, nullptr), E_INVALIDARG);
    EXPECT_EQ(OrlUnadvise(40000, m_sink, nullptr), E_INVALIDARG);
    EXPECT_EQ(Registrations().size(), 3u);
    EXPECT_EQ(Unadvise(m_sink), S_OK);
}

TEST_F(UnadviseTest, ASinkOfAnotherConnectionEndsToo)
{
    Watch();
    DWORD other = 0;
    ASSERT_EQ(OrlCreateConnection(&other, 0), S_OK);
    EXPECT_EQ(OrlUnadvise(other, m_sink, nullptr), S_OK);
    ExpectEnded();
    EXPECT_EQ(Counter(), 0);
    EXPECT_EQ(OrlCloseConnection(&other), S_OK);
    Forget();
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK) << "which has no sink any more";
    EXPECT_EQ(m_mapi.recorder.Count("Table.Unadvise"), 0);
}

TEST_F(UnadviseTest, AfterZeroItStillEndsTheSink)
{
    Watch();
    Answer([](const Told &) { return 0; });
    Notify("Table(read)");
    EXPECT_EQ(Unadvise(m_sink), S_OK);
    ExpectEnded();
}

TEST_F(UnadviseTest, WhatMapiStillHasOnItsWayIsNotTold)
{
    KeepSinksAfterUnadvise();
    Watch();
    EXPECT_EQ(Unadvise(m_sink), S_OK);
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
            EXPECT_EQ(Unadvise(m_sink), S_OK);
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
    const OrlSink first = m_sink;
    Watch();
    Answer([&](const Told &) -> BOOL {
        EXPECT_EQ(Unadvise(first), S_OK);
        return 1;
    });
    Notify("Table(unread)");
    EXPECT_EQ(Registrations().size(), 3u);
    Answer(nullptr);
    EXPECT_EQ(Unadvise(m_sink), S_OK);
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
        EXPECT_EQ(Unadvise(m_sink), S_OK);
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
        std::thread other([&] { EXPECT_EQ(Unadvise(m_sink), S_OK); });
        EXPECT_EQ(Unadvise(m_sink), S_OK);
        other.join();
        ExpectEnded();
        EXPECT_EQ(Counter(), 0);
    }
}

} // namespace
