// No room for a session, and none for the text of an entry ID. The program's own operator new fails on demand.
#include "OrlMapi32.h"
#include "session/CMAPIImpl.h"
#include "session/OpenEntry.h"
#include "support/MapiDouble.h"
#include "support/TraceCapture.h"
#include <cstdlib>
#include <new>

namespace
{

// While set, the next allocation of just this size on this thread fails.
thread_local std::size_t failingSize = 0;

[[gnu::noinline]] void *Allocate(std::size_t size) noexcept
{
    if (failingSize != 0 && size == failingSize) {
        failingSize = 0;
        return nullptr;
    }
    return std::malloc(size ? size : 1);
}

// Not inlined: the compiler would take new and free for a mismatched pair.
[[gnu::noinline]] void Return(void *block) noexcept
{
    std::free(block);
}

} // namespace

void *operator new(std::size_t size)
{
    if (void *block = Allocate(size))
        return block;
    throw std::bad_alloc();
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return Allocate(size);
}
void operator delete(void *block) noexcept
{
    Return(block);
}
void operator delete(void *block, std::size_t) noexcept
{
    Return(block);
}
void operator delete(void *block, const std::nothrow_t &) noexcept
{
    Return(block);
}

namespace
{

class NoMemoryTest : public mapi_double::MapiDoubleTest
{
};

TEST_F(NoMemoryTest, CreationWritesZeroAndSaysSo)
{
    DWORD h = 77;
    failingSize = sizeof(CMAPIImpl);
    EXPECT_EQ(OrlCreateConnection(&h, 0), E_OUTOFMEMORY);
    EXPECT_EQ(failingSize, 0u) << "nothing of that size was asked for";
    EXPECT_EQ(h, 0u);
    failingSize = 0;
    EXPECT_EQ(mapi.recorder.Count("MAPIInitialize"), mapi.recorder.Count("MAPIUninitialize"));
    ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
    EXPECT_EQ(OrlIsMAPIAvailable(h), 1);
    EXPECT_EQ(OrlCloseConnection(&h), S_OK);
}

TEST_F(NoMemoryTest, TheTextOfAnEntryIdIsThenWhatWasBuiltSoFar)
{
    const TraceCapture trace;
    const BYTE id[1000] = {};
    failingSize = 2 * sizeof id + 1;
    EXPECT_EQ(GetEntryIDString(sizeof id, id), "");
    EXPECT_EQ(failingSize, 0u) << "nothing of that size was asked for";
    failingSize = 0;
    EXPECT_THAT(trace.Texts(),
                testing::ElementsAre(testing::StartsWith("Exception has occurred in GetEntryIDString (OrlMapi32[")));
}

} // namespace
