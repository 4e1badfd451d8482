#include "messages/reading/Codecs.h"
#include "common/base/AnyConvention.h"
#include "common/text/tstring.h"
#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace
{

constexpr std::size_t kMostPath = 260;

struct Module {
    const char *szPathFormat; // of drive and directory
    char szPath[kMostPath] = {};
    // Two threads may load a module at the same time: both get the same handle and the same entry point.
    std::atomic<HMODULE> hModule{nullptr};
    std::atomic<FARPROC> pfnDecompressStream{nullptr};
};

Module g_modules[] = {{"%s%sKRNBRANE.vcl"}, {"%s%sKRN_WMA.vcl"}};

Module &ModuleOf(Codec codec)
{
    return g_modules[codec == Codec::Gsm ? 0 : 1];
}

// A place in this library's own image.
const char kOwnImage = 0;

// Without a path of its own a module would be looked for in folders that others may write to, so a path that can't
// be built stays empty, and is not loaded.
[[maybe_unused]] const bool g_pathsBuilt = [] {
    HMODULE hModule = nullptr;
    if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           &kOwnImage, &hModule))
        BuildCodecPaths(hModule);
    return true;
}();

FARPROC EntryPoint(Module &module)
{
    HMODULE hModule = module.hModule;
    if (!hModule && *module.szPath)
        module.hModule = hModule = LoadLibraryA(module.szPath);
    FARPROC pfn = module.pfnDecompressStream;
    if (hModule && !pfn)
        module.pfnDecompressStream = pfn = GetProcAddress(hModule, "DecompressStream");
    return pfn;
}

} // namespace

void BuildCodecPaths(HMODULE hModule)
{
    if (*ModuleOf(Codec::Gsm).szPath)
        return;
    char own[kMostPath];
    char drive[_MAX_DRIVE];
    char directory[_MAX_DIR];
    const DWORD length = GetModuleFileNameA(hModule, own, sizeof own);
    if (length == 0 || length >= sizeof own ||
        _splitpath_s(own, drive, sizeof drive, directory, sizeof directory, nullptr, 0, nullptr, 0) != 0)
        return;
    for (Module &module : g_modules)
        if (_snprintf_s(module.szPath, sizeof module.szPath, _TRUNCATE, module.szPathFormat, drive, directory) < 0)
            *module.szPath = '\0';
}

const char *CodecPath(Codec codec)
{
    return ModuleOf(codec).szPath;
}

HRESULT DecompressStream(Codec codec, IStream *pStream, const char *szFilename, const WCHAR *szFormat)
{
    const FARPROC pfn = EntryPoint(ModuleOf(codec));
    if (!pfn)
        return E_FAIL;
    return static_cast<HRESULT>(CallEitherConvention(pfn, pStream, szFilename, szFormat));
}
