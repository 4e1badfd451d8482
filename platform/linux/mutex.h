// A mutex that knows its owner, counts, and can be abandoned.
#pragma once
#include "wait.h"

namespace platform
{
class Mutex : public KernelObject, public std::enable_shared_from_this<Mutex>
{
  public:
    bool IsSignalled(const ThreadRecord &self) const override { return !m_owner || m_owner == &self; }
    bool Take(ThreadRecord &self) override;
    // False when the thread is not the owner.
    bool Release(ThreadRecord &self);
    void Abandon();

  private:
    const ThreadRecord *m_owner = nullptr;
    int m_count = 0;
    bool m_abandoned = false;
};
} // namespace platform
