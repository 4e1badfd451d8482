// Recurrence structures as tests write them, field by field.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

struct RecurrenceBlob {
    std::uint16_t frequency = 0x200B;
    std::uint16_t type = 1;
    std::uint16_t calendar = 0;
    std::uint32_t firstDateTime = 0;
    std::uint32_t period = 1;
    std::vector<std::uint32_t> specific = {0x02}; // none of a day, one, or the two of a week of the month
    std::uint32_t endType = 0x2023;
    std::uint32_t occurrences = 10;
    std::uint32_t firstDayOfWeek = 0;
    std::vector<std::uint32_t> deleted, modified;
    std::uint32_t start = 0, end = 0x5AE980DF;

    std::string Bytes() const
    {
        std::string bytes;
        const auto number = [&](std::uint32_t value, int count) {
            for (int i = 0; i < count; ++i)
                bytes += static_cast<char>(value >> (8 * i));
        };
        const auto list = [&](const std::vector<std::uint32_t> &values) {
            for (const std::uint32_t value : values)
                number(value, 4);
        };
        number(0x3004, 2);
        number(0x3004, 2);
        number(frequency, 2);
        number(type, 2);
        number(calendar, 2);
        number(firstDateTime, 4);
        number(period, 4);
        number(0, 4);
        list(specific);
        number(endType, 4);
        number(occurrences, 4);
        number(firstDayOfWeek, 4);
        number(static_cast<std::uint32_t>(deleted.size()), 4);
        list(deleted);
        number(static_cast<std::uint32_t>(modified.size()), 4);
        list(modified);
        number(start, 4);
        number(end, 4);
        return bytes;
    }
};

// What follows a pattern in an appointment: versions, times of day, no exceptions, two empty reserved blocks.
inline std::string AppointmentTail()
{
    std::string tail("\x06\x30\0\0\x09\x30\0\0", 8);
    tail += std::string("\x1C\x02\0\0\x3A\x02\0\0", 8); // 540 and 570 minutes
    tail += std::string(2 + 4 + 4, '\0');
    return tail;
}
