// What mapitest is to do, from its command line.
#pragma once
#include <cstdint>
#include <string>

namespace mapitest
{

struct Options {
    std::string program; // this one
    std::string folder;
    std::uint64_t seed = 1;
    std::uint64_t operations = 0; // in all; 0: as many as there is time for
    double seconds = 0;
    std::uint32_t each = 1500; // operations of one thread alone, a seed
    int alone = 10;            // so many seeds of one thread, then a crowd; 0: crowds only
    bool crowds = true;
    int processes = 2, threads = 2, steps = 300, kills = 2; // of a crowd
    bool shrink = true;
};

// Says what is wrong and ends the program where the command line makes no sense.
Options ReadOptions(int argc, char **argv);

} // namespace mapitest
