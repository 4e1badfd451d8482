// Whether memory can be read, asked of the kernel, so that a bad pointer raises no signal.
#pragma once
#include <cstddef>
#include <windows.h>

namespace platform
{
bool IsReadable(const void *address, std::size_t bytes);

// The length of a text of at most `limit` characters. False when it, up to its terminator, can't be read. Costs one
// system call a page.
bool ReadableLength(const char *text, std::size_t limit, std::size_t *length);
bool ReadableLength(const WCHAR *text, std::size_t limit, std::size_t *length);
} // namespace platform
