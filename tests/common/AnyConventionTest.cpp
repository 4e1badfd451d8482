// Calls of modules whose convention is unknown: either convention of x86 works, with one to four arguments of each
// kind, any number of times, and the result comes back.
#include "common/base/AnyConvention.h"
#include <gtest/gtest.h>
#include <string>

namespace
{

std::string g_seen;

LONG __cdecl TakeOne(const char *a)
{
    g_seen = a;
    return 1;
}
LONG __stdcall TakeOneAndClean(const char *a)
{
    g_seen = a;
    return -1;
}
LONG __cdecl TakeTwo(const char *a, int b)
{
    g_seen = a + std::to_string(b);
    return 2;
}
LONG __stdcall TakeTwoAndClean(const char *a, int b)
{
    g_seen = a + std::to_string(b);
    return -2;
}
LONG __cdecl TakeThree(const char *a, int b, const void *c)
{
    g_seen = a + std::to_string(b) + (c ? "set" : "null");
    return 3;
}
LONG __stdcall TakeThreeAndClean(const char *a, int b, const void *c)
{
    g_seen = a + std::to_string(b) + (c ? "set" : "null");
    return static_cast<LONG>(0x80004005);
}
LONG __cdecl TakeFour(const char *a, int b, const void *c, const char *d)
{
    g_seen = a + std::to_string(b) + (c ? "set" : "null") + d;
    return 4;
}
LONG __stdcall TakeFourAndClean(const char *a, int b, const void *c, const char *d)
{
    g_seen = a + std::to_string(b) + (c ? "set" : "null") + d;
    return -4;
}

int __stdcall AddAndClean(int a, int b)
{
    return a + b;
}
int __cdecl Add(int a, int b)
{
    return a + b;
}

TEST(AnyConvention, OneArgumentReachesBothConventions)
{
    EXPECT_EQ(CallEitherConvention(TakeOne, "one"), 1u);
    EXPECT_EQ(g_seen, "one");
    EXPECT_EQ(static_cast<LONG>(CallEitherConvention(TakeOneAndClean, "uno")), -1);
    EXPECT_EQ(g_seen, "uno");
}

TEST(AnyConvention, TwoArgumentsReachBothConventions)
{
    EXPECT_EQ(CallEitherConvention(TakeTwo, "two", 7), 2u);
    EXPECT_EQ(g_seen, "two7");
    EXPECT_EQ(static_cast<LONG>(CallEitherConvention(TakeTwoAndClean, "due", 8)), -2);
    EXPECT_EQ(g_seen, "due8");
}

TEST(AnyConvention, ThreeArgumentsReachBothConventions)
{
    EXPECT_EQ(CallEitherConvention(TakeThree, "three", 1, &g_seen), 3u);
    EXPECT_EQ(g_seen, "three1set");
    EXPECT_EQ(static_cast<HRESULT>(CallEitherConvention(TakeThreeAndClean, "tre", 2, nullptr)), E_FAIL);
    EXPECT_EQ(g_seen, "tre2null");
}

TEST(AnyConvention, FourArgumentsReachBothConventions)
{
    EXPECT_EQ(CallEitherConvention(TakeFour, "four", 1, &g_seen, "end"), 4u);
    EXPECT_EQ(g_seen, "four1setend");
    EXPECT_EQ(static_cast<LONG>(CallEitherConvention(TakeFourAndClean, "quattro", 2, nullptr, "fine")), -4);
    EXPECT_EQ(g_seen, "quattro2nullfine");
}

TEST(AnyConvention, ManyCallsLeaveTheStackAndTheRegistersAlone)
{
    int sum = 0;
    int expected = 0;
    for (int i = 0; i < 300000; ++i) {
        sum += static_cast<int>(CallEitherConvention(AddAndClean, i, 1));
        sum -= static_cast<int>(CallEitherConvention(Add, i, -1));
        expected += 2;
    }
    EXPECT_EQ(sum, expected);
}

} // namespace
