// MultiByteToWideChar and WideCharToMultiByte: UTF-8 by our own reader, every other encoding by glibc's iconv.
#include "code_page.h"
#include "last_error.h"
#include "locale_names.h"
#include "platform/lifetime/Lasting.h"
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iconv.h>
#include <langinfo.h>
#include <strings.h>
#include <windows.h>

namespace
{
std::string LocaleEncoding()
{
    const char *name = platform::LocaleName("LC_CTYPE");
    // The encoding that the name itself gives holds even where the locale is not installed.
    if (const char *dot = std::strchr(name, '.')) {
        std::string encoding(dot + 1);
        return encoding.substr(0, encoding.find('@'));
    }
    std::string encoding = "UTF-8";
    if (platform::IsNeutralLocale(name))
        return encoding;
    if (locale_t locale = newlocale(LC_CTYPE_MASK, name, nullptr)) {
        encoding = nl_langinfo_l(CODESET, locale);
        freelocale(locale);
    }
    return encoding;
}

const std::string &AnsiEncoding()
{
    static const std::string &encoding = lifetime::LastingFrom([] {
        std::string name = LocaleEncoding();
        const iconv_t known = iconv_open("UTF-16LE", name.c_str());
        if (known == reinterpret_cast<iconv_t>(-1))
            return std::string("UTF-8");
        iconv_close(known);
        return name;
    });
    return encoding;
}

struct NumberedEncoding {
    UINT codePage;
    const char *name;
};
// Those whose number is not part of iconv's own name. Of several names for one number the first is given out.
constexpr NumberedEncoding kEncodings[] = {
    {CP_UTF8, "UTF-8"},    {CP_UTF8, "UTF8"},      {20127, "ASCII"},       {20127, "ANSI_X3.4-1968"},
    {28591, "ISO-8859-1"}, {28592, "ISO-8859-2"},  {28593, "ISO-8859-3"},  {28594, "ISO-8859-4"},
    {28595, "ISO-8859-5"}, {28596, "ISO-8859-6"},  {28597, "ISO-8859-7"},  {28598, "ISO-8859-8"},
    {28599, "ISO-8859-9"}, {28603, "ISO-8859-13"}, {28605, "ISO-8859-15"}, {932, "CP932"},
    {932, "SHIFT_JIS"},    {932, "SJIS"},          {936, "CP936"},         {936, "GBK"},
    {936, "GB2312"},       {949, "CP949"},         {949, "EUC-KR"},        {950, "CP950"},
    {950, "BIG5"},         {51932, "EUC-JP"},      {54936, "GB18030"},     {20866, "KOI8-R"},
    {21866, "KOI8-U"},     {874, "CP874"},         {874, "TIS-620"},       {1250, "CP1250"},
    {1251, "CP1251"},      {1252, "CP1252"},       {1253, "CP1253"},       {1254, "CP1254"},
    {1255, "CP1255"},      {1256, "CP1256"},       {1257, "CP1257"},       {1258, "CP1258"},
    {437, "CP437"},        {850, "CP850"},         {852, "CP852"},         {866, "CP866"},
};

bool SameEncoding(const char *left, const char *right)
{
    // "iso88591", "ISO-8859-1" and "ISO_8859-1" are one.
    for (;;) {
        left += std::strspn(left, "-_");
        right += std::strspn(right, "-_");
        if (strncasecmp(left, right, 1) != 0)
            return false;
        if (!*left)
            return true;
        ++left, ++right;
    }
}

// An open conversion of iconv's.
class Conversion
{
  public:
    Conversion(const char *to, const char *from) : m_handle(iconv_open(to, from)) {}
    ~Conversion()
    {
        if (*this)
            iconv_close(m_handle);
    }
    Conversion(const Conversion &) = delete;
    Conversion &operator=(const Conversion &) = delete;
    explicit operator bool() const { return m_handle != reinterpret_cast<iconv_t>(-1); }
    // False where the input stops converting, with errno and the pointers as iconv leaves them.
    bool Run(char **in, std::size_t *inLeft, char **out, std::size_t *outLeft) const
    {
        return iconv(m_handle, in, inLeft, out, outLeft) != static_cast<std::size_t>(-1);
    }

