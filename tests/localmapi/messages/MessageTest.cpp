// Proves messages: any property in either width, what is computed, and what can be neither set nor asked for.
#include "ExchangeMapi.h"
#include "MessageFixture.h"

#include <mapiguid.h>

#include <algorithm>

namespace localmapi::test
{

namespace
{

class MessageTest : public InAMailbox
{
};

TEST_F(MessageTest, EveryTypeOfPropertyIsKept)
{
    const GUID guid = {0x11223344, 5, 6, {7, 8, 9, 10, 11, 12, 13, 14}};
    std::vector<LONG> longs{1, -2, 3};
    std::vector<short> shorts{-1, 2};
    std::vector<LARGE_INTEGER> bigs(2);
    bigs[1].QuadPart = -9000000000LL;
    std::vector<double> doubles{0.5, -0.25};
    std::vector<float> floats{1.5f};
    std::vector<FILETIME> times{{1, 2}, {3, 4}};
    std::vector<GUID> guids{guid, guid};
    std::string text = "text";
    std::vector<char *> texts{text.data(), text.data()};
    std::vector<SBinary> binaries(2);
    binaries[1].cb = 4;
    binaries[1].lpb = reinterpret_cast<BYTE *>(text.data());
    SPropValue values[24] = {Short(PROP_TAG(PT_I2, 0x6A30), -7),
                             Long(PROP_TAG(PT_LONG, 0x6A31), -8),
                             Float(PROP_TAG(PT_R4, 0x6A32), 1.25f),
                             Double(PROP_TAG(PT_DOUBLE, 0x6A33), 2.5),
                             Big(PROP_TAG(PT_CURRENCY, 0x6A34), 123456789012LL),
                             Double(PROP_TAG(PT_APPTIME, 0x6A35), 40000.5),
                             Bool(PROP_TAG(PT_BOOLEAN, 0x6A36), true),
                             Big(PROP_TAG(PT_I8, 0x6A37), -1),
                             Narrow(PROP_TAG(PT_STRING8, 0x6A38), "narrow"),
                             Wide(PROP_TAG(PT_UNICODE, 0x6A39), OLESTR("wide")),
                             Time(PROP_TAG(PT_SYSTIME, 0x6A3A), 0x1122334455667788ULL),
                             Guid(PROP_TAG(PT_CLSID, 0x6A3B), guid),
                             Binary(PROP_TAG(PT_BINARY, 0x6A3C), "\0\1\2", 3),
                             Binary(PROP_TAG(PT_BINARY, 0x6A3D), nullptr, 0),
                             Longs(PROP_TAG(PT_MV_LONG, 0x6A3E), longs),
                             Narrows(PROP_TAG(PT_MV_STRING8, 0x6A3F), texts)};
    SPropValue *more = values + 16;
    more[0].ulPropTag = PROP_TAG(PT_MV_I2, 0x6A40);
    more[0].Value.MVi = {2, shorts.data()};
    more[1].ulPropTag = PROP_TAG(PT_MV_I8, 0x6A41);
    more[1].Value.MVli = {2, bigs.data()};
    more[2].ulPropTag = PROP_TAG(PT_MV_DOUBLE, 0x6A42);
    more[2].Value.MVdbl = {2, doubles.data()};
    more[3].ulPropTag = PROP_TAG(PT_MV_R4, 0x6A43);
    more[3].Value.MVflt = {1, floats.data()};
    more[4].ulPropTag = PROP_TAG(PT_MV_SYSTIME, 0x6A44);
    more[4].Value.MVft = {2, times.data()};
    more[5].ulPropTag = PROP_TAG(PT_MV_CLSID, 0x6A45);
    more[5].Value.MVguid = {2, guids.data()};
    more[6].ulPropTag = PROP_TAG(PT_MV_BINARY, 0x6A46);
    more[6].Value.MVbin = {2, binaries.data()};
    more[7].ulPropTag = PROP_TAG(PT_MV_LONG, 0x6A47);
    more[7].Value.MVl = {0, nullptr};
    const EntryIdBytes id = m_mailbox.Add(Props(std::begin(values), std::end(values)));

    auto message = m_mailbox.Open(id);
    std::vector<ULONG> tags;
    for (const SPropValue &value : values)
        tags.push_back(value.ulPropTag);
    ULONG count = 0;
    Block<SPropValue> got;
    ASSERT_CODE(message->GetProps(Tags(tags), 0, &count, got.put()), S_OK);
    ASSERT_EQ(count, std::size(values));
    for (ULONG i = 0; i < count; ++i)
        ASSERT_EQ(got[i].ulPropTag, tags[i]) << i;
    EXPECT_EQ(got[0].Value.i, -7);
    EXPECT_EQ(got[1].Value.l, -8);
    EXPECT_EQ(got[2].Value.flt, 1.25f);
    EXPECT_EQ(got[3].Value.dbl, 2.5);
    EXPECT_EQ(got[4].Value.li.QuadPart, 123456789012LL);
    EXPECT_EQ(got[5].Value.at, 40000.5);
    EXPECT_EQ(got[6].Value.b, 1);
    EXPECT_EQ(got[7].Value.li.QuadPart, -1);
    EXPECT_STREQ(got[8].Value.lpszA, "narrow");
    EXPECT_EQ(Utf8FromWide(got[9].Value.lpszW), "wide");
    EXPECT_EQ(got[10].Value.ft.dwHighDateTime, 0x11223344u);
    EXPECT_TRUE(*got[11].Value.lpguid == guid);
    EXPECT_EQ(got[12].Value.bin.cb, 3u);
    EXPECT_EQ(got[13].Value.bin.cb, 0u);
    EXPECT_EQ(got[14].Value.MVl.lpl[1], -2);
    EXPECT_STREQ(got[15].Value.MVszA.lppszA[1], "text");
    EXPECT_EQ(got[16].Value.MVi.lpi[0], -1);
    EXPECT_EQ(got[17].Value.MVli.lpli[1].QuadPart, -9000000000LL);
    EXPECT_EQ(got[18].Value.MVdbl.lpdbl[1], -0.25);
    EXPECT_EQ(got[19].Value.MVflt.lpflt[0], 1.5f);
    EXPECT_EQ(got[20].Value.MVft.lpft[1].dwHighDateTime, 4u);
    EXPECT_TRUE(got[21].Value.MVguid.lpguid[1] == guid);
    EXPECT_EQ(got[22].Value.MVbin.lpbin[0].cb, 0u);
    EXPECT_EQ(std::memcmp(got[22].Value.MVbin.lpbin[1].lpb, "text", 4), 0);
    EXPECT_EQ(got[23].Value.MVl.cValues, 0u);
}

TEST_F(MessageTest, OneStoredTextIsNarrowAndWide)
{
    const EntryIdBytes id = m_mailbox.Add({Wide(kWide, OLESTR("gr\u00FC\u00DFe \u65E5\u672C"))});
    auto message = m_mailbox.Open(id);
    EXPECT_EQ(TextOf(message.get(), kWide), Utf8FromWide(OLESTR("gr\u00FC\u00DFe \u65E5\u672C")));
    EXPECT_NE(TextOf(message.get(), kNarrow), "(none)");
    ASSERT_CODE(SetProps(message.get(), {Narrow(kNarrow, "plain")}), S_OK);
    EXPECT_EQ(TextOf(message.get(), kWide), "plain");
    // One value: the list names it once, in the width asked for.
    for (const ULONG flags : {ULONG{0}, MAPI_UNICODE}) {
        Block<SPropTagArray> tags;
        ASSERT_CODE(message->GetPropList(flags, tags.put()), S_OK);
        const auto count = [&](ULONG tag) {
            return std::count(tags->aulPropTag, tags->aulPropTag + tags->cValues, tag);
        };
        EXPECT_EQ(count(kNarrow), flags ? 0 : 1);
        EXPECT_EQ(count(kWide), flags ? 1 : 0);
    }
}

TEST_F(MessageTest, WhatAMessageLacksIsAnErrorInItsPlace)
{
    const EntryIdBytes id = m_mailbox.Add({Long(kNumber, 5)});
    auto message = m_mailbox.Open(id);
    const Given given = GetProps(message, {kBytes, kNumber, PROP_TAG(PT_BINARY, PROP_ID(kNumber)), PR_NULL});
    EXPECT_CODE(given.hr, MAPI_W_ERRORS_RETURNED);
    ASSERT_EQ(given.count, 4u);
    EXPECT_EQ(given[0].ulPropTag, PROP_TAG(PT_ERROR, PROP_ID(kBytes)));
    EXPECT_CODE(given[0].Value.err, MAPI_E_NOT_FOUND);
    EXPECT_EQ(given[1].ulPropTag, kNumber);
    EXPECT_EQ(given[2].ulPropTag, PROP_TAG(PT_ERROR, PROP_ID(kNumber)));
    EXPECT_EQ(given[3].ulPropTag, PR_NULL);
    EXPECT_CODE(GetProps(message, {kNumber}).hr, S_OK);
}

TEST_F(MessageTest, ATagThatLeavesTheTypeOpenTakesTheStoredOne)
{
    const EntryIdBytes id = m_mailbox.Add({Long(kNumber, 5), Narrow(kNarrow, "text")});
    auto message = m_mailbox.Open(id);
    const Given narrow =
        GetProps(message, {PROP_TAG(PT_UNSPECIFIED, PROP_ID(kNumber)), PROP_TAG(PT_UNSPECIFIED, PROP_ID(kNarrow)),
                           PROP_TAG(PT_UNSPECIFIED, 0x6AFF), PROP_TAG(PT_UNSPECIFIED, PROP_ID(PR_ENTRYID))});
    EXPECT_CODE(narrow.hr, MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(narrow[0].ulPropTag, kNumber);
    EXPECT_EQ(narrow[1].ulPropTag, kNarrow);
    EXPECT_EQ(narrow[2].ulPropTag, PROP_TAG(PT_ERROR, 0x6AFF));
    EXPECT_EQ(narrow[3].ulPropTag, PR_ENTRYID);
    const Given wide = GetProps(message, {PROP_TAG(PT_UNSPECIFIED, PROP_ID(kNarrow))}, MAPI_UNICODE);
    EXPECT_EQ(wide[0].ulPropTag, kWide);
}

TEST_F(MessageTest, NoListOfPropertiesMeansAllOfThem)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "hello"), Long(kNumber, 5)});
    auto message = m_mailbox.Open(id);
    const Given all = GetAllProps(*message.get());
    EXPECT_CODE(all.hr, S_OK);
    for (const ULONG tag : {PR_SUBJECT_A, kNumber, PR_ENTRYID, PR_MESSAGE_FLAGS, PR_MESSAGE_SIZE, PR_MESSAGE_CLASS_A})
        EXPECT_TRUE(all.Find(tag)) << HexText(tag);
    Block<SPropTagArray> tags;
    ASSERT_CODE(message->GetPropList(0, tags.put()), S_OK);
    EXPECT_EQ(tags->cValues, all.count);
    EXPECT_CODE(GetAllProps(*message.get(), 0x40).hr, MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(MessageTest, BadArgumentsOfGetPropsAndSetPropsAreRefused)
{
    auto message = m_mailbox.NewMessage();
    ULONG count = 0;
    Block<SPropValue> values;
    EXPECT_CODE(message->GetProps(Tags{}, 0, &count, values.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->GetProps(Tags{kNumber}, 0, nullptr, values.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->GetProps(Tags{kNumber}, 0, &count, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->GetProps(Tags{kNumber}, 4, &count, values.put()), MAPI_E_UNKNOWN_FLAGS);
    SPropTagArray huge{};
    huge.cValues = 0x7FFFFFFF;
    EXPECT_CODE(message->GetProps(&huge, 0, &count, values.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->GetPropList(0, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->SetProps(0, values.get(), nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->SetProps(1, nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
    SPropValue bad[] = {Long(kNumber, 1), Narrow(kNarrow, nullptr)};
    EXPECT_CODE(message->SetProps(2, bad, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(LongOf(message.get(), kNumber), -1) << "a call that is refused sets nothing";
    bad[1] = Binary(kBytes, nullptr, 12);
    EXPECT_CODE(message->SetProps(2, bad, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->DeleteProps(nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->DeleteProps(Tags{}, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(message->SaveChanges(0x100), MAPI_E_UNKNOWN_FLAGS);
}

TEST_F(MessageTest, PropertiesThatCanNotBeSetAreProblemsAndTheOthersAreSet)
{
    auto message = m_mailbox.NewMessage();
    SPropValue values[] = {Long(kNumber, 5), Long(PR_MESSAGE_SIZE, 1), Narrow(PR_DISPLAY_TO_A, "x"),
                           Long(PROP_TAG(0x77, 0x6A30), 1), Narrow(kNarrow, "set")};
    Block<SPropProblemArray> problems;
    ASSERT_CODE(message->SetProps(5, values, problems.put()), S_OK);
    ASSERT_TRUE(problems);
    ASSERT_EQ(problems->cProblem, 3u);
    EXPECT_EQ(problems->aProblem[0].ulIndex, 1u);
    EXPECT_EQ(problems->aProblem[0].ulPropTag, PR_MESSAGE_SIZE);
    EXPECT_CODE(problems->aProblem[0].scode, MAPI_E_COMPUTED);
    EXPECT_EQ(problems->aProblem[1].ulIndex, 2u);
    EXPECT_CODE(problems->aProblem[1].scode, MAPI_E_COMPUTED);
    EXPECT_EQ(problems->aProblem[2].ulIndex, 3u);
    EXPECT_CODE(problems->aProblem[2].scode, MAPI_E_INVALID_TYPE);
    EXPECT_EQ(LongOf(message.get(), kNumber), 5);
    EXPECT_EQ(TextOf(message.get(), kNarrow), "set");
}

TEST_F(MessageTest, ComputedPropertiesRefuseToBeSet)
{
    auto message = m_mailbox.NewMessage();
    for (const ULONG tag : {PR_ENTRYID, PR_PARENT_ENTRYID, PR_RECORD_KEY, PR_STORE_ENTRYID, PR_INSTANCE_KEY,
                            PR_STORE_RECORD_KEY, PR_MAPPING_SIGNATURE})
        EXPECT_CODE(ProblemOf(message.get(), Binary(tag, "x", 1)), MAPI_E_COMPUTED) << HexText(tag);
    for (const ULONG tag : {PR_OBJECT_TYPE, PR_ACCESS, PR_ACCESS_LEVEL, PR_MESSAGE_SIZE})
        EXPECT_CODE(ProblemOf(message.get(), Long(tag, 1)), MAPI_E_COMPUTED) << HexText(tag);
    EXPECT_CODE(ProblemOf(message.get(), Bool(PR_HASATTACH, true)), MAPI_E_COMPUTED);
    EXPECT_CODE(ProblemOf(message.get(), Narrow(PR_NORMALIZED_SUBJECT_A, "x")), MAPI_E_COMPUTED);
    EXPECT_CODE(ProblemOf(message.get(), Time(PR_LAST_MODIFICATION_TIME, 1)), MAPI_E_COMPUTED);
}

TEST_F(MessageTest, ANewMessageIsAnUnsentNoteWithoutAnEntryIdentifier)
{
    auto message = m_mailbox.NewMessage();
    EXPECT_EQ(TextOf(message.get(), PR_MESSAGE_CLASS_A), "IPM.Note");
    EXPECT_EQ(LongOf(message.get(), PR_MESSAGE_FLAGS), static_cast<LONG>(MSGFLAG_UNSENT | MSGFLAG_READ));
    EXPECT_EQ(LongOf(message.get(), PR_IMPORTANCE), 1);
    EXPECT_EQ(LongOf(message.get(), PR_HASATTACH), 0);
    EXPECT_EQ(TextOf(message.get(), PR_DISPLAY_TO_A), "");
    EXPECT_TRUE(BytesOf(message.get(), PR_ENTRYID).empty());
    EXPECT_EQ(BytesOf(message.get(), PR_PARENT_ENTRYID), BytesOf(m_mailbox.inbox(), PR_ENTRYID));
    EXPECT_EQ(BytesOf(message.get(), PR_SEARCH_KEY).size(), 16u);
}

TEST_F(MessageTest, ASavedMessageHasItsIdentifiersAndTimes)
{
    auto message = m_mailbox.NewMessage();
    const EntryIdBytes id = m_mailbox.Save(message);
    EXPECT_FALSE(id.empty());
    EXPECT_EQ(BytesOf(message.get(), PR_RECORD_KEY), id);
    EXPECT_FALSE(BytesOf(message.get(), PR_INSTANCE_KEY).empty());
    EXPECT_EQ(BytesOf(message.get(), PR_STORE_ENTRYID), BytesOf(m_mailbox.store(), PR_ENTRYID));
    EXPECT_EQ(LongOf(message.get(), PR_OBJECT_TYPE), static_cast<LONG>(MAPI_MESSAGE));
    EXPECT_EQ(LongOf(message.get(), PR_ACCESS),
              static_cast<LONG>(MAPI_ACCESS_READ | MAPI_ACCESS_MODIFY | MAPI_ACCESS_DELETE));
    EXPECT_TRUE(GetProps(message, {PR_CREATION_TIME}).Find(PR_CREATION_TIME));
    EXPECT_TRUE(GetProps(message, {PR_LAST_MODIFICATION_TIME}).Find(PR_LAST_MODIFICATION_TIME));
}

TEST_F(MessageTest, TheSubjectIsSplitIntoPrefixAndRest)
{
    const struct {
        const char *subject;
        const char *prefix;
        const char *rest;
    } subjects[] = {{"hello", "", "hello"},
                    {"RE: hello", "RE: ", "hello"},
                    {"FW: RE: x", "FW: ", "RE: x"},
                    {"Note: x", "", "Note: x"},
                    {"R2: x", "", "R2: x"},
                    {"RE:x", "", "RE:x"},
                    {": x", "", ": x"},
                    {"", "", ""},
                    {"AW: ", "AW: ", ""}};
    for (const auto &subject : subjects) {
        auto message = m_mailbox.NewMessage();
        ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, subject.subject)}), S_OK);
        EXPECT_EQ(TextOf(message.get(), PR_SUBJECT_PREFIX_A), subject.prefix) << subject.subject;
        EXPECT_EQ(TextOf(message.get(), PR_NORMALIZED_SUBJECT_A), subject.rest) << subject.subject;
        const EntryIdBytes id = m_mailbox.Save(message);
        EXPECT_EQ(TextOf(m_mailbox.Open(id).get(), PR_NORMALIZED_SUBJECT_A), subject.rest) << subject.subject;
    }
    auto message = m_mailbox.NewMessage();
    ASSERT_CODE(
        SetProps(message.get(), {Narrow(PR_SUBJECT_A, "Answer: hello"), Narrow(PR_SUBJECT_PREFIX_A, "Answer: ")}),
        S_OK);
    EXPECT_EQ(TextOf(message.get(), PR_NORMALIZED_SUBJECT_A), "hello");
    ASSERT_CODE(message->DeleteProps(Tags{PR_SUBJECT_A}, nullptr), S_OK);
    EXPECT_EQ(TextOf(message.get(), PR_NORMALIZED_SUBJECT_A), "(none)");
}

TEST_F(MessageTest, TheFlagsAreTheClientsUntilTheFirstSaveAndHaveMethodsAfterIt)
{
    auto message = m_mailbox.NewMessage();
    EXPECT_CODE(ProblemOf(message.get(), Long(PR_MESSAGE_FLAGS, MSGFLAG_UNSENT | MSGFLAG_HASATTACH | MSGFLAG_FROMME)),
                S_OK);
    EXPECT_EQ(LongOf(message.get(), PR_MESSAGE_FLAGS), static_cast<LONG>(MSGFLAG_UNSENT | MSGFLAG_FROMME));
    const EntryIdBytes id = m_mailbox.Save(message);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PR_MESSAGE_FLAGS), static_cast<LONG>(MSGFLAG_UNSENT | MSGFLAG_FROMME));
    EXPECT_CODE(ProblemOf(message.get(), Long(PR_MESSAGE_FLAGS, 0)), MAPI_E_COMPUTED);
}

TEST_F(MessageTest, TheSizeGrowsWithWhatIsInTheMessage)
{
    const EntryIdBytes small = m_mailbox.Add({Narrow(PR_SUBJECT_A, "x")});
    const std::string body(10000, 'b');
    const EntryIdBytes large = m_mailbox.Add({Narrow(PR_SUBJECT_A, "x"), Narrow(PR_BODY_A, body.c_str())});
    const LONG smallSize = LongOf(m_mailbox.Open(small).get(), PR_MESSAGE_SIZE);
    EXPECT_GT(smallSize, 0);
    EXPECT_GE(LongOf(m_mailbox.Open(large).get(), PR_MESSAGE_SIZE), smallSize + 10000);
    auto unsaved = m_mailbox.NewMessage();
    ASSERT_CODE(SetProps(unsaved.get(), {Narrow(PR_BODY_A, body.c_str())}), S_OK);
    EXPECT_GE(LongOf(unsaved.get(), PR_MESSAGE_SIZE), 10000);
}

TEST_F(MessageTest, ValuesUpTo32KiBComeWholeAndLongerOnesAsAnError)
{
    for (const std::size_t length : {std::size_t{32 * 1024}, std::size_t{32 * 1024 + 1}}) {
        const std::string text(length, 'x');
        auto message = m_mailbox.NewMessage();
        ASSERT_CODE(SetProps(message.get(), {Narrow(PR_BODY_A, text.c_str()),
                                             Binary(kBytes, text.data(), static_cast<ULONG>(length))}),
                    S_OK);
        const EntryIdBytes id = m_mailbox.Save(message);
        const Given given = GetProps(m_mailbox.Open(id), {PR_BODY_A, kBytes, PR_BODY_W});
        if (length <= 32 * 1024) {
            ASSERT_CODE(given.hr, S_OK);
            EXPECT_EQ(given[0].Value.lpszA, text);
            EXPECT_EQ(given[1].Value.bin.cb, length);
        } else {
            ASSERT_CODE(given.hr, MAPI_W_ERRORS_RETURNED);
            for (int i = 0; i < 3; ++i) {
                EXPECT_EQ(PROP_TYPE(given[i].ulPropTag), PT_ERROR);
                EXPECT_CODE(given[i].Value.err, MAPI_E_NOT_ENOUGH_MEMORY);
            }
            EXPECT_EQ(ReadProperty(m_mailbox.Open(id).get(), kBytes), text);
        }
    }
}

TEST_F(MessageTest, DeletePropsTakesPropertiesAwayAndSaysWhichAreNotThere)
{
    const EntryIdBytes id = m_mailbox.Add({Long(kNumber, 5), Narrow(kNarrow, "text")});
    auto message = m_mailbox.Open(id);
    Block<SPropProblemArray> problems;
    ASSERT_CODE(message->DeleteProps(Tags{kNumber, kBytes, PR_MESSAGE_SIZE, kWide}, problems.put()), S_OK);
    ASSERT_TRUE(problems);
    ASSERT_EQ(problems->cProblem, 2u);
    EXPECT_EQ(problems->aProblem[0].ulPropTag, kBytes);
    EXPECT_CODE(problems->aProblem[0].scode, MAPI_E_NOT_FOUND);
    EXPECT_CODE(problems->aProblem[1].scode, MAPI_E_COMPUTED);
    EXPECT_EQ(LongOf(message.get(), kNumber), -1);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), kNumber), 5) << "not before SaveChanges";
    ASSERT_CODE(message->SaveChanges(0), S_OK);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), kNumber), -1);
    EXPECT_EQ(TextOf(m_mailbox.Open(id).get(), kNarrow), "(none)");
}

} // namespace

} // namespace localmapi::test
