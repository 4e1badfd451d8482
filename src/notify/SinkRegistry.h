// The sinks of all sessions that have been given out and that nobody has begun to end, each with its session. Sink
// values come back from the host: only one that stands here is a sink, and whoever removes it ends it, so that no sink
// is ended twice. Any thread.
#pragma once
#include "session/CMAPIImpl.h"

class SinkRegistry
{
  public:
    static void Enter(CAdviseSink *pSink, CMAPIImpl *pSession);
    // False for a value that is no live sink. From here on its mailbox no longer counts among what the session holds.
    static bool Remove(CAdviseSink *pSink);
    // The first sink of a session in the order of their addresses; null where there is none.
    static CAdviseSink *RemoveFirstOf(const CMAPIImpl *pSession);
};
