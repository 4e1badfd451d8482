// What the process holds in memory, as SQLite and the C++ allocator know it.
#pragma once
#include <cstdint>

namespace localmapi::storage
{

std::uint64_t memoryInUse();

} // namespace localmapi::storage
