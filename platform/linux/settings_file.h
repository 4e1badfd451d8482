// The settings file: keys with values, shared by every process that uses it. Windows' error codes throughout.
#pragma once
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <windows.h>

namespace platform
{
// Keys and names in the order in which they were first written.
using Settings = nlohmann::ordered_json;

// The file's present content, as UTF-8, read again when the file has changed. No file is no settings.
LSTATUS ReadSettings(Settings &settings);

// Reads, lets `change` change, and writes, with other processes locked out. `change` gives its own result; nothing is
// written when it fails or when it changes nothing.
LSTATUS ChangeSettings(const std::function<LSTATUS(Settings &)> &change);

// Names are compared without case, in ASCII.
bool SameName(const std::string &left, const std::string &right);
// The member of an object by its name without case; end() when there is none.
Settings::iterator FindName(Settings &object, const std::string &name);
} // namespace platform
