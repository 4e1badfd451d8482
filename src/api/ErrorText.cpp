// The symbolic name of a result. Needs no connection, and knows the library's own table only.
#include "api/Frame.h"
#include "api/TextFlavour.h"
#include <string.h>

namespace
{

constexpr int kFirstLine = 6000;

} // namespace

void ORLAPI OrlGetErrorTextA(DWORD, HRESULT hr, char *pszBuffer, ULONG cchBuffer)
{
    Contained(ORL_HERE("OrlGetErrorTextA"), [&] { strcpy_s(pszBuffer, cchBuffer, GetHResultName(hr)); });
}

void ORLAPI OrlGetErrorTextW(DWORD, HRESULT hr, WCHAR *pszBuffer, ULONG cchBuffer)
{
    Contained(ORL_HERE("OrlGetErrorTextW"), [&] {
        wtext wide;
        tstring(GetHResultName(hr)).ToWide(wide, 65001);
        wcscpy_s(pszBuffer, cchBuffer, wide.c_str());
    });
}
