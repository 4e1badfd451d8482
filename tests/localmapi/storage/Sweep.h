// Every step of the scenario, tried with a failure at its first chance, its second, and so on.
#pragma once
#include "Scenario.h"

namespace localmapi::storage
{

struct Sweep {
    std::size_t every = 1; // one chance in so many is taken,
    std::size_t from = 0;  // from this one of a step on, another with each step
    // What a step ends with that failed: "no memory", or the name of the fault.
    std::string failure;
    // Does the step with a failure at the n-th chance. Whether there was so late a chance.
    std::function<bool(std::size_t n, const std::function<void()> &step)> attempt;
    bool reopens = false; // the site before each attempt, so that nothing of it is in memory
};

struct SweepResult {
    std::size_t failures = 0; // the step was undone, and said why
    std::size_t survived = 0; // it was done without what it asked for
};

// Makes a site in the folder. Failures of expectations are the test's.
SweepResult SweepSteps(const Folder &folder, const Sweep &sweep);

} // namespace localmapi::storage
