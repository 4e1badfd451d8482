// The double of MAPI that other tests stand on: what it records, how it answers as told, and that it notices what is
// left or misused.
#include "support/MapiDouble.h"

using namespace mapi_double;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class MapiDoubleSelfTest : public MapiDoubleTest
{
  protected:
    void SetUp() override
    {
        ASSERT_EQ(MAPILogonEx(0, nullptr, nullptr, 0x40, &m_session), S_OK);
        m_mapi.recorder.Forget();
    }
    void TearDown() override
    {
        if (m_session)
            m_session->Release();
        MapiDoubleTest::TearDown();
    }
    IMAPISession *m_session = nullptr;
};

TEST_F(MapiDoubleSelfTest, RecordsAConversationWithItsArguments)
{
    IMAPITable *table = nullptr;
    ASSERT_EQ(m_session->GetMsgStoresTable(0, &table), S_OK);
    SPropValue yes = {};
    yes.ulPropTag = PR_DEFAULT_STORE;
    yes.Value.b = TRUE;
    SRestriction isDefault = {};
    isDefault.rt = RES_PROPERTY;
    isDefault.res.resProperty.relop = RELOP_EQ;
    isDefault.res.resProperty.ulPropTag = PR_DEFAULT_STORE;
    isDefault.res.resProperty.lpProp = &yes;
    SizedSPropTagArray(2, columns) = {2, {PR_ENTRYID, PR_DEFAULT_STORE}};
    SRowSet *rows = nullptr;
    ASSERT_EQ(HrQueryAllRows(table, reinterpret_cast<SPropTagArray *>(&columns), &isDefault, nullptr, 0, &rows), S_OK);
    IMsgStore *store = nullptr;
    const SBinary &id = rows->aRow[0].lpProps[0].Value.bin;
    ASSERT_EQ(m_session->OpenMsgStore(0, id.cb, reinterpret_cast<ENTRYID *>(id.lpb), nullptr, 0x111, &store), S_OK);
    FreeProws(rows);
    table->Release();
    store->Release();

    EXPECT_THAT(m_mapi.recorder.Calls(), ElementsAre("Session.GetMsgStoresTable(0)",
                                                     "HrQueryAllRows(Table(stores), [PR_ENTRYID, PR_DEFAULT_STORE], "
                                                     "PROPERTY(PR_DEFAULT_STORE == TRUE), NULL, 0)",
                                                     "Session.OpenMsgStore(0, eid(store:default), NULL, 0x111)"));
    EXPECT_THAT(m_mapi.recorder.Everything(),
                ElementsAre("Session.GetMsgStoresTable(0)", testing::StartsWith("HrQueryAllRows("),
                            "  Table(stores).SetColumns([PR_ENTRYID, PR_DEFAULT_STORE], 0x2)",
                            "  Table(stores).Restrict(PROPERTY(PR_DEFAULT_STORE == TRUE), 0x2)",
                            "  Table(stores).SeekRow(BEGINNING, 0, NULL)", "  Table(stores).QueryRows(2147483647, 0)",
                            testing::StartsWith("Session.OpenMsgStore("), "FreeProws(rows of stores)",
                            "Table(stores).Release()", "Store(default).Release()"));
}

TEST_F(MapiDoubleSelfTest, AnswersTheNthCallAsTold)
{
    m_mapi.script.Tell("Session.GetMsgStoresTable", Fails(MAPI_E_NETWORK_ERROR).Nth(2));
    IMAPITable *tables[3] = {};
    EXPECT_EQ(m_session->GetMsgStoresTable(0, &tables[0]), S_OK);
    EXPECT_EQ(m_session->GetMsgStoresTable(0, &tables[1]), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(m_session->GetMsgStoresTable(0, &tables[2]), S_OK);
    EXPECT_EQ(tables[1], nullptr);
    tables[0]->Release();
    tables[2]->Release();
}

TEST_F(MapiDoubleSelfTest, HandsAnObjectBackTogetherWithAFailureWhereTold)
{
    m_mapi.script.Tell("Session.GetMsgStoresTable", Fails(E_FAIL).WithOutput());
    IMAPITable *table = nullptr;
    EXPECT_EQ(m_session->GetMsgStoresTable(0, &table), E_FAIL);
    ASSERT_NE(table, nullptr);
    table->Release();
}

TEST_F(MapiDoubleSelfTest, HandsNothingBackTogetherWithASuccessWhereTold)
{
    m_mapi.script.Tell("MAPIAdminProfiles", GivesNull());
    IProfAdmin *admin = reinterpret_cast<IProfAdmin *>(m_session);
    EXPECT_EQ(MAPIAdminProfiles(0, &admin), S_OK);
    EXPECT_EQ(admin, nullptr);
}

TEST_F(MapiDoubleSelfTest, KnowsWhatIsLeft)
{
    IProfAdmin *admin = nullptr;
    ASSERT_EQ(MAPIAdminProfiles(0, &admin), S_OK);
    void *block = nullptr;
    void *child = nullptr;
    ASSERT_EQ(MAPIAllocateBuffer(9, &block), S_OK);
    ASSERT_EQ(MAPIAllocateMore(4, block, &child), S_OK);
    EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "ProfAdmin"));
    EXPECT_THAT(LiveBlocks(), ElementsAre("block 1"));
    EXPECT_EQ(MAPIFreeBuffer(block), 0u);
    admin->Release();
    EXPECT_THAT(LiveBlocks(), IsEmpty());
    EXPECT_THAT(m_mapi.recorder.Memory(),
                ElementsAre("MAPIAllocateBuffer(9)", "MAPIAllocateMore(4, block 1)", "MAPIFreeBuffer(block 1)"));
}

