// The callback and what it remembers, under a lock, since it may be called on any thread.
#include "notify/NotifyTest.h"
#include <algorithm>

namespace
{

std::mutex g_lock;
std::vector<Told> g_told;
size_t g_taken = 0;
std::function<BOOL(const Told &)> g_answer;

} // namespace

NotifyTest::NotifyTest()
{
    const std::lock_guard lock(g_lock);
    g_told.clear();
    g_taken = 0;
    g_answer = nullptr;
    m_mapi.world.mailboxes.at("alice")->inbox->contentsInTurn = {m_readItems, m_unreadItems, m_unreadPriorityItems};
    SetCounts(2, 3, 1);
}

NotifyTest::~NotifyTest()
{
    Answer(nullptr);
}

void NotifyTest::SetUp()
{
    SessionTest::SetUp();
    Connect();
}

void NotifyTest::SetCounts(ULONG read, ULONG unread, ULONG unreadPriority)
{
    const std::lock_guard lock(Mutex());
    m_readItems->claimedCount = read;
    m_unreadItems->claimedCount = unread;
    m_unreadPriorityItems->claimedCount = unreadPriority;
}

HRESULT NotifyTest::Advise(const char *szMailbox, ULONG_PTR context)
{
    m_sink = kNoSink;
    m_mailbox = kNoMailbox;
    return OrlAdviseA(m_hConnection, &m_sink, szMailbox, &Callback, context, &m_mailbox);
}

void NotifyTest::Watch()
{
    ASSERT_EQ(Advise(), S_OK);
    ASSERT_NE(m_sink, 0u);
    TakeTold();
    Forget();
}

void NotifyTest::ExpectEnded()
{
    EXPECT_THAT(Registrations(), IsEmpty());
    EXPECT_THAT(LiveObjects(), testing::Not(Contains("Store(alice)")));
}

BOOL ORLAPI NotifyTest::Callback(const WCHAR *szMailbox, ULONG ulUnread, ULONG ulUnreadPriority, ULONG ulRead,
                                 ULONG_PTR ulContext)
{
    const Told told = {szMailbox, ulUnread, ulUnreadPriority, ulRead, ulContext, std::this_thread::get_id()};
    std::function<BOOL(const Told &)> answer;
    {
        const std::lock_guard lock(g_lock);
        g_told.push_back(told);
        answer = g_answer;
    }
    return answer ? answer(told) : 1;
}

std::vector<Told> NotifyTest::AllTold()
{
    const std::lock_guard lock(g_lock);
    return g_told;
}

std::vector<std::string> NotifyTest::TakeTold()
{
    const std::lock_guard lock(g_lock);
    std::vector<std::string> result;
    for (; g_taken < g_told.size(); ++g_taken) {
        const Told &told = g_told[g_taken];
        result.push_back(std::to_string(told.unread) + " unread (" + std::to_string(told.unreadPriority) + ") " +
                         std::to_string(told.read) + " read");
    }
    return result;
}

void NotifyTest::Answer(std::function<BOOL(const Told &)> answer)
{
    const std::lock_guard lock(g_lock);
    g_answer = std::move(answer);
}

std::string NotifyTest::CountingFailed(const std::string &function, const std::string &what)
{
    return ErrorLine(function, MAPI_E_NETWORK_ERROR, "Advise",
                     "trying to determine the total number of rows in the " + what + " table.");
}

std::string NotifyTest::RegistrationFailed(const std::string &what)
{
    return ErrorLine("CAdviseSink::Advise", MAPI_E_NETWORK_ERROR, "Advise",
                     "trying to register to receive notification of specified events affecting the " + what +
                         " table.");
}

std::vector<std::string> After(const std::vector<std::string> &all, const std::string &text)
{
    const auto found = std::find(all.begin(), all.end(), text);
    return found == all.end() ? std::vector<std::string>() : std::vector<std::string>(found + 1, all.end());
}
