// A guard against memory faults: a call that reads through a bad pointer ends there, and the host goes on.
#pragma once

// Calls call(context). False when it was cut short by an access to memory that is not there; then nothing that the
// call had on its stack is destroyed, so it must hold nothing that needs it. C++ exceptions pass through. Guards
// nest, belong to their thread, and leave faults of other code to whoever handles them.
bool RunGuarded(void (*call)(void *), void *context);

template <class Call> bool RunGuarded(Call &&call)
{
    auto *target = &call;
    return RunGuarded([](void *context) { (**static_cast<decltype(target) *>(context))(); }, &target);
}

// For a scope no guard of this thread acts: code that meets faults and handles them itself.
class SuspendFaultGuard
{
  public:
    SuspendFaultGuard();
    ~SuspendFaultGuard();
    SuspendFaultGuard(const SuspendFaultGuard &) = delete;
    SuspendFaultGuard &operator=(const SuspendFaultGuard &) = delete;

  private:
    void *m_suspended;
};
