// An array of values for a client, made one by one.
#pragma once
#include "localmapi/storage/Value.h"
#include <mapix.h>
#include <string_view>
#include <vector>

namespace localmapi
{

// Values as a table's rows take them: an array whose memory is one block.
class PropArray
{
  public:
    explicit PropArray(std::size_t capacity);
    PropArray(PropArray &&) noexcept;
    PropArray &operator=(PropArray &&) noexcept;
    ~PropArray();

    PropArray &Long(ULONG tag, LONG value);
    PropArray &Boolean(ULONG tag, bool value);
    PropArray &Binary(ULONG tag, const std::vector<BYTE> &bytes);
    PropArray &Binary(ULONG tag, const void *bytes, std::size_t size);
    // UTF-8, in the width of the tag.
    PropArray &Text(ULONG tag, std::string_view text);
    PropArray &Value(ULONG tag, const storage::Value &value);

    ULONG Count() const { return m_count; }
    SPropValue *Values() const { return m_values; }
    // Hands over the block.
    SPropValue *Release();

  private:
    SPropValue &Next(ULONG tag);

    SPropValue *m_values = nullptr;
    ULONG m_count = 0;
    std::size_t m_capacity = 0;
};

} // namespace localmapi
