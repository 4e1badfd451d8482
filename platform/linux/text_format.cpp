// The formatting functions of the Windows C runtime, for narrow and for wide text by one reader of formats.
#include "text_format.h"
#include "code_page.h"
#include "exceptions.h"
#include "format_reader.h"
#include "memory_access.h"
#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>
#include <type_traits>
#include <windows.h>

namespace
{
using platform::Arguments;
using platform::ArgumentSize;
using platform::Conversion;
using platform::FormatSink;
using platform::NumberText;

enum class Outcome { Going, Invalid };

template <class Char>
void PutPadded(FormatSink<Char> &sink, const Conversion &conversion, std::size_t length, char pad, bool after)
{
    const auto width = static_cast<std::size_t>(conversion.width);
    if (conversion.leftAlign == after && width > length)
        sink.Fill(pad, width - length);
}

template <class Char> void PutNumber(FormatSink<Char> &sink, const Conversion &conversion, const NumberText &number)
{
    const std::size_t length = number.Length();
    const bool zeros = conversion.zeroPad && !conversion.leftAlign;
    if (!zeros)
        PutPadded(sink, conversion, length, ' ', false);
    sink.Put(number.prefix, number.prefixLength);
    if (zeros)
        PutPadded(sink, conversion, length, '0', false);
    for (int i = 0; i < number.pieceCount; ++i) {
        if (number.pieces[i].text)
            sink.Put(number.pieces[i].text, number.pieces[i].count);
        else
            sink.Fill('0', number.pieces[i].count);
    }
    PutPadded(sink, conversion, length, ' ', true);
}

template <class Char, class Source>
void PutText(FormatSink<Char> &sink, const Conversion &conversion, const Source *text, std::size_t length)
{
    const char pad = conversion.zeroPad && !conversion.leftAlign ? '0' : ' ';
    PutPadded(sink, conversion, length, pad, false);
    sink.Put(text, length);
    PutPadded(sink, conversion, length, ' ', true);
}

std::uint64_t ReadInteger(const Conversion &conversion, bool isSigned, Arguments &arguments)
{
    const bool is64 = conversion.size == ArgumentSize::Int64 ||
                      (conversion.size == ArgumentSize::Pointer && sizeof(void *) == sizeof(std::uint64_t));
    if (is64)
        return va_arg(arguments.list, unsigned long long);
    // A LONG has 32 bits.
    const unsigned value = va_arg(arguments.list, unsigned);
    if (conversion.size == ArgumentSize::Short)
        return isSigned ? static_cast<std::uint64_t>(std::int64_t{static_cast<std::int16_t>(value)})
                        : static_cast<std::uint16_t>(value);
    return isSigned ? static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(value)}) : value;
}

template <class Char>
void FormatInteger(FormatSink<Char> &sink, Conversion conversion, std::uint64_t value, bool isSigned)
{
    NumberText number;
    if (isSigned && static_cast<std::int64_t>(value) < 0) {
        number.AddPrefix('-');
        value = 0 - value;
    } else if (isSigned && conversion.sign) {
        number.AddPrefix(conversion.sign);
    }
    const bool hexadecimal = conversion.type == 'x' || conversion.type == 'X' || conversion.type == 'p';
    const char *digitsOf = conversion.type == 'x' ? "0123456789abcdef" : "0123456789ABCDEF";
    const unsigned radix = hexadecimal ? 16 : conversion.type == 'o' ? 8 : 10;
    if (hexadecimal && conversion.alternate && value != 0) {
        number.AddPrefix('0');
        number.AddPrefix(conversion.type == 'x' ? 'x' : 'X');
    }
    char digits[24];
    char *begin = digits + sizeof digits;
    for (std::uint64_t rest = value; rest != 0; rest /= radix)
        *--begin = digitsOf[rest % radix];
    auto count = static_cast<std::size_t>(digits + sizeof digits - begin);
    const std::size_t least = conversion.precision < 0 ? 1 : static_cast<std::size_t>(conversion.precision);
    std::size_t zeros = count < least ? least - count : 0;
    if (conversion.type == 'o' && conversion.alternate && zeros == 0)
        zeros = 1;
    number.AddZeros(zeros);
    number.Add(begin, count);
    // A precision says how many digits there are: then the field is not filled with zeros.
    if (conversion.precision >= 0)
        conversion.zeroPad = false;
    PutNumber(sink, conversion, number);
}

