// What the compiler puts before a function's return address and compares when it returns, and what is done where
// somebody has written over it. The toolchain's library would ask the system's cryptography for the value, which loads
// further DLLs while ours is being loaded.
#include <cstdint>
#include <initializer_list>
#include <windows.h>

extern "C" {
std::uintptr_t __stack_chk_guard = 0xB3A7'61D5; // until it is made
[[noreturn]] void __stack_chk_fail();
}

namespace
{

// What nobody outside of the process knows all of; it needs no more than to be unknown.
__attribute__((constructor, no_stack_protector)) void MakeGuard()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    LARGE_INTEGER counted;
    QueryPerformanceCounter(&counted);
    std::uint64_t mixed = (static_cast<std::uint64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime) ^ GetTickCount64();
    for (const std::uint64_t part : {static_cast<std::uint64_t>(counted.QuadPart),
                                     static_cast<std::uint64_t>(GetCurrentProcessId()) << 32 | GetCurrentThreadId(),
                                     static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(&now))})
        mixed = (mixed ^ part) * 0x9E37'79B9'7F4A'7C15; // spreads each bit over those above it
    __stack_chk_guard ^= static_cast<std::uintptr_t>(mixed >> (64 - 8 * sizeof(std::uintptr_t)));
}

} // namespace

// No handler is asked: whoever wrote over the stack may have written over theirs.
void __stack_chk_fail()
{
    EXCEPTION_RECORD record = {};
    record.ExceptionCode = 0xC000'0409; // STATUS_STACK_BUFFER_OVERRUN
    record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
    record.ExceptionAddress = __builtin_return_address(0);
    RaiseFailFastException(&record, nullptr, 0);
    TerminateProcess(GetCurrentProcess(), record.ExceptionCode);
    __builtin_unreachable();
}