TEST_F(MapiDoubleSelfTest, NoticesAPartFreedByItselfAndABlockFreedTwice)
{
    void *block = nullptr;
    void *child = nullptr;
    ASSERT_EQ(MAPIAllocateBuffer(9, &block), S_OK);
    ASSERT_EQ(MAPIAllocateMore(4, block, &child), S_OK);
    MAPIFreeBuffer(child);
    MAPIFreeBuffer(block);
    MAPIFreeBuffer(block);
    EXPECT_EQ(TakeMisuses().size(), 2u);
}

TEST_F(MapiDoubleSelfTest, GivesTheErrorRecordThatItWasTold)
{
    m_mapi.script.SetLastError("Session", {"no such thing", "the component", 42});
    MAPIERROR *error = nullptr;
    ASSERT_EQ(m_session->GetLastError(E_FAIL, 0, &error), S_OK);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(reinterpret_cast<const char *>(error->lpszError), "no such thing");
    EXPECT_STREQ(reinterpret_cast<const char *>(error->lpszComponent), "the component");
    EXPECT_EQ(error->ulContext, 42u);
    MAPIFreeBuffer(error);
}

TEST_F(MapiDoubleSelfTest, ASweepFailsEachCallOnceAndFromThereOn)
{
    std::vector<std::string> rounds;
    HRESULT first = S_OK;
    HRESULT second = S_OK;
    const auto call = [&](HRESULT &hr) {
        IMAPITable *table = nullptr;
        hr = m_session->GetMsgStoresTable(0, &table);
        if (table)
            table->Release();
    };
    const int calls =
        Sweep([] {}, [&] { call(first), call(second); },
              [&](const Round &round) {
                  rounds.push_back(round.Text() + (FAILED(first) ? " first" : "") + (FAILED(second) ? " second" : ""));
              },
              {E_FAIL});
    EXPECT_EQ(calls, 2);
    EXPECT_THAT(rounds, ElementsAre("1 once 0x80004005 first", "2 once 0x80004005 second",
                                    "1 onwards 0x80004005 first second", "2 onwards 0x80004005 second"));
}

TEST_F(MapiDoubleSelfTest, ATableReadsBothWaysFromItsBookmarks)
{
    auto data = std::make_shared<TableData>("numbers");
    for (int i = 0; i < 5; ++i)
        data->rows.push_back({Long(PR_IMPORTANCE, i)});
    IMAPITable *table = NewTable(data);
    const auto read = [&](LONG rows) {
        SRowSet *set = nullptr;
        EXPECT_EQ(table->QueryRows(rows, 0, &set), S_OK);
        std::vector<int> result;
        for (ULONG i = 0; i < set->cRows; ++i)
            result.push_back(static_cast<int>(set->aRow[i].lpProps[0].Value.l));
        FreeProws(set);
        return result;
    };
    EXPECT_THAT(read(2), ElementsAre(0, 1));
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    EXPECT_THAT(read(9), ElementsAre(2, 3, 4));
    EXPECT_THAT(read(2), IsEmpty());
    EXPECT_THAT(read(-2), ElementsAre(3, 4));
    ASSERT_EQ(table->SeekRow(bookmark, 0, nullptr), S_OK);
    EXPECT_THAT(read(1), ElementsAre(2));
    EXPECT_EQ(table->FreeBookmark(bookmark), S_OK);
    EXPECT_EQ(table->SeekRow(bookmark, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
    table->Release();
}

} // namespace
