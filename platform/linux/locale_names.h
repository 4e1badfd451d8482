// What the environment says about the process's locale. The C library's own setting is not used: a host may never
// have called setlocale, and another library may call it at any time.
#pragma once
#include <locale.h>

namespace platform
{
// The value of LC_ALL, the category's own variable, or LANG: the first that is not empty; "C" without one.
const char *LocaleName(const char *categoryVariable);
// True for the locales that mean no country: C and POSIX, with or without an encoding.
bool IsNeutralLocale(const char *name);
} // namespace platform
