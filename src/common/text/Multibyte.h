// Comparison of text in the ANSI code page by whole characters.
#pragma once
#include <mbstring.h>
#include <windows.h>

inline bool EqualIgnoringCase(const char *left, const char *right)
{
    return _mbsicmp(reinterpret_cast<const unsigned char *>(left), reinterpret_cast<const unsigned char *>(right)) == 0;
}
