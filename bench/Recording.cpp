// Saving a recording of 100 MB, and reading one of 200 KB with and without checksums.
#include "Sites.h"
#include "localmapi/delivery/Tags.h"
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/View.h"
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench
{

namespace storage = localmapi::storage;

namespace
{

constexpr std::uint32_t kBytes = 100 * 1024 * 1024, kUsualBytes = 200 * 1024;

// A PCM WAVE file, 16 bits mono at 8 kHz.
std::string Recording(std::uint32_t bytes = kBytes)
{
    const std::string name = bytes == kBytes ? "recording.wav" : "recording-" + std::to_string(bytes) + ".wav";
    if (std::filesystem::exists(name) && std::filesystem::file_size(name) == bytes)
        return name;
    std::ofstream file(name, std::ios::binary);
    const auto number = [&](std::uint32_t value, int width) {
        for (int i = 0; i < width; ++i)
            file.put(static_cast<char>(value >> (8 * i)));
    };
    file << "RIFF";
    number(bytes - 8, 4);
    file << "WAVEfmt ";
    number(16, 4);
    number(1, 2);
    number(1, 2);
    number(8000, 4);
    number(16000, 4);
    number(2, 2);
    number(16, 2);
    file << "data";
    number(bytes - 44, 4);
    std::uint32_t noise = 1;
    for (std::uint32_t i = 44; i < bytes; i += 4) {
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

// Without a file to be written, whose disk would be all that is seen.
void Read(benchmark::State &state, bool checked)
{
    const std::string path = SiteWithRecording(Recording(kUsualBytes));
    if (!checked) {
        sqlite3 *database = nullptr;
        if (sqlite3_open(path.c_str(), &database) != SQLITE_OK ||
            sqlite3_exec(database, "UPDATE chunk SET checksum = NULL", nullptr, nullptr, nullptr) != SQLITE_OK)
            throw std::runtime_error("the checksums can't be taken away");
        sqlite3_close(database);
    }
    const storage::Site site = storage::Site::Open(path);
    const storage::Mailbox mailbox =
        storage::Directory(site).GetMailbox(storage::Directory(site).UserByAlias("alice").value().mailbox);
    const storage::ObjectId message = storage::View(site, {storage::Container::Kind::Contents, mailbox.inbox})
                                          .Read(storage::Place::Beginning(), storage::Direction::Forward, 1, {})
                                          .at(0)
                                          .id;
    const storage::Objects objects(site);
    const storage::ObjectId recording = objects.Attachments(message).at(0).id;
    std::vector<char> data(kUsualBytes);
    for (auto _ : state)
        if (objects.OpenProperty(recording, localmapi::delivery::kAttachData)->Read(0, data.data(), data.size()) !=
            data.size())
            state.SkipWithError("reading failed");
}

void Read200KB(benchmark::State &state)
{
    Read(state, true);
}

void Read200KBWithoutChecksums(benchmark::State &state)
{
    Read(state, false);
}

void Cp100MB(benchmark::State &state)
{
    Recording();
    for (auto _ : state)
        if (std::system("cp recording.wav copied.wav") != 0)
            state.SkipWithError("cp failed");
}

BENCHMARK(Save100MB)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2);
BENCHMARK(Read200KB)->Unit(benchmark::kMicrosecond)->MinTime(1);
BENCHMARK(Read200KBWithoutChecksums)->Unit(benchmark::kMicrosecond)->MinTime(1);
BENCHMARK(Cp100MB)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2);

} // namespace

} // namespace bench
