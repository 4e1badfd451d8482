#include "MapiBuffers.h"
#include <atomic>
#include <cstdlib>
#include <mapix.h>

namespace
{
std::atomic<int> g_live{0};
}

void *NewMapiBuffer(std::size_t size)
{
    ++g_live;
    return std::calloc(1, size);
}

int LiveMapiBuffers()
{
    return g_live;
}

extern "C" ULONG STDAPICALLTYPE MAPIFreeBuffer(LPVOID lpBuffer)
{
    if (lpBuffer) {
        --g_live;
        std::free(lpBuffer);
    }
    return S_OK;
}
