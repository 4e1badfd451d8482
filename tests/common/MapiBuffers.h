// Stand-ins for MAPI's memory, which count what lives.
#pragma once
#include <cstddef>
#include <windows.h>

void *NewMapiBuffer(std::size_t size);
int LiveMapiBuffers();
