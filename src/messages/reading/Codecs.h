// The external modules that decompress voice streams into files. They lie beside the library's own file, are loaded
// on first use and stay loaded; any thread may use them.
#pragma once
#include <objidl.h>
#include <windows.h>

enum class Codec {
    Gsm,          // KRNBRANE.vcl
    WindowsMedia, // KRN_WMA.vcl
};

// Builds the modules' paths from the directory of a module's file, at most 260 characters each; does nothing once
// they are built. Runs with the library's own module when the library is loaded.
void BuildCodecPaths(HMODULE hModule);
const char *CodecPath(Codec codec);

// Has a module write a stream into a file and gives its result; E_FAIL where the module, or its entry point
// "DecompressStream", is missing. The format description is null for Windows Media.
HRESULT DecompressStream(Codec codec, IStream *pStream, const char *szFilename, const WCHAR *szFormat);
