#include "localmapi/storage/Guid.h"
#include <random>

namespace localmapi::storage
{

Guid NewGuid()
{
    std::random_device source;
    Guid guid;
    for (std::uint8_t &byte : guid)
        byte = static_cast<std::uint8_t>(source());
    guid[7] = static_cast<std::uint8_t>((guid[7] & 0x0F) | 0x40);
    guid[8] = static_cast<std::uint8_t>((guid[8] & 0x3F) | 0x80);
    return guid;
}

} // namespace localmapi::storage
