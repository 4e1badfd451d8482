// A mutex that knows its owner, counts, and can be abandoned.
#pragma once
#include "wait.h"

namespace platform
{
class Mutex : public KernelObject, public std::enable_shared_from_this<Mutex>
{
  public:
    bool IsSignalled(const ThreadRecord &self) const REQUIRES(WaitLock()) override
    {
        return !m_owner || m_owner == &self;
    }
    bool Take(ThreadRecord &self) REQUIRES(WaitLock()) override;
    // False when the thread is not the owner.
    bool Release(ThreadRecord &self) REQUIRES(WaitLock());
    void Abandon() REQUIRES(WaitLock());

  private:
    // No thread has it any more.
    virtual void Released() REQUIRES(WaitLock()) {}

    const ThreadRecord *m_owner GUARDED_BY(WaitLock()) = nullptr;
    int m_count GUARDED_BY(WaitLock()) = 0;
    bool m_abandoned GUARDED_BY(WaitLock()) = false;
};
} // namespace platform
