// The trace is anybody's at any time: many threads write, nest, filter, fault and change the settings at once, and
// every line comes out whole.
#include "common/errors/errors.h"
#include "common/text/tstring.h"
#include "common/trace/DebugTrace.h"
#include "support/TraceCapture.h"
#include <gtest/gtest.h>
#include <objbase.h>
#include <thread>

namespace
{

constexpr int kThreads = 8;
constexpr int kRounds = 200;

void Work(int thread)
{
    const std::string payload(static_cast<std::size_t>(50 + thread), static_cast<char>('a' + thread));
    for (int i = 0; i < kRounds; ++i) {
        const CDebugTraceFn guard(kTraceCall, "Work", "%d %d", thread, i);
        DebugOutputA(kTraceState, "[%s]", payload.c_str());
        DebugOutputW(kTraceState, OLESTR("[%hs]"), payload.c_str());
        DebugOutputA(kTraceState, "%s", reinterpret_cast<const char *>(0x10));
        TraceHResult("Work", i, E_FAIL, "Call", "trying %s", payload.c_str());
    }
}

void OnThreads(void (*work)(int))
{
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(work, t);
    for (std::thread &thread : threads)
        thread.join();
}

// First, so that the first use of the trace is made by many threads at once.
TEST(TraceThreads, TheFirstUseMayBeMadeByAllAtOnce)
{
    OnThreads([](int) {
        for (int i = 0; i < kRounds; ++i)
            EXPECT_TRUE(IsDebugEnabled(0x00660001));
    });
    EXPECT_STREQ(TheTrace().KeyPath(), "SOFTWARE\\BRANE\\debug_threads_test\\Debug");
}

TEST(TraceThreads, LinesOfManyThreadsComeOutWhole)
{
    TraceCapture trace;
    OnThreads(Work);
    int texts = 0;
    int errors = 0;
    int entries = 0;
    int exits = 0;
    for (const std::string &text : trace.Texts()) {
        if (text.front() == '[') {
            const std::size_t length = static_cast<std::size_t>(50 + text[1] - 'a');
            EXPECT_EQ(text, "[" + std::string(length, text[1]) + "]");
            ++texts;
        } else if (text.front() == 'W') {
            const char letter = text[text.size() - 1];
            const std::size_t length = static_cast<std::size_t>(50 + letter - 'a');
            EXPECT_EQ(text.substr(text.find(']')),
                      "]: Error 0x80004005 [MAPI_E_CALL_FAILED] from Call trying " + std::string(length, letter));
            ++errors;
        } else if (text == "< Work()") {
            ++exits;
        } else {
            EXPECT_EQ(text.substr(0, 7), "> Work(");
            ++entries;
        }
    }
    EXPECT_EQ(texts, 2 * kThreads * kRounds);
    EXPECT_EQ(errors, kThreads * kRounds);
    EXPECT_EQ(entries, kThreads * kRounds);
    EXPECT_EQ(exits, kThreads * kRounds);
}

TEST(TraceThreads, SettingsHooksAndTracingChangeAtOnce)
{
    std::atomic<bool> stop{false};
    std::thread changing([&] {
        for (int i = 0; !stop; ++i) {
            const TraceCapture trace(static_cast<DWORD>(i % 10));
            TheTrace().Settings().Read(TheTrace().KeyPath());
        }
    });
    OnThreads([](int thread) {
        for (int i = 0; i < kRounds; ++i) {
            const CDebugTraceFn guard(kTraceCall, "Work");
            DebugOutputA(kTraceError, "%d", thread);
            tstring bad(reinterpret_cast<const char *>(0x10));
        }
    });
    stop = true;
    changing.join();
}

} // namespace
