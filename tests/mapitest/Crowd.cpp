// Starting, killing and questioning a crowd.
#include "Crowd.h"
#include "CrowdWorker.h"
#include "Random.h"
#include "Site.h"
#include "tests/localmapi/storage/Process.h"
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

namespace mapitest
{

namespace
{

struct Started {
    std::unique_ptr<localmapi::storage::Process> process;
    int firstThread = 0;
    std::int64_t ended = 0;
    bool killed = false;
};

Started Start(const CrowdPlan &plan, const std::string &site, int firstThread)
{
    const std::vector<std::string> arguments = {"--crew",
                                                site,
                                                std::to_string(plan.seed),
                                                std::to_string(firstThread),
                                                std::to_string(plan.threads),
                                                std::to_string(plan.steps)};
    return {std::make_unique<localmapi::storage::Process>(plan.program, arguments), firstThread, 0, false};
}

// An entry ID names one message, in one folder, for ever.
std::string DoubledIds(const std::vector<Step> &steps)
{
    std::map<std::int64_t, std::pair<std::string, int>> named;
    for (const Step &step : steps) {
        std::vector<std::pair<std::int64_t, std::string>> ids;
        if (step.kind == Step::Kind::Create && step.answered && step.id)
            ids.emplace_back(step.id, step.label);
        for (const SeenRow &row : step.rows)
            if (row.id)
                ids.emplace_back(row.id, row.label);
        for (const auto &[id, label] : ids) {
            const auto known = named.try_emplace(id, label, step.folder).first->second;
            if (known != std::pair(label, step.folder))
                return "the number " + std::to_string(id) + " names " + known.first + " in folder " +
                       std::to_string(known.second) + " and " + label + " in folder " + std::to_string(step.folder);
        }
    }
    return {};
}

std::string Told(const Disorder &disorder)
{
    std::string text =
        "no order fits these steps (shrunk by leaving out what concerns other messages; * marks the first "
        "answer that fits none);\nbefore them:\n" +
        disorder.before.Text();
    for (std::size_t i = 0; i < disorder.steps.size(); ++i)
        text += (i == disorder.culprit ? "* " : "  ") + disorder.steps[i].Text() + "\n";
    return text;
}

} // namespace

CrowdResult RunCrowd(const CrowdPlan &plan)
{
    CrowdResult result;
    Random random(plan.seed);
    const std::string site = CopyOfTemplate(plan.folder);
    std::vector<Started> crews;
    int nextThread = 0;
    for (int i = 0; i < plan.processes; ++i, nextThread += plan.threads)
        crews.push_back(Start(plan, site, nextThread));
    // Who is killed is followed by another.
    for (int i = 0; i < plan.kills; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(random.Between(10, 150)));
        Started &victim = crews[static_cast<std::size_t>(random.Below(static_cast<int>(crews.size())))];
        if (victim.killed)
            continue;
        victim.process->Kill();
        victim.killed = true;
        const int status = victim.process->Wait();
        victim.ended = Now();
        result.killed += status != 0;
        crews.push_back(Start(plan, site, nextThread));
        nextThread += plan.threads;
    }
    std::vector<Step> steps;
    for (Started &crew : crews) {
        const int status = crew.process->Wait();
        if (!crew.killed && status != 0)
            result.wrong = "a process ended with status " + std::to_string(status);
        crew.ended = crew.killed ? crew.ended : Now();
        for (int i = 0; i < plan.threads; ++i) {
            const std::string log = LogOf(site, crew.firstThread + i);
            for (Step &step : ReadSteps(log, crew.firstThread + i)) {
                if (!step.answered)
                    step.ended = crew.ended;
                steps.push_back(std::move(step));
            }
            std::error_code ignored;
            std::filesystem::remove(log, ignored);
        }
    }
    for (Step &step : ReadAtTheEnd(site, nextThread))
        steps.push_back(std::move(step));
    std::error_code ignored;
    std::filesystem::remove(LogOf(site, nextThread), ignored);
    result.steps = steps.size();
    if (result.wrong.empty())
        result.wrong = DoubledIds(steps);
    if (result.wrong.empty())
        if (auto disorder = FindDisorder(steps))
            result.wrong = Told(Shrink(*std::move(disorder)));
    if (result.wrong.empty())
        result.wrong = CheckOf(site);
    RemoveSite(site);
    return result;
}

} // namespace mapitest
