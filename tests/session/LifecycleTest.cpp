// The MAPI thread: it starts with the first session and is gone after the last one, survives quit messages and
// exceptions, and sessions exist without MAPI too. (No connection outlives a test here.)
#include "OrlMapi32.h"
#include "session/CMAPIImpl.h"
#include "session/ProcessResources.h"
#include "support/Gate.h"
#include "support/MapiDouble.h"
#include "support/TraceCapture.h"
#include <atomic>
#include <chrono>
#include <mutex>
#include <objbase.h>
#include <stdexcept>
#include <thread>

using namespace mapi_double;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

class LifecycleTest : public MapiDoubleTest
{
  protected:
    DWORD Create(BYTE service = 0)
    {
        DWORD h = 0;
        EXPECT_EQ(OrlCreateConnection(&h, service), S_OK);
        return h;
    }
    static void CloseIt(DWORD h) { EXPECT_EQ(OrlCloseConnection(&h), S_OK); }
    static bool WaitFor(const std::function<bool()> &condition)
    {
        for (int i = 0; i < 3000; ++i) {
            if (condition())
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
    size_t Exitings() const
    {
        size_t count = 0;
        for (const std::string &text : m_trace.Containing("CMAPIImpl::MAPIMessagePump["))
            count += text.size() > 11 && text.substr(text.size() - 11) == "]: Exiting." ? 1 : 0;
        return count;
    }
    TraceCapture m_trace;
};

TEST_F(LifecycleTest, TheFirstSessionStartsTheThreadAndInitialisesMapiThere)
{
    const DWORD h = Create();
    EXPECT_EQ(OrlIsMAPIAvailable(h), 1);
    EXPECT_THAT(m_mapi.recorder.Calls(), ElementsAre("MAPIInitialize(version 0, 0x9)"));
    EXPECT_NE(m_mapi.recorder.Records()[0].thread, std::this_thread::get_id());
    EXPECT_TRUE(m_trace.Has("> CMAPIImpl::MAPIMessagePump()"));
    EXPECT_TRUE(m_trace.Has("> MAPIInitialize()"));
    EXPECT_TRUE(m_trace.Has("< MAPIInitialize()"));
    CloseIt(h);
    EXPECT_THAT(m_mapi.recorder.Calls(), ElementsAre("MAPIInitialize(version 0, 0x9)", "MAPIUninitialize()"));
    EXPECT_EQ(m_mapi.recorder.Records()[1].thread, m_mapi.recorder.Records()[0].thread);
    EXPECT_TRUE(m_trace.Has("< CMAPIImpl::MAPIMessagePump()"));
    EXPECT_EQ(Exitings(), 1u);
}

TEST_F(LifecycleTest, AServiceInitialisesMapiAsAService)
{
    const DWORD h = Create(1);
    EXPECT_THAT(m_mapi.recorder.Calls(), ElementsAre("MAPIInitialize(version 0, 0x10009)"));
    EXPECT_TRUE(m_trace.Has("> CMAPIImpl::Initialise(Service: <true>)"));
    CloseIt(h);
}

TEST_F(LifecycleTest, OfTwoSessionsTheSecondToCloseStopsTheThreadAndAThirdStartsAFreshOne)
{
    const DWORD first = Create();
    const DWORD second = Create();
    EXPECT_EQ(m_mapi.recorder.Count("MAPIInitialize"), 1);
    CloseIt(first);
    EXPECT_EQ(m_mapi.recorder.Count("MAPIUninitialize"), 0);
    EXPECT_EQ(OrlIsMAPIAvailable(second), 1);
    CloseIt(second);
    EXPECT_EQ(m_mapi.recorder.Count("MAPIUninitialize"), 1);
    const DWORD third = Create();
    EXPECT_EQ(OrlIsMAPIAvailable(third), 1);
    EXPECT_EQ(m_mapi.recorder.Count("MAPIInitialize"), 2);
    CloseIt(third);
    EXPECT_EQ(m_mapi.recorder.Count("MAPIUninitialize"), 2);
}

TEST_F(LifecycleTest, FiftyStartsAndStopsLeaveNoThreadAndNoHandle)
{
    CloseIt(Create()); // what is made once stays
    const ProcessResources before = CountProcessResources();
    for (int i = 0; i < 50; ++i)
        CloseIt(Create());
    // The system may still be taking the last thread down, which has run to its end.
    ProcessResources after;
    EXPECT_TRUE(WaitFor([&] {
        after = CountProcessResources();
        return after.threads <= before.threads;
    })) << after.threads
        << " threads, " << before.threads << " before";
    EXPECT_LE(after.handles, before.handles + kResourceNoise);
    EXPECT_EQ(m_mapi.recorder.Count("MAPIInitialize"), 51);
    EXPECT_EQ(m_mapi.recorder.Count("MAPIUninitialize"), 51);
}

TEST_F(LifecycleTest, AQuitMessageIsLoggedAndTheThreadKeepsPumping)
{
    std::atomic<DWORD> thread{0};
    m_mapi.script.Tell("MAPIInitialize", Does([&] { thread = GetCurrentThreadId(); }));
    const DWORD h = Create();
    ASSERT_NE(thread.load(), 0u);
    for (size_t i = 1; i <= 3; ++i) {
        ASSERT_TRUE(WaitFor([&] { return PostThreadMessageA(thread, WM_QUIT, 0, 0) != 0; }));
        EXPECT_TRUE(WaitFor([&] { return Exitings() == i; })) << Exitings() << " of " << i;
        ASSERT_TRUE(PostThreadMessageA(thread, WM_APP, 1, 2)) << "the thread still has its queue";
    }
    EXPECT_EQ(OrlIsMAPIAvailable(h), 1);
    CloseIt(h);
    EXPECT_EQ(Exitings(), 4u) << "the stop event's own line";
    EXPECT_TRUE(WaitFor([&] { return !PostThreadMessageA(thread, WM_APP, 0, 0); })) << "the thread is gone";
}

TEST_F(LifecycleTest, ASessionClosedWhileAThreadIsInsideEndsWithThatThread)
{
    const DWORD h = Create();
    Gate inside, leave;
    m_mapi.script.Tell("MAPILogonEx", Does([&] {
                           inside.Open();
                           EXPECT_TRUE(leave.Pass());
                       }));
    HRESULT hr = E_FAIL;
    std::thread worker([&] { hr = OrlMapiConnectA(h, "NORVIK1", "vm", "Voicemail"); });
    EXPECT_TRUE(inside.Pass());
    CloseIt(h);
    EXPECT_EQ(OrlMapiDisconnect(h), E_INVALIDARG) << "the handle is unknown at once";
    EXPECT_FALSE(m_trace.Has("> CMAPIImpl::~CMAPIImpl()"));
    EXPECT_EQ(m_mapi.recorder.Count("MAPIUninitialize"), 0);
    leave.Open();
    worker.join();
    EXPECT_EQ(hr, S_OK);
    EXPECT_TRUE(m_trace.Has("> CMAPIImpl::~CMAPIImpl()"));
    EXPECT_EQ(m_mapi.recorder.Count("MAPIUninitialize"), 1);
}

TEST_F(LifecycleTest, AnExceptionFromMapisEndDoesNotKeepTheThreadFromEnding)
{
    const DWORD h = Create();
    m_mapi.script.Tell("MAPIUninitialize", Does([] { throw std::runtime_error("from below"); }));
    CloseIt(h);
    EXPECT_THAT(m_trace.Texts(),
                Contains(StartsWith("Exception has occurred in CMAPIImpl::MAPIMessagePump (OrlMapi32[")));
    EXPECT_TRUE(m_trace.Has("< CMAPIImpl::MAPIMessagePump()"));
    m_mapi.script.Clear();
    const DWORD next = Create();
    EXPECT_EQ(OrlIsMAPIAvailable(next), 1);
    CloseIt(next);
}

TEST_F(LifecycleTest, AnExceptionFromMapisStartLeavesASessionWithoutMapiAndTheNextOneTriesAgain)
{
    m_mapi.script.Tell("MAPIInitialize", Does([] { throw std::runtime_error("from below"); }).Once());
    const DWORD h = Create();
    EXPECT_EQ(OrlIsMAPIAvailable(h), 0);
    EXPECT_THAT(m_trace.Texts(),
                Contains(StartsWith("Exception has occurred in CMAPIImpl::MAPIMessagePump (OrlMapi32[")));
    EXPECT_TRUE(m_trace.Has("< CMAPIImpl::MAPIMessagePump()"));
    const DWORD second = Create();
    EXPECT_EQ(OrlIsMAPIAvailable(second), 1);
    EXPECT_EQ(OrlIsMAPIAvailable(h), 1) << "MAPI is the process's";
    CloseIt(second);
    EXPECT_EQ(m_mapi.recorder.Count("MAPIUninitialize"), 0);
    CloseIt(h);
    EXPECT_EQ(m_mapi.recorder.Count("MAPIInitialize"), 2);
    EXPECT_EQ(m_mapi.recorder.Count("MAPIUninitialize"), 1);
}

std::mutex g_lock;
std::vector<std::string> g_lines;

// The first line of the MAPI thread comes before it initialises COM: that is done here, in a way that leaves no room
// for the thread's own.
void TakeComApart(const char *szText, int)
{
    const std::string line(szText);
    if (line.find("> CMAPIImpl::MAPIMessagePump()") != std::string::npos) {
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    }
    const std::lock_guard lock(g_lock);
    g_lines.push_back(line);
}

TEST_F(LifecycleTest, AFailureOfComsStartIsReportedAndMapiIsStartedAllTheSame)
{
    SetOutputHooks(TakeComApart, nullptr);
    const DWORD h = Create();
    EXPECT_EQ(OrlIsMAPIAvailable(h), 1);
    CloseIt(h);
    SetOutputHooks(nullptr, nullptr);
    const std::lock_guard lock(g_lock);
    EXPECT_THAT(g_lines, Contains(testing::AllOf(testing::HasSubstr("(66,2)"),
                                                 testing::HasSubstr(" CMAPIImpl::MAPIMessagePump["),
                                                 testing::HasSubstr("]: Error 0x80010106 ["),
                                                 testing::EndsWith("] from CoInitializeEx trying to initialise COM "
                                                                   "support\n"))));
    EXPECT_THAT(m_mapi.recorder.Calls(), ElementsAre("MAPIInitialize(version 0, 0x9)", "MAPIUninitialize()"));
}

// One connection that waited for MAPI in vain, shared: it takes five seconds to make.
class WithoutMapiTest : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        m_mapi.Reset();
        m_mapi.script.Tell("MAPIInitialize", Fails(E_FAIL));
        const TraceCapture trace;
        const auto start = std::chrono::steady_clock::now();
        m_created = OrlCreateConnection(&m_h, 0);
        m_waited = std::chrono::steady_clock::now() - start;
        m_errors = trace.Errors();
    }
    static void TearDownTestSuite()
    {
        if (m_h) {
            EXPECT_EQ(OrlCloseConnection(&m_h), S_OK);
        }
        EXPECT_EQ(m_mapi.recorder.Count("MAPIUninitialize"), 0);
        m_mapi.ExpectNothingLeft();
    }
    static inline Double m_mapi;
    static inline DWORD m_h = 0;
    static inline HRESULT m_created = E_FAIL;
    static inline std::chrono::steady_clock::duration m_waited{};
    static inline std::vector<std::string> m_errors;
};

