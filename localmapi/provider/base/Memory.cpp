// The blocks behind MAPIAllocateBuffer: a header before each one links children to their root, and a register of live
// roots tells good pointers from others.
#include "localmapi/provider/base/Memory.h"

#include "platform/lifetime/Lasting.h"
#include "platform/locks/Mutex.h"
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <unordered_set>

namespace localmapi
{

namespace
{

// Precedes every block. A root is the head of the list of its children.
struct alignas(kBlockAlignment) Header {
    Header *next = nullptr;
};

void *BlockOf(Header *header)
{
    return header + 1;
}
Header *HeaderOf(void *block)
{
    return static_cast<Header *>(block) - 1;
}

// The live roots, spread over several locks so that threads seldom meet.
struct Shard {
    locks::Mutex lock;
    std::unordered_set<Header *> roots GUARDED_BY(lock);
};

// A host may free a block while the process ends.
std::array<Shard, 16> &Shards()
{
    return lifetime::Lasting<std::array<Shard, 16>>();
}
Shard &ShardOf(Header *header)
{
    const auto address = reinterpret_cast<std::uintptr_t>(header);
    return Shards()[(address >> 4 ^ address >> 12) % 16];
}

std::atomic<LONG> g_liveBlocks{0};
std::atomic<LONG> g_failAfter{-1};
std::atomic<bool> g_failOn{false};

bool ToFail()
{
    if (g_failAfter.load(std::memory_order_relaxed) < 0)
        return false;
    LONG left = g_failAfter.load();
    while (left >= 0) {
        const LONG next = left > 0 ? left - 1 : (g_failOn ? 0 : -1);
        if (g_failAfter.compare_exchange_weak(left, next))
            return left == 0;
    }
    return false;
}

Header *NewBlock(std::size_t size)
{
    // The upper bound keeps the sum within 32 bits.
    if (ToFail() || size > std::numeric_limits<std::uint32_t>::max() / 2 - sizeof(Header))
        return nullptr;
    void *memory = std::malloc(sizeof(Header) + size);
    if (!memory)
        return nullptr;
    ++g_liveBlocks;
    return new (memory) Header;
}

void DeleteBlock(Header *header)
{
    --g_liveBlocks;
    std::free(header);
}

} // namespace

SCODE AllocateBuffer(ULONG size, void **block) noexcept
{
    if (!block)
        return MAPI_E_INVALID_PARAMETER;
    *block = nullptr;
    Header *header = NewBlock(size);
    if (!header)
        return MAPI_E_NOT_ENOUGH_MEMORY;
    try {
        Shard &shard = ShardOf(header);
        const locks::Hold hold(shard.lock);
        shard.roots.insert(header);
    } catch (const std::bad_alloc &) {
        DeleteBlock(header);
        return MAPI_E_NOT_ENOUGH_MEMORY;
    }
    *block = BlockOf(header);
    return S_OK;
}

SCODE AllocateMore(ULONG size, void *root, void **block) noexcept
{
    if (!block)
        return MAPI_E_INVALID_PARAMETER;
    *block = nullptr;
    if (!root)
        return MAPI_E_INVALID_PARAMETER;
    Header *head = HeaderOf(root);
    Shard &shard = ShardOf(head);
    {
        const locks::Hold hold(shard.lock);
        if (!shard.roots.count(head))
            return MAPI_E_INVALID_PARAMETER;
    }
    Header *header = NewBlock(size);
    if (!header)
        return MAPI_E_NOT_ENOUGH_MEMORY;
    {
        const locks::Hold hold(shard.lock);
        header->next = head->next;
        head->next = header;
    }
    *block = BlockOf(header);
    return S_OK;
}

ULONG FreeBuffer(void *block) noexcept
{
    if (!block)
        return S_OK;
    Header *header = HeaderOf(block);
    {
        Shard &shard = ShardOf(header);
        const locks::Hold hold(shard.lock);
        if (!shard.roots.erase(header))
            return static_cast<ULONG>(MAPI_E_INVALID_PARAMETER);
    }
    while (header) {
        Header *next = header->next;
        DeleteBlock(header);
        header = next;
    }
    return S_OK;
}

LONG LiveBlocks() noexcept
{
    return g_liveBlocks;
}

void FailAllocation(LONG after, bool fromThereOn) noexcept
{
    g_failOn = fromThereOn;
    g_failAfter = after;
}

void *AllocateRootBytes(std::size_t size)
{
    void *block = nullptr;
    if (size > std::numeric_limits<ULONG>::max() || AllocateBuffer(static_cast<ULONG>(size), &block) != S_OK)
        throw std::bad_alloc();
    std::memset(block, 0, size);
    return block;
}

void *AllocateChildBytes(void *root, std::size_t size)
{
    void *block = nullptr;
    if (size > std::numeric_limits<ULONG>::max() || AllocateMore(static_cast<ULONG>(size), root, &block) != S_OK)
        throw std::bad_alloc();
    std::memset(block, 0, size);
    return block;
}

char *CopyText(void *root, std::string_view text)
{
    char *copy = NewChild<char>(root, text.size() + 1);
    std::memcpy(copy, text.data(), text.size());
    return copy;
}

WCHAR *CopyText(void *root, std::basic_string_view<WCHAR> text)
{
    WCHAR *copy = NewChild<WCHAR>(root, text.size() + 1);
    std::memcpy(copy, text.data(), text.size() * sizeof(WCHAR));
    return copy;
}

BYTE *CopyBytes(void *root, const void *bytes, std::size_t size)
{
    BYTE *copy = NewChild<BYTE>(root, size);
    if (size)
        std::memcpy(copy, bytes, size);
    return copy;
}

RowSetBuilder::RowSetBuilder(std::size_t capacity)
    : m_rows(static_cast<SRowSet *>(AllocateRootBytes(CbNewSRowSet(capacity)))), m_capacity(capacity)
{
}

RowSetBuilder::~RowSetBuilder()
{
    FreeRows(m_rows.release());
}

void RowSetBuilder::Add(Block<SPropValue> values, ULONG count)
{
    if (m_rows->cRows >= m_capacity)
        throw std::bad_alloc();
    SRow &row = m_rows->aRow[m_rows->cRows++];
    row.cValues = count;
    row.lpProps = values.release();
}

void FreeRows(SRowSet *rows) noexcept
{
    if (!rows)
        return;
    for (ULONG i = 0; i < rows->cRows; ++i)
        FreeBuffer(rows->aRow[i].lpProps);
    FreeBuffer(rows);
}

void FreeAddresses(ADRLIST *list) noexcept
{
    if (!list)
        return;
    for (ULONG i = 0; i < list->cEntries; ++i)
        FreeBuffer(list->aEntries[i].rgPropVals);
    FreeBuffer(list);
}

} // namespace localmapi
