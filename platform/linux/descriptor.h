// The owner of a file descriptor, and what the system's errors are called.
#pragma once
#include <cerrno>
#include <unistd.h>
#include <windows.h>

namespace platform
{
class Descriptor
{
  public:
    explicit Descriptor(int descriptor = -1) : m_descriptor(descriptor) {}
    ~Descriptor() { Reset(); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    explicit operator bool() const { return m_descriptor >= 0; }
    int get() const { return m_descriptor; }
    void Reset(int descriptor = -1)
    {
        if (m_descriptor >= 0)
            close(m_descriptor);
        m_descriptor = descriptor;
    }

  private:
    int m_descriptor;
};

inline LSTATUS ErrorOfErrno(int error)
{
    switch (error) {
    case ENOSPC:
    case EDQUOT:
        return ERROR_DISK_FULL;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    default:
        return ERROR_ACCESS_DENIED;
    }
}
} // namespace platform
