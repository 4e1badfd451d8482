// Listing: a short page of voice mails from Inboxes of every size, and a long page of headers.
#include "ByHand.h"
#include "Watching.h"
#include <benchmark/benchmark.h>
#include <map>
#include <stdexcept>
#include <utility>

namespace bench
{

namespace
{

ULONG List(const HostSession &host, LONG rows, BYTE priority, BYTE um)
{
    DWORD table = 0, bookmark = 0;
    EmailHeaderA *headers = nullptr;
    ULONG count = 0, total = 0;
    if (OrlGetEmailHeadersA(host.GetConnection(), host.GetMailbox(), &table, &bookmark, rows, &headers, &count, &total,
                            0, 1, ORL_BOOKMARK_BEGINNING, 0, priority, 0, 0, nullptr, 0, um) < 0)
        throw std::runtime_error("listing failed");
    OrlMapiFreeBuffer(headers);
    OrlMapiReleaseHandle(host.GetConnection(), &table, &bookmark);
    return count;
}

void PageOf10(benchmark::State &state)
{
    const HostSession host(SiteWith(static_cast<std::uint64_t>(state.range(0))));
    for (auto _ : state)
        if (List(host, 10, 1, 1) != 10)
            state.SkipWithError("the page is not full");
}

// What each call of the page takes, in microseconds; what PageOf10 takes more is the library's own.
void PageOf10ByCall(benchmark::State &state)
{
    const HostSession host(SiteWith(static_cast<std::uint64_t>(state.range(0))));
    std::map<std::string, std::int64_t> sums;
    std::int64_t before = 0;
    for (auto _ : state) {
        before = Nanoseconds();
        ListByHand(host.GetMailbox(), 10, Listed::UrgentVoiceMail, [&](const char *call) {
            const std::int64_t now = Nanoseconds();
            sums[call] += now - std::exchange(before, now);
        });
    }
    for (const auto &[call, sum] : sums)
        state.counters[call] = static_cast<double>(sum) / 1e3 / static_cast<double>(state.iterations());
}

void PageOf10InPlainSql(benchmark::State &state)
{
    PlainSql sql(SiteWith(static_cast<std::uint64_t>(state.range(0))));
    for (auto _ : state)
        if (sql.Page(10) != 10)
            state.SkipWithError("the page is not full");
}

void PageOf1000(benchmark::State &state)
{
    const HostSession host(SiteWith(10000));
    for (auto _ : state)
        if (List(host, 1000, 0, 0) != 1000)
            state.SkipWithError("the page is not full");
}

void PageOf1000ByHand(benchmark::State &state)
{
    const HostSession host(SiteWith(10000));
    for (auto _ : state)
        if (ListByHand(host.GetMailbox(), 1000) != 1000)
            state.SkipWithError("the page is not full");
}

BENCHMARK(PageOf10)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(PageOf10InPlainSql)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(PageOf10ByCall)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(PageOf1000)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(PageOf1000ByHand)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

} // namespace

} // namespace bench