// The text that an argument points to, its length found. A text that can't be read is an access violation, as it is
// on Windows; no owner lives in any frame here while the handlers run.
template <class Char, class Source>
Outcome ReadText(FormatSink<Char> &sink, const Source *text, std::size_t limit, std::size_t *length)
{
    if (platform::ReadableLength(text, limit, length))
        return Outcome::Going;
    sink.Terminate();
    const ULONG_PTR parameters[] = {0, reinterpret_cast<ULONG_PTR>(text)};
    platform::DispatchException(EXCEPTION_ACCESS_VIOLATION, 0, __builtin_return_address(0), 2, parameters);
    return Outcome::Invalid;
}

// As many whole characters as fit into a number of bytes.
std::string NarrowWithin(const WCHAR *text, std::size_t length, std::size_t bytes)
{
    std::string narrow;
    for (std::size_t i = 0; i < length;) {
        const bool pair = text[i] >= 0xD800 && text[i] < 0xDC00 && i + 1 < length;
        const std::string character = platform::Narrow(text + i, pair ? 2 : 1);
        if (narrow.size() + character.size() > bytes)
            break;
        narrow += character;
        i += pair ? 2 : 1;
    }
    return narrow;
}

void PutOther(FormatSink<char> &sink, const Conversion &conversion, const WCHAR *text, std::size_t length)
{
    const std::string narrow = conversion.precision < 0
                                   ? platform::Narrow(text, length)
                                   : NarrowWithin(text, length, static_cast<std::size_t>(conversion.precision));
    PutText(sink, conversion, narrow.data(), narrow.size());
}

void PutOther(FormatSink<WCHAR> &sink, const Conversion &conversion, const char *text, std::size_t length)
{
    const std::u16string wide = platform::Widen(text, length);
    PutText(sink, conversion, wide.data(), wide.size());
}

// Whether an s, S, c or C takes text of the other width than the function's own.
template <class Char> bool TakesOther(const Conversion &conversion)
{
    const bool capital = conversion.type == 'S' || conversion.type == 'C';
    const bool functionIsWide = std::is_same_v<Char, WCHAR>;
    const bool argumentIsWide = conversion.wide || (!conversion.narrow && capital != functionIsWide);
    return argumentIsWide != functionIsWide;
}

template <class Char, class Source>
Outcome FormatText(FormatSink<Char> &sink, const Conversion &conversion, const Source *text)
{
    const std::size_t limit = conversion.precision < 0 ? INT_MAX : static_cast<std::size_t>(conversion.precision);
    if (!text) {
        PutText(sink, conversion, "(null)", limit < 6 ? limit : 6);
        return Outcome::Going;
    }
    std::size_t length;
    const Outcome outcome = ReadText(sink, text, limit, &length);
    if (outcome != Outcome::Going)
        return outcome;
    if constexpr (std::is_same_v<Char, Source>)
        PutText(sink, conversion, text, length);
    else
        PutOther(sink, conversion, text, length);
    return Outcome::Going;
}

template <class Char> void FormatCharacter(FormatSink<Char> &sink, const Conversion &conversion, int argument)
{
    using Other = std::conditional_t<std::is_same_v<Char, char>, WCHAR, char>;
    const std::size_t length = conversion.precision == 0 ? 0 : 1;
    if (TakesOther<Char>(conversion)) {
        const auto character = static_cast<Other>(argument);
        PutOther(sink, conversion, &character, length);
    } else {
        const auto character = static_cast<Char>(argument);
        PutText(sink, conversion, &character, length);
    }
}

