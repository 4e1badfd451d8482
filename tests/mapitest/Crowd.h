// A crowd: processes with threads that work in the same folders at once, some of them killed, and the question whether
// what they were answered fits some order.
#pragma once
#include "CrowdOrder.h"

namespace mapitest
{

struct CrowdPlan {
    std::string program; // this one
    std::string folder;
    std::uint64_t seed = 0;
    int processes = 2;
    int threads = 2;
    int steps = 150; // of a thread
    int kills = 1;
};

struct CrowdResult {
    std::uint64_t steps = 0;
    int killed = 0;
    std::string wrong; // nothing: all fits
};

CrowdResult RunCrowd(const CrowdPlan &plan);

} // namespace mapitest
