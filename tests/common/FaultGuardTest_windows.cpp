// Faults of the machine itself, which Windows alone hands to handlers.
#include "BadMemory.h"
#include "common/base/FaultGuard.h"
#include <cstring>
#include <gtest/gtest.h>

namespace
{

// Where the stack is not aligned as a function that calls has it.
TEST(FaultGuard, AFaultInAFunctionThatCallsNothingEndsTheCall)
{
    std::size_t (*const volatile length)(const char *) = std::strlen;
    EXPECT_FALSE(RunGuarded([&] { length(Unreadable<char>()); }));
}

TEST(FaultGuard, ACallOfAFunctionThatIsNotThereEndsTheCall)
{
    void (*const volatile function)() = reinterpret_cast<void (*)()>(Unreadable<char>());
    EXPECT_FALSE(RunGuarded([&] { function(); }));
}

} // namespace
