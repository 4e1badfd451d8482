// The file's own examination: of its pages, and of what the rows say about each other.
#pragma once
#include "localmapi/storage/Site.h"
#include <functional>

namespace localmapi::storage
{

struct Finding {
    std::string text; // a sentence for an operator
    bool repaired = false;
};

// Reads everything; writes only when told to repair, in one transaction. No findings: all is well. `progress` hears how
// many of the steps are done.
inline constexpr std::uint64_t kCheckSteps = 19;
std::vector<Finding> Check(Site site, bool repair, const std::function<void(std::uint64_t)> &progress = {});

} // namespace localmapi::storage
