// Runs the benchmarks and sets each figure beside its reference of the same run.
#include "Sites.h"
#include "Watching.h"
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace
{

// A figure and what it is compared with. Both take the same arguments and threads.
struct Pair {
    const char *figure, *reference, *meaning;
};
constexpr Pair kPairs[] = {
    {"PageOf10", "PageOf10InPlainSql", "a page of 10 unread urgent voice mails : the same in plain SQL"},
    {"PageOf1000", "PageOf1000ByHand", "a page of 1,000 headers : the same MAPI calls by hand"},
    {"IsConnected", "JustALock", "OrlIsConnected : taking a lock"},
    {"TraceGuardFilteredOut", "ReadingTheClock", "a trace guard that is filtered out : reading the clock"},
    {"SendVoiceMail", "OneTransaction", "sending a voice mail of 200 KB : one transaction with its bytes"},
    {"DayOfACalendar", "DayOfACalendarInPlainSql", "a day of 10,000 appointments : the same rows in plain SQL"},
    {"Save100MB", "Cp100MB", "saving a recording of 100 MB : cp"},
    {"Read200KB", "Read200KBWithoutChecksums", "opening and reading a recording of 200 KB : one that has no checksums"},
    {"SendTo2000", "SendTo200", "sending 32 KB to 2,000 recipients : to 200"},
    {"NotifiedWithinTheProcess", "SaveChangesAlone", "SaveChanges until a sink here is called : until it returns"},
    {"NotifiedAcrossProcesses", "SaveChangesAlone", "SaveChanges until a sink elsewhere is called : until it returns"},
    {"NotifiedByPolling", "SaveChangesAlone", "the same where the system gives no signal : until it returns"},
};

class Collector : public benchmark::ConsoleReporter
{
  public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs)
            if (!run.error_occurred && (run.run_type == Run::RT_Iteration || run.aggregate_name == "median"))
                m_nanoseconds[run.run_name.function_name + "/" + run.run_name.args + "/" + run.run_name.threads] =
                    run.real_accumulated_time / static_cast<double>(run.iterations) * 1e9;
    }

    void PrintRatios() const
    {
        for (const Pair &pair : kPairs)
            for (const auto &[name, time] : m_nanoseconds) {
                const std::size_t slash = name.find('/');
                const auto reference = m_nanoseconds.find(pair.reference + name.substr(slash));
                if (name.substr(0, slash) == pair.figure && reference != m_nanoseconds.end())
                    std::printf("%-70s %-12s %10s %10s   ratio %.2f\n", pair.meaning, name.substr(slash + 1).c_str(),
                                Shown(time).c_str(), Shown(reference->second).c_str(), time / reference->second);
            }
    }

  private:
    static std::string Shown(double nanoseconds)
    {
        char text[32];
        if (nanoseconds < 1000)
            std::snprintf(text, sizeof text, "%.1f ns", nanoseconds);
        else if (nanoseconds < 1e7)
            std::snprintf(text, sizeof text, "%.1f us", nanoseconds / 1e3);
        else
            std::snprintf(text, sizeof text, "%.1f ms", nanoseconds / 1e6);
        return text;
    }

    std::map<std::string, double> m_nanoseconds;
};

} // namespace

int main(int argc, char **argv)
{
    if (argc == 3 && std::string(argv[1]) == "--save")
        return bench::SaveWhenTold(argv[2]);
    if (argc == 5 && std::string(argv[1]) == "--send")
        return bench::SendFor(argv[2], argv[3], std::atoi(argv[4]));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    std::printf("\nfigure : reference\n");
    collector.PrintRatios();
    return 0;
}
