// MAPI's utility functions for x64. Windows' mapi32.dll exports them there by their plain names, Wine's by those of
// x86, so none can be imported: each is looked up when it is first called.
#include <mapiutil.h>
#include <mapix.h>
#include <windows.h>

namespace
{

// mapi32.dll is loaded: its entry points are imported. Null where it has the function by neither name.
template <class Function> Function *Find(const char *name, const char *nameOfX86)
{
    const HMODULE mapi = GetModuleHandleW(L"mapi32.dll");
    FARPROC found = GetProcAddress(mapi, name);
    if (!found)
        found = GetProcAddress(mapi, nameOfX86);
    return reinterpret_cast<Function *>(found);
}

} // namespace

STDAPI HrQueryAllRows(LPMAPITABLE table, LPSPropTagArray columns, LPSRestriction restriction, LPSSortOrderSet order,
                      LONG most, LPSRowSet *rows)
{
    static const auto function = Find<decltype(HrQueryAllRows)>("HrQueryAllRows", "HrQueryAllRows@24");
    return function ? function(table, columns, restriction, order, most, rows) : MAPI_E_NO_SUPPORT;
}

STDAPI HrGetOneProp(LPMAPIPROP object, ULONG tag, LPSPropValue *value)
{
    static const auto function = Find<decltype(HrGetOneProp)>("HrGetOneProp", "HrGetOneProp@12");
    return function ? function(object, tag, value) : MAPI_E_NO_SUPPORT;
}

STDAPI_(LPSPropValue) PpropFindProp(LPSPropValue values, ULONG count, ULONG tag)
{
    static const auto function = Find<decltype(PpropFindProp)>("PpropFindProp", "PpropFindProp@12");
    return function ? function(values, count, tag) : nullptr;
}

STDAPI_(void) FreePadrlist(LPADRLIST list)
{
    static const auto function = Find<decltype(FreePadrlist)>("FreePadrlist", "FreePadrlist@4");
    if (function)
        function(list);
}

STDAPI_(void) FreeProws(LPSRowSet rows)
{
    static const auto function = Find<decltype(FreeProws)>("FreeProws", "FreeProws@4");
    if (function)
        function(rows);
}
