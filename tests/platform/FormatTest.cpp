// Proves that the formatting functions read a format as the 32-bit Windows runtime does, on every target: the
// expected texts are those of msvcrt. On Windows the runtime itself is tested, so that they stay true.
#include "Text.h"
#include <cerrno>
#include <gtest/gtest.h>
#include <limits>

namespace
{
const double kInfinite = std::numeric_limits<double>::infinity();

TEST(Format, WritesIntegersWithFlagsWidthAndPrecision)
{
    EXPECT_EQ("1|    2|3    |00004|+5| 6|+7", Formats("%d|%5d|%-5d|%05d|%+d|% d|%+ d", 1, 2, 3, 4, 5, 6, 7));
    EXPECT_EQ("001|     002|003     ||", Formats("%.3d|%8.3d|%-8.3d|%.0d|%.d", 1, 2, 3, 0, 0));
    EXPECT_EQ("1|10|ff|FF|010|0xff|0XFF", Formats("%u|%o|%x|%X|%#o|%#x|%#X", 1u, 8u, 255u, 255u, 8u, 255u, 255u));
    EXPECT_EQ("0|0|", Formats("%#x|%#o|%.0x", 0, 0, 0));
    EXPECT_EQ("     |     |+| ", Formats("%5.d|%5.0d|%+.0d|% .0d", 0, 0, 0, 0));
    EXPECT_EQ("1    |2    |+3   | 0004", Formats("%-05d|%0-5d|%+-5d|% 05d", 1, 2, 3, 4));
    EXPECT_EQ("  0xa|0x00a|0xa  ", Formats("%#5x|%#05x|%#-5x", 10, 10, 10));
    EXPECT_EQ("1|2|3", Formats("%+u|% u|%+x", 1, 2, 3));
    EXPECT_EQ("-2147483648|4294967295", Formats("%d|%u", INT32_MIN, UINT32_MAX));
}

TEST(Format, WritesAnHRESULTAsTheErrorLinesDo)
{
    const auto hr = static_cast<HRESULT>(0x8004010F);
    EXPECT_EQ("0x8004010f|0x000001|0x8004010f|0x00000001", Formats("%#08x|%#08x|%#010x|%#010x", hr, 1, hr, 1));
}

TEST(Format, TakesWidthAndPrecisionFromArguments)
{
    EXPECT_EQ("    1|2    |3    |004|5", Formats("%*d|%-*d|%*d|%.*d|%.*d", 5, 1, 5, 2, -5, 3, 3, 4, -1, 5));
    EXPECT_EQ("   ab|c|ef", Formats("%*s|%.*s|%.*s", 5, "ab", 1, "cd", -1, "ef"));
    EXPECT_EQ("ab   |", Formats("%-*.*s|", 5, 2, "abc"));
}

TEST(Format, ReadsLAs32Bits)
{
    const LONG minusOne = -1;
    const ULONG large = 4000000000u;
    EXPECT_EQ("-1|4000000000|ffffffff|FF|5",
              Formats("%ld|%lu|%lx|%lX|%li", minusOne, large, minusOne, ULONG{255}, LONG{5}));
    // What follows is not shifted.
    EXPECT_EQ("-1 text -1", Formats("%ld %s %ld", minusOne, "text", minusOne));
}

TEST(Format, ReadsHAs16Bits)
{
    EXPECT_EQ("4464|4464|2345", Formats("%hd|%hu|%hx", 70000, 70000, 0x12345));
    EXPECT_EQ("-1|-1|65535|177777", Formats("%hd|%hi|%hu|%ho", -1, -1, -1, -1));
    EXPECT_EQ("01/02 03:04:05.006", Formats("%02hu/%02hu %02hu:%02hu:%02hu.%03hu", 1, 2, 3, 4, 5, 6));
}

TEST(Format, ReadsLlAndI64As64BitsAndI32As32)
{
    EXPECT_EQ("-1|ff|-2|18446744073709551615|10000000000|-3|ff",
              Formats("%lld|%llx|%I64d|%I64u|%I64x|%I32d|%I32x", -1LL, 255LL, -2LL, ~0ULL, 1LL << 40, -3, 255));
    EXPECT_EQ("18446744073709551615|-5|10", Formats("%llu|%lli|%llo", ~0ULL, -5LL, 8ULL));
    EXPECT_EQ("FF|0xff|0x10000000000", Formats("%I64X|%#I64x|%#llx", 255ULL, 255ULL, 1ULL << 40));
}

TEST(Format, ReadsIAsWideAsAPointer)
{
    EXPECT_EQ("5|ff|-1", Formats("%Iu|%Ix|%Id", std::size_t{5}, std::size_t{255}, static_cast<std::ptrdiff_t>(-1)));
}

TEST(Format, ReadsTheSizesOfC99)
{
    EXPECT_EQ("5|ff|-1|-2",
              Formats("%zu|%zx|%td|%jd", std::size_t{5}, std::size_t{255}, static_cast<std::ptrdiff_t>(-1), -2LL));
    EXPECT_EQ("4464", Formats("%hhd", 70000));
}

TEST(Format, WritesPointersInUpperCaseAsWideAsTheyAre)
{
    void *pointer = reinterpret_cast<void *>(0x12AB);
    const std::string text = PointerText("12AB");
    EXPECT_EQ(text, Formats("%p", pointer));
    EXPECT_EQ("    " + text + "|" + text + "    |", Formats("%*p|%-*p|", static_cast<int>(text.size()) + 4, pointer,
                                                            static_cast<int>(text.size()) + 4, pointer));
    EXPECT_EQ(PointerText(""), Formats("%p", nullptr));
    EXPECT_EQ("0X" + text, Formats("%#p", pointer));
}

TEST(Format, WritesTextPaddedAndCut)
{
    EXPECT_EQ("abc|       abc|abc       |ab|    a",
              Formats("%s|%10s|%-10s|%.2s|%5.1s", "abc", "abc", "abc", "abc", "abc"));
    EXPECT_EQ("0000000abc|000000ab", Formats("%010s|%08hs", "abc", "ab"));
    EXPECT_EQ("a|b|c", Formats("% s|%+s|%#s", "a", "b", "c"));
}

TEST(Format, ReadsNoMoreOfATextThanThePrecision)
{
    const char unterminated[] = {'a', 'b', 'c'};
    EXPECT_EQ("abc", Formats("%.3s", unterminated));
}

TEST(Format, TakesWideAndNarrowTextWhicheverTheFunction)
{
    EXPECT_EQ("ab|cd|ef|gh|ij|kl|mn", Formats("%S|%ls|%ws|%hs|%hS|%lS|%wS", OLESTR("ab"), OLESTR("cd"), OLESTR("ef"),
                                              "gh", "ij", OLESTR("kl"), OLESTR("mn")));
    EXPECT_EQ("   ab|cd   |e|000gh",
              Formats("%5S|%-5S|%.1S|%05S", OLESTR("ab"), OLESTR("cd"), OLESTR("ef"), OLESTR("gh")));
    EXPECT_EQ(OLESTR("1|wide|narrow|n2|w2|w3|n3"), FormatsWide(OLESTR("%d|%s|%S|%hs|%ls|%ws|%hS"), 1, OLESTR("wide"),
                                                               "narrow", "n2", OLESTR("w2"), OLESTR("w3"), "n3"));
    EXPECT_EQ(OLESTR("ab|   ab|cd   |xy"),
              FormatsWide(OLESTR("%.2s|%5s|%-5s|%.2hs"), OLESTR("abc"), OLESTR("ab"), OLESTR("cd"), "xyz"));
}

TEST(Format, WritesNullForANullText)
{
    const char *narrow = nullptr;
    const WCHAR *wide = nullptr;
    EXPECT_EQ("(null)|    (null)|(n|(null)|(null)|(null)|(null)",
              Formats("%s|%10s|%.2s|%hs|%S|%ls|%ws", narrow, narrow, narrow, narrow, wide, wide, wide));
    EXPECT_EQ(OLESTR("(null)|(null)|(null)"), FormatsWide(OLESTR("%s|%S|%hs"), wide, narrow, narrow));
}

TEST(Format, WritesCharactersOfBothWidths)
{
    EXPECT_EQ("a|    b|c    |0000d|e|f|g|h|i|", Formats("%c|%5c|%-5c|%05c|%hc|%lc|%C|%wc|%hC|%.0c", 'a', 'b', 'c', 'd',
                                                        'e', OLESTR('f'), OLESTR('g'), OLESTR('h'), 'i', 'j'));
    EXPECT_EQ(OLESTR("a|b|c|d|    e"),
              FormatsWide(OLESTR("%c|%C|%hc|%lc|%5c"), OLESTR('a'), 'b', 'c', OLESTR('d'), OLESTR('e')));
}

TEST(Format, WritesAZeroCharacterAndGoesOn)
{
    char buffer[8];
    EXPECT_EQ(3, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "%c|x", 0));
    EXPECT_EQ(std::string("\0|x", 3), std::string(buffer, 3));
}

