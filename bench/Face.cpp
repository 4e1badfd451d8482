// OrlMapi32.hpp beside the C functions: the same listing, in turn, and what the face takes more.
#include "OrlMapi32.hpp"
#include "Sites.h"
#include "Watching.h"
#include <algorithm>
#include <benchmark/benchmark.h>
#include <stdexcept>

namespace bench
{

namespace
{

constexpr int kMost = 200;
constexpr LONG kPage = 10;

// The bytes of the senders' names, so that every header is looked at.
std::size_t ByFace(const orlmapi::Mailbox &mailbox)
{
    orlmapi::Filter filter;
    filter.urgent = true;
    filter.attachments = false;
    filter.pageSize = kPage;
    std::size_t bytes = 0;
    int count = 0;
    for (const EmailHeaderA &header : mailbox.List(filter)) {
        bytes += std::char_traits<char>::length(header.pszName);
        if (++count == kMost)
            break;
    }
    return bytes;
}

std::size_t ByC(DWORD connection, OrlMailbox mailbox)
{
    DWORD table = 0, bookmark = 0;
    std::size_t bytes = 0;
    for (int count = 0; count < kMost;) {
        EmailHeaderA *headers = nullptr;
        ULONG got = 0, total = 0;
        if (OrlGetEmailHeadersA(connection, mailbox, &table, &bookmark, kPage, &headers, &got, &total, 0, 1,
                                count == 0 ? ORL_BOOKMARK_BEGINNING : ORL_BOOKMARK_CURRENT, 0, 1, 0, 0, nullptr, 0,
                                1) < 0)
            throw std::runtime_error("listing failed");
        for (ULONG i = 0; i < got; ++i, ++count)
            bytes += std::char_traits<char>::length(headers[i].pszName);
        OrlMapiFreeBuffer(headers);
        if (got < static_cast<ULONG>(kPage))
            break;
    }
    OrlMapiReleaseHandle(connection, &table, &bookmark);
    return bytes;
}

// The quickest of each is the one that nothing else of the machine was in the way of.
void FaceBesideC(benchmark::State &state)
{
    const HostSession host(SiteWith(10000));
    const orlmapi::Connection connection;
    connection.Connect("NORVIK1", "vm", "");
    const orlmapi::Mailbox mailbox = connection.Open("alice");
    std::int64_t face = INT64_MAX, c = INT64_MAX;
    for (auto _ : state) {
        const std::int64_t began = Nanoseconds();
        const std::size_t byFace = ByFace(mailbox);
        const std::int64_t between = Nanoseconds();
        const std::size_t byC = ByC(host.GetConnection(), host.GetMailbox());
        const std::int64_t ended = Nanoseconds();
        if (byFace != byC || byC == 0)
            state.SkipWithError("they list different things");
        face = std::min(face, between - began);
        c = std::min(c, ended - between);
    }
    state.counters["face_us"] = static_cast<double>(face) / 1e3;
    state.counters["c_us"] = static_cast<double>(c) / 1e3;
    state.counters["ratio"] = static_cast<double>(face) / static_cast<double>(c);
}
BENCHMARK(FaceBesideC)->Unit(benchmark::kMillisecond)->Iterations(1000);

} // namespace

} // namespace bench
