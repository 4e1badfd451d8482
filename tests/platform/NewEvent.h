// A handle that is closed at the end of its scope, and events to put in it.
#pragma once
#include <gtest/gtest.h>
#include <windows.h>

// Milliseconds that a wait which must succeed may take.
inline constexpr DWORD kBound = 60000;

class Handle
{
  public:
    explicit Handle(HANDLE handle) : m_handle(handle) {}
    ~Handle() { EXPECT_TRUE(CloseHandle(m_handle)); }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
    operator HANDLE() const { return m_handle; }

  private:
    HANDLE m_handle;
};

inline HANDLE NewEvent(bool manualReset, bool signalled)
{
    return CreateEventA(nullptr, manualReset, signalled, nullptr);
}
