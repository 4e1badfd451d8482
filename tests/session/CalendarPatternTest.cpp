// Reading the published recurrence structure: what is taken from each form of it, and that bytes of any other kind end
// in a clean refusal.
#include "session/RecurrenceBlob.h"
#include "session/calendar/RecurrencePattern.h"
#include <gtest/gtest.h>
#include <memory>
#include <optional>

namespace
{

// The bytes stand at the end of a block of their own, so that a read beyond them is seen by the sanitizers.
std::optional<RecurrencePattern> Read(const std::string &bytes)
{
    const std::unique_ptr<BYTE[]> block(new BYTE[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), block.get());
    RecurrencePattern pattern;
    pattern.dwStartDate = 0xEEEEEEEE;
    if (ReadRecurrencePattern(block.get(), static_cast<ULONG>(bytes.size()), pattern))
        return pattern;
    EXPECT_EQ(pattern.dwStartDate, 0xEEEEEEEEu) << "a pattern that could not be read was changed";
    return std::nullopt;
}

RecurrenceBlob OfType(std::uint16_t type)
{
    RecurrenceBlob blob;
    blob.type = type;
    blob.frequency = type < 2 ? 0x200A : 0x200C;
    blob.period = 3;
    blob.specific = type == 0                 ? std::vector<std::uint32_t>{}
                    : type == 3 || type == 11 ? std::vector<std::uint32_t>{0x04, 2}
                                              : std::vector<std::uint32_t>{17};
    blob.deleted = {1, 2, 3};
    blob.modified = {2};
    blob.start = 0x0D5A1000;
    blob.end = 0x0D5B2000;
    return blob;
}

constexpr std::uint16_t kTypes[] = {0, 1, 2, 3, 4, 10, 11, 12};

TEST(RecurrencePatternTest, EveryTypeGivesItsFields)
{
    for (const std::uint16_t type : kTypes) {
        SCOPED_TRACE(type);
        const auto pattern = Read(OfType(type).Bytes());
        ASSERT_TRUE(pattern);
        EXPECT_EQ(pattern->wRecurFrequency, type < 2 ? 0x200A : 0x200C);
        EXPECT_EQ(pattern->wPatternType, type);
        EXPECT_EQ(pattern->dwPeriod, 3u);
        EXPECT_EQ(pattern->dwPatternTypeSpecific, type == 0 ? 0u : type == 3 || type == 11 ? 4u : 17u);
        EXPECT_EQ(pattern->dwN, type == 3 || type == 11 ? 2u : 0u);
        EXPECT_EQ(pattern->dwStartDate, 0x0D5A1000u);
        EXPECT_EQ(pattern->dwEndDate, 0x0D5B2000u);
    }
}

// Bytes as documents print them.
std::string FromHex(const std::string &hex)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

// The examples of the published protocol.
TEST(RecurrencePatternTest, ThePublishedExamplesAreRead)
{
    const struct {
        const char *hex;
        RecurrencePattern pattern;
    } examples[] = {
        {"043004300B2001000000C0210000010000000000000032000000222000000C00000000000000000000000000000080"
         "20BC0C20ADBC0C0630000009300000580200007602000000000000000000000000",
         {0x200B, 1, 1, 0x32, 0, 0x0CBC2080, 0x0CBCAD20}},
        {"043004300A2000000000A0050000E010000000000000212000000A0000000000000002000000A0C1DC0C80D2DC0C00"
         "000000207EDC0C0016DD0C0630000009300000E0010000FE01000000000000000000000000",
         {0x200A, 0, 4320, 0, 0, 0x0CDC7E20, 0x0CDD1600}},
        {"043004300D200200080080750A000C0000000000000003000000232000000A0000000000000001000000207EDC0C01"
         "000000207EDC0C6074C40CDF80E95A0630000009300000E0010000FE010000",
         {0x200D, 2, 12, 3, 0, 0x0CC47460, 0x5AE980DF}},
    };
    for (const auto &example : examples) {
        const auto read = Read(FromHex(example.hex));
        ASSERT_TRUE(read) << example.hex;
        EXPECT_EQ(read->wRecurFrequency, example.pattern.wRecurFrequency);
        EXPECT_EQ(read->wPatternType, example.pattern.wPatternType);
        EXPECT_EQ(read->dwPeriod, example.pattern.dwPeriod);
        EXPECT_EQ(read->dwPatternTypeSpecific, example.pattern.dwPatternTypeSpecific);
        EXPECT_EQ(read->dwN, example.pattern.dwN);
        EXPECT_EQ(read->dwStartDate, example.pattern.dwStartDate);
        EXPECT_EQ(read->dwEndDate, example.pattern.dwEndDate);
    }
}

TEST(RecurrencePatternTest, ThePatternAloneIsEnough)
{
    const std::string pattern = OfType(1).Bytes();
    EXPECT_TRUE(Read(pattern));
    // Cut anywhere in what follows, or with something else there, it is the same.
    const std::string whole = pattern + AppointmentTail();
    for (std::size_t size = pattern.size(); size <= whole.size(); ++size)
        EXPECT_TRUE(Read(whole.substr(0, size))) << size;
    EXPECT_TRUE(Read(whole + std::string(1000, '\xFF')));
}

TEST(RecurrencePatternTest, EveryTruncationIsRefused)
{
    for (const std::uint16_t type : kTypes) {
        const std::string bytes = OfType(type).Bytes();
        for (std::size_t size = 0; size < bytes.size(); ++size)
            EXPECT_FALSE(Read(bytes.substr(0, size))) << "type " << type << ", " << size << " bytes";
    }
}

TEST(RecurrencePatternTest, EveryChangeOfAByteEndsCleanly)
{
    for (const std::uint16_t type : kTypes) {
        const std::string bytes = OfType(type).Bytes();
        for (std::size_t at = 0; at < bytes.size(); ++at)
            for (int value = 0; value < 256; ++value) {
                std::string changed = bytes;
                changed[at] = static_cast<char>(value);
                const auto pattern = Read(changed);
                if (at < 4) {
                    EXPECT_TRUE(pattern) << "the versions say nothing";
                }
            }
    }
}

TEST(RecurrencePatternTest, AnUnknownTypeIsRefused)
{
    for (unsigned type = 0; type <= 0xFFFF; ++type) {
        RecurrenceBlob blob = OfType(3);
        blob.type = static_cast<std::uint16_t>(type);
        const bool known = type <= 4 || (type >= 10 && type <= 12);
        EXPECT_EQ(Read(blob.Bytes() + std::string(16, '\0')).has_value(), known) << type;
    }
}

TEST(RecurrencePatternTest, AnUnknownFrequencyIsReadAsItIs)
{
    RecurrenceBlob blob = OfType(1);
    blob.frequency = 0x1234;
    const auto pattern = Read(blob.Bytes());
    ASSERT_TRUE(pattern);
    EXPECT_EQ(pattern->wRecurFrequency, 0x1234);
}

TEST(RecurrencePatternTest, CountsThatLieAreRefused)
{
    const std::string bytes = OfType(0).Bytes();
    const std::size_t deleted = 34; // behind versions, type, period and ending
    ASSERT_EQ(bytes[deleted], 3);
    const std::size_t modified = deleted + 4 + 3 * 4;
    ASSERT_EQ(bytes[modified], 1);
    for (const std::size_t at : {deleted, modified})
        for (const std::uint32_t count : {100u, 0x3FFFFFFFu, 0x40000000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
            std::string lying = bytes + AppointmentTail();
            for (int i = 0; i < 4; ++i)
                lying[at + static_cast<std::size_t>(i)] = static_cast<char>(count >> (8 * i));
            EXPECT_FALSE(Read(lying)) << count << " at " << at;
        }
}

TEST(RecurrencePatternTest, NoBytesAreNoPattern)
{
    RecurrencePattern pattern;
    EXPECT_FALSE(ReadRecurrencePattern(nullptr, 0, pattern));
    EXPECT_FALSE(ReadRecurrencePattern(nullptr, 100, pattern));
}

} // namespace
