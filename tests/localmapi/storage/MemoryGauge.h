// What the process holds in memory, as SQLite and the C++ allocator know it.
#pragma once
#include <cstdint>

namespace localmapi::storage
{

std::uint64_t memoryInUse();
// The most there was at once since forgetPeak().
std::uint64_t memoryPeak();
void forgetPeak();

} // namespace localmapi::storage