TEST(Format, WritesFixedPointWithTiesAwayFromZero)
{
    EXPECT_EQ(
        "1.500000|3|0.3|      3.14|3.14      |+1.000000|-000003.14|3.",
        Formats("%f|%.0f|%.1f|%10.2f|%-10.2f|%+f|%010.2f|%#.0f", 1.5, 2.5, 0.25, 3.14159, 3.14159, 1.0, -3.14159, 3.0));
    EXPECT_EQ("0.100000000000000|0.00001|2.67|0.1|1|2|1000000000000000",
              Formats("%.15f|%.5f|%.2f|%.1f|%.0f|%.0f|%.0f", 0.1, 0.000005, 2.675, 0.05, 0.5, 1.5, 1e15));
    EXPECT_EQ("0.10000000000000000555|10000000000000000000000.000", Formats("%.20f|%.3f", 0.1, 1e22));
    EXPECT_EQ("0.150|0.099", Formats("%.3f|%.3f", 150 / 1000.0, 99 / 1000.0));
    EXPECT_EQ("10|100.0|0.00", Formats("%.0f|%.1f|%.2f", 9.5, 99.96, 0.001));
    EXPECT_EQ("1.500000|2.500000", Formats("%lf|%Lf", 1.5, 2.5));
}

TEST(Format, WritesExponentsWithThreeDigits)
{
    EXPECT_EQ("1.500000e+000|1.500000E+000|2e+000|2.e+000|1.235e+005|     1.235e+005|0.000000e+000",
              Formats("%e|%E|%.0e|%#.0e|%.3e|%15.3e|%e", 1.5, 1.5, 1.5, 1.5, 123456.0, 123456.0, 0.0));
    EXPECT_EQ("1.000000e+100|1.000000e-300|1.0000000000000000555111512e-001",
              Formats("%e|%e|%.25e", 1e100, 1e-300, 0.1));
    EXPECT_EQ("+1.000e+000| 1.000e+000", Formats("%+.3e|% .3e", 1.0, 1.0));
}