TEST_F(WithoutMapiTest, CreationWaitsForMapiAndSucceeds)
{
    EXPECT_EQ(m_created, S_OK);
    EXPECT_NE(m_h, 0u);
    EXPECT_GE(m_waited, std::chrono::milliseconds(4900));
    EXPECT_LT(m_waited, std::chrono::seconds(60));
    EXPECT_EQ(OrlIsMAPIAvailable(m_h), 0);
    EXPECT_EQ(OrlIsConnected(m_h), 0);
}

TEST_F(WithoutMapiTest, TheReportNamesThePossibleCauses)
{
    ASSERT_EQ(m_errors.size(), 1u);
    EXPECT_THAT(
        m_errors[0],
        testing::EndsWith(
            "]: Error 0x80004005 [MAPI_E_CALL_FAILED] from MAPIInitialize Possible causes are:\r\n   * No version of "
            "Extended MAPI is installed (Either Outlook or MAPICDO must be installed).\r\n   * The 64 bit version of "
            "Outlook 2010 is installed.\r\n   * Windows Mail or Outlook Express (which do not implement Extended MAPI) "
            "is "
            "registered as the Default Mail Client."));
    EXPECT_THAT(m_errors[0], StartsWith("CMAPIImpl::MAPIMessagePump["));
}

