// Text of the ANSI code page, read by whole characters.
#pragma once
#include <windows.h>

// Unlike the runtime of Windows, these know UTF-8 too.
int _mbsicmp(const unsigned char *string1, const unsigned char *string2);
errno_t _mbslwr_s(unsigned char *str, size_t numberOfElements);
// Characters, not bytes.
size_t _mbslen(const unsigned char *str);
unsigned char *_mbstok_s(unsigned char *str, const unsigned char *delimiters, unsigned char **context);
