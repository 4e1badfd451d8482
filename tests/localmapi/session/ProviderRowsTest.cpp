// LOCALMAPI_BEHAVIOUR's cut and rows: short values in rows, and few rows at a time.
#include "ExchangeMapi.h"
#include "ProviderFixture.h"

using namespace localmapi;
using namespace localmapi::test;

namespace
{

// --- cut ---

TEST_F(ProviderBehaviour, NarrowTextOfARowIsCutToTheBytesAndTheObjectsTextIsWhole)
{
    LogOnWith("cut=255");
    const std::string subject = std::string(255, 'a') + "b";
    auto message = AddSubject(subject);
    EXPECT_EQ(SubjectInRow(PR_SUBJECT_A), std::string(255, 'a'));
    EXPECT_EQ(TextOf(message.get(), PR_SUBJECT_A), subject);
    EXPECT_EQ(TextOf(message.get(), PR_SUBJECT_W), subject);
}

TEST_F(ProviderBehaviour, TextOfJustTheBytesIsWhole)
{
    LogOnWith("cut=510");
    const std::string subject(255, 'x');
    AddSubject(subject);
    EXPECT_EQ(SubjectInRow(PR_SUBJECT_A), subject);
    EXPECT_EQ(SubjectInRow(PR_SUBJECT_W), subject);
}

TEST_F(ProviderBehaviour, WideTextOfARowIsCutToTheBytesOfItsUnits)
{
    LogOnWith("cut=510");
    AddSubject(std::string(256, 'y'));
    EXPECT_EQ(SubjectInRow(PR_SUBJECT_W), std::string(255, 'y'));
    Leave();
    LogOnWith("cut=255");
    EXPECT_EQ(SubjectInRow(PR_SUBJECT_W), std::string(127, 'y'));
}

TEST_F(ProviderBehaviour, NoCharacterIsCutInTwo)
{
    LogOnWith("cut=510");
    std::string before(254, 'z');
    AddSubject(before + "\xF0\x9F\x93\x9E rings"); // a telephone: two units of UTF-16, of which one would fit
    EXPECT_EQ(SubjectInRow(PR_SUBJECT_W), before);
}

TEST_F(ProviderBehaviour, BytesAndTheElementsOfListsAreCutToo)
{
    LogOnWith("cut=255");
    std::vector<BYTE> bytes(300, 7);
    WideText wide[2] = {WideFromUtf8(std::string(200, 'w')), WideFromUtf8("short")};
    LPWSTR texts[2] = {wide[0].data(), wide[1].data()};
    std::vector<SPropValue> values(2);
    values[0].ulPropTag = kOwnBytes;
    values[0].Value.bin = {static_cast<ULONG>(bytes.size()), bytes.data()};
    values[1].ulPropTag = kOwnTexts;
    values[1].Value.MVszW = {2, texts};
    auto message = Add(values);
    auto table = Contents({kOwnBytes, kOwnTexts});
    Rows rows;
    ASSERT_CODE(table->QueryRows(1, 0, rows.put()), S_OK);
    ASSERT_EQ(rows.Count(), 1u);
    EXPECT_EQ(BytesIn(rows[0], kOwnBytes), std::vector<BYTE>(255, 7));
    const auto &list = rows[0].lpProps[1].Value.MVszW;
    ASSERT_EQ(list.cValues, 2u);
    EXPECT_EQ(Utf8FromWide(list.lppszW[0]), std::string(127, 'w'));
    EXPECT_EQ(Utf8FromWide(list.lppszW[1]), "short");
    EXPECT_EQ(BytesOf(message.get(), kOwnBytes), bytes);
}

TEST_F(ProviderBehaviour, IdentifiersStayWhole)
{
    LogOnWith("cut=255");
    std::vector<BYTE> bytes(300, 9);
    SPropValue value{};
    value.ulPropTag = PR_SENDER_ENTRYID;
    value.Value.bin = {static_cast<ULONG>(bytes.size()), bytes.data()};
    auto message = Add({value});
    auto table = Contents({PR_SENDER_ENTRYID, PR_ENTRYID, PR_INSTANCE_KEY});
    Rows rows;
    ASSERT_CODE(table->QueryRows(1, 0, rows.put()), S_OK);
    ASSERT_EQ(rows.Count(), 1u);
    EXPECT_EQ(BytesIn(rows[0], PR_SENDER_ENTRYID), bytes);
    EXPECT_EQ(BytesIn(rows[0], PR_ENTRYID), BytesOf(message.get(), PR_ENTRYID));
}

TEST_F(ProviderBehaviour, AllRowsAtOnceAreCutAndConditionsSeeTheWholeValue)
{
    LogOnWith("cut=255");
    AddSubject(std::string(300, 'q') + "end");
    AddSubject(std::string(300, 'q') + "another end");
    auto table = Contents({PR_SUBJECT_A});
    std::string wanted = std::string(300, 'q') + "end";
    SPropValue value{};
    value.ulPropTag = PR_SUBJECT_A;
    value.Value.lpszA = wanted.data();
    SRestriction restriction{};
    restriction.rt = RES_PROPERTY;
    restriction.res.resProperty.relop = RELOP_EQ;
    restriction.res.resProperty.ulPropTag = PR_SUBJECT_A;
    restriction.res.resProperty.lpProp = &value;
    const Rows rows = AllRows(table.get(), {PR_SUBJECT_A}, &restriction);
    ASSERT_EQ(rows.Count(), 1u);
    EXPECT_EQ(TextIn(rows[0], PR_SUBJECT_A), std::string(255, 'q'));
}

// --- rows ---

TEST_F(ProviderBehaviour, AReadGivesNoMoreThanSoManyRowsAndGoesOnBehindThem)
{
    LogOnWith("rows=2");
    auto table = Numbered(5);
    EXPECT_EQ(Read(table, 10), (std::vector<LONG>{1, 2}));
    EXPECT_EQ(PositionOf(table), 2u);
    EXPECT_EQ(Read(table, 1), (std::vector<LONG>{3}));
    EXPECT_EQ(Read(table, 2, TBL_NOADVANCE), (std::vector<LONG>{4, 5}));
    EXPECT_EQ(PositionOf(table), 3u);
    EXPECT_EQ(Read(table, 1000000), (std::vector<LONG>{4, 5}));
    EXPECT_EQ(Read(table, 1), std::vector<LONG>());
}

TEST_F(ProviderBehaviour, ABackwardReadGoesBackAsFarAsItWasToldAndGivesTheFirstRowsFromThere)
{
    LogOnWith("rows=2");
    auto table = Numbered(6);
    ASSERT_CODE(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    EXPECT_EQ(Read(table, -2), (std::vector<LONG>{5, 6}));
    EXPECT_EQ(PositionOf(table), 6u) << "where it began";
    EXPECT_EQ(Read(table, -5, TBL_NOADVANCE), (std::vector<LONG>{2, 3}));
    EXPECT_EQ(PositionOf(table), 1u) << "on the first row given";
    ASSERT_CODE(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    EXPECT_EQ(Read(table, -100), (std::vector<LONG>{1, 2}));
    EXPECT_EQ(PositionOf(table), 2u) << "behind the last row given";
}

TEST_F(ProviderBehaviour, AllRowsAtOnceAreAllOfThem)
{
    LogOnWith("rows=2");
    auto table = Numbered(7);
    EXPECT_EQ(AllRows(table.get(), {kOwnNumber}).Count(), 7u);
    ULONG count = 0;
    EXPECT_CODE(table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 7u);
}

} // namespace
