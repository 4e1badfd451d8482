// Thread-local slots. A slot has a generation, which its release moves on: what threads had stored before is then out
// of date without being visited.
#include "last_error.h"
#include <atomic>
#include <windows.h>

namespace
{
constexpr DWORD kSlots = 128; // Windows promises 64

// Odd while the slot is allocated.
std::atomic<std::uint32_t> generations[kSlots];

struct Value {
    std::uint32_t generation;
    LPVOID value;
};
// Needs no destructor, so that it can be used to a thread's very end.
thread_local Value values[kSlots];

} // namespace

DWORD TlsAlloc()
{
    for (DWORD slot = 0; slot < kSlots; ++slot) {
        std::uint32_t generation = generations[slot];
        if (generation % 2 == 0 && generations[slot].compare_exchange_strong(generation, generation + 1))
            return slot;
    }
    SetLastError(ERROR_NO_MORE_ITEMS);
    return TLS_OUT_OF_INDEXES;
}

LPVOID TlsGetValue(DWORD dwTlsIndex)
{
    if (dwTlsIndex >= kSlots) {
        Fail<BOOL>(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    SetLastError(ERROR_SUCCESS);
    const Value &held = values[dwTlsIndex];
    return held.generation == generations[dwTlsIndex] ? held.value : nullptr;
}

BOOL TlsSetValue(DWORD dwTlsIndex, LPVOID lpTlsValue)
{
    if (dwTlsIndex >= kSlots)
        return Fail<BOOL>(ERROR_INVALID_PARAMETER);
    values[dwTlsIndex] = {generations[dwTlsIndex], lpTlsValue};
    return TRUE;
}

BOOL TlsFree(DWORD dwTlsIndex)
{
    if (dwTlsIndex >= kSlots)
        return Fail<BOOL>(ERROR_INVALID_PARAMETER);
    std::uint32_t generation = generations[dwTlsIndex];
    while (generation % 2 == 1)
        if (generations[dwTlsIndex].compare_exchange_weak(generation, generation + 1))
            return TRUE;
    return Fail<BOOL>(ERROR_INVALID_PARAMETER);
}
