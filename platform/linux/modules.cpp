// Modules by the dynamic loader. An HMODULE of an image is the loader's own record of it.
#include "last_error.h"
#include "message_catalogue.h"
#include "platform/locks/Mutex.h"
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <link.h>
#include <map>
#include <nl_types.h>
#include <string>
#include <unistd.h>

namespace
{
struct Modules {
    locks::Mutex lock;
    std::map<HMODULE, int> images GUARDED_BY(lock); // with how often each was loaded here
    std::map<HMODULE, nl_catd> catalogues GUARDED_BY(lock);
    ULONG_PTR lastCatalogue GUARDED_BY(lock) = 0;
};
Modules &Known()
{
    static Modules &modules = *new Modules;
    return modules;
}

link_map *ImageOf(const void *address)
{
    Dl_info info;
    void *map = nullptr;
    return dladdr1(address, &info, &map, RTLD_DL_LINKMAP) ? static_cast<link_map *>(map) : nullptr;
}

std::string ProgramPath()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

// The program's own record has no name.
std::string PathOf(const link_map *image)
{
    if (!image || !image->l_name || !*image->l_name)
        return ProgramPath();
    char path[PATH_MAX];
    return realpath(image->l_name, path) ? path : image->l_name;
}

std::string FolderOfThisImage()
{
    const std::string path = PathOf(ImageOf(reinterpret_cast<const void *>(&FolderOfThisImage)));
    return path.substr(0, path.rfind('/') + 1);
}

bool IsImage(HMODULE module)
{
    const locks::Hold held(Known().lock);
    return Known().images.count(module) != 0;
}

HMODULE LoadImage(const std::string &name)
{
    std::string path = name;
    if (name.find('/') == std::string::npos) {
        const std::string beside = FolderOfThisImage() + name;
        if (access(beside.c_str(), F_OK) == 0)
            path = beside;
    }
    void *image = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!image) {
        const bool there = path.find('/') != std::string::npos && access(path.c_str(), F_OK) == 0;
        return Fail<HMODULE>(there ? ERROR_BAD_EXE_FORMAT : ERROR_MOD_NOT_FOUND);
    }
    const auto module = static_cast<HMODULE>(image);
    const locks::Hold held(Known().lock);
    ++Known().images[module];
    return module;
}

HMODULE LoadCatalogue(const std::string &name)
{
    const nl_catd catalogue = catopen(name.c_str(), NL_CAT_LOCALE);
    if (catalogue == reinterpret_cast<nl_catd>(-1))
        return Fail<HMODULE>(ERROR_MOD_NOT_FOUND);
    const locks::Hold held(Known().lock);
    // Odd, as Windows' own handles of data files are, so that none is an image's.
    const auto module = reinterpret_cast<HMODULE>((Known().lastCatalogue += 2) | 1);
    Known().catalogues.emplace(module, catalogue);
    return module;
}
} // namespace

namespace platform
{
std::string CatalogueText(HMODULE module, DWORD id)
{
    const locks::Hold held(Known().lock);
    const auto found = Known().catalogues.find(module);
    if (found == Known().catalogues.end() || id > INT_MAX)
        return {};
    const char *text = catgets(found->second, 1, static_cast<int>(id), "");
    return text;
}
} // namespace platform

HMODULE LoadLibraryA(LPCSTR lpLibFileName)
{
    return LoadLibraryExA(lpLibFileName, nullptr, 0);
}

HMODULE LoadLibraryExA(LPCSTR lpLibFileName, HANDLE hFile, DWORD dwFlags)
{
    if (!lpLibFileName || !*lpLibFileName || hFile || (dwFlags & ~DWORD{LOAD_LIBRARY_AS_DATAFILE}))
        return Fail<HMODULE>(ERROR_INVALID_PARAMETER);
    return dwFlags ? LoadCatalogue(lpLibFileName) : LoadImage(lpLibFileName);
}

BOOL FreeLibrary(HMODULE hLibModule)
{
    const locks::Hold held(Known().lock);
    if (const auto found = Known().catalogues.find(hLibModule); found != Known().catalogues.end()) {
        catclose(found->second);
        Known().catalogues.erase(found);
        return TRUE;
    }
    const auto found = Known().images.find(hLibModule);
    if (found == Known().images.end() || found->second == 0) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (--found->second == 0)
        Known().images.erase(found);
    const locks::Released released(Known().lock); // destructors of the image may come back here
    return dlclose(hLibModule) == 0;
}

FARPROC GetProcAddress(HMODULE hModule, LPCSTR lpProcName)
{
    // Windows' ordinals, which images have not here.
    constexpr std::uintptr_t kOrdinals = 0x10000;
    if (hModule && !IsImage(hModule)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    const auto *image = hModule ? reinterpret_cast<link_map *>(hModule) : nullptr;
    void *found = reinterpret_cast<std::uintptr_t>(lpProcName) < kOrdinals
                      ? nullptr
                      : dlsym(hModule ? static_cast<void *>(hModule) : RTLD_DEFAULT, lpProcName);
    // The loader looks in what an image depends on too.
    if (found && image && ImageOf(found) != image)
        found = nullptr;
    if (!found)
        SetLastError(ERROR_PROC_NOT_FOUND);
    return reinterpret_cast<FARPROC>(found);
}

DWORD GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize)
{
    if (hModule && !IsImage(hModule)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return 0;
    }
    const std::string path = PathOf(reinterpret_cast<link_map *>(hModule));
    if (nSize == 0 || !lpFilename) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    const std::size_t copied = path.copy(lpFilename, nSize - 1);
    lpFilename[copied] = '\0';
    if (copied == path.size()) {
        SetLastError(ERROR_SUCCESS);
        return static_cast<DWORD>(copied);
    }
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return nSize;
}

BOOL GetModuleHandleExA(DWORD dwFlags, LPCSTR lpModuleName, HMODULE *phModule)
{
    constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!phModule || dwFlags != kFlags) {
        Fail<HMODULE>(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    link_map *image = ImageOf(lpModuleName);
    *phModule = reinterpret_cast<HMODULE>(image);
    if (!image) {
        Fail<HMODULE>(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    const locks::Hold held(Known().lock);
    Known().images[*phModule]; // known from now on, and held by nobody
    return TRUE;
}
