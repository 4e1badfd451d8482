// A codec module of the tests: it tells in the destination file what it was called with, and gives the result that
// the stream asks for. Built with each calling convention.
#include <cstdio>
#include <objidl.h>
#include <windows.h>

#if defined(_WIN32)
#define EXPORTED extern "C" __declspec(dllexport)
#else
#define EXPORTED extern "C" __attribute__((visibility("default")))
#endif

EXPORTED HRESULT CODEC_CONVENTION DecompressStream(IStream *pStream, const char *szFilename, const WCHAR *szFormat);

// The file gets three lines: the module's name, the format description, and what is left of the stream. A stream whose
// last byte is '!' fails.
EXPORTED HRESULT CODEC_CONVENTION DecompressStream(IStream *pStream, const char *szFilename, const WCHAR *szFormat)
{
    std::FILE *file = std::fopen(szFilename, "wb");
    if (!file)
        return E_ACCESSDENIED;
    std::fputs(CODEC_NAME "\n", file);
    if (!szFormat)
        std::fputs("NULL", file);
    for (; szFormat && *szFormat; ++szFormat)
        std::fputc(static_cast<char>(*szFormat), file);
    std::fputc('\n', file);
    char last = 0;
    for (;;) {
        char one = 0;
        ULONG cbRead = 0;
        if (FAILED(pStream->Read(&one, 1, &cbRead)) || cbRead == 0)
            break;
        std::fputc(one, file);
        last = one;
    }
    std::fclose(file);
    return last == '!' ? HRESULT(0x80040301) : HRESULT(0x00040001);
}
