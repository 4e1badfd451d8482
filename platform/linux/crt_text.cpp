// Bounded copies, comparisons without case, paths and files of the Windows C runtime.
#include "code_page.h"
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>
#include <strings.h>
#include <windows.h>

namespace
{
template <class Char> errno_t Copy(Char *target, rsize_t size, const Char *source)
{
    if (!target || size == 0)
        return EINVAL;
    if (!source) {
        target[0] = 0;
        return EINVAL;
    }
    for (rsize_t i = 0; i < size; ++i)
        if ((target[i] = source[i]) == 0)
            return 0;
    target[0] = 0;
    return ERANGE;
}

// The letters A to Z only, as in the "C" locale that the runtime starts with.
int LowerCase(char character)
{
    return character >= 'A' && character <= 'Z' ? character - 'A' + 'a' : static_cast<unsigned char>(character);
}

struct PathPart {
    char *buffer;
    std::size_t size;

    bool Invalid() const { return (buffer == nullptr) != (size == 0); }
    bool Take(std::string_view text) const
    {
        if (!buffer)
            return true;
        if (text.size() >= size)
            return false;
        text.copy(buffer, text.size());
        buffer[text.size()] = '\0';
        return true;
    }
    void Empty() const
    {
        if (buffer && size > 0)
            buffer[0] = '\0';
    }
};
} // namespace

errno_t strcpy_s(char *dest, rsize_t dest_size, const char *src)
{
    return Copy(dest, dest_size, src);
}

errno_t wcscpy_s(WCHAR *dest, rsize_t dest_size, const WCHAR *src)
{
    return Copy(dest, dest_size, src);
}

int _strnicmp(const char *string1, const char *string2, std::size_t count)
{
    for (; count > 0; --count, ++string1, ++string2) {
        const int difference = LowerCase(*string1) - LowerCase(*string2);
        if (difference != 0 || *string1 == '\0')
            return difference;
    }
    return 0;
}

int _stricmp(const char *string1, const char *string2)
{
    return _strnicmp(string1, string2, SIZE_MAX);
}

char *_strdup(const char *strSource)
{
    return strSource ? strdup(strSource) : nullptr;
}

errno_t _splitpath_s(const char *path, char *drive, std::size_t driveNumberOfElements, char *dir,
                     std::size_t dirNumberOfElements, char *fname, std::size_t nameNumberOfElements, char *ext,
                     std::size_t extNumberOfElements)
{
    const PathPart parts[] = {{drive, driveNumberOfElements},
                              {dir, dirNumberOfElements},
                              {fname, nameNumberOfElements},
                              {ext, extNumberOfElements}};
    errno_t result = 0;
    if (!path)
        result = EINVAL;
    for (const PathPart &part : parts)
        if (part.Invalid())
            result = EINVAL;
    if (result == 0) {
        const std::string_view whole(path);
        const std::size_t nameBegin = whole.rfind('/') + 1; // npos + 1 is 0
        const std::string_view file = whole.substr(nameBegin);
        const std::size_t dot = std::min(file.rfind('.'), file.size());
        const bool fits = parts[0].Take("") && parts[1].Take(whole.substr(0, nameBegin)) &&
                          parts[2].Take(file.substr(0, dot)) && parts[3].Take(file.substr(dot));
        if (fits)
            return 0;
        result = ERANGE;
    }
    for (const PathPart &part : parts)
        part.Empty();
    errno = result;
    return result;
}

errno_t fopen_s(FILE **pFile, const char *filename, const char *mode)
{
    if (!pFile)
        return errno = EINVAL;
    *pFile = nullptr;
    if (!filename || !mode)
        return errno = EINVAL;
    // Files are not handed on to programs that the host starts.
    const std::string closing = std::string(mode) + "e";
    *pFile = std::fopen(filename, closing.c_str());
    return *pFile ? 0 : errno;
}

errno_t _wfopen_s(FILE **pFile, const WCHAR *filename, const WCHAR *mode)
{
    if (!pFile)
        return errno = EINVAL;
    *pFile = nullptr;
    if (!filename || !mode)
        return errno = EINVAL;
    const std::string name = platform::Narrow(filename, std::char_traits<WCHAR>::length(filename));
    const std::string narrowMode = platform::Narrow(mode, std::char_traits<WCHAR>::length(mode));
    return fopen_s(pFile, name.c_str(), narrowMode.c_str());
}
