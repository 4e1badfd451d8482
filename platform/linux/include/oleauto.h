// Automation texts, variants and variant dates.
#pragma once
#include <objbase.h>

enum VARENUM {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_UI4 = 19,
    VT_INT = 22,
    VT_UINT = 23
};
#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

// Only the members of the types above; 16 bytes, as on 32-bit Windows.
typedef struct tagVARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        SHORT iVal;
        LONG lVal;
        ULONG ulVal;
        INT intVal;
        UINT uintVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        DATE date;
        BSTR bstrVal;
    };
} VARIANT, VARIANTARG;
static_assert(sizeof(VARIANT) == 16);

BSTR SysAllocString(const OLECHAR *psz);
BSTR SysAllocStringLen(const OLECHAR *strIn, UINT ui);
BSTR SysAllocStringByteLen(LPCSTR psz, UINT len);
void SysFreeString(BSTR bstrString);
UINT SysStringLen(BSTR pbstr);
UINT SysStringByteLen(BSTR bstr);

void VariantInit(VARIANTARG *pvarg);
HRESULT VariantClear(VARIANTARG *pvarg);
// To VT_BSTR, or to the type that the variant has already; anything else gives DISP_E_TYPEMISMATCH.
HRESULT VariantChangeType(VARIANTARG *pvargDest, const VARIANTARG *pvarSrc, USHORT wFlags, VARTYPE vt);

INT VariantTimeToSystemTime(DOUBLE vtime, LPSYSTEMTIME lpSystemTime);
INT SystemTimeToVariantTime(LPSYSTEMTIME lpSystemTime, DOUBLE *pvtime);
// The locale is the process's, whatever lcid names it; the only flag is LOCALE_NOUSEROVERRIDE. Takes numbers in the
// locale's order, or in another one where they fit no date so, months by number or by their names, weekdays, which are
// not compared with the date, and a time of 24 or 12 hours before or behind the date. What is missing is this year, the
// first of the month, midnight, or, of a time alone, the first day of variant dates. Of a day, a month's name and a
// year of two digits, the day comes first except where the locale begins with the year.
HRESULT VarDateFromStr(OLECHAR *strIn, LCID lcid, ULONG dwFlags, DATE *pdateOut);
