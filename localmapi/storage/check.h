// The file's own examination: of its pages, and of what the rows say about each other.
#pragma once
#include "site.h"

namespace localmapi::storage
{

struct Finding {
    std::string text; // a sentence for an operator
    bool repaired = false;
};

// Reads everything; writes only when told to repair, in one transaction. No findings: all is well.
std::vector<Finding> check(Site site, bool repair);

} // namespace localmapi::storage
