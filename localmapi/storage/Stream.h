// Long values, read and written in pieces: neither side ever holds one whole.
#pragma once
#include <cstddef>
#include <cstdint>

namespace localmapi::storage
{

// Bytes at offsets. Any thread may call.
class Stream
{
  public:
    virtual ~Stream() = default;
    virtual std::uint64_t size() const = 0;
    // Reads up to `length` bytes; returns how many there were (0 at the end and beyond).
    virtual std::size_t Read(std::uint64_t offset, void *into, std::size_t length) const = 0;
};

} // namespace localmapi::storage
