// A session that is kept alive for a scope.
#pragma once
#include "session/CMAPIImpl.h"
#include <utility>

// One reference, or none.
class SessionGuard
{
  public:
    SessionGuard() = default;
    // Takes over a reference that has been counted.
    explicit SessionGuard(CMAPIImpl *counted) noexcept : m_pSession(counted) {}
    SessionGuard(SessionGuard &&other) noexcept : m_pSession(std::exchange(other.m_pSession, nullptr)) {}
    SessionGuard &operator=(SessionGuard &&other) noexcept
    {
        std::swap(m_pSession, other.m_pSession);
        return *this;
    }
    ~SessionGuard()
    {
        if (m_pSession)
            m_pSession->Release();
    }
    explicit operator bool() const noexcept { return m_pSession != nullptr; }
    CMAPIImpl &operator*() const noexcept { return *m_pSession; }
    CMAPIImpl *operator->() const noexcept { return m_pSession; }
    // The reference is kept: somebody else releases it.
    CMAPIImpl *Keep() noexcept { return std::exchange(m_pSession, nullptr); }

  private:
    CMAPIImpl *m_pSession = nullptr;
};
