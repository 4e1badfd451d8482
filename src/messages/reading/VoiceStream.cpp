// A stream is told by its first chunk and copied, or handed to the codec that knows it.
#include "messages/reading/VoiceStream.h"
#include "common/errors/errors.h"
#include "common/trace/debug.h"
#include "messages/reading/Codecs.h"
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace
{

constexpr WORD kWaveFormatPcm = 0x0001;
constexpr WORD kWaveFormatGsm610 = 0x0031;
constexpr OLECHAR kGsmFormat[] = OLESTR("TXC[RATE=13000]:WAV GSM, 8 kHz, mono");
constexpr ULONG kCopyBlock = 4096;
constexpr std::size_t kGatheredBytes = 256 * 1024;
constexpr ULONG kSkipBlock = 100;

HRESULT Rewind(IStream *pStream)
{
    LARGE_INTEGER start = {};
    return pStream->Seek(start, STREAM_SEEK_SET, nullptr);
}

bool ReadExactly(IStream *pStream, void *buffer, ULONG cb)
{
    ULONG cbRead = 0;
    return SUCCEEDED(pStream->Read(buffer, cb, &cbRead)) && cbRead == cb;
}

bool ReadIdentifier(IStream *pStream, const char (&identifier)[5])
{
    char found[4];
    return ReadExactly(pStream, found, sizeof found) && std::memcmp(found, identifier, sizeof found) == 0;
}

bool Skip(IStream *pStream, ULONG cb)
{
    char skipped[kSkipBlock];
    while (cb > 0) {
        const ULONG block = std::min(cb, kSkipBlock);
        if (!ReadExactly(pStream, skipped, block))
            return false;
        cb -= block;
    }
    return true;
}

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

// Copies from where the stream stands. A file that can't be written fails the copy; a stream that fails half-way ends
// it as its end does, as the contract has it.
HRESULT CopyToFile(IStream *pStream, const char *szFilename)
{
    // Blocks are gathered, so that a long recording takes few writes to disk.
    std::vector<char> gathered(kGatheredBytes);
    std::FILE *opened = nullptr;
    if (fopen_s(&opened, szFilename, "w+b") != 0 || !opened) {
        TraceHResult("SaveStreamToFile", __LINE__, E_FAIL, "fopen_s", "trying to create the file \"%s\".", szFilename);
        return E_FAIL;
    }
    std::unique_ptr<std::FILE, CloseFile> file(opened);
    std::setvbuf(file.get(), gathered.data(), _IOFBF, gathered.size());

    bool written = true;
    for (;;) {
        char block[kCopyBlock];
        ULONG cbRead = 0;
        const HRESULT hr = pStream->Read(block, kCopyBlock, &cbRead);
        if (FAILED(hr))
            TraceHResult("SaveStreamToFile", __LINE__, hr, "Read",
                         "trying to read the voice stream; the file \"%s\" holds what came before.", szFilename);
        if (FAILED(hr) || cbRead == 0 || cbRead > kCopyBlock)
            break;
        written = std::fwrite(block, 1, cbRead, file.get()) == cbRead;
        if (!written)
            break;
    }
    // What is still in the buffer may not fit; not every runtime says so when the file is closed.
    if (std::fflush(file.get()) != 0 || std::fclose(file.release()) != 0)
        written = false;
    if (!written) {
        TraceHResult("SaveStreamToFile", __LINE__, STG_E_MEDIUMFULL, "fwrite",
                     "trying to write the voice stream to the file \"%s\".", szFilename);
        return STG_E_MEDIUMFULL;
    }
    return S_OK;
}

} // namespace

ULONG FindChunk(IStream *pStream, const char (&identifier)[5])
{
    for (;;) {
        char found[4];
        BYTE size[4];
        if (!ReadExactly(pStream, found, sizeof found) || !ReadExactly(pStream, size, sizeof size))
            return 0;
        const ULONG cb = size[0] | ULONG{size[1]} << 8 | ULONG{size[2]} << 16 | ULONG{size[3]} << 24;
        if (std::memcmp(found, identifier, sizeof found) == 0)
            return cb;
        // The pad byte of an odd chunk is not skipped, as the contract has it.
        if (!Skip(pStream, cb))
            return 0;
    }
}

WORD ReadFormatTag(IStream *pStream)
{
    BYTE riffSize[4];
    BYTE tag[2];
    if (FAILED(Rewind(pStream)) || !ReadIdentifier(pStream, "RIFF") || !ReadExactly(pStream, riffSize, 4) ||
        !ReadIdentifier(pStream, "WAVE") || FindChunk(pStream, "fmt ") == 0 || !ReadExactly(pStream, tag, 2))
        return 0;
    return static_cast<WORD>(tag[0] | tag[1] << 8);
}

HRESULT SaveStreamToFile(IStream *pStream, BYTE bWMA, const char *szFilename)
{
    CDebugTraceFn trace(kTraceCall, "SaveStreamToFile", "pStream: %p, bWMA: %s, szFilename: \"%s\"",
                        static_cast<void *>(pStream), bWMA ? "true" : "false", szFilename);
    HRESULT hr = Rewind(pStream);
    if (FAILED(hr)) {
        TraceHResult("SaveStreamToFile", __LINE__, hr, "Seek", "trying to go to the start of the voice stream.");
        return hr;
    }
    if (bWMA)
        return DecompressStream(Codec::WindowsMedia, pStream, szFilename, nullptr);

    const WORD tag = ReadFormatTag(pStream);
    if (tag == kWaveFormatGsm610)
        return DecompressStream(Codec::Gsm, pStream, szFilename, kGsmFormat);
    if (tag != kWaveFormatPcm)
        return E_FAIL;

    hr = Rewind(pStream);
    if (FAILED(hr)) {
        TraceHResult("SaveStreamToFile", __LINE__, hr, "Seek", "trying to go back to the start of the voice stream.");
        return hr;
    }
    return CopyToFile(pStream, szFilename);
}
