// What a process of a crowd does: some threads, each with a session of its own, that work in the shared folders and
// write down each step.
#pragma once
#include "CrowdStep.h"

namespace mapitest
{

struct Crew {
    std::string site;
    std::string log; // each thread's file is this and its number
    std::uint64_t seed = 0;
    int firstThread = 0;
    int threads = 1;
    int steps = 100;
};

std::string LogOf(const std::string &log, int thread);
// Returns when all threads are done. Throws where something is wrong that is no matter of order.
void Work(const Crew &crew);
// All shared folders, as steps of a thread that came later than all others.
std::vector<Step> ReadAtTheEnd(const std::string &site, int thread);

} // namespace mapitest
