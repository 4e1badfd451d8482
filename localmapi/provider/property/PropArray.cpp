#include "localmapi/provider/property/PropArray.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/property/PropertyConvert.h"

#include <utility>

namespace localmapi
{

PropArray::PropArray(std::size_t capacity) : m_values(NewRoot<SPropValue>(capacity).release()), m_capacity(capacity)
{
}

PropArray::PropArray(PropArray &&other) noexcept
    : m_values(std::exchange(other.m_values, nullptr)), m_count(std::exchange(other.m_count, 0)),
      m_capacity(std::exchange(other.m_capacity, 0))
{
}

PropArray &PropArray::operator=(PropArray &&other) noexcept
{
    std::swap(m_values, other.m_values);
    std::swap(m_count, other.m_count);
    std::swap(m_capacity, other.m_capacity);
    return *this;
}

PropArray::~PropArray()
{
    FreeBuffer(m_values);
}

SPropValue &PropArray::Next(ULONG tag)
{
    if (m_count >= m_capacity)
        throw std::bad_alloc();
    SPropValue &value = m_values[m_count++];
    value.ulPropTag = tag;
    return value;
}

PropArray &PropArray::Long(ULONG tag, LONG value)
{
    Next(tag).Value.l = value;
    return *this;
}

PropArray &PropArray::Boolean(ULONG tag, bool value)
{
    Next(tag).Value.b = value ? TRUE : FALSE;
    return *this;
}

PropArray &PropArray::Binary(ULONG tag, const std::vector<BYTE> &bytes)
{
    return Binary(tag, bytes.data(), bytes.size());
}

PropArray &PropArray::Binary(ULONG tag, const void *bytes, std::size_t size)
{
    return Value(tag, storage::Bytes(static_cast<const BYTE *>(bytes), static_cast<const BYTE *>(bytes) + size));
}

PropArray &PropArray::Text(ULONG tag, std::string_view text)
{
    return Value(tag, std::string(text));
}

PropArray &PropArray::Value(ULONG tag, const storage::Value &value)
{
    FillProp(Next(tag), tag, value, m_values);
    return *this;
}

SPropValue *PropArray::Release()
{
    m_count = 0;
    m_capacity = 0;
    return std::exchange(m_values, nullptr);
}

} // namespace localmapi
