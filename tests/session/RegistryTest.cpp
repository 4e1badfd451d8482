// Handles: how they are issued, found and given back, one registry of connections and two in each session; and that a
// session lives as long as somebody works on it.
#include "session/SessionTest.h"
#include <set>

namespace
{

class RegistryTest : public SessionTest
{
};

TEST_F(RegistryTest, ConnectionHandlesAreUniqueAndNeverZero)
{
    std::set<DWORD> handles = {m_hConnection};
    std::vector<DWORD> created;
    for (int i = 0; i < 500; ++i) {
        const DWORD h = CMAPIImpl::Allocate(false);
        EXPECT_GE(h, 1u);
        EXPECT_LE(h, 32768u);
        EXPECT_TRUE(handles.insert(h).second) << h << " was issued twice";
        created.push_back(h);
    }
    for (const DWORD h : created)
        EXPECT_TRUE(CMAPIImpl::Free(h));
}

TEST_F(RegistryTest, FreeingTwiceRemovesOnce)
{
    const DWORD h = CMAPIImpl::Allocate(false);
    EXPECT_TRUE(CMAPIImpl::Locate(h));
    EXPECT_TRUE(CMAPIImpl::Free(h));
    EXPECT_FALSE(CMAPIImpl::Locate(h));
    EXPECT_FALSE(CMAPIImpl::Free(h));
}

TEST_F(RegistryTest, ZeroIsNeverFound)
{
    EXPECT_FALSE(CMAPIImpl::Locate(0));
    EXPECT_FALSE(CMAPIImpl::Free(0));
    EXPECT_EQ(Session()->LocateContentsTable(0), nullptr);
    EXPECT_EQ(Session()->LocateBookmark(0), 0u);
    EXPECT_FALSE(Session()->FreeContentsTableObject(0));
    EXPECT_FALSE(Session()->FreeBookmarkObject(0));
}

TEST_F(RegistryTest, ATableIsRecordedAndNotOwned)
{
    IMAPITable *table = NewTable(std::make_shared<TableData>("kept"));
    const DWORD h = Session()->StoreObject(table);
    EXPECT_GE(h, 1u);
    EXPECT_LE(h, 32768u);
    EXPECT_EQ(Session()->LocateContentsTable(h), table);
    EXPECT_TRUE(Session()->FreeContentsTableObject(h));
    EXPECT_EQ(Session()->LocateContentsTable(h), nullptr);
    EXPECT_FALSE(Session()->FreeContentsTableObject(h));
    EXPECT_THAT(LiveObjects(), ElementsAre("Table(kept)"));
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
    EXPECT_EQ(table->Release(), 0u) << "the registry held no reference";
}

TEST_F(RegistryTest, ABookmarkIsRecordedWithItsValue)
{
    for (const BOOKMARK bookmark : {BOOKMARK{0}, BOOKMARK{2}, BOOKMARK{101}, BOOKMARK{0xFFFFFFFF}}) {
        const DWORD h = Session()->StoreObject(bookmark);
        EXPECT_EQ(Session()->LocateBookmark(h), bookmark);
        EXPECT_TRUE(Session()->FreeBookmarkObject(h));
        EXPECT_EQ(Session()->LocateBookmark(h), 0u);
        EXPECT_FALSE(Session()->FreeBookmarkObject(h));
    }
}

TEST_F(RegistryTest, TheTwoRegistriesOfASessionAreSeparate)
{
    IMAPITable *table = NewTable(std::make_shared<TableData>("kept"));
    const DWORD hTable = Session()->StoreObject(table);
    EXPECT_EQ(Session()->LocateBookmark(hTable), 0u);
    EXPECT_FALSE(Session()->FreeBookmarkObject(hTable));
    EXPECT_EQ(Session()->LocateContentsTable(hTable), table);
    table->Release();
}

TEST_F(RegistryTest, ASessionsHandlesMeanNothingInAnother)
{
    DWORD other = 0;
    ASSERT_EQ(OrlCreateConnection(&other, 0), S_OK);
    const DWORD h = Session()->StoreObject(BOOKMARK{7});
    {
        const SessionGuard guard = CMAPIImpl::Locate(other);
        EXPECT_EQ(guard->LocateBookmark(h), 0u);
        EXPECT_FALSE(guard->FreeBookmarkObject(h));
    }
    EXPECT_EQ(Session()->LocateBookmark(h), 7u);
    EXPECT_EQ(OrlCloseConnection(&other), S_OK);
}

TEST_F(RegistryTest, ManyHandlesOfOneRegistryAreUnique)
{
    std::set<DWORD> handles;
    for (ULONG i = 1; i <= 2000; ++i) {
        const DWORD h = Session()->StoreObject(BOOKMARK{i});
        EXPECT_TRUE(handles.insert(h).second);
        EXPECT_EQ(Session()->LocateBookmark(h), i);
    }
    EXPECT_GE(*handles.begin(), 1u);
    EXPECT_LE(*handles.rbegin(), 32768u);
}

TEST_F(RegistryTest, ClosingDiscardsTheRegistriesAndDoesNotTouchWhatTheyRecorded)
{
    IMAPITable *table = NewTable(std::make_shared<TableData>("kept"));
    Session()->StoreObject(table);
    Session()->StoreObject(BOOKMARK{7});
    Close();
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
    EXPECT_EQ(table->Release(), 0u);
}

TEST_F(RegistryTest, AGuardKeepsTheSessionUntilItEnds)
{
    {
        const SessionGuard guard = Session();
        ASSERT_TRUE(guard);
        Close();
        EXPECT_THAT(Lines(), testing::Not(Contains("> CMAPIImpl::~CMAPIImpl()")));
        EXPECT_EQ(guard->OpenObjects().load(), 0) << "still there";
    }
    EXPECT_THAT(Lines(), Contains("> CMAPIImpl::~CMAPIImpl()"));
}

TEST_F(RegistryTest, ConstructionAndDestructionAreTraced)
{
    DWORD h = 0;
    ASSERT_EQ(OrlCreateConnection(&h, 0), S_OK);
    EXPECT_THAT(IndentedLines(),
                ElementsAre("> CMAPIImpl::Allocate(Service: <false>)", "  > CMAPIImpl::CMAPIImpl(Service: <false>)",
                            "    > CMAPIImpl::Initialise(Service: <false>)", "    < CMAPIImpl::Initialise()",
                            "  < CMAPIImpl::CMAPIImpl()", "< CMAPIImpl::Allocate()"));
    Forget();
    EXPECT_EQ(OrlCloseConnection(&h), S_OK);
    std::vector<std::string> lines;
    for (const std::string &line : Lines())
        if (line.find("CMAPIImpl::~CMAPIImpl") != std::string::npos || line.find("Uninitialise") != std::string::npos)
            lines.push_back(line);
    EXPECT_THAT(lines, ElementsAre("> CMAPIImpl::~CMAPIImpl()", "> CMAPIImpl::Uninitialise()",
                                   "< CMAPIImpl::Uninitialise()", "< CMAPIImpl::~CMAPIImpl()"));
}

TEST_F(RegistryTest, TheReferencesOfASessionAreCounted)
{
    CMAPIImpl *const session = [&] { return &*Session(); }();
    session->AddRef();
    Close();
    EXPECT_THAT(Lines(), testing::Not(Contains("> CMAPIImpl::~CMAPIImpl()")));
    session->Release();
    EXPECT_THAT(Lines(), Contains("> CMAPIImpl::~CMAPIImpl()"));
}

} // namespace
