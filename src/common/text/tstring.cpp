// tstring from pointers that come from outside, its joining, trimming and searching.
#include "common/text/tstring.h"
#include "common/text/TextReports.h"
#include <cstring>

namespace
{

constexpr const char *kWhiteSpace = " \t\n\v\f\r";

// Wide text of the caller's, which may stand at an odd address, up to its end.
wtext CopyWide(const WCHAR *text)
{
    const auto *source = reinterpret_cast<const char *>(text);
    wtext copy;
    for (WCHAR c;; source += sizeof(c)) {
        std::memcpy(&c, source, sizeof(c));
        if (c == 0)
            return copy;
        copy += c;
    }
}

tstring Narrowed(const WCHAR *text)
{
    tstring narrow;
    narrow.FromWide(CopyWide(text));
    return narrow;
}

} // namespace

tstring::tstring(const char *text)
{
    if (IsReadableText(text))
        assign(text);
    else
        ReportBadText("tstring::tstring", __LINE__);
}

tstring::tstring(const WCHAR *text)
{
    if (IsReadableText(text))
        FromWide(CopyWide(text));
    else
        // The second line names the assignment, as the contract has it.
        ReportBadWideText("tstring::tstring", "tstring::operator=", text, __LINE__);
}

tstring &tstring::operator=(const std::string &text)
{
    assign(text);
    return *this;
}

tstring &tstring::operator=(const char *text)
{
    if (IsReadableText(text)) {
        assign(text);
    } else {
        ReportBadText("tstring::operator=", __LINE__);
        clear();
    }
    return *this;
}

tstring &tstring::operator=(const WCHAR *text)
{
    if (IsReadableText(text)) {
        assign(Narrowed(text));
    } else {
        ReportBadWideText("tstring::operator=", "tstring::operator=", text, __LINE__);
        clear();
    }
    return *this;
}

tstring &tstring::operator+=(const std::string &text)
{
    append(text);
    return *this;
}

tstring &tstring::operator+=(char c)
{
    push_back(c);
    return *this;
}

tstring &tstring::operator+=(const char *text)
{
    if (IsReadableText(text))
        append(text);
    else
        ReportBadText("tstring::operator+=", __LINE__);
    return *this;
}

tstring &tstring::operator+=(const WCHAR *text)
{
    if (IsReadableText(text))
        append(Narrowed(text));
    else
        ReportBadWideText("tstring::operator+=", "tstring::operator+=", text, __LINE__);
    return *this;
}

tstring operator+(const tstring &left, const char *right)
{
    tstring sum(left);
    if (IsReadableText(right))
        sum.append(right);
    else
        ReportBadText("tstring::operator+", __LINE__);
    return sum;
}

tstring operator+(const tstring &left, const WCHAR *right)
{
    tstring sum(left);
    if (IsReadableText(right))
        sum.append(Narrowed(right));
    else
        // The second line names operator+=, as the contract has it.
        ReportBadWideText("tstring::operator+", "tstring::operator+=", right, __LINE__);
    return sum;
}

tstring &tstring::Trim()
{
    resize(std::strlen(c_str()));
    TrimRight();
    return TrimLeft();
}

tstring &tstring::TrimLeft()
{
    erase(0, find_first_not_of(kWhiteSpace));
    return *this;
}

tstring &tstring::TrimRight()
{
    const size_type last = find_last_not_of(kWhiteSpace);
    erase(last == npos ? 0 : last + 1);
    return *this;
}

tstring::size_type tstring::Find(const char *text, size_type from) const
{
    if (IsReadableText(text))
        return find(text, from);
    ReportBadText("tstring::Find", __LINE__);
    return npos;
}

void tstring::SetBreakOnAssertion(bool bBreak)
{
    SetBreakOnBadText(bBreak);
}
