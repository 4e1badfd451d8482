// Proves what the formatting functions do on Linux beyond what Wine's runtime shows: conversions that write are
// refused, an unreadable text is an exception that a handler may leave by longjmp, UTF-8 comes in and goes out.
#include "Text.h"
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <gtest/gtest.h>

namespace
{
TEST(FormatOnLinux, RefusesAConversionThatWritesAndEmptiesTheBuffer)
{
    int target = 77;
    for (const char *format : {"abc%n", "%hn", "%5n", "%lln"}) {
        char buffer[16] = "ZZZ";
        errno = 0;
        EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, format, &target)) << format;
        EXPECT_STREQ("", buffer);
        EXPECT_EQ(EINVAL, errno);
    }
    EXPECT_EQ(77, target);
}

TEST(FormatOnLinux, EmptiesTheBufferWhenTheFormatIsWrong)
{
    char buffer[16] = "ZZZ";
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "abc%y"));
    EXPECT_STREQ("", buffer);
}

TEST(FormatOnLinux, SaysEINVALForABufferThatIsNone)
{
    char buffer[4] = "ZZZ";
    errno = 0;
    EXPECT_EQ(-1, _snprintf_s(nullptr, 8, _TRUNCATE, "x"));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, _snprintf_s(buffer, 0, _TRUNCATE, "x"));
    EXPECT_STREQ("ZZZ", buffer);
    EXPECT_EQ(0, _snprintf_s(nullptr, 0, 0, "x"));
}

TEST(FormatOnLinux, EmptiesTheBufferOfSprintfSWhenTheTextDoesNotFit)
{
    char buffer[4] = "ZZZ";
    EXPECT_EQ(-1, sprintf_s(buffer, sizeof buffer, "%s", "0123"));
    EXPECT_STREQ("", buffer);
}

TEST(FormatOnLinux, FillsWithBlanksNotZerosWhenAPrecisionSaysHowManyDigits)
{
    EXPECT_EQ("     004", Formats("%08.3d", 4));
}

TEST(FormatOnLinux, ConvertsWideTextToTheANSICodePage)
{
    EXPECT_EQ("\xE3\x81\x82x|\xF0\x9F\x98\x80", Formats("%S|%ls", u"\u3042x", u"\U0001F600"));
    EXPECT_EQ("\xEF\xBF\xBD", Formats("%S", u"\xD800"));
    EXPECT_EQ(u"\u3042|\uFFFD", FormatsWide(u"%hs|%hs", "\xE3\x81\x82", "\xFF"));
}

TEST(FormatOnLinux, CutsWideTextAtAWholeCharacter)
{
    EXPECT_EQ("a|a\xE3\x81\x82|", Formats("%.3S|%.4S|%.2S", u"a\u3042", u"a\u3042", u"\U0001F600"));
}

// A guard as a caller writes one: it leaves the formatting function in the middle.
jmp_buf g_leave;
DWORD g_code;
ULONG_PTR g_address;
LONG Leave(EXCEPTION_POINTERS *exception)
{
    g_code = exception->ExceptionRecord->ExceptionCode;
    g_address = exception->ExceptionRecord->ExceptionInformation[1];
    longjmp(g_leave, 1);
}

char *const kUnreadable = reinterpret_cast<char *>(0x10);

TEST(FormatOnLinux, RaisesAnAccessViolationForAnUnreadableText)
{
    const PVOID handler = AddVectoredExceptionHandler(1, Leave);
    char buffer[16] = "ZZZ";
    volatile bool left = false;
    if (setjmp(g_leave) == 0)
        _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "a%s", kUnreadable);
    else
        left = true;
    EXPECT_EQ(1u, RemoveVectoredExceptionHandler(handler));
    EXPECT_TRUE(left);
    EXPECT_EQ(EXCEPTION_ACCESS_VIOLATION, g_code);
    EXPECT_EQ(reinterpret_cast<ULONG_PTR>(kUnreadable), g_address);
    EXPECT_STREQ("a", buffer);
    EXPECT_EQ("after", Formats("%s", "after"));
}

TEST(FormatOnLinux, RefusesAnUnreadableTextWhenNoHandlerTakesIt)
{
    char buffer[16] = "ZZZ";
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "a%s", kUnreadable));
    EXPECT_STREQ("", buffer);
    WCHAR wide[16] = u"ZZZ";
    EXPECT_EQ(-1, _snwprintf_s(wide, 16, _TRUNCATE, u"%s%hs", u"a", kUnreadable));
    EXPECT_EQ(u"", WideText(wide));
    EXPECT_EQ("<refused>", Formats("%S", kUnreadable));
}

TEST(FormatOnLinux, DoesNotReadATextOfWhichNothingIsWanted)
{
    EXPECT_EQ("|", Formats("%.0s|", kUnreadable));
}

int g_order = 0;
int g_firstSeen, g_secondSeen;
LONG First(EXCEPTION_POINTERS *)
{
    g_firstSeen = ++g_order;
    return EXCEPTION_CONTINUE_SEARCH;
}
LONG Second(EXCEPTION_POINTERS *exception)
{
    g_secondSeen = ++g_order;
    return exception->ExceptionRecord->ExceptionCode == 0xE0000001 ? EXCEPTION_CONTINUE_EXECUTION
                                                                   : EXCEPTION_CONTINUE_SEARCH;
}

TEST(Exceptions, ReachTheHandlersInOrderUntilOneTakesThem)
{
    const PVOID last = AddVectoredExceptionHandler(0, Second);
    const PVOID first = AddVectoredExceptionHandler(1, First);
    const ULONG_PTR parameter = 5;
    RaiseException(0xE0000001, 0, 1, &parameter);
    EXPECT_EQ(1, g_firstSeen);
    EXPECT_EQ(2, g_secondSeen);
    EXPECT_EQ(1u, RemoveVectoredExceptionHandler(first));
    EXPECT_EQ(0u, RemoveVectoredExceptionHandler(first));
    RaiseException(0xE0000001, 0, 0, nullptr);
    EXPECT_EQ(1, g_firstSeen);
    EXPECT_EQ(3, g_secondSeen);
    EXPECT_EQ(1u, RemoveVectoredExceptionHandler(last));
}

TEST(ExceptionsDeathTest, EndTheProcessWhenNoHandlerTakesThem)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(RaiseException(0xE0000002, 0, 0, nullptr), testing::KilledBySignal(SIGABRT), "");
}
} // namespace
