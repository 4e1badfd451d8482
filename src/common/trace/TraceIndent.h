// A thread's indentation of the trace: a counter in one thread-local slot of the process, allocated on first use.
#pragma once
#include "common/base/ShortLock.h"
#include <windows.h>

class TraceIndent
{
  public:
    constexpr TraceIndent() = default;

    // By 2, and no further than 32 bits go.
    void Raise();
    // By 2. A counter below 3 frees the slot instead, for all threads: each begins again at no indentation.
    void Lower();
    DWORD Current();
    void FreeSlot();

  private:
    // A slot that was freed may belong to somebody else at once, so it is not touched by a thread that read its
    // number before.
    ShortLock m_lock;
    DWORD m_slot GUARDED_BY(m_lock) = TLS_OUT_OF_INDEXES;

    DWORD Get() const REQUIRES(m_lock);
    void Set(DWORD count) const REQUIRES(m_lock);
};
