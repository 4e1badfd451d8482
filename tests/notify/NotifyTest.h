// What the tests of notifications share: a logged-on connection, a mailbox whose three tables have names and counts of
// their own, and a callback that remembers what it was told.
#pragma once
#include "session/SessionTest.h"
#include "support/Gate.h"
#include <functional>
#include <mutex>
#include <thread>

struct Told {
    WideText mailbox;
    ULONG unread = 0;
    ULONG unreadPriority = 0;
    ULONG read = 0;
    ULONG_PTR context = 0;
    std::thread::id thread;
};

class NotifyTest : public SessionTest
{
  protected:
    NotifyTest();
    ~NotifyTest() override;
    void SetUp() override;

    // The rows that Alice's tables hold from now on.
    void SetCounts(ULONG read, ULONG unread, ULONG unreadPriority);
    // Watches a mailbox with the callback; the outputs are sink and mailbox.
    HRESULT Advise(const char *szMailbox = "alice", ULONG_PTR context = 7);
    HRESULT Unadvise(OrlSink which) { return OrlUnadvise(m_hConnection, which, nullptr); }
    // Advises, which must work, and forgets that it did.
    void Watch();

    // Of Alice's mailbox nothing is left.
    void ExpectEnded();

    static BOOL ORLAPI Callback(const WCHAR *szMailbox, ULONG ulUnread, ULONG ulUnreadPriority, ULONG ulRead,
                                ULONG_PTR ulContext);
    static std::vector<Told> AllTold();
    // "3 unread (1) 2 read" for each call since the last one of this.
    static std::vector<std::string> TakeTold();
    // What the callback does and answers; 1 where nothing is set.
    static void Answer(std::function<BOOL(const Told &)> answer);

    // "CAdviseSink::Advise[#]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from Advise trying to ... <what> table."
    static std::string CountingFailed(const std::string &function, const std::string &what);
    static std::string RegistrationFailed(const std::string &what);

    static constexpr OrlSink kNoSink = 5;
    static constexpr OrlMailbox kNoMailbox = 6;
    OrlSink m_sink = kNoSink;
    OrlMailbox m_mailbox = kNoMailbox;
    std::shared_ptr<TableData> m_readItems = std::make_shared<TableData>("read");
    std::shared_ptr<TableData> m_unreadItems = std::make_shared<TableData>("unread");
    std::shared_ptr<TableData> m_unreadPriorityItems = std::make_shared<TableData>("unread priority");
};

// What stands after the first element that is `text`.
std::vector<std::string> After(const std::vector<std::string> &all, const std::string &text);
