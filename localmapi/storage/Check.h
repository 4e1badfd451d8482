// The file's own examination: of its pages, and of what the rows say about each other. Any thread.
#pragma once
#include "localmapi/storage/Site.h"
#include <functional>

namespace localmapi::storage
{

struct Finding {
    std::string text; // a sentence for an operator
    bool repaired = false;
};

// Hears how far it is: "37 of 120 parts". Called on the thread that called Check; `done` never falls for one unit,
// except that a repair looks again.
using CheckProgress = std::function<void(const char *unit, std::uint64_t done, std::uint64_t total)>;

// Reads everything, with several connections at once. Writes only when told to repair, only what was found, and in
// short transactions, so that others go on writing; then it looks again. No findings: all is well.
std::vector<Finding> Check(Site site, bool repair, const CheckProgress &progress = {});

} // namespace localmapi::storage
