// COM's start and end on a thread, its memory, and texts of GUIDs.
#include <cstdlib>
#include <objbase.h>
#include <string>

namespace
{
thread_local unsigned initialisations = 0;
thread_local DWORD threadModel = 0;

constexpr int kGuidLength = 38;

// `digits` hexadecimal digits; false at anything else.
bool ReadHex(const OLECHAR *&text, int digits, std::uint32_t &value)
{
    value = 0;
    for (; digits > 0; --digits, ++text) {
        const OLECHAR c = *text;
        const int digit = c >= '0' && c <= '9'   ? c - '0'
                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                 : -1;
        if (digit < 0)
            return false;
        value = value << 4 | static_cast<std::uint32_t>(digit);
    }
    return true;
}

bool Skip(const OLECHAR *&text, OLECHAR expected)
{
    if (*text != expected)
        return false;
    ++text;
    return true;
}

bool ReadGuid(const OLECHAR *text, GUID &guid)
{
    std::uint32_t first, second, third, byte;
    if (!Skip(text, u'{') || !ReadHex(text, 8, first) || !Skip(text, u'-') || !ReadHex(text, 4, second) ||
        !Skip(text, u'-') || !ReadHex(text, 4, third) || !Skip(text, u'-'))
        return false;
    guid.Data1 = first;
    guid.Data2 = static_cast<std::uint16_t>(second);
    guid.Data3 = static_cast<std::uint16_t>(third);
    for (int i = 0; i < 8; ++i) {
        if ((i == 2 && !Skip(text, u'-')) || !ReadHex(text, 2, byte))
            return false;
        guid.Data4[i] = static_cast<std::uint8_t>(byte);
    }
    return Skip(text, u'}') && *text == 0;
}

HRESULT GuidFromString(const OLECHAR *text, GUID *guid, HRESULT malformed)
{
    if (!guid)
        return E_INVALIDARG;
    *guid = {};
    GUID read;
    if (!text)
        return S_OK;
    if (!ReadGuid(text, read))
        return malformed;
    *guid = read;
    return S_OK;
}
} // namespace

HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit)
{
    if (pvReserved)
        return E_INVALIDARG;
    const DWORD model = dwCoInit & COINIT_APARTMENTTHREADED;
    if (initialisations > 0 && model != threadModel)
        return RPC_E_CHANGED_MODE;
    threadModel = model;
    return initialisations++ == 0 ? S_OK : S_FALSE;
}

HRESULT CoInitialize(LPVOID pvReserved)
{
    return CoInitializeEx(pvReserved, COINIT_APARTMENTTHREADED);
}

void CoUninitialize()
{
    if (initialisations > 0)
        --initialisations;
}

LPVOID CoTaskMemAlloc(SIZE_T cb)
{
    return std::malloc(cb > 0 ? cb : 1);
}

LPVOID CoTaskMemRealloc(LPVOID pv, SIZE_T cb)
{
    if (pv && cb == 0) {
        std::free(pv);
        return nullptr;
    }
    return std::realloc(pv, cb > 0 ? cb : 1);
}

void CoTaskMemFree(LPVOID pv)
{
    std::free(pv);
}

int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax)
{
    if (cchMax <= kGuidLength)
        return 0;
    char text[kGuidLength + 1];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", rguid.Data1, rguid.Data2,
                  rguid.Data3, rguid.Data4[0], rguid.Data4[1], rguid.Data4[2], rguid.Data4[3], rguid.Data4[4],
                  rguid.Data4[5], rguid.Data4[6], rguid.Data4[7]);
    for (int i = 0; i <= kGuidLength; ++i)
        lpsz[i] = static_cast<OLECHAR>(text[i]);
    return kGuidLength + 1;
}

HRESULT CLSIDFromString(LPCOLESTR lpsz, CLSID *pclsid)
{
    return GuidFromString(lpsz, pclsid, CO_E_CLASSSTRING);
}

HRESULT IIDFromString(LPCOLESTR lpsz, IID *lpiid)
{
    // A text of another length is a bad argument, one of the right length a bad IID.
    const bool sized = !lpsz || std::char_traits<OLECHAR>::length(lpsz) == kGuidLength;
    return GuidFromString(lpsz, lpiid, sized ? CO_E_IIDSTRING : E_INVALIDARG);
}
