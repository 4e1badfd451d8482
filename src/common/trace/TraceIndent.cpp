#include "common/trace/TraceIndent.h"
#include <cstdint>

namespace
{
constexpr DWORD kStep = 2;
constexpr DWORD kHighest = 0xFFFFFFFF;
} // namespace

DWORD TraceIndent::Get() const
{
    // Reading a slot clears the thread's last error, which the code that is traced may still want.
    const DWORD lastError = GetLastError();
    const auto count = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(TlsGetValue(m_slot)));
    SetLastError(lastError);
    return count;
}

void TraceIndent::Set(DWORD count) const
{
    TlsSetValue(m_slot, reinterpret_cast<LPVOID>(static_cast<std::uintptr_t>(count)));
}

void TraceIndent::Raise()
{
    const locks::Hold lock(m_lock);
    if (m_slot == TLS_OUT_OF_INDEXES) {
        m_slot = TlsAlloc();
        if (m_slot != TLS_OUT_OF_INDEXES)
            Set(kStep);
        return;
    }
    const DWORD count = Get();
    Set(count > kHighest - kStep ? kHighest : count + kStep);
}

void TraceIndent::Lower()
{
    const locks::Hold lock(m_lock);
    if (m_slot == TLS_OUT_OF_INDEXES)
        return;
    const DWORD count = Get();
    // The end of the outermost function frees the slot of all threads, as the contract has it.
    if (count < kStep + 1) {
        TlsFree(m_slot);
        m_slot = TLS_OUT_OF_INDEXES;
    } else
        Set(count - kStep);
}

DWORD TraceIndent::Current()
{
    const locks::Hold lock(m_lock);
    return m_slot == TLS_OUT_OF_INDEXES ? 0 : Get();
}

void TraceIndent::FreeSlot()
{
    const locks::Hold lock(m_lock);
    if (m_slot != TLS_OUT_OF_INDEXES)
        TlsFree(m_slot);
    m_slot = TLS_OUT_OF_INDEXES;
}
