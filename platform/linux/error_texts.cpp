// FormatMessageA: the system's texts for Win32 codes.
#include "last_error.h"
#include "message_catalogue.h"
#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace
{
struct ErrorText {
    DWORD code;
    int errnoValue;   // whose text says the same
    const char *text; // where none does
};
constexpr ErrorText kTexts[] = {
    {0, 0, nullptr},
    {1, 0, "Function not valid here"},
    {2, ENOENT, nullptr},
    {3, ENOENT, nullptr},
    {4, EMFILE, nullptr},
    {5, EACCES, nullptr},
    {6, 0, "Invalid handle"},
    {8, ENOMEM, nullptr},
    {11, ENOEXEC, nullptr},
    {13, 0, "Invalid data"},
    {14, ENOMEM, nullptr},
    {15, ENODEV, nullptr},
    {17, EXDEV, nullptr},
    {18, 0, "No more files"},
    {19, EROFS, nullptr},
    {21, 0, "Device not ready"},
    {25, ESPIPE, nullptr},
    {29, 0, "Write error"},
    {30, 0, "Read error"},
    {31, EIO, nullptr},
    {32, EBUSY, nullptr},
    {33, 0, "Part of the file is locked"},
    {38, 0, "End of file"},
    {50, EOPNOTSUPP, nullptr},
    {53, EHOSTUNREACH, nullptr},
    {64, ENETRESET, nullptr},
    {80, EEXIST, nullptr},
    {87, EINVAL, nullptr},
    {109, EPIPE, nullptr},
    {110, ENOENT, nullptr},
    {112, ENOSPC, nullptr},
    {120, ENOSYS, nullptr},
    {121, ETIMEDOUT, nullptr},
    {122, 0, "Buffer too small"},
    {123, 0, "Invalid name"},
    {126, 0, "Module not found"},
    {127, 0, "Entry point not found"},
    {145, ENOTEMPTY, nullptr},
    {170, EBUSY, nullptr},
    {183, EEXIST, nullptr},
    {193, ENOEXEC, nullptr},
    {206, ENAMETOOLONG, nullptr},
    {223, EFBIG, nullptr},
    {234, 0, "More data is available"},
    {258, ETIMEDOUT, nullptr},
    {259, 0, "No more items"},
    {267, ENOTDIR, nullptr},
    {288, 0, "Mutex not owned by the caller"},
    {317, 0, "No text for this message number"},
    {995, ECANCELED, nullptr},
    {998, EFAULT, nullptr},
    {1004, 0, "Invalid flags"},
    {1009, 0, "The settings file is damaged"},
    {1010, 0, "Invalid settings key"},
    {1018, 0, "The settings key was deleted"},
    {1113, EILSEQ, nullptr},
    {1168, 0, "Element not found"},
    {1223, ECANCELED, nullptr},
    {1225, ECONNREFUSED, nullptr},
    {1231, ENETUNREACH, nullptr},
    {1232, EHOSTUNREACH, nullptr},
    {1236, ECONNABORTED, nullptr},
    {1314, EPERM, nullptr},
    {1326, 0, "Unknown user name or wrong password"},
    {1400, 0, "Invalid window handle"},
    {1444, 0, "Invalid thread identifier"},
    {1450, ENOBUFS, nullptr},
    {1460, ETIMEDOUT, nullptr},
    {1722, 0, "The server can't be reached"},
    {1813, 0, "The module has no message texts"},
    {1816, EDQUOT, nullptr},
    {10013, EACCES, nullptr},
    {10048, EADDRINUSE, nullptr},
    {10051, ENETUNREACH, nullptr},
    {10053, ECONNABORTED, nullptr},
    {10054, ECONNRESET, nullptr},
    {10060, ETIMEDOUT, nullptr},
    {10061, ECONNREFUSED, nullptr},
    {10065, EHOSTUNREACH, nullptr},
    {11001, 0, "Unknown host"},
};

std::string SystemText(DWORD id)
{
    const DWORD code = id >> 16 == (0x8000 | FACILITY_WIN32) ? id & 0xFFFF : id;
    const auto found = std::find_if(std::begin(kTexts), std::end(kTexts),
                                    [code](const ErrorText &candidate) { return candidate.code == code; });
    if (found == std::end(kTexts))
        return {};
    if (found->text)
        return found->text;
    char buffer[256];
    return strerror_r(found->errnoValue, buffer, sizeof buffer);
}

} // namespace

DWORD FormatMessageA(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD, LPSTR lpBuffer, DWORD nSize, va_list *)
{
    constexpr DWORD kSources = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM;
    constexpr DWORD kKnown =
        kSources | FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    if (!lpBuffer || !(dwFlags & kSources) || !(dwFlags & FORMAT_MESSAGE_IGNORE_INSERTS) || (dwFlags & ~kKnown))
        return Fail<DWORD>(ERROR_INVALID_PARAMETER);
    std::string text;
    if (dwFlags & FORMAT_MESSAGE_FROM_HMODULE)
        text = platform::CatalogueText(static_cast<HMODULE>(const_cast<void *>(lpSource)), dwMessageId);
    if (text.empty() && (dwFlags & FORMAT_MESSAGE_FROM_SYSTEM))
        text = SystemText(dwMessageId);
    if (text.empty())
        return Fail<DWORD>(ERROR_MR_MID_NOT_FOUND);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    // With a width given, the line break that a message ends with is left out.
    if (!(dwFlags & FORMAT_MESSAGE_MAX_WIDTH_MASK))
        text += "\r\n";

    char *target = lpBuffer;
    if (dwFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
        target = static_cast<char *>(std::malloc(std::max<std::size_t>(nSize, text.size() + 1)));
        *reinterpret_cast<char **>(lpBuffer) = target;
        if (!target)
            return Fail<DWORD>(ERROR_NOT_ENOUGH_MEMORY);
    } else if (nSize <= text.size()) {
        return Fail<DWORD>(ERROR_INSUFFICIENT_BUFFER);
    }
    std::copy(text.c_str(), text.c_str() + text.size() + 1, target);
    return static_cast<DWORD>(text.size());
}

HLOCAL LocalFree(HLOCAL hMem)
{
    std::free(hMem);
    return nullptr;
}
