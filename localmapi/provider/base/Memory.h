// MAPI's memory: root blocks from MAPIAllocateBuffer, child blocks linked to a root by MAPIAllocateMore and freed with
// it. Roots are registered, so that a pointer that is no live root (a child, a block already freed, foreign memory) is
// recognised instead of believed. Every function may be called by any thread.
#pragma once
#include "platform/com/Owner.h"

#include <cstddef>
#include <cstring>
#include <mapiutil.h>
#include <mapix.h>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

namespace localmapi
{

// Where a block may begin: malloc's own alignment. std::max_align_t does not say it, since the two <stddef.h> of the
// toolchain for Windows differ (8 and 16) and the first one included decides.
inline constexpr std::size_t kBlockAlignment = 2 * sizeof(void *);
static_assert(alignof(SPropValue) <= kBlockAlignment && alignof(double) <= kBlockAlignment);

// What stands behind the entry points. Sizes of 0 give a block of no bytes.
SCODE AllocateBuffer(ULONG size, void **block) noexcept;
SCODE AllocateMore(ULONG size, void *root, void **block) noexcept;
ULONG FreeBuffer(void *block) noexcept;

// How many blocks, roots and children, exist in this process.
LONG LiveBlocks() noexcept;

// The allocation after `after` more ones fails with MAPI_E_NOT_ENOUGH_MEMORY, and all that follow if `fromThereOn`; a
// negative number ends that. For tests that sweep over failures.
void FailAllocation(LONG after, bool fromThereOn = false) noexcept;

template <class T> void FreeBlock(T *block)
{
    FreeBuffer(block);
}

// One root block, freed at the end of the scope unless handed over.
template <class T> using Block = Owner<T, FreeBlock<T>>;

// Zero-filled memory; std::bad_alloc when there is none.
void *AllocateRootBytes(std::size_t size);
void *AllocateChildBytes(void *root, std::size_t size);

template <class T> Block<T> NewRoot(std::size_t count = 1)
{
    static_assert(std::is_trivially_destructible_v<T>);
    if (count > static_cast<std::size_t>(-1) / sizeof(T))
        throw std::bad_alloc();
    return Block<T>(static_cast<T *>(AllocateRootBytes(count * sizeof(T))));
}
template <class T> T *NewChild(void *root, std::size_t count = 1)
{
    static_assert(std::is_trivially_destructible_v<T>);
    if (count > static_cast<std::size_t>(-1) / sizeof(T))
        throw std::bad_alloc();
    return static_cast<T *>(AllocateChildBytes(root, count * sizeof(T)));
}

// Terminated copies in child blocks of `root`.
char *CopyText(void *root, std::string_view text);
WCHAR *CopyText(void *root, std::basic_string_view<WCHAR> text);
BYTE *CopyBytes(void *root, const void *bytes, std::size_t size);

// A row set with room for `capacity` rows whose rows are taken over one by one: what was added is freed with it until
// it is handed out.
class RowSetBuilder
{
  public:
    explicit RowSetBuilder(std::size_t capacity);
    RowSetBuilder(RowSetBuilder &&) = default;
    RowSetBuilder &operator=(RowSetBuilder &&) = default;
    ~RowSetBuilder();

    void Add(Block<SPropValue> values, ULONG count);
    ULONG size() const noexcept { return m_rows->cRows; }
    SRowSet *Release() noexcept { return m_rows.release(); }

  private:
    Block<SRowSet> m_rows;
    std::size_t m_capacity;
};

// Frees a row set or an address list with what hangs from its rows; null is nothing.
void FreeRows(SRowSet *rows) noexcept;
void FreeAddresses(ADRLIST *list) noexcept;

} // namespace localmapi
