// A fault inside a guard is met by a vectored handler, which lets the thread go on in a function that jumps out of the
// guarded call. The innermost guard of a thread stands in a slot of its own.
#include "common/base/FaultGuard.h"
#include "common/base/Escape.h"
#include "platform/lifetime/Lasting.h"
#include <atomic>
#include <cstdint>
#include <windows.h>

namespace
{

struct Guard {
    Guard *outer;
    std::jmp_buf jump;
};

constexpr DWORD kInPageError = 0xC0000006; // memory of a mapped file that can't be read any more

// The slot that holds a thread's innermost guard; none before the first guard and after the library's end.
constinit std::atomic<DWORD> g_slot{TLS_OUT_OF_INDEXES};

Guard *Current()
{
    const DWORD slot = g_slot.load(std::memory_order_acquire);
    if (slot == TLS_OUT_OF_INDEXES)
        return nullptr;
    const DWORD lastError = GetLastError(); // which reading a slot clears
    auto *guard = static_cast<Guard *>(TlsGetValue(slot));
    SetLastError(lastError);
    return guard;
}

void SetCurrent(Guard *guard)
{
    const DWORD slot = g_slot.load(std::memory_order_acquire);
    if (slot != TLS_OUT_OF_INDEXES)
        TlsSetValue(slot, guard);
}

[[noreturn]] void Leave()
{
    std::longjmp(Current()->jump, 1);
}

template <class Context>
concept X86 = requires(Context &context)
{
    context.Eip;
    context.Esp;
};
template <class Context>
concept X64 = requires(Context &context)
{
    context.Rip;
    context.Rsp;
};

// Lets the faulting thread go on as if the instruction at fault had called Leave, with the stack aligned as a function
// that calls has it: one that calls nothing may have left it otherwise.
template <class Register> void CallLeave(Register &instruction, Register &stack)
{
    stack = (stack & ~Register{15}) - sizeof(Register);
    *reinterpret_cast<Register *>(static_cast<std::uintptr_t>(stack)) = instruction;
    instruction = static_cast<Register>(reinterpret_cast<std::uintptr_t>(&Leave));
}

template <class Context> void Redirect(Context &context)
{
    if constexpr (X86<Context>)
        CallLeave(context.Eip, context.Esp);
    else if constexpr (X64<Context>)
        CallLeave(context.Rip, context.Rsp);
    else
        Leave();
}

LONG CALLBACK OnException(EXCEPTION_POINTERS *info)
{
    const DWORD code = info->ExceptionRecord->ExceptionCode;
    if (code != EXCEPTION_ACCESS_VIOLATION && code != kInPageError)
        return EXCEPTION_CONTINUE_SEARCH;
    if (!Current())
        return EXCEPTION_CONTINUE_SEARCH;
    // Without a context the exception was raised by a function on this very stack.
    if (!info->ContextRecord)
        Leave();
    Redirect(*info->ContextRecord);
    return EXCEPTION_CONTINUE_EXECUTION;
}

// Registers the handler at the first guard and takes it out again when the library is unloaded.
struct Registration {
    Registration() : handler(AddVectoredExceptionHandler(1, OnException))
    {
        g_slot.store(TlsAlloc(), std::memory_order_release);
    }
    ~Registration()
    {
        const DWORD slot = g_slot.exchange(TLS_OUT_OF_INDEXES, std::memory_order_acq_rel);
        if (slot != TLS_OUT_OF_INDEXES)
            TlsFree(slot);
        if (handler)
            RemoveVectoredExceptionHandler(handler);
    }
    PVOID handler;
};

// Makes a guard the thread's innermost one for a scope, however the scope ends.
struct Entered {
    explicit Entered(Guard &guard)
    {
        guard.outer = Current();
        SetCurrent(&guard);
        outer = guard.outer;
    }
    ~Entered() { SetCurrent(outer); }
    Guard *outer;
};

} // namespace

bool RunGuarded(void (*call)(void *), void *context)
{
    lifetime::Lasting<Registration>();
    Guard guard;
    const Entered entered(guard);
    return CallWithEscape(guard.jump, call, context);
}

SuspendFaultGuard::SuspendFaultGuard() : m_suspended(Current())
{
    if (m_suspended)
        SetCurrent(nullptr);
}

SuspendFaultGuard::~SuspendFaultGuard()
{
    if (m_suspended)
        SetCurrent(static_cast<Guard *>(m_suspended));
}
