// What every call pays: finding the session, and a trace guard that is filtered out.
#include "OrlMapi32.h"
#include "common/trace/debug.h"
#include <benchmark/benchmark.h>
#include <mutex>

namespace bench
{

namespace
{

DWORD g_connection = 0;

void IsConnected(benchmark::State &state)
{
    if (state.thread_index() == 0)
        OrlCreateConnection(&g_connection, 0);
    for (auto _ : state)
        benchmark::DoNotOptimize(OrlIsConnected(g_connection));
    if (state.thread_index() == 0)
        OrlCloseConnection(&g_connection);
}

// The reference: an uncontended or contended lock and nothing else.
void JustALock(benchmark::State &state)
{
    static std::mutex lock;
    for (auto _ : state) {
        const std::lock_guard<std::mutex> held(lock);
        benchmark::ClobberMemory();
    }
}

void TraceGuardFilteredOut(benchmark::State &state)
{
    for (auto _ : state)
        CDebugTraceFn guard(kTraceCall, "CMAPIImpl::GetEmailHeaders", "pIMsgStore: %p, lRowCount: %ld",
                            static_cast<void *>(nullptr), 10);
}

// The reference: a call that is not inlined and reads the clock once, as any filter that is re-read in time must.
void ReadingTheClock(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(GetTickCount());
}

BENCHMARK(IsConnected)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();
BENCHMARK(JustALock)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();
BENCHMARK(TraceGuardFilteredOut);
BENCHMARK(ReadingTheClock);

} // namespace

} // namespace bench
