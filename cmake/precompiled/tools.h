// What the command lines read.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <windows.h>
