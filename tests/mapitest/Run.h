// A run: the operations that follow from a seed, one after the other, on a site of its own; and the shortest part of a
// history that still shows what one showed.
#pragma once
#include "Operation.h"

namespace mapitest
{

struct Failure {
    std::string what;
    std::vector<Operation> history; // the last one is the one that showed it
};

// So many operations; nothing when the site did all that the model did. `performed` counts them.
std::optional<Failure> RunSeed(const std::string &folder, std::uint64_t seed, std::uint32_t operations,
                               std::uint64_t &performed);
// The same operations again; nothing when they show nothing (any more).
std::optional<std::string> Replay(const std::string &folder, const std::vector<Operation> &history);
// Leaves out what is not needed, by halves, then one by one.
Failure Shrink(const std::string &folder, Failure failure);

} // namespace mapitest
