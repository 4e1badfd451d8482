// Values for a client in one block: the array first, what the values point to behind it.
#pragma once
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/property/PropertyConvert.h"

#include <span>
#include <string>
#include <vector>

namespace localmapi
{

// A tag that the client is to see and the value behind it. A value that does not fit the tag, or none, becomes
// PT_ERROR with MAPI_E_NOT_FOUND; one that is only to be had as a stream PT_ERROR with MAPI_E_NOT_ENOUGH_MEMORY.
// PR_NULL stays PR_NULL.
struct Cell {
    ULONG tag = PR_NULL;
    const storage::Value *value = nullptr;
};

// Reused from row to row, so that its working memory is. One thread at a time.
class RowPacker
{
  public:
    // Throws std::bad_alloc.
    Block<SPropValue> Pack(std::span<const Cell> cells);
    // Whether the last array held a PT_ERROR.
    bool AnyError() const { return m_anyError; }

  private:
    class Arena;

    void PackOne(SPropValue &target, const Cell &cell, Arena &arena);

    // Text that is not ASCII, converted while measuring and copied while writing.
    std::vector<std::string> m_converted;
    std::size_t m_next = 0;
    bool m_anyError = false;
};

} // namespace localmapi
