// What the fuzzers share: one function a program, which the fuzzing engine or Replay.cpp calls.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

// In a release build too.
inline void Confirm(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "not so: %s\n", what);
    std::abort();
}
