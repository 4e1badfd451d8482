// The exported functions, by MAPI's names.
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/property/FindProp.h"
#include "localmapi/provider/session/Logon.h"
#include "localmapi/provider/session/Process.h"
#include "localmapi/provider/stream/FileStream.h"
#include "localmapi/provider/table/QueryRows.h"

using namespace localmapi;

extern "C" {

HRESULT WINAPI MAPIInitialize(LPVOID lpMapiInit)
{
    return Initialize(static_cast<const MAPIINIT_0 *>(lpMapiInit));
}

void WINAPI MAPIUninitialize(void)
{
    Uninitialize();
}

HRESULT WINAPI MAPILogonEx(ULONG_PTR, LPTSTR lpszProfileName, LPTSTR, ULONG ulFlags, LPMAPISESSION *lppSession)
{
    return Logon(lpszProfileName, ulFlags, lppSession);
}

HRESULT WINAPI MAPIAdminProfiles(ULONG ulFlags, LPPROFADMIN *lppProfAdmin)
{
    return AdminProfiles(ulFlags, lppProfAdmin);
}

SCODE WINAPI MAPIAllocateBuffer(ULONG cbSize, LPVOID *lppBuffer)
{
    return AllocateBuffer(cbSize, lppBuffer);
}

SCODE WINAPI MAPIAllocateMore(ULONG cbSize, LPVOID lpObject, LPVOID *lppBuffer)
{
    return AllocateMore(cbSize, lpObject, lppBuffer);
}

ULONG WINAPI MAPIFreeBuffer(LPVOID lpBuffer)
{
    return FreeBuffer(lpBuffer);
}

STDAPI HrQueryAllRows(LPMAPITABLE lpTable, LPSPropTagArray lpPropTags, LPSRestriction lpRestriction,
                      LPSSortOrderSet lpSortOrderSet, LONG crowsMax, LPSRowSet *lppRows)
{
    return QueryAllRows(lpTable, lpPropTags, lpRestriction, lpSortOrderSet, crowsMax, lppRows);
}

STDAPI HrGetOneProp(LPMAPIPROP lpMapiProp, ULONG ulPropTag, LPSPropValue *lppProp)
{
    return GetOneProp(lpMapiProp, ulPropTag, lppProp);
}

// The stream has memory of its own, so that neither allocator is needed.
STDMETHODIMP OpenStreamOnFile(LPALLOCATEBUFFER, LPFREEBUFFER, ULONG ulFlags, LPTSTR lpszFileName, LPTSTR lpszPrefix,
                              LPSTREAM *lppStream)
{
    return OpenFileStream(ulFlags, lpszFileName, lpszPrefix, lppStream);
}

STDAPI_(LPSPropValue) PpropFindProp(LPSPropValue lpPropArray, ULONG cValues, ULONG ulPropTag)
{
    return FindProp(lpPropArray, cValues, ulPropTag);
}

STDAPI_(void) FreePadrlist(LPADRLIST lpAdrlist)
{
    FreeAddresses(lpAdrlist);
}

STDAPI_(void) FreeProws(LPSRowSet lpRows)
{
    FreeRows(lpRows);
}
}
