// The lock of the registries of handles, held for a scope.
#pragma once
#include "session/CMAPIImpl.h"

// A thread that holds the lock already keeps it: the inner guard is inactive.
struct SCOPED_CAPABILITY RegistryLock : LockCriticalSection {
    explicit RegistryLock(int nLine) ACQUIRE(CMAPIImpl::m_CS)
        : LockCriticalSection(&CMAPIImpl::m_CS, true, "OrlMapi32", nLine)
    {
    }
    ~RegistryLock() RELEASE() override {}
};
