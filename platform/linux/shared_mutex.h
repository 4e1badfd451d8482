// A mutex that processes share: in this one it is like any other, and the thread that has it here has locked a file.
// The kernel gives the file's lock back when the process ends, however it ends.
#pragma once
#include "descriptor.h"
#include "mutex.h"
#include <string>

namespace platform
{
class SharedMutex : public Mutex
{
  public:
    // `file` is the lock; a new one has the rights that `model` has.
    SharedMutex(std::string file, std::string model) : m_path(std::move(file)), m_model(std::move(model)) {}
    // False, with the last error, where the file can't be had. Before another thread knows the mutex.
    bool Open() const;
    const std::string &Path() const { return m_path; }

    bool IsPolled() const override { return true; }
    // Locks the file where the answer is yes: the wait that asks takes the mutex.
    bool IsSignalled(const ThreadRecord &self) const REQUIRES(WaitLock()) override
    {
        return Mutex::IsSignalled(self) && (m_locked || LockFile());
    }

  private:
    bool LockFile() const REQUIRES(WaitLock());
    void Released() REQUIRES(WaitLock()) override;

    const std::string m_path, m_model;
    mutable Descriptor m_file;
    mutable bool m_locked GUARDED_BY(WaitLock()) = false;
};

// The mutex that processes share under a name; null for a name that belongs to this image alone.
std::shared_ptr<SharedMutex> SharedMutexOf(const std::string &name);
} // namespace platform
