// Owners of what MAPI hands out, so that no operation ends with a list of releases, and the scoped count of the
// session's open-object counter.
#pragma once
#include "platform/com/ComPtr.h"
#include <atomic>
#include <mapiutil.h>
#include <mapix.h>
#include <utility>

// One thing acquired through an out pointer and given back by a function: put() gives back what is held before it
// hands out its address.
template <class T, void (*Close)(T *)> class Owner
{
  public:
    Owner() = default;
    explicit Owner(T *held) noexcept : m_held(held) {}
    Owner(Owner &&other) noexcept : m_held(other.release()) {}
    Owner &operator=(Owner &&other) noexcept
    {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    ~Owner() { reset(); }

    T *get() const noexcept { return m_held; }
    T *operator->() const noexcept { return m_held; }
    explicit operator bool() const noexcept { return m_held != nullptr; }
    T **put() noexcept
    {
        reset();
        return &m_held;
    }
    T *release() noexcept { return std::exchange(m_held, nullptr); }
    void reset(T *held = nullptr) noexcept
    {
        if (T *old = std::exchange(m_held, held))
            Close(old);
    }

  private:
    T *m_held = nullptr;
};

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
