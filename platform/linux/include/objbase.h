// COM's start and end on a thread, its memory, texts of GUIDs, and storages.
#pragma once
#include <windows.h>

#define COINIT_MULTITHREADED 0x0
#define COINIT_APARTMENTTHREADED 0x2

extern "C" {

// Counted for each thread: S_FALSE when the thread has called it before. There are no apartments: the first call's
// model is remembered, and a different one later gives RPC_E_CHANGED_MODE.
HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit);
HRESULT CoInitialize(LPVOID pvReserved);
void CoUninitialize();

LPVOID CoTaskMemAlloc(SIZE_T cb);
LPVOID CoTaskMemRealloc(LPVOID pv, SIZE_T cb);
void CoTaskMemFree(LPVOID pv);

int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax);
// No registry of classes: a text that is not a GUID's gives CO_E_CLASSSTRING.
HRESULT CLSIDFromString(LPCOLESTR lpsz, CLSID *pclsid);
HRESULT IIDFromString(LPCOLESTR lpsz, IID *lpiid);

// Only STGM_CONVERT of an existing file: it is wrapped, and left as it is, as a storage with the one read-only
// stream "CONTENTS". (On Windows the file itself turns into a compound file when such a storage is committed.) Other
// modes give STG_E_INVALIDFLAG.
HRESULT StgCreateDocfile(const WCHAR *pwcsName, DWORD grfMode, DWORD reserved, IStorage **ppstgOpen);

} // extern "C"
