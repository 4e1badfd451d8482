// Floating-point conversions as the 32-bit runtime writes them: exponents of three digits, ties rounded away from
// zero, and infinite values as a text that is rounded like digits ("1.#INF", with two decimals "1.#J").
#include "text_format.h"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace platform
{
namespace
{
void SetDigits(FloatDigits &target, const char *text, int exponent)
{
    target.count = static_cast<int>(std::strlen(text));
    std::copy(text, text + target.count, target.digits);
    target.exponent = exponent;
}

bool IsQuietDefault(double value)
{
    // The one that the processor gives for an undefined operation.
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits == 0xFFF8000000000000;
}

void ReadDigits(double value, FloatDigits &target)
{
    target.negative = std::signbit(value);
    target.special = !std::isfinite(value);
    if (std::isnan(value))
        return SetDigits(target, IsQuietDefault(value) ? "1#IND" : "1#QNAN", 0);
    if (std::isinf(value))
        return SetDigits(target, "1#INF", 0);
    // Exact: no double has more digits. The host's locale may have put any sign for the decimal point.
    char text[800];
    std::snprintf(text, sizeof text, "%.766e", std::fabs(value));
    const char *exponent = std::strchr(text, 'e');
    int count = 0;
    for (const char *c = text; c != exponent; ++c)
        if (*c >= '0' && *c <= '9')
            target.digits[count++] = *c;
    while (count > 1 && target.digits[count - 1] == '0')
        --count;
    target.count = count;
    target.exponent = std::atoi(exponent + 1);
}

// Cuts to a number of digits, which may be negative.
void Round(FloatDigits &value, long long keep)
{
    if (keep >= value.count)
        return;
    if (keep < 0 || (keep == 0 && value.digits[0] < '5'))
        return SetDigits(value, "0", 0);
    bool up = value.digits[keep] >= '5';
    value.count = static_cast<int>(keep);
    while (up && value.count > 0) {
        char &last = value.digits[value.count - 1];
        up = last == '9';
        if (up)
            --value.count;
        else
            ++last;
    }
    if (value.count == 0)
        SetDigits(value, "1", value.exponent + 1);
}

void AddFixed(const FloatDigits &value, long long precision, bool point, NumberText &number)
{
    const int whole = value.exponent + 1;
    if (whole <= 0)
        number.AddZeros(1);
    else {
        number.Add(value.digits, static_cast<std::size_t>(std::min(whole, value.count)));
        number.AddZeros(static_cast<std::size_t>(std::max(0, whole - value.count)));
    }
    if (precision > 0 || point)
        number.Add(".", 1);
    if (precision <= 0)
        return;
    const long long zeros = std::min<long long>(precision, whole < 0 ? -whole : 0);
    const long long from = std::max(0, whole);
    const long long digits = std::clamp<long long>(value.count - from, 0, precision - zeros);
    number.AddZeros(static_cast<std::size_t>(zeros));
    number.Add(value.digits + from, static_cast<std::size_t>(digits));
    number.AddZeros(static_cast<std::size_t>(precision - zeros - digits));
}

void AddExponent(FloatDigits &value, char letter, const char *format, int exponent, NumberText &number)
{
    value.exponentText[0] = letter;
    const int length = std::snprintf(value.exponentText + 1, sizeof value.exponentText - 1, format, exponent);
    number.Add(value.exponentText, static_cast<std::size_t>(length) + 1);
}

void AddScientific(FloatDigits &value, long long precision, bool point, char letter, NumberText &number)
{
    const int exponent = value.exponent;
    value.exponent = 0;
    AddFixed(value, precision, point, number);
    AddExponent(value, letter, "%+04d", exponent, number);
}

void AddGeneral(const Conversion &conversion, FloatDigits &value, char letter, NumberText &number)
{
    const long long significant = conversion.precision < 0 ? 6 : std::max(conversion.precision, 1);
    Round(value, significant);
    const bool scientific = value.exponent < -4 || value.exponent >= significant;
    long long precision = scientific ? significant - 1 : significant - 1 - value.exponent;
    if (!conversion.alternate) {
        while (value.count > 1 && value.digits[value.count - 1] == '0')
            --value.count;
        precision = std::min<long long>(precision, scientific ? value.count - 1 : value.count - 1 - value.exponent);
    }
    if (scientific)
        AddScientific(value, precision, conversion.alternate, letter, number);
    else
        AddFixed(value, precision, conversion.alternate, number);
}

void AddHexadecimal(const Conversion &conversion, double magnitude, FloatDigits &value, NumberText &number)
{
    const bool upper = conversion.type == 'A';
    const int precision = conversion.precision < 0 ? 13 : conversion.precision;
    int exponent = 0;
    if (!value.special) {
        std::uint64_t bits;
        std::memcpy(&bits, &magnitude, sizeof bits);
        const int biased = static_cast<int>(bits >> 52);
        exponent = biased ? biased - 1023 : magnitude != 0 ? -1022 : 0;
        std::uint64_t mantissa = (bits & 0xFFFFFFFFFFFFF) | (biased ? 0x10000000000000 : 0);
        if (precision < 13) {
            const int cut = 4 * (13 - precision);
            mantissa = (mantissa + (std::uint64_t{1} << (cut - 1))) >> cut << cut;
        }
        value.count = std::snprintf(value.digits, sizeof value.digits, upper ? "%014llX" : "%014llx",
                                    static_cast<unsigned long long>(mantissa));
        value.exponent = 0;
    }
    number.AddPrefix('0');
    number.AddPrefix(upper ? 'X' : 'x');
    AddFixed(value, precision, conversion.alternate, number);
    AddExponent(value, upper ? 'P' : 'p', "%+d", exponent, number);
}
} // namespace

void FormatFloat(const Conversion &conversion, double value, FloatDigits &digits, NumberText &number)
{
    ReadDigits(value, digits);
    if (digits.negative)
        number.AddPrefix('-');
    else if (conversion.sign)
        number.AddPrefix(conversion.sign);
    const long long precision = conversion.precision < 0 ? 6 : conversion.precision;
    switch (conversion.type) {
    case 'f':
        Round(digits, digits.exponent + 1 + precision);
        AddFixed(digits, precision, conversion.alternate && !digits.special, number);
        break;
    case 'e':
    case 'E':
        Round(digits, precision + 1);
        AddScientific(digits, precision, conversion.alternate, conversion.type, number);
        break;
    case 'g':
    case 'G':
        AddGeneral(conversion, digits, conversion.type == 'g' ? 'e' : 'E', number);
        break;
    default:
        AddHexadecimal(conversion, std::fabs(value), digits, number);
    }
}
} // namespace platform
