// Whether the steps of several threads fit some order: each takes effect at one moment between its beginning and its
// end, and answers what it would have answered alone. A step that was never answered takes effect before its process
// was dead, or not at all.
#pragma once
#include "CrowdState.h"

namespace mapitest
{

struct Disorder {
    CrowdState before;       // a state that everything before fits
    std::vector<Step> steps; // from a moment when nothing was under way; no order of them fits
    std::size_t culprit = 0; // without this one there is an order
};

// `steps` with the times of their processes' deaths as the ends of what was not answered. Nothing when they fit.
std::optional<Disorder> FindDisorder(std::vector<Step> steps);
// Leaves out what is not needed: steps on other messages than the culprit's, then reads without which nothing changes.
// Nothing is run again; what stays fits no order, and would without the culprit.
Disorder Shrink(Disorder disorder);

} // namespace mapitest