TEST_F(WithoutMapiTest, LogonFailsBeforeAnyMapiCall)
{
    m_mapi.recorder.Forget();
    const TraceCapture trace;
    EXPECT_EQ(OrlMapiConnectA(m_h, "NORVIK1", "vm", "Voicemail"), E_FAIL);
    ASSERT_EQ(trace.Errors().size(), 1u);
    EXPECT_THAT(trace.Errors()[0], StartsWith("CMAPIImpl::Connect["));
    EXPECT_THAT(trace.Errors()[0], testing::EndsWith("from MAPIInitialize trying to initialize MAPI support"));
    EXPECT_THAT(m_mapi.recorder.Calls(), IsEmpty());
}

TEST_F(WithoutMapiTest, OpeningAMailboxHasAnAnswerOfItsOwn)
{
    OrlMailbox mailbox = 77;
    EXPECT_EQ(OrlMapiConnectToMailboxA(m_h, &mailbox, "alice"), static_cast<HRESULT>(0x8001011F));
    EXPECT_EQ(OrlMapiConnectToMailboxW(m_h, &mailbox, OLESTR("alice")), static_cast<HRESULT>(0x8001011F));
    EXPECT_EQ(mailbox, 77u);
}

TEST_F(WithoutMapiTest, ProfilesAndServersCannotBeAskedFor)
{
    m_mapi.recorder.Forget();
    const TraceCapture trace;
    ExchangeProfileA *profiles = nullptr;
    ULONG count = 99;
    EXPECT_EQ(OrlGetExchangeProfilesA(m_h, &profiles, &count), E_UNEXPECTED);
    EXPECT_EQ(count, 0u);
    ExchangeServerNameA *name = nullptr;
    EXPECT_EQ(OrlGetExchangeServerNameA(m_h, &name, "p"), E_UNEXPECTED);
    ASSERT_EQ(trace.Errors().size(), 2u);
    EXPECT_THAT(trace.Errors()[0], StartsWith("CMAPIImpl::GetAvailableProfiles["));
    EXPECT_THAT(trace.Errors()[1], StartsWith("CMAPIImpl::GetExchangeServerName["));
    for (const std::string &error : trace.Errors())
        EXPECT_THAT(error, testing::EndsWith("]: Error MAPI has not been initialised."));
    EXPECT_THAT(trace.Containing("At entry, counter=[0]"), testing::SizeIs(1));
    EXPECT_THAT(trace.Containing("At exit, counter=[0]"), testing::SizeIs(1));
    EXPECT_THAT(m_mapi.recorder.Calls(), IsEmpty());
    EXPECT_EQ(profiles, nullptr);
    EXPECT_EQ(name, nullptr);
}

TEST_F(WithoutMapiTest, DisconnectingIsNoError)
{
    EXPECT_EQ(OrlMapiDisconnect(m_h), S_OK);
    EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_h, 0), S_OK);
}

} // namespace