  private:
    iconv_t m_handle;
};

// Collects a result, or only its length when there is no buffer.
template <class Char> struct Output {
    Char *buffer;
    int capacity;
    int length = 0;
    bool fits = true;

    void Put(const Char *characters, int count)
    {
        if (capacity > 0 && fits) {
            // A character of several units is written whole or not at all.
            if (count > capacity - length)
                fits = false;
            else
                std::copy(characters, characters + count, buffer + length);
        }
        length += count;
    }
    // The API's result.
    int Finish() const
    {
        if (fits)
            return length;
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
};

void PutUtf16(Output<WCHAR> &out, char32_t codePoint)
{
    if (codePoint < 0x10000) {
        const WCHAR unit = static_cast<WCHAR>(codePoint);
        out.Put(&unit, 1);
    } else {
        const WCHAR units[] = {static_cast<WCHAR>(0xD7C0 + (codePoint >> 10)),
                               static_cast<WCHAR>(0xDC00 | (codePoint & 0x3FF))};
        out.Put(units, 2);
    }
}

char32_t NextOfUtf16(const WCHAR **text, const WCHAR *end)
{
    const char32_t unit = *(*text)++;
    if (unit >= 0xD800 && unit < 0xDC00 && *text != end && **text >= 0xDC00 && **text < 0xE000)
        return 0x10000 + ((unit & 0x3FF) << 10) + (*(*text)++ & 0x3FF);
    return unit;
}

bool IsSurrogate(char32_t codePoint)
{
    return codePoint >= 0xD800 && codePoint < 0xE000;
}

// Each gives whether every character could be converted.
bool WidenUtf8(const char *text, const char *end, Output<WCHAR> &out)
{
    bool valid = true;
    while (text != end && out.fits) {
        const char32_t codePoint = platform::NextOfUtf8(&text, end);
        valid = valid && codePoint != platform::kInvalid;
        PutUtf16(out, codePoint == platform::kInvalid ? 0xFFFD : codePoint);
    }
    return valid;
}

bool WidenByIconv(const Conversion &conversion, const char *text, const char *end, Output<WCHAR> &out)
{
    bool valid = true;
    char *in = const_cast<char *>(text);
    std::size_t inLeft = static_cast<std::size_t>(end - text);
    while (inLeft > 0 && out.fits) {
        WCHAR units[256];
        char *to = reinterpret_cast<char *>(units);
        std::size_t toLeft = sizeof units;
        const bool done = conversion.Run(&in, &inLeft, &to, &toLeft);
        const int error = errno;
        out.Put(units, static_cast<int>((sizeof units - toLeft) / sizeof(WCHAR)));
        if (!done && error != E2BIG) {
            valid = false;
            PutUtf16(out, 0xFFFD);
            ++in;
            --inLeft;
        }
    }
    return valid;
}

bool NarrowUtf8(const WCHAR *text, const WCHAR *end, Output<char> &out)
{
    bool valid = true;
    while (text != end && out.fits) {
        const char32_t codePoint = NextOfUtf16(&text, end);
        valid = valid && !IsSurrogate(codePoint);
        char bytes[4];
        out.Put(bytes, platform::PutUtf8(codePoint, bytes));
    }
    return valid;
}

bool NarrowByIconv(const Conversion &conversion, const WCHAR *text, const WCHAR *end, const char *replacement,
                   Output<char> &out)
{
    bool valid = true;
    while (text != end && out.fits) {
        const WCHAR *begin = text;
        const char32_t codePoint = NextOfUtf16(&text, end);
        char bytes[16];
        char *in = reinterpret_cast<char *>(const_cast<WCHAR *>(begin));
        char *to = bytes;
        std::size_t inLeft = static_cast<std::size_t>(text - begin) * sizeof(WCHAR), toLeft = sizeof bytes;
        if (!IsSurrogate(codePoint) && conversion.Run(&in, &inLeft, &to, &toLeft)) {
            out.Put(bytes, static_cast<int>(to - bytes));
            continue;
        }
        valid = false;
        // One replacement a unit, two for a pair, as the code pages of Windows give.
        for (; begin != text; ++begin)
            out.Put(replacement, static_cast<int>(std::strlen(replacement)));
    }
    return valid;
}

} // namespace

namespace platform
{
const char *CodePageName(UINT codePage)
{
    if (codePage == CP_ACP || codePage == CP_THREAD_ACP || codePage == CP_OEMCP)
        return AnsiEncoding().c_str();
    for (const NumberedEncoding &encoding : kEncodings)
        if (encoding.codePage == codePage)
            return encoding.name;
    return nullptr;
}

bool IsUtf8(const char *codePageName)
{
    return SameEncoding(codePageName, "UTF-8");
}

std::u16string Widen(const char *text, std::size_t length, UINT codePage)
{
    // No encoding gives more units than bytes.
    std::u16string wide(length, u'\0');
    const int units = length == 0 ? 0
                                  : MultiByteToWideChar(codePage, 0, text, static_cast<int>(length), wide.data(),
                                                        static_cast<int>(length));
    wide.resize(static_cast<std::size_t>(units));
    return wide;
}

std::string Narrow(const WCHAR *text, std::size_t length, UINT codePage)
{
    if (length == 0)
        return {};
    const int count = static_cast<int>(length);
    std::string narrow(
        static_cast<std::size_t>(WideCharToMultiByte(codePage, 0, text, count, nullptr, 0, nullptr, nullptr)), '\0');
    WideCharToMultiByte(codePage, 0, text, count, narrow.data(), static_cast<int>(narrow.size()), nullptr, nullptr);
    return narrow;
}
} // namespace platform

UINT GetACP()
{
    for (const NumberedEncoding &encoding : kEncodings)
        if (SameEncoding(encoding.name, AnsiEncoding().c_str()))
            return encoding.codePage;
    return CP_UTF8;
}

int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte, LPWSTR lpWideCharStr,
                        int cchWideChar)
{
    const char *name = platform::CodePageName(CodePage);
    if (!name || !lpMultiByteStr || cbMultiByte == 0 || cchWideChar < 0 || (cchWideChar > 0 && !lpWideCharStr))
        return Fail<int>(ERROR_INVALID_PARAMETER);
    const DWORD known = CodePage == CP_UTF8 ? MB_ERR_INVALID_CHARS : (MB_PRECOMPOSED | MB_ERR_INVALID_CHARS);
    if (dwFlags & ~known)
        return Fail<int>(ERROR_INVALID_FLAGS);

    const std::size_t length =
        cbMultiByte < 0 ? std::strlen(lpMultiByteStr) + 1 : static_cast<std::size_t>(cbMultiByte);
    Output<WCHAR> out{lpWideCharStr, cchWideChar};
    bool valid;
    if (platform::IsUtf8(name)) {
        valid = WidenUtf8(lpMultiByteStr, lpMultiByteStr + length, out);
    } else {
        const Conversion conversion("UTF-16LE", name);
        if (!conversion)
            return Fail<int>(ERROR_INVALID_PARAMETER);
        valid = WidenByIconv(conversion, lpMultiByteStr, lpMultiByteStr + length, out);
    }
    if (out.fits && !valid && (dwFlags & MB_ERR_INVALID_CHARS))
        return Fail<int>(ERROR_NO_UNICODE_TRANSLATION);
    return out.Finish();
}

