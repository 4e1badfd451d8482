// The two flavours of text at the boundary. An A export and its W twin are one template over a flavour: its characters,
// its records, how an argument comes in and how a result goes out.
#pragma once
#include "OrlMapi32.h"
#include "common/text/tstring.h"
#include <algorithm>
#include <cstring>

struct Narrow {
    using Char = char;
    using EmailHeader = EmailHeaderA;
    using AttachmentInfo = AttachmentInfoA;
    using EmailText = EmailTextA;
    using CalendarEvent = CalendarEventA;
    using ExchangeServerName = ExchangeServerNameA;
    using ExchangeProfile = ExchangeProfileA;

    // A null or unreadable argument is reported and empty.
    static tstring In(const char *text) { return tstring(text); }
    static ULONG OutBytes(const tstring &text) { return static_cast<ULONG>(text.size() + 1); }
    // The text as it goes out, for results whose size is that of what they hold.
    static const tstring &Converted(const tstring &text) { return text; }
    // `target` has OutBytes(text) bytes.
    static void Out(char *target, const tstring &text) { std::memcpy(target, text.c_str(), text.size() + 1); }
};

// Arguments are converted to the ANSI code page and results read as UTF-8, as the contract has it; results that are not
// valid UTF-8 are read as ANSI text.
struct Wide {
    using Char = WCHAR;
    using EmailHeader = EmailHeaderW;
    using AttachmentInfo = AttachmentInfoW;
    using EmailText = EmailTextW;
    using CalendarEvent = CalendarEventW;
    using ExchangeServerName = ExchangeServerNameW;
    using ExchangeProfile = ExchangeProfileW;

    static tstring In(const WCHAR *text) { return tstring(text); }
    // Enough for any encoding: no narrow byte gives more than one UTF-16 unit.
    static ULONG OutBytes(const tstring &text) { return static_cast<ULONG>(text.size() * 2 + 2); }
    static wtext Converted(const tstring &text)
    {
        wtext wide;
        text.ToWide(wide, 65001);
        return wide;
    }
    static void Out(WCHAR *target, const tstring &text)
    {
        const wtext wide = Converted(text);
        const std::size_t length = std::min(wide.size(), text.size());
        std::memcpy(target, wide.data(), length * sizeof(WCHAR));
        target[length] = 0;
    }
};
