// Where names are shared by processes. Linux only.
#pragma once
#include <cstddef>

// Writes the path of a file, terminated, and gives back its length; 0 where there is none or it does not fit. Mutexes
// whose names begin with "Global\" are shared by all processes that are given the same file: they are file locks beside
// it. A program or a shared object defines it, or nobody does: then every name belongs to one image.
extern "C" __attribute__((weak, visibility("default"))) std::size_t PlatformSharedNamesFile(char *path,
                                                                                            std::size_t size);
