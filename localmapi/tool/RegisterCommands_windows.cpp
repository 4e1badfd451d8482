#include "localmapi/tool/Tool.h"
#include "tools/common/Text.h"
#include <cstdio>
#include <windows.h>

namespace localmapi::tool
{

namespace
{

// The DLL beside this program registers itself, so that what is registered is its own path.
void Call(const char *entryPoint, const char *tried)
{
    WCHAR path[MAX_PATH] = {};
    if (GetModuleFileNameW(nullptr, path, MAX_PATH) == 0)
        throw Failure("this program's own place is not known");
    std::wstring dll(path);
    dll.replace(dll.rfind(L'\\') + 1, std::wstring::npos, L"localmapi.dll");
    const HMODULE module = LoadLibraryW(dll.c_str());
    if (!module)
        throw Failure(::tool::ToUtf8(dll) + " could not be loaded (error " + std::to_string(GetLastError()) + ")");
    const auto function = reinterpret_cast<HRESULT(STDAPICALLTYPE *)()>(GetProcAddress(module, entryPoint));
    const HRESULT hr = function ? function() : E_NOTIMPL;
    FreeLibrary(module);
    if (FAILED(hr)) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08lx", hr);
        throw Failure(std::string(tried) + ": " + code +
                      (hr == E_ACCESSDENIED ? " (it needs the rights to write HKEY_LOCAL_MACHINE)" : ""));
    }
}

} // namespace

void RegisterMailClient(const Common &common)
{
    Call("DllRegisterServer", "localmapi could not be made the default mail client");
    if (common.json)
        PrintJson({{"registered", true}});
    else
        PrintLine("localmapi is the default mail client");
}

void UnregisterMailClient(const Common &common)
{
    Call("DllUnregisterServer", "the former default mail client could not be put back");
    if (common.json)
        PrintJson({{"registered", false}});
    else
        PrintLine("the former default mail client is put back");
}

} // namespace localmapi::tool
