// Counts what the program allocates with operator new, which CountedNew.cpp replaces.
#pragma once
#include <cstddef>

namespace messages_test
{

// Bytes since the program's start; what is freed again is not taken off.
std::size_t AllocatedByNew();

} // namespace messages_test
