#include "session/calendar/RecurrencePattern.h"
#include <type_traits>

namespace
{

// Little-endian numbers from bytes that may end anywhere. After the first one that is not there, nothing is.
class ByteReader
{
  public:
    ByteReader(const BYTE *pBytes, ULONG cb) : m_pBytes(pBytes), m_cb(pBytes ? cb : 0) {}
    template <class Number> Number Read()
    {
        static_assert(std::is_unsigned_v<Number>);
        const BYTE *at = m_pBytes;
        if (!Skip(sizeof(Number)))
            return 0;
        Number number = 0;
        for (std::size_t i = sizeof(Number); i-- > 0;)
            number = static_cast<Number>(number << 8 | at[i]);
        return number;
    }
    bool Skip(ULONGLONG bytes)
    {
        if (bytes > m_cb)
            m_whole = false;
        if (!m_whole)
            return false;
        m_pBytes += bytes;
        m_cb -= static_cast<ULONG>(bytes);
        return true;
    }
    bool Whole() const { return m_whole; }

  private:
    const BYTE *m_pBytes;
    ULONG m_cb;
    bool m_whole = true;
};

// How many bytes say on which days a pattern of a type falls; false for a type that is unknown.
bool ReadTypeSpecific(ByteReader &bytes, RecurrencePattern &pattern)
{
    switch (pattern.wPatternType) {
    case kPatternDay:
        return true;
    case kPatternMonthNth:
    case kPatternHjMonthNth:
        pattern.dwPatternTypeSpecific = bytes.Read<DWORD>();
        pattern.dwN = bytes.Read<DWORD>();
        return true;
    case kPatternWeek:
    case kPatternMonth:
    case kPatternMonthEnd:
    case kPatternHjMonth:
    case kPatternHjMonthEnd:
        pattern.dwPatternTypeSpecific = bytes.Read<DWORD>();
        return true;
    default:
        return false;
    }
}

} // namespace

bool ReadRecurrencePattern(const BYTE *pBytes, ULONG cb, RecurrencePattern &pattern)
{
    constexpr ULONGLONG kVersions = 4;      // reader, writer
    constexpr ULONGLONG kCalendarType = 2;  //
    constexpr ULONGLONG kFirstDateTime = 4; // where the counting of periods begins
    constexpr ULONGLONG kSlidingFlag = 4;   //
    constexpr ULONGLONG kEnding = 12;       // kind of end, occurrences, first day of the week
    constexpr ULONGLONG kInstance = 4;      // a day that was deleted or changed

    ByteReader bytes(pBytes, cb);
    RecurrencePattern read;
    bytes.Skip(kVersions);
    read.wRecurFrequency = bytes.Read<WORD>();
    read.wPatternType = bytes.Read<WORD>();
    bytes.Skip(kCalendarType + kFirstDateTime);
    read.dwPeriod = bytes.Read<DWORD>();
    bytes.Skip(kSlidingFlag);
    if (!bytes.Whole() || !ReadTypeSpecific(bytes, read))
        return false;
    bytes.Skip(kEnding);
    bytes.Skip(bytes.Read<DWORD>() * kInstance);
    bytes.Skip(bytes.Read<DWORD>() * kInstance);
    read.dwStartDate = bytes.Read<DWORD>();
    read.dwEndDate = bytes.Read<DWORD>();
    if (!bytes.Whole())
        return false;
    pattern = read;
    return true;
}
