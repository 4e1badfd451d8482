// Owners of what MAPI hands out, so that no operation ends with a list of releases, and the scoped count of the
// session's open-object counter.
#pragma once
#include "platform/com/ComPtr.h"
#include "platform/com/Owner.h"
#include <atomic>
#include <mapiutil.h>
#include <mapix.h>
#include <utility>

template <class T> void FreeMapiBuffer(T *block)
{
    MAPIFreeBuffer(block);
}

inline void FreeRowSet(SRowSet *rows)
{
    FreeProws(rows);
}
inline void FreeAddressList(ADRLIST *list)
{
    FreePadrlist(list);
}

template <class T> using MapiBuffer = Owner<T, FreeMapiBuffer<T>>;

// The result of a call that acquires: one that says it succeeded and gave nothing has failed.
template <class Held> HRESULT Acquired(HRESULT hr, const Held &held)
{
    return SUCCEEDED(hr) && !held ? E_FAIL : hr;
}

using RowSet = Owner<SRowSet, FreeRowSet>;
using AddressList = Owner<ADRLIST, FreeAddressList>;

// An entry ID that MAPI allocated, with its size.
struct OwnedEntryID {
    ULONG cb = 0;
    MapiBuffer<ENTRYID> pEntryID;
};

// Something held by a running operation: counts 1 in the session's open-object counter while it lives. Declared
// after the owner of what it counts, it is uncounted just before that is given back; by then the exit line, whose
// object is declared first, has still to be written.
class ScopedCount
{
  public:
    ScopedCount() = default;
    explicit ScopedCount(std::atomic<LONG> &counter) : m_counter(&counter) { ++counter; }
    ScopedCount(ScopedCount &&other) noexcept : m_counter(std::exchange(other.m_counter, nullptr)) {}
    ScopedCount &operator=(ScopedCount &&other) noexcept
    {
        if (this != &other) {
            Uncount();
            m_counter = std::exchange(other.m_counter, nullptr);
        }
        return *this;
    }
    ~ScopedCount() { Uncount(); }
    void Uncount() noexcept
    {
        if (auto *counter = std::exchange(m_counter, nullptr))
            --*counter;
    }
    // What is counted outlives this scope.
    void Keep() noexcept { m_counter = nullptr; }
    // Takes over what an earlier scope counted and kept.
    static ScopedCount Adopt(std::atomic<LONG> &counter) noexcept
    {
        ScopedCount adopted;
        adopted.m_counter = &counter;
        return adopted;
    }

  private:
    std::atomic<LONG> *m_counter = nullptr;
};
