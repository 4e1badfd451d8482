// What FormatMessageA reads from a catalogue that LoadLibraryExA opened.
#pragma once
#include <string>
#include <windows.h>

namespace platform
{
// Empty when the module is no catalogue or has no such text.
std::string CatalogueText(HMODULE module, DWORD id);
} // namespace platform
