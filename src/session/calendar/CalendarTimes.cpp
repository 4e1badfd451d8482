// Local dates as UTC. The offset is the one that holds now, whatever the date.
#include "common/mapi/Operation.h"
#include "session/CMAPIImpl.h"
#include <oleauto.h>

HRESULT CMAPIImpl::UCTTimeFromString(const WCHAR *szTime, SYSTEMTIME *pUtc)
{
    const Operation op("CMAPIImpl::UCTTimeFromString", "szTime: \"%s\", pUtc: %p", tstring(szTime).c_str(),
                       static_cast<void *>(pUtc));
    return op.Stage([&]() -> HRESULT {
        DATE date = 0;
        HRESULT hr = VarDateFromStr(const_cast<WCHAR *>(szTime), LOCALE_USER_DEFAULT, LOCALE_NOUSEROVERRIDE, &date);
        if (FAILED(hr))
            return op.Failed("VarDateFromStr", nullptr, hr);
        SYSTEMTIME local = {};
        if (VariantTimeToSystemTime(date, &local) != 1) {
            op.Failed("VariantTimeToSystemTime", nullptr, static_cast<HRESULT>(GetLastError()));
            return E_INVALIDARG;
        }
        return UCTTimeFromLocalTime(&local, pUtc);
    });
}

HRESULT CMAPIImpl::UCTTimeFromLocalTime(const SYSTEMTIME *pLocal, SYSTEMTIME *pUtc)
{
    const Operation op("CMAPIImpl::UCTTimeFromLocalTime", "pLocal: %p, pUtc: %p", static_cast<const void *>(pLocal),
                       static_cast<void *>(pUtc));
    return op.Stage([&]() -> HRESULT {
        // A failure is reported and not returned: the time is then left as it was, as the contract has it.
        FILETIME local = {};
        FILETIME utc = {};
        if (!SystemTimeToFileTime(pLocal, &local))
            op.Failed("SystemTimeToFileTime", nullptr, static_cast<HRESULT>(GetLastError()));
        else if (!LocalFileTimeToFileTime(&local, &utc))
            op.Failed("LocalFileTimeToFileTime", nullptr, static_cast<HRESULT>(GetLastError()));
        else if (!FileTimeToSystemTime(&utc, pUtc))
            op.Failed("FileTimeToSystemTime", nullptr, static_cast<HRESULT>(GetLastError()));
        return S_OK;
    });
}
