// Text of unknown origin as a format: only conversions that read survive, no more than the arguments suffice for, and
// what comes out is the same on every target.
#include "common/trace/ZeroArguments.h"
#include "common/text/tstring.h"
#include "support/TraceCapture.h"
#include <gtest/gtest.h>

namespace
{

struct Case {
    const char *line;
    const char *format;
};

TEST(ZeroArguments, KeepsConversionsThatReadAndTurnsTheRestIntoText)
{
    static constexpr Case kCases[] = {
        {"", ""},
        {"plain", "plain"},
        {"%", "%%"},
        {"%%", "%%"},
        {"%%%", "%%%%"},
        {"100%", "100%%"},
        {"%d", "%d"},
        {"%-+ #08.3d", "%-+ #08.3d"},
        {"%*.*f", "%*.*f"},
        {"%s%S%hs%ls%ws", "%s%S%hs%ls%ws"},
        {"%I64d %I32u %Iu %lld %hd %hhd %Lg", "%I64d %I32u %Iu %lld %hd %hhd %Lg"},
        {"%n", "%%n"},
        {"%hn%ln%I64n%5n%-*.3n%hhn%lln", "%%hn%%ln%%I64n%%5n%%-*.3n%%hhn%%lln"},
        {"%1$n", "%%1$n"},
        {"%1$s", "%%1$s"},
        {"%y", "%%y"},
        {"%Z", "%%Z"},
        {"%5%d", "%%5%d"},
        {"%l", "%%l"},
        {"%.", "%%."},
        {"%*", "%%*"},
        {"%I64", "%%I64"},
        {"%1000000d", "%1024d"},
        {"%1023d", "%1023d"},
        {"%.99999999999999999999f", "%.1024f"},
        {"%\xc3\xa4", "%%\xc3\xa4"},
    };
    for (const Case &c : kCases)
        EXPECT_EQ(FormatForZeroArguments(c.line), c.format) << c.line;
}

TEST(ZeroArguments, ConversionsBeyondTheArgumentsAreText)
{
    std::string line;
    std::string format;
    for (int i = 0; i < 500; ++i) {
        line += "%d";
        format += i < kMostZeroConversions ? "%d" : "%%d";
    }
    EXPECT_EQ(FormatForZeroArguments(line.c_str()), format);
}

std::string Traced(const std::string &line)
{
    TraceCapture trace;
    DebugOutputLine(kTraceError, line.c_str());
    const auto texts = trace.Texts();
    EXPECT_EQ(texts.size(), 1u);
    return texts.empty() ? "no line" : texts.front();
}

TEST(ZeroArguments, EveryConversionFindsZero)
{
    EXPECT_EQ(Traced("a %s %d %u %x %o %i b"), "a (null) 0 0 0 0 0 b");
    EXPECT_EQ(Traced("a %I64d %I64x %lld %ld %hd b"), "a 0 0 0 0 0 b");
    EXPECT_EQ(Traced("a %S %hs %ls b"), "a (null) (null) (null) b");
    EXPECT_EQ(Traced("a %f %.2f %g %*.*f %Lf b"), "a 0.000000 0.00 0 0 0.000000 b");
    EXPECT_EQ(Traced("a %#010x b"), "a 0000000000 b");
    EXPECT_EQ(Traced("a %p b"), sizeof(void *) == 4 ? "a 00000000 b" : "a 0000000000000000 b");
}

TEST(ZeroArguments, ACharacterOfZeroEndsTheLine)
{
    EXPECT_EQ(Traced("before %c after"), "before ");
}

TEST(ZeroArguments, NothingIsWrittenAndNothingIsReadOutOfTurn)
{
    const std::string hostile = "%s%s%s%s%n%1000000d%*.*f%S%Z%hs%I64n";
    const std::string text = Traced(hostile);
    EXPECT_EQ(text.substr(0, 27), "(null)(null)(null)(null)%n ");
    EXPECT_EQ(text.find_first_not_of(' ', 26), std::string::npos);
}

TEST(ZeroArguments, FullListsOfEachConversionAreHarmless)
{
    for (const char *conversion : {"%s", "%d", "%f", "%Lf", "%*.*f", "%*.*Lf", "%*.*s", "%I64d", "%*.*I64x", "%S", "%a",
                                   "%g", "%p", "%hs", "%e", "%f%d%s", "%*.*f%*.*I64d"}) {
        std::string line;
        for (int i = 0; i < 300; ++i)
            line += conversion;
        EXPECT_NE(Traced("begin " + line), "no line") << conversion;
    }
}

TEST(ZeroArguments, TextWithoutConversionsComesOutAsItIs)
{
    EXPECT_EQ(Traced("50%, or 5%n of it"), "50%, or 5%n of it");
    EXPECT_EQ(Traced("50%% of it"), "50% of it");
}

TEST(ZeroArguments, AFilteredLineIsNotLookedAt)
{
    TraceCapture trace(1);
    DebugOutputLine(kTraceError, "%s");
    EXPECT_TRUE(trace.Texts().empty());
}

} // namespace