TEST(Format, WritesTheShorterFormForG)
{
    EXPECT_EQ("1.5|1E-010|100000|1e+006|0.0001|1.00000|1.23e+003|1e+300",
              Formats("%g|%G|%g|%g|%g|%#g|%.3g|%g", 1.5, 1e-10, 100000.0, 1000000.0, 0.0001, 1.0, 1234.5, 1e300));
    EXPECT_EQ("0.10000000000000001", Formats("%.17g", 0.1));
}

TEST(Format, WritesHexadecimalFloatingPoint)
{
    EXPECT_EQ("0x1.8000000000000p+0|0X1.8000000000000P+0|0x1.80p+0|0x1p+0|0x0.0000000000000p+0|+0x1.0000000000000p+0",
              Formats("%a|%A|%.2a|%.0a|%a|%+a", 1.5, 1.5, 1.5, 1.0, 0.0, 1.0));
}

TEST(Format, RoundsTheTextOfAnInfiniteValueLikeDigits)
{
    EXPECT_EQ("1.#INF00|1.#INF00e+000|1.#INF|  1.#INF00|001.#INF00|1.#J|+1.#INF00|-1.#INF00",
              Formats("%f|%e|%g|%10f|%010f|%.2f|%+f|%f", kInfinite, kInfinite, kInfinite, kInfinite, kInfinite,
                      kInfinite, kInfinite, -kInfinite));
    EXPECT_EQ("1|1.$|1.#J|1.#IO|1.#INF|1.#INF0", Formats("%.0f|%.1f|%.2f|%.3f|%.4f|%.5f", kInfinite, kInfinite,
                                                         kInfinite, kInfinite, kInfinite, kInfinite));
    volatile double infinite = kInfinite;
    const double undefined = -(infinite - infinite); // the sign differs from one processor's rule to another's
    const std::string text = Formats("%f", undefined);
    EXPECT_TRUE(text == "-1.#IND00" || text == "1.#QNAN0") << text;
}

