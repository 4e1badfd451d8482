// What the process holds of the system at the moment.
#pragma once
#include <cstddef>

struct ProcessResources {
    std::size_t threads = 0;
    std::size_t handles = 0;
};
ProcessResources CountProcessResources();
// Handles that the system itself opens and closes meanwhile.
extern const std::size_t kResourceNoise;
