// Deleting a quarter of a million messages: how long it takes, how long a page takes meanwhile, and how long others
// that write wait at most, in this process and in another one.
#include "Watching.h"
#include <algorithm>
#include <atomic>
#include <benchmark/benchmark.h>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>

namespace bench
{

namespace
{

constexpr ULONG kDeleted = 250000;

// The identifiers of all messages of a folder, as a list that DeleteMessages takes.
class AllOf
{
  public:
    explicit AllOf(IMAPITable *table)
    {
        SizedSPropTagArray(1, columns) = {1, {PR_ENTRYID}};
        table->SetColumns(reinterpret_cast<LPSPropTagArray>(&columns), 0);
        for (LPSRowSet rows = nullptr; table->QueryRows(5000, 0, &rows) == S_OK && rows;) {
            const ULONG count = rows->cRows;
            for (ULONG i = 0; i < count; ++i) {
                const SBinary &id = rows->aRow[i].lpProps[0].Value.bin;
                m_ids.emplace_back(id.lpb, id.lpb + id.cb);
            }
            FreeProws(rows);
            if (count == 0)
                break;
        }
        table->Release();
        for (std::vector<BYTE> &id : m_ids)
            m_entries.push_back({static_cast<ULONG>(id.size()), id.data()});
        m_list = {static_cast<ULONG>(m_entries.size()), m_entries.data()};
    }
    LPENTRYLIST Get() { return &m_list; }

  private:
    std::vector<std::vector<BYTE>> m_ids;
    std::vector<SBinary> m_entries;
    ENTRYLIST m_list{};
};

bool ReadPage(const HostSession &host)
{
    DWORD table = 0, bookmark = 0;
    EmailHeaderA *headers = nullptr;
    ULONG count = 0, total = 0;
    const HRESULT hr = OrlGetEmailHeadersA(host.GetConnection(), host.GetMailbox(), &table, &bookmark, 10, &headers,
                                           &count, &total, 0, 1, ORL_BOOKMARK_BEGINNING, 0, 1, 0, 0, nullptr, 0, 1);
    OrlMapiFreeBuffer(headers);
    OrlMapiReleaseHandle(host.GetConnection(), &table, &bookmark);
    return hr >= 0;
}

double Milliseconds(std::vector<std::int64_t> times, double part)
{
    std::sort(times.begin(), times.end());
    return times.empty()
               ? 0
               : static_cast<double>(times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))]) /
                     1e6;
}

void WithOthersAtWork(benchmark::State &state, const std::function<void(Inbox &)> &prepare,
                      const std::function<HRESULT(Inbox &)> &work)
{
    const std::string site = "site-deleting.db";
    for (const char *suffix : {"-wal", "-shm"})
        std::filesystem::remove(site + suffix);
    std::filesystem::copy_file(SiteWith(kDeleted), site, std::filesystem::copy_options::overwrite_existing);
    const HostSession deleter(site), reader(site), writer(site);
    Inbox inbox(deleter.GetMailbox()), written(writer.GetMailbox());
    prepare(inbox);
    OtherProcess other(site);
    std::vector<std::int64_t> pages, here, elsewhere;
    std::atomic<bool> over{false};
    const auto repeat = [&](std::vector<std::int64_t> &times, const std::function<std::int64_t()> &once) {
        while (!over) {
            times.push_back(once());
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    };
    const auto saving = [](auto &where) {
        return [&where] {
            const auto [called, returned] = where.Save();
            return returned - called;
        };
    };
    for (auto _ : state) {
        std::thread reading([&] {
            repeat(pages, [&] {
                const std::int64_t before = Nanoseconds();
                if (!ReadPage(reader))
                    state.SkipWithError("a page failed");
                return Nanoseconds() - before;
            });
        });
        std::thread savingHere([&] { repeat(here, saving(written)); });
        std::thread savingElsewhere([&] { repeat(elsewhere, saving(other)); });
        const std::int64_t before = Nanoseconds();
        if (work(inbox) != S_OK)
            state.SkipWithError("deleting failed");
        state.SetIterationTime(static_cast<double>(Nanoseconds() - before) / 1e9);
        over = true;
        reading.join();
        savingHere.join();
        savingElsewhere.join();
    }
    state.counters["page_p99_ms"] = Milliseconds(pages, 0.99);
    state.counters["writer_here_most_ms"] = Milliseconds(here, 1);
    state.counters["writer_elsewhere_most_ms"] = Milliseconds(elsewhere, 1);
}

void DeleteMessagesOfAList(benchmark::State &state)
{
    std::unique_ptr<AllOf> all;
    WithOthersAtWork(
        state, [&](Inbox &inbox) { all = std::make_unique<AllOf>(inbox.Table()); },
        [&](Inbox &inbox) { return inbox.Folder()->DeleteMessages(all->Get(), 0, nullptr, 0); });
}

void EmptyAFolder(benchmark::State &state)
{
    WithOthersAtWork(
        state, [](Inbox &) {}, [](Inbox &inbox) { return inbox.Folder()->EmptyFolder(0, nullptr, 0); });
}

BENCHMARK(DeleteMessagesOfAList)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(EmptyAFolder)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);

} // namespace

} // namespace bench
