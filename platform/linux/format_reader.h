// Reads what follows a '%' in a format of the Windows C runtime, narrow or wide.
#pragma once
#include "text_format.h"
#include <climits>
#include <cstdarg>

namespace platform
{
// A va_list that can be handed on and read from in turn.
struct Arguments {
    va_list list;
};

template <class Char> bool ReadNumber(const Char *&format, int &number)
{
    number = 0;
    for (; *format >= '0' && *format <= '9'; ++format) {
        if (number > (INT_MAX - 9) / 10)
            return false;
        number = number * 10 + (*format - '0');
    }
    return true;
}

template <class Char> bool IsIntegerType(Char type)
{
    return type == 'd' || type == 'i' || type == 'o' || type == 'u' || type == 'x' || type == 'X';
}

template <class Char> void ReadSizes(const Char *&format, Conversion &conversion)
{
    for (;; ++format) {
        switch (*format) {
        case 'h':
            conversion.size = ArgumentSize::Short;
            conversion.narrow = true;
            conversion.wide = false;
            break;
        case 'l':
            if (format[1] == 'l') {
                conversion.size = ArgumentSize::Int64;
                ++format;
                break;
            }
            if (conversion.size == ArgumentSize::Int)
                conversion.size = ArgumentSize::Long;
            conversion.wide = true;
            conversion.narrow = false;
            break;
        case 'w':
            conversion.wide = true;
            conversion.narrow = false;
            break;
        case 'L':
        case 'F': // a far pointer, of old
            break;
        case 'I':
            if (format[1] == '6' && format[2] == '4') {
                conversion.size = ArgumentSize::Int64;
                format += 2;
            } else if (format[1] == '3' && format[2] == '2') {
                conversion.size = ArgumentSize::Long;
                format += 2;
            } else {
                conversion.size = ArgumentSize::Pointer;
            }
            break;
        case 'z':
        case 't':
        case 'j':
            if (!IsIntegerType(format[1]))
                return;
            conversion.size = *format == 'j' ? ArgumentSize::Int64 : ArgumentSize::Pointer;
            break;
        default:
            return;
        }
    }
}

// Reads what follows a '%'. False for what is no conversion.
template <class Char> bool ReadConversion(const Char *&format, Arguments &arguments, Conversion &conversion)
{
    for (;; ++format) {
        if (*format == '-')
            conversion.leftAlign = true;
        else if (*format == '0')
            conversion.zeroPad = true;
        else if (*format == '#')
            conversion.alternate = true;
        else if (*format == '+' || (*format == ' ' && !conversion.sign))
            conversion.sign = static_cast<char>(*format);
        else if (*format != ' ')
            break;
    }
    if (*format == '*') {
        ++format;
        conversion.width = va_arg(arguments.list, int);
        if (conversion.width < 0) {
            conversion.leftAlign = true;
            conversion.width = conversion.width == INT_MIN ? INT_MAX : -conversion.width;
        }
    } else if (!ReadNumber(format, conversion.width)) {
        return false;
    }
    if (*format == '.') {
        ++format;
        if (*format == '*') {
            ++format;
            conversion.precision = va_arg(arguments.list, int);
        } else if (!ReadNumber(format, conversion.precision)) {
            return false;
        }
        if (conversion.precision < 0)
            conversion.precision = -1;
    }
    ReadSizes(format, conversion);
    if (*format == 0 || *format > 127)
        return false;
    conversion.type = static_cast<char>(*format++);
    return true;
}

} // namespace platform
