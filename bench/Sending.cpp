// Sending, until it is durable in the mailboxes of all who get it: a voice mail with a recording of 200 KB to one, a
// mail to many.
#include "Watching.h"
#include <algorithm>
#include <atomic>
#include <benchmark/benchmark.h>
#include <fstream>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <thread>

namespace bench
{

namespace
{

constexpr std::size_t kRecordingBytes = 200 * 1024;

std::string Noise()
{
    std::string bytes(kRecordingBytes, '\0');
    std::uint32_t noise = 1;
    for (char &byte : bytes) {
        noise = noise * 1664525 + 1013904223;
        byte = static_cast<char>(noise >> 24);
    }
    return bytes;
}

const char *ShortRecording()
{
    static const char *name = "voicemail.wav";
    std::ofstream(name, std::ios::binary) << Noise();
    return name;
}

void SendVoiceMail(benchmark::State &state)
{
    const HostSession host(SiteForSending());
    const char *file = ShortRecording();
    for (auto _ : state)
        if (OrlSendUMEmailA(host.GetConnection(), host.GetMailbox(), "bob", "Voice Mail from Carla Costa (17 seconds)",
                            "You received a voice mail.\r\n", 0, 0, file, "message.wav", 17, "+15550100", "Carla Costa",
                            "message.wav", 0, 1795000000) < 0)
            state.SkipWithError("sending failed");
}

void SendToMany(benchmark::State &state, int recipients)
{
    const HostSession host(SiteWithUsers(2000));
    std::string to;
    for (int i = 0; i < recipients; ++i)
        to += (i ? ";user" : "user") + std::to_string(i);
    const std::string body = Noise().substr(0, 16000);
    std::string text;
    for (const char byte : body)
        text += {static_cast<char>('a' + (byte & 15)), static_cast<char>('a' + (byte >> 4 & 15))};
    for (auto _ : state)
        if (OrlSendEmailA(host.GetConnection(), host.GetMailbox(), to.c_str(), "To many", text.c_str(), 0, 0, nullptr,
                          nullptr) < 0)
            state.SkipWithError("sending failed");
}

void SendTo2000(benchmark::State &state)
{
    SendToMany(state, 2000);
}

void SendTo200(benchmark::State &state)
{
    SendToMany(state, 200);
}

// How long another process that writes waits at most meanwhile, and what this one takes at most where nothing else was
// run before it.
void SendTo2000BesideAWriter(benchmark::State &state)
{
    OtherProcess other(SiteWithUsers(2000));
    std::atomic<bool> over{false};
    std::int64_t most = 0;
    std::thread saving([&] {
        while (!over) {
            const auto [called, returned] = other.Save();
            most = std::max(most, returned - called);
        }
    });
    SendToMany(state, 2000);
    over = true;
    saving.join();
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    state.counters["writer_most_ms"] = static_cast<double>(most) / 1e6;
    state.counters["peak_MB"] = static_cast<double>(used.ru_maxrss) / 1024;
}

// On a site of the same kind, in a table beside localmapi's own, as durably as those are written.
class Reference
{
  public:
    explicit Reference(const std::string &site)
    {
        if (sqlite3_open(site.c_str(), &m_database) != SQLITE_OK)
            throw std::runtime_error("the site can't be opened");
        Run("PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 4000; PRAGMA cache_size = -16000;"
            "CREATE TABLE reference (id INTEGER PRIMARY KEY, data BLOB NOT NULL)");
        sqlite3_prepare_v2(m_database, "INSERT INTO reference (data) VALUES (?)", -1, &m_insert, nullptr);
    }
    ~Reference()
    {
        sqlite3_finalize(m_insert);
        sqlite3_close(m_database);
    }
    Reference(const Reference &) = delete;
    Reference &operator=(const Reference &) = delete;

    void Write(const std::string &bytes)
    {
        Run("BEGIN IMMEDIATE");
        sqlite3_bind_blob(m_insert, 1, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC);
        if (sqlite3_step(m_insert) != SQLITE_DONE)
            throw std::runtime_error("writing failed");
        sqlite3_reset(m_insert);
        Run("COMMIT");
    }

  private:
    void Run(const char *sql)
    {
        if (sqlite3_exec(m_database, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
            throw std::runtime_error(sql);
    }

    sqlite3 *m_database = nullptr;
    sqlite3_stmt *m_insert = nullptr;
};

void OneTransaction(benchmark::State &state)
{
    Reference reference(SiteForSending());
    const std::string bytes = Noise();
    for (auto _ : state)
        reference.Write(bytes);
}

BENCHMARK(SendVoiceMail)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(2);
BENCHMARK(SendTo2000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SendTo2000BesideAWriter)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2);
BENCHMARK(SendTo200)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(OneTransaction)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(2);

} // namespace

} // namespace bench
