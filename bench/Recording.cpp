// Saving a recording of 100 MB.
#include "Sites.h"
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace bench
{

namespace
{

constexpr std::uint32_t kBytes = 100 * 1024 * 1024;

// A PCM WAVE file, 16 bits mono at 8 kHz.
const char *Recording()
{
    static const char *name = "recording.wav";
    if (std::filesystem::exists(name) && std::filesystem::file_size(name) == kBytes)
        return name;
    std::ofstream file(name, std::ios::binary);
    const auto number = [&](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            file.put(static_cast<char>(value >> (8 * i)));
    };
    file << "RIFF";
    number(kBytes - 8, 4);
    file << "WAVEfmt ";
    number(16, 4);
    number(1, 2);
    number(1, 2);
    number(8000, 4);
    number(16000, 4);
    number(2, 2);
    number(16, 2);
    file << "data";
    number(kBytes - 44, 4);
    std::uint32_t noise = 1;
    for (std::uint32_t i = 44; i < kBytes; i += 4) {
        noise = noise * 1664525 + 1013904223;
        number(noise, 4);
    }
    return name;
}

void Save100MB(benchmark::State &state)
{
    const HostSession host(SiteWithRecording(Recording()));
    DWORD table = 0, bookmark = 0;
    EmailHeaderA *headers = nullptr;
    ULONG count = 0, total = 0;
    OrlGetEmailHeadersA(host.GetConnection(), host.GetMailbox(), &table, &bookmark, 1, &headers, &count, &total, 0, 1,
                        0, 1, 0, 0, 0, nullptr, 0, 1);
    if (count != 1 || headers->cAttachments != 1)
        throw std::runtime_error("the recording is not there");
    for (auto _ : state)
        if (OrlDownloadAttachmentA(host.GetConnection(), host.GetMailbox(), headers->cbEntryID, headers->pEntryID,
                                   headers->pAttachments[0].ulAttachNum, "saved.wav") < 0)
            state.SkipWithError("saving failed");
    if (std::system("cmp -s recording.wav saved.wav") != 0)
        state.SkipWithError("what was saved differs");
    OrlMapiFreeBuffer(headers);
    OrlMapiReleaseHandle(host.GetConnection(), &table, &bookmark);
}

void Cp100MB(benchmark::State &state)
{
    Recording();
    for (auto _ : state)
        if (std::system("cp recording.wav copied.wav") != 0)
            state.SkipWithError("cp failed");
}

BENCHMARK(Save100MB)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2);
BENCHMARK(Cp100MB)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2);

} // namespace

} // namespace bench