TEST(Format, WritesAPercentSignForTwo)
{
    EXPECT_EQ("100% of 7%", Formats("100%% of %d%%", 7));
}

TEST(Format, RefusesWhatIsNoConversion)
{
    for (const char *format : {"%y",
                               "%5y",
                               "%q",
                               "%zs",
                               "%!",
                               "%1$d",
                               "%'d",
                               "%m",
                               "%v",
                               "%D",
                               "%w",
                               "%I|",
                               "%I6",
                               "%.-5d",
                               "%F",
                               "%5%",
                               "%99999999999d",
                               "%.99999999999d",
                               "abc %",
                               "%-"})
        EXPECT_EQ("<refused>", Formats(format, 1, 2)) << format;
}

TEST(Format, CutsAtTheEndOfTheBuffer)
{
    char buffer[8];
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "%s", "0123456789"));
    EXPECT_STREQ("0123456", buffer);
    EXPECT_EQ(7, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "%s", "0123456"));
    EXPECT_STREQ("0123456", buffer);
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "%d%s", 123, "45678"));
    EXPECT_STREQ("1234567", buffer);
    WCHAR wide[8];
    EXPECT_EQ(-1, _snwprintf_s(wide, 8, _TRUNCATE, OLESTR("%s"), OLESTR("0123456789")));
    EXPECT_EQ(OLESTR("0123456"), WideText(wide));
}

TEST(Format, CutsAtACountThatIsSmallerThanTheBuffer)
{
    char buffer[8];
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, 5, "%s", "0123456789"));
    EXPECT_STREQ("01234", buffer);
    EXPECT_EQ(7, _snprintf_s(buffer, sizeof buffer, 7, "%s", "0123456"));
    EXPECT_STREQ("0123456", buffer);
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, 0, "%s", "012"));
    EXPECT_STREQ("", buffer);
}

TEST(Format, EmptiesTheBufferWhenALargerCountDoesNotFit)
{
    char buffer[8] = "ZZZZ";
    errno = 0;
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, 20, "%s", "0123456789"));
    EXPECT_EQ(ERANGE, errno);
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(3, _snprintf_s(buffer, sizeof buffer, 20, "%s", "012"));
    EXPECT_STREQ("012", buffer);
    EXPECT_EQ(7, sprintf_s(buffer, sizeof buffer, "%s", "0123456"));
}

TEST(Format, FillsASmallBufferWhateverTheWidthOrPrecision)
{
    char buffer[1024];
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "%.1000000d|", 1));
    EXPECT_EQ(std::string(1023, '0'), buffer);
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "%1000000d|", 1));
    EXPECT_EQ(std::string(1023, ' '), buffer);
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "%-1000000s|", "x"));
    EXPECT_EQ("x" + std::string(1022, ' '), buffer);
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, "%*d", 1000000, 1));
    EXPECT_EQ(std::string(1023, ' '), buffer);
}

TEST(Format, RefusesANullFormat)
{
    char buffer[8] = "ZZZZ";
    const char *none = nullptr;
    errno = 0;
    EXPECT_EQ(-1, _snprintf_s(buffer, sizeof buffer, _TRUNCATE, none));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_STREQ("", buffer);
}
} // namespace
