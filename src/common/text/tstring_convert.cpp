// tstring from and to wide text, GUIDs and the values of automation.
#include "common/text/TextReports.h"
#include "common/text/tstring.h"
#include "common/trace/debug.h"

namespace
{

template <class Integer> bool ReadHex(const char *text, int digits, Integer &value)
{
    value = 0;
    for (int i = 0; i < digits; ++i) {
        const char c = text[i];
        unsigned digit = 0;
        if (c >= '0' && c <= '9')
            digit = static_cast<unsigned>(c - '0');
        else if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f')
            digit = static_cast<unsigned>((c | 0x20) - 'a' + 10);
        else
            return false;
        value = static_cast<Integer>(value << 4 | digit);
    }
    return true;
}

bool ReadGuid(const std::string &text, GUID &guid)
{
    if (text.size() != 38 || text[0] != '{' || text[9] != '-' || text[14] != '-' || text[19] != '-' ||
        text[24] != '-' || text[37] != '}')
        return false;
    const char *digits = text.c_str();
    static constexpr int kBytesAt[] = {20, 22, 25, 27, 29, 31, 33, 35};
    bool valid = ReadHex(digits + 1, 8, guid.Data1) && ReadHex(digits + 10, 4, guid.Data2) &&
                 ReadHex(digits + 15, 4, guid.Data3);
    for (int i = 0; valid && i < 8; ++i)
        valid = ReadHex(digits + kBytesAt[i], 2, guid.Data4[i]);
    return valid;
}

} // namespace

void tstring::ToWide(wtext &wide, UINT codePage) const
{
    if (!empty())
        wide = WidenText(*this, codePage);
}

void tstring::FromWide(const wtext &wide, UINT codePage)
{
    if (!wide.empty())
        assign(NarrowText(wide, codePage));
}

tstring::tstring(const GUID &guid)
{
    const auto &tail = guid.Data4;
    Format("{%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}", guid.Data1, guid.Data2, guid.Data3, tail[0], tail[1],
           tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
}

tstring::operator GUID() const
{
    GUID guid{};
    if (ReadGuid(*this, guid))
        return guid;
    DebugOutputA(kTraceText, "tstring::operator GUID(): Failed to convert %s to a GUID\n", c_str());
    return GUID{};
}

tstring &tstring::FromVariant(const VARIANT *pVariant)
{
    clear();
    if (!IsReadable(pVariant, "tstring::FromVariant"))
        return *this;
    struct Converted {
        VARIANT value;
        Converted() { VariantInit(&value); }
        ~Converted() { VariantClear(&value); }
    } text;
    const HRESULT hr = VariantChangeType(&text.value, const_cast<VARIANT *>(pVariant), 0, VT_BSTR);
    if (FAILED(hr))
        DebugOutputA(kTraceText, "%s: VariantChangeType failed with error %#010x\n", "tstring::FromVariant",
                     static_cast<unsigned>(hr));
    else if (text.value.bstrVal)
        FromWide(wtext(text.value.bstrVal, SysStringLen(text.value.bstrVal)));
    return *this;
}