int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar, LPSTR lpMultiByteStr,
                        int cbMultiByte, LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar)
{
    const char *name = platform::CodePageName(CodePage);
    if (!name || !lpWideCharStr || cchWideChar == 0 || cbMultiByte < 0 || (cbMultiByte > 0 && !lpMultiByteStr))
        return Fail<int>(ERROR_INVALID_PARAMETER);
    if (CodePage == CP_UTF8 && (lpDefaultChar || lpUsedDefaultChar))
        return Fail<int>(ERROR_INVALID_PARAMETER);
    const DWORD known = CodePage == CP_UTF8 ? WC_ERR_INVALID_CHARS : (WC_ERR_INVALID_CHARS | WC_NO_BEST_FIT_CHARS);
    if (dwFlags & ~known)
        return Fail<int>(ERROR_INVALID_FLAGS);

    const std::size_t length =
        cchWideChar < 0 ? std::char_traits<WCHAR>::length(lpWideCharStr) + 1 : static_cast<std::size_t>(cchWideChar);
    Output<char> out{lpMultiByteStr, cbMultiByte};
    bool valid;
    if (platform::IsUtf8(name)) {
        valid = NarrowUtf8(lpWideCharStr, lpWideCharStr + length, out);
        if (out.fits && !valid && (dwFlags & WC_ERR_INVALID_CHARS))
            return Fail<int>(ERROR_NO_UNICODE_TRANSLATION);
    } else {
        const Conversion conversion(name, "UTF-16LE");
        if (!conversion)
            return Fail<int>(ERROR_INVALID_PARAMETER);
        valid =
            NarrowByIconv(conversion, lpWideCharStr, lpWideCharStr + length, lpDefaultChar ? lpDefaultChar : "?", out);
    }
    if (lpUsedDefaultChar)
        *lpUsedDefaultChar = !valid;
    return out.Finish();
}
