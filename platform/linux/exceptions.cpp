// Vectored exception handlers as a list of this process, called on the thread that raises.
#include "exceptions.h"
#include "platform/locks/Mutex.h"
#include <algorithm>
#include <cstdlib>

namespace
{
struct Registration {
    PVECTORED_EXCEPTION_HANDLER handler;
    PVOID handle;
};

// A fixed number, so that the list can be copied without an owner that a longjmp would skip.
constexpr int kMaxHandlers = 64;
locks::Mutex lock;
Registration handlers[kMaxHandlers] GUARDED_BY(lock);
int handlerCount GUARDED_BY(lock) = 0;
ULONG_PTR lastHandle GUARDED_BY(lock) = 0;

int CopyHandlers(Registration *copy)
{
    const locks::Hold held(lock);
    std::copy(handlers, handlers + handlerCount, copy);
    return handlerCount;
}
} // namespace

namespace platform
{
bool DispatchException(DWORD code, DWORD flags, const void *address, DWORD count, const ULONG_PTR *parameters)
{
    EXCEPTION_RECORD record{};
    record.ExceptionCode = code;
    record.ExceptionFlags = flags;
    record.ExceptionAddress = const_cast<void *>(address);
    record.NumberParameters = std::min<DWORD>(count, EXCEPTION_MAXIMUM_PARAMETERS);
    if (parameters)
        std::copy(parameters, parameters + record.NumberParameters, record.ExceptionInformation);
    else
        record.NumberParameters = 0;
    EXCEPTION_POINTERS pointers{&record, nullptr};

    Registration copy[kMaxHandlers];
    const int copied = CopyHandlers(copy);
    for (int i = 0; i < copied; ++i)
        if (copy[i].handler(&pointers) == EXCEPTION_CONTINUE_EXECUTION)
            return true;
    return false;
}
} // namespace platform

PVOID AddVectoredExceptionHandler(ULONG First, PVECTORED_EXCEPTION_HANDLER Handler)
{
    const locks::Hold held(lock);
    if (!Handler || handlerCount == kMaxHandlers)
        return nullptr;
    const Registration added{Handler, reinterpret_cast<PVOID>(++lastHandle)};
    if (First)
        std::copy_backward(handlers, handlers + handlerCount, handlers + handlerCount + 1);
    handlers[First ? 0 : handlerCount] = added;
    ++handlerCount;
    return added.handle;
}

ULONG RemoveVectoredExceptionHandler(PVOID Handle)
{
    const locks::Hold held(lock);
    for (int i = 0; i < handlerCount; ++i) {
        if (handlers[i].handle == Handle) {
            std::copy(handlers + i + 1, handlers + handlerCount, handlers + i);
            --handlerCount;
            return 1;
        }
    }
    return 0;
}

void RaiseException(DWORD dwExceptionCode, DWORD dwExceptionFlags, DWORD nNumberOfArguments,
                    const ULONG_PTR *lpArguments)
{
    const bool taken = platform::DispatchException(dwExceptionCode, dwExceptionFlags & EXCEPTION_NONCONTINUABLE,
                                                   __builtin_return_address(0), nNumberOfArguments, lpArguments);
    if (!taken || (dwExceptionFlags & EXCEPTION_NONCONTINUABLE))
        std::abort();
}
