// Steps as lines: one when the call begins, one when it ends, each handed to the system at once.
#include "CrowdStep.h"
#include "Values.h"
#include <chrono>
#include <sstream>

namespace mapitest
{

namespace
{

constexpr const char *kStepNames[] = {"create",    "rows",   "count", "open", "get",    "save", "mark",
                                      "mark-list", "delete", "copy",  "move", "status", "send", "all-read"};

std::string IdsOf(const Step &step)
{
    std::string text;
    for (const std::int64_t id : step.ids)
        text += " " + std::to_string(id);
    return text;
}

} // namespace

std::int64_t Now()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void StepLog::Begin(Step &step)
{
    std::ostringstream line;
    step.began = Now();
    line << "B " << step.number << ' ' << step.began << ' ' << static_cast<int>(step.kind) << ' ' << step.folder << ' '
         << step.to << ' ' << step.value << ' ' << step.mask << ' ' << step.read << ' '
         << (step.label.empty() ? "-" : step.label) << ' ' << step.ids.size() << IdsOf(step) << " .\n";
    m_file << line.str() << std::flush;
}

void StepLog::End(Step &step)
{
    step.answered = true;
    step.ended = Now();
    std::ostringstream line;
    line << "E " << step.number << ' ' << step.ended << ' ' << step.result << ' ' << step.id << ' ' << step.old << ' '
         << step.rows.size();
    for (const SeenRow &row : step.rows)
        line << ' ' << row.id << ' ' << row.label << ' ' << row.flags << ' ' << row.status << ' ' << row.value;
    line << " .\n";
    m_file << line.str() << std::flush;
}

std::vector<Step> ReadSteps(const std::string &path, int thread)
{
    std::vector<Step> steps;
    std::ifstream file(path, std::ios::binary);
    for (std::string line; std::getline(file, line);) {
        // The last line may be cut short.
        if (!line.ends_with(" ."))
            break;
        std::istringstream words(line);
        char which = 0;
        int number = 0, kind = 0;
        std::size_t count = 0;
        words >> which >> number;
        if (which == 'B') {
            Step step;
            step.thread = thread;
            step.number = number;
            words >> step.began >> kind >> step.folder >> step.to >> step.value >> step.mask >> step.read >>
                step.label >> count;
            step.kind = static_cast<Step::Kind>(kind);
            step.ids.resize(count);
            for (std::int64_t &id : step.ids)
                words >> id;
            steps.push_back(std::move(step));
        } else if (!steps.empty()) {
            Step &step = steps.back();
            words >> step.ended >> step.result >> step.id >> step.old >> count;
            step.rows.resize(count);
            for (SeenRow &row : step.rows)
                words >> row.id >> row.label >> row.flags >> row.status >> row.value;
            step.answered = true;
        }
    }
    return steps;
}

std::string Step::Text() const
{
    std::ostringstream text;
    text << "[" << began / 1000 << " to " << (answered ? std::to_string(ended / 1000) : "its death") << "] thread "
         << thread << ": " << kStepNames[static_cast<int>(kind)] << " in folder " << folder;
    if (kind == Kind::Copy || kind == Kind::Move)
        text << " to " << to;
    if (label != "-" && !label.empty())
        text << " " << label;
    text << IdsOf(*this);
    if (value || mask)
        text << " value " << value << " mask " << mask;
    if (read)
        text << " read";
    if (!answered)
        return text.str() + " -> killed";
    text << " -> " << NameOf(result);
    if (id)
        text << " id " << id;
    if (old)
        text << " " << old;
    for (const SeenRow &row : rows)
        text << " (" << row.id << " " << row.label << " " << row.flags << " " << row.status << " " << row.value << ")";
    return text.str();
}

} // namespace mapitest
