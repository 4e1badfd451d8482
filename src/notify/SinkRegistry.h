// The live sinks of the process, from their construction to the beginning of their end, each with the session that has
// given it out; and the notifications that are at work. Sink values come back from the host: only one that stands here
// is a sink, and whoever removes it ends it, so that no sink is ended twice. Any thread.
#pragma once
#include <thread>

class CAdviseSink;
class CMAPIImpl;

class SinkRegistry
{
  public:
    // A sink that no session has given out yet.
    static void Add(CAdviseSink *pSink);
    // The sink, whose mailbox counts among what the session holds, is the session's from here on.
    static void Enter(CAdviseSink *pSink, CMAPIImpl *pSession);
    // False for a value that is not a live sink. From here on its mailbox no longer counts among what the session
    // holds.
    static bool Remove(CAdviseSink *pSink);
    // A sink of a session; null where there is none.
    static CAdviseSink *RemoveFirstOf(const CMAPIImpl *pSession);

    // A sink is being notified on this thread while it lives, also when the sink is ended meanwhile.
    class Notification
    {
      public:
        explicit Notification(CAdviseSink *pSink);
        ~Notification();
        Notification(const Notification &) = delete;
        Notification &operator=(const Notification &) = delete;

      private:
        friend class SinkRegistry;
        const CAdviseSink *const m_pSink;
        const std::thread::id m_thread = std::this_thread::get_id();
        const CMAPIImpl *m_pSession = nullptr;
        Notification *m_pNext;
    };
    // Returns when every notification of a session's sinks has ended that another thread is at.
    static void AwaitNotifications(const CMAPIImpl *pSession);
};
