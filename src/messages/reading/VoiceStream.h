// Saving a voice attachment's stream as a file that can be played.
#pragma once
#include <objidl.h>
#include <windows.h>

// Writes a stream to a file, by what it holds: Windows Media (which the caller knows) and GSM 6.10 through their
// codec modules, uncompressed PCM byte for byte. E_FAIL, and no file, for anything else.
HRESULT SaveStreamToFile(IStream *pStream, BYTE bWMA, const char *szFilename);

// Finds a chunk in a RIFF stream, from where the stream stands: its size, with the stream at the chunk's data; 0
// where there is none. Chunks are skipped by their size exactly as it is stored: a pad byte after an odd-sized chunk
// is taken for the beginning of the next chunk.
ULONG FindChunk(IStream *pStream, const char (&identifier)[5]);

// The format tag of a RIFF WAVE stream; 0 for any other stream.
WORD ReadFormatTag(IStream *pStream);
