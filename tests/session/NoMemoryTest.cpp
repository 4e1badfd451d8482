// Where there is no room: for a session, for its entry in the registry of connections, for a handle in its own
// registries, for the text of an entry ID. The program's own operator new fails on demand.
#include "OrlMapi32.h"
#include "common/trace/DebugTrace.h"
#include "common/trace/debug.h"
#include "session/OpenEntry.h"
#include "session/SessionDependent.h"
#include "session/SessionGuard.h"
#include "support/ControlledNew.h"
#include "support/MapiDouble.h"
#include "support/TraceCapture.h"

namespace
{

class NoMemoryTest : public mapi_double::MapiDoubleTest
{
  protected:
    // Whether what is done next ran into the failure of an allocation of just this size.
    template <class Work> static bool Failing(std::size_t size, Work &&work)
    {
        const controlled_new::FailingAllocation failing(size, size);
        work();
        return failing.HasFailed();
    }
};

TEST_F(NoMemoryTest, CreationWritesZeroAndSaysSo)
{
    DWORD h = 77;
    EXPECT_TRUE(Failing(sizeof(CMAPIImpl), [&] { EXPECT_EQ(OrlCreateConnection(&h, 0), E_OUTOFMEMORY); }));
    EXPECT_EQ(h, 0u);
    EXPECT_EQ(m_mapi.recorder.Count("MAPIInitialize"), m_mapi.recorder.Count("MAPIUninitialize"));
    ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
    EXPECT_EQ(OrlIsMAPIAvailable(h), 1);
    EXPECT_EQ(OrlCloseConnection(&h), S_OK);
}

TEST_F(NoMemoryTest, TheTextOfAnEntryIdIsThenWhatWasBuiltSoFar)
{
    const TraceCapture trace;
    const BYTE id[1000] = {};
    EXPECT_TRUE(Failing(2 * sizeof id + 1, [&] { EXPECT_EQ(GetEntryIDString(sizeof id, id), ""); }));
    EXPECT_THAT(trace.Texts(),
                testing::ElementsAre(testing::StartsWith("Exception has occurred in GetEntryIDString (OrlMapi32[")));
}

// What the library reports instead of throwing.
char g_reported[64];
int g_reports = 0;
void Keep(const char *szSourceFile, const char *szFunction, int)
{
    EXPECT_STREQ(szSourceFile, "OrlMapi32");
    strcpy_s(g_reported, sizeof(g_reported), szFunction);
    ++g_reports;
}

// The trace is silent meanwhile and reads no settings, so that the library's own allocations are the only ones.
class NoRoomTest : public NoMemoryTest
{
  protected:
    NoRoomTest()
    {
        PinDebugFilter(0, {});
        SetExceptionHooks(Keep, nullptr);
        g_reported[0] = 0;
        g_reports = 0;
        EXPECT_EQ(OrlCreateConnection(&m_h, 0), S_OK);
    }
    ~NoRoomTest() override
    {
        EXPECT_EQ(OrlCloseConnection(&m_h), S_OK);
        EXPECT_EQ(m_mapi.recorder.Count("MAPIInitialize"), m_mapi.recorder.Count("MAPIUninitialize"));
        SetExceptionHooks(nullptr, nullptr);
        ReleaseDebugFilter();
    }
    // Bytes of a connection's entry in the registry, the last thing that creation asks for.
    static std::size_t EntrySize()
    {
        DWORD other = 0;
        EXPECT_EQ(OrlCreateConnection(&other, 0), S_OK);
        const std::size_t entry = controlled_new::LastSize();
        EXPECT_EQ(OrlCloseConnection(&other), S_OK);
        return entry;
    }
    DWORD m_h = 0;
};

TEST_F(NoRoomTest, AConnectionThatCannotBeEnteredKeepsItsHandleAndNoSession)
{
    const std::size_t entry = EntrySize();
    DWORD third = 0;
    EXPECT_TRUE(Failing(entry, [&] { third = CMAPIImpl::Allocate(false); }));
    EXPECT_NE(third, 0u);
    EXPECT_FALSE(CMAPIImpl::Locate(third));
    EXPECT_EQ(OrlCloseConnection(&third), E_FAIL);
    EXPECT_STREQ(g_reported, "CMAPIImpl::Allocate");
    EXPECT_EQ(g_reports, 1);
}

// The ends of sessions, and how many of them came while their thread held the lock of the registries.
class CountedEnds final : public SessionDependent
{
  public:
    void EndFor(const CMAPIImpl &) override
    {
        ++all;
        underLock += CMAPIImpl::m_CS.IsLockedByCurrentThread();
    }
    int all = 0;
    int underLock = 0;
};

TEST_F(NoRoomTest, TheSessionOfAConnectionThatCannotBeEnteredEndsWithoutTheLock)
{
    static CountedEnds ends;
    [[maybe_unused]] static const bool registered = (RegisterDependent(ends), true);
    const std::size_t entry = EntrySize();
    const int before = ends.all;
    EXPECT_TRUE(Failing(entry, [] { CMAPIImpl::Allocate(false); }));
    EXPECT_EQ(ends.all, before + 1);
    EXPECT_EQ(ends.underLock, 0);
}

TEST_F(NoRoomTest, ATableOrBookmarkThatCannotBeStoredIsReportedAndNotFound)
{
    const SessionGuard session = CMAPIImpl::Locate(m_h);
    auto *const table = reinterpret_cast<IMAPITable *>(0x10); // recorded, never called
    EXPECT_TRUE(session->FreeContentsTableObject(session->StoreObject(table)));
    const std::size_t tableEntry = controlled_new::LastSize();
    DWORD handle = 0;
    EXPECT_TRUE(Failing(tableEntry, [&] { handle = session->StoreObject(table); }));
    EXPECT_EQ(session->LocateContentsTable(handle), nullptr);
    EXPECT_STREQ(g_reported, "CMAPIImpl::StoreObject");

    EXPECT_TRUE(session->FreeBookmarkObject(session->StoreObject(BOOKMARK{7})));
    const std::size_t bookmarkEntry = controlled_new::LastSize();
    EXPECT_TRUE(Failing(bookmarkEntry, [&] { handle = session->StoreObject(BOOKMARK{7}); }));
    EXPECT_EQ(session->LocateBookmark(handle), 0u);
    EXPECT_EQ(g_reports, 2);
}

} // namespace