template <class Char> Outcome FormatOne(FormatSink<Char> &sink, Conversion &conversion, Arguments &arguments)
{
    switch (conversion.type) {
    case 'd':
    case 'i':
        FormatInteger(sink, conversion, ReadInteger(conversion, true, arguments), true);
        return Outcome::Going;
    case 'u':
    case 'o':
    case 'x':
    case 'X':
        FormatInteger(sink, conversion, ReadInteger(conversion, false, arguments), false);
        return Outcome::Going;
    case 'p':
        conversion.size = ArgumentSize::Pointer;
        conversion.precision = 2 * sizeof(void *);
        FormatInteger(sink, conversion, ReadInteger(conversion, false, arguments), false);
        return Outcome::Going;
    case 'e':
    case 'E':
    case 'f':
    case 'g':
    case 'G':
    case 'a':
    case 'A': {
        platform::FloatDigits digits;
        NumberText number;
        platform::FormatFloat(conversion, va_arg(arguments.list, double), digits, number);
        PutNumber(sink, conversion, number);
        return Outcome::Going;
    }
    case 'c':
    case 'C':
        FormatCharacter(sink, conversion, va_arg(arguments.list, int));
        return Outcome::Going;
    case 's':
    case 'S': {
        using Other = std::conditional_t<std::is_same_v<Char, char>, WCHAR, char>;
        const void *text = va_arg(arguments.list, void *);
        return TakesOther<Char>(conversion) ? FormatText(sink, conversion, static_cast<const Other *>(text))
                                            : FormatText(sink, conversion, static_cast<const Char *>(text));
    }
    default: // n among them: a text that came from outside must not write to memory
        return Outcome::Invalid;
    }
}

template <class Char> Outcome FormatAll(FormatSink<Char> &sink, const Char *format, Arguments &arguments)
{
    while (*format && !sink.truncated) {
        const Char *literal = format;
        while (*format && *format != '%')
            ++format;
        sink.Put(literal, static_cast<std::size_t>(format - literal));
        if (!*format)
            break;
        ++format;
        if (*format == '%') {
            sink.Put(format++, 1);
            continue;
        }
        Conversion conversion;
        if (sink.truncated)
            break;
        if (!platform::ReadConversion(format, arguments, conversion) ||
            FormatOne(sink, conversion, arguments) != Outcome::Going)
            return Outcome::Invalid;
    }
    return Outcome::Going;
}

template <class Char>
int FormatBuffer(Char *buffer, std::size_t size, std::size_t count, const Char *format, Arguments &arguments)
{
    if (!buffer && size == 0 && count == 0 && format)
        return 0;
    if (!buffer || size == 0 || !format) {
        if (buffer && size > 0)
            buffer[0] = 0;
        errno = EINVAL;
        return -1;
    }
    FormatSink<Char> sink{buffer, std::min<std::size_t>(count < size ? count : size - 1, INT_MAX - 1)};
    const Outcome outcome = FormatAll(sink, format, arguments);
    sink.Terminate();
    if (outcome == Outcome::Invalid) {
        buffer[0] = 0;
        errno = EINVAL;
        return -1;
    }
    if (!sink.truncated)
        return static_cast<int>(sink.length);
    if (count != _TRUNCATE && count >= size) {
        buffer[0] = 0;
        errno = ERANGE;
    }
    return -1;
}
} // namespace

int _vsnprintf_s(char *buffer, std::size_t sizeOfBuffer, std::size_t count, const char *format, va_list argptr)
{
    Arguments arguments;
    va_copy(arguments.list, argptr);
    const int result = FormatBuffer(buffer, sizeOfBuffer, count, format, arguments);
    va_end(arguments.list);
    return result;
}

int _vsnwprintf_s(WCHAR *buffer, std::size_t sizeOfBuffer, std::size_t count, const WCHAR *format, va_list argptr)
{
    Arguments arguments;
    va_copy(arguments.list, argptr);
    const int result = FormatBuffer(buffer, sizeOfBuffer, count, format, arguments);
    va_end(arguments.list);
    return result;
}

int _snprintf_s(char *buffer, std::size_t sizeOfBuffer, std::size_t count, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = _vsnprintf_s(buffer, sizeOfBuffer, count, format, arguments);
    va_end(arguments);
    return result;
}

int sprintf_s(char *buffer, std::size_t sizeOfBuffer, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    // A count as large as the buffer: text that does not fit empties it.
    const int result = _vsnprintf_s(buffer, sizeOfBuffer, sizeOfBuffer, format, arguments);
    va_end(arguments);
    return result;
}

int _snwprintf_s(WCHAR *buffer, std::size_t sizeOfBuffer, std::size_t count, const WCHAR *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = _vsnwprintf_s(buffer, sizeOfBuffer, count, format, arguments);
    va_end(arguments);
    return result;
}
