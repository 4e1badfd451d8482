// Automation texts and variants.
#include <cmath>
#include <cstdlib>
#include <new>
#include <oleauto.h>
#include <string>

namespace
{
// The length in bytes stands before the text; the text itself is aligned as any memory.
constexpr std::size_t kHeader = alignof(std::max_align_t);

DWORD &ByteLength(BSTR text)
{
    return reinterpret_cast<DWORD *>(text)[-1];
}

BSTR Allocate(std::size_t bytes)
{
    constexpr std::size_t kTerminator = 2 * sizeof(OLECHAR);
    if (bytes > UINT32_MAX - kHeader - kTerminator)
        return nullptr;
    auto *block = static_cast<char *>(std::calloc(1, kHeader + bytes + kTerminator));
    if (!block)
        return nullptr;
    const auto text = reinterpret_cast<BSTR>(block + kHeader);
    ByteLength(text) = static_cast<DWORD>(bytes);
    return text;
}

std::string FloatText(double value, int digits)
{
    char text[64];
    if (std::isinf(value))
        return value < 0 ? "-INF" : "INF";
    // With a point, whatever the host's locale makes of it.
    std::snprintf(text, sizeof text, "%.*G", digits, value == 0 ? 0 : value);
    for (char *c = text; *c; ++c)
        if (*c == ',')
            *c = '.';
    return text;
}

std::string DateText(const SYSTEMTIME &time, bool withDate, bool withTime)
{
    char text[256] = "";
    std::string result;
    if (withDate && GetDateFormatA(LOCALE_USER_DEFAULT, 0, &time, nullptr, text, sizeof text))
        result = text;
    if (withTime && GetTimeFormatA(LOCALE_USER_DEFAULT, 0, &time, nullptr, text, sizeof text))
        result += (result.empty() ? "" : " ") + std::string(text);
    return result;
}

HRESULT ToText(const VARIANT &value, USHORT flags, std::string &text)
{
    constexpr USHORT kAlphaBool = 2; // VARIANT_ALPHABOOL
    switch (value.vt) {
    case VT_EMPTY:
        return S_OK;
    case VT_I2:
        text = std::to_string(value.iVal);
        return S_OK;
    case VT_I4:
    case VT_INT:
        text = std::to_string(value.lVal);
        return S_OK;
    case VT_UI4:
    case VT_UINT:
        text = std::to_string(value.ulVal);
        return S_OK;
    case VT_R4:
        text = FloatText(value.fltVal, 7);
        return S_OK;
    case VT_R8:
        text = FloatText(value.dblVal, 15);
        return S_OK;
    case VT_BOOL:
        text = flags & kAlphaBool ? (value.boolVal ? "True" : "False") : std::to_string(value.boolVal);
        return S_OK;
    case VT_DATE: {
        SYSTEMTIME time;
        if (!VariantTimeToSystemTime(value.date, &time))
            return E_INVALIDARG;
        const bool hasDate = std::trunc(value.date) != 0;
        text = DateText(time, hasDate, !hasDate || time.wHour || time.wMinute || time.wSecond);
        return S_OK;
    }
    case VT_NULL:
    case VT_ERROR:
        return DISP_E_TYPEMISMATCH;
    default:
        return DISP_E_BADVARTYPE;
    }
}

bool IsKnownType(VARTYPE type)
{
    switch (type) {
    case VT_EMPTY:
    case VT_NULL:
    case VT_I2:
    case VT_I4:
    case VT_R4:
    case VT_R8:
    case VT_DATE:
    case VT_BSTR:
    case VT_ERROR:
    case VT_BOOL:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
        return true;
    default:
        return false;
    }
}
} // namespace

BSTR SysAllocString(const OLECHAR *psz)
{
    return psz ? SysAllocStringLen(psz, static_cast<UINT>(std::char_traits<OLECHAR>::length(psz))) : nullptr;
}

BSTR SysAllocStringLen(const OLECHAR *strIn, UINT ui)
{
    const BSTR text = Allocate(std::size_t{ui} * sizeof(OLECHAR));
    if (text && strIn)
        std::memcpy(text, strIn, std::size_t{ui} * sizeof(OLECHAR));
    return text;
}

BSTR SysAllocStringByteLen(LPCSTR psz, UINT len)
{
    const BSTR text = Allocate(len);
    if (text && psz)
        std::memcpy(text, psz, len);
    return text;
}

void SysFreeString(BSTR bstrString)
{
    if (bstrString)
        std::free(reinterpret_cast<char *>(bstrString) - kHeader);
}

UINT SysStringLen(BSTR pbstr)
{
    return static_cast<UINT>(SysStringByteLen(pbstr) / sizeof(OLECHAR));
}

UINT SysStringByteLen(BSTR bstr)
{
    return bstr ? ByteLength(bstr) : 0;
}

void VariantInit(VARIANTARG *pvarg)
{
    *pvarg = {};
}

HRESULT VariantClear(VARIANTARG *pvarg)
{
    if (!IsKnownType(pvarg->vt))
        return DISP_E_BADVARTYPE;
    if (pvarg->vt == VT_BSTR)
        SysFreeString(pvarg->bstrVal);
    *pvarg = {};
    return S_OK;
}

HRESULT VariantChangeType(VARIANTARG *pvargDest, const VARIANTARG *pvarSrc, USHORT wFlags, VARTYPE vt)
{
    if (!IsKnownType(pvarSrc->vt))
        return DISP_E_BADVARTYPE;
    if (vt != VT_BSTR && vt != pvarSrc->vt)
        return DISP_E_TYPEMISMATCH;
    VARIANT changed = *pvarSrc;
    if (pvarSrc->vt == VT_BSTR) {
        changed.bstrVal =
            SysAllocStringByteLen(reinterpret_cast<LPCSTR>(pvarSrc->bstrVal), SysStringByteLen(pvarSrc->bstrVal));
    } else if (vt == VT_BSTR) {
        std::string text;
        const HRESULT result = ToText(*pvarSrc, wFlags, text);
        if (result != S_OK)
            return result;
        const int length = static_cast<int>(text.size());
        changed.bstrVal = SysAllocStringLen(nullptr, static_cast<UINT>(length));
        // The texts are ASCII but for the names in a locale's dates.
        if (changed.bstrVal && length > 0) {
            const int units = MultiByteToWideChar(CP_ACP, 0, text.data(), length, changed.bstrVal, length);
            ByteLength(changed.bstrVal) = static_cast<DWORD>(units) * sizeof(OLECHAR);
            changed.bstrVal[units] = 0;
        }
    }
    if (vt == VT_BSTR && !changed.bstrVal)
        return E_OUTOFMEMORY;
    changed.vt = vt;
    // The target may be the source.
    const HRESULT cleared = VariantClear(pvargDest);
    if (cleared != S_OK) {
        VariantClear(&changed);
        return cleared;
    }
    *pvargDest = changed;
    return S_OK;
}
