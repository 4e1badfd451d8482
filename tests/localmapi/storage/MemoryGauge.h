// What the process holds in memory, as SQLite and the C++ allocator know it.
#pragma once
#include <cstdint>

namespace localmapi::storage
{

std::uint64_t MemoryInUse();
// The most there was at once since ForgetPeak().
std::uint64_t MemoryPeak();
void ForgetPeak();

} // namespace localmapi::storage
