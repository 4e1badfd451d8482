// The operating system's texts for error codes.
#pragma once
#include "common/text/tstring.h"

// The system's functions that the search for a text calls; tests put others in their place.
struct MessageSystem {
    decltype(&::LoadLibraryExA) LoadLibraryExA;
    decltype(&::FormatMessageA) FormatMessageA;
    decltype(&::LocalFree) LocalFree;
    decltype(&::GetVersionExA) GetVersionExA;
    decltype(&::FreeLibrary) FreeLibrary;
};

// The first text that is found for hr, trimmed; "[0x...]" where there is none.
void FindSystemText(tstring &text, HRESULT hr, const MessageSystem &system);

// Frees a module of messages on systems of the NT family and leaves it loaded on others. Clears the handle anyway.
void FreeModuleOnNT(HMODULE &hModule, const MessageSystem &system);
