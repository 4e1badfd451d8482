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

using AnyValue = decltype(SPropValue::Value);

// A list as the value of a property; the elements must live as long.
template <class List, class Element, std::size_t Count>
SPropValue Listed(ULONG tag, List AnyValue::*member, Element (&elements)[Count])
{
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.*member = List{Count, elements};
    return value;
}

// A value of every type, and what must be read of it.
class EveryType
{
    static constexpr GUID kGuid = {0x11223344, 5, 6, {7, 8, 9, 10, 11, 12, 13, 14}};
    char m_text[5] = "text";
    LONG m_longs[3] = {1, -2, 3};
    short m_shorts[2] = {-1, 2};
    LARGE_INTEGER m_bigs[2] = {Big(0, 0).Value.li, Big(0, -9000000000LL).Value.li};
    double m_doubles[2] = {0.5, -0.25};
    float m_floats[1] = {1.5f};
    FILETIME m_times[2] = {{1, 2}, {3, 4}};
    GUID m_guids[2] = {kGuid, kGuid};
    char *m_texts[2] = {m_text, m_text};
    SBinary m_binaries[2] = {{0, nullptr}, {4, reinterpret_cast<BYTE *>(m_text)}};

  public:
    using Kept = const AnyValue &;
    struct Case {
        SPropValue value;
        void (*expectKept)(Kept kept);
    };
    const Case cases[24] = {
        {Short(PROP_TAG(PT_I2, 0x6A30), -7), [](Kept kept) { EXPECT_EQ(kept.i, -7); }},
        {Long(PROP_TAG(PT_LONG, 0x6A31), -8), [](Kept kept) { EXPECT_EQ(kept.l, -8); }},
        {Float(PROP_TAG(PT_R4, 0x6A32), 1.25f), [](Kept kept) { EXPECT_EQ(kept.flt, 1.25f); }},
        {Double(PROP_TAG(PT_DOUBLE, 0x6A33), 2.5), [](Kept kept) { EXPECT_EQ(kept.dbl, 2.5); }},
        {Big(PROP_TAG(PT_CURRENCY, 0x6A34), 123456789012LL),
         [](Kept kept) { EXPECT_EQ(kept.li.QuadPart, 123456789012LL); }},
        {Double(PROP_TAG(PT_APPTIME, 0x6A35), 40000.5), [](Kept kept) { EXPECT_EQ(kept.at, 40000.5); }},
        {Bool(PROP_TAG(PT_BOOLEAN, 0x6A36), true), [](Kept kept) { EXPECT_EQ(kept.b, 1); }},
        {Big(PROP_TAG(PT_I8, 0x6A37), -1), [](Kept kept) { EXPECT_EQ(kept.li.QuadPart, -1); }},
        {Narrow(PROP_TAG(PT_STRING8, 0x6A38), "narrow"), [](Kept kept) { EXPECT_STREQ(kept.lpszA, "narrow"); }},
        {Wide(PROP_TAG(PT_UNICODE, 0x6A39), OLESTR("wide")),
         [](Kept kept) { EXPECT_EQ(Utf8FromWide(kept.lpszW), "wide"); }},
        {Time(PROP_TAG(PT_SYSTIME, 0x6A3A), 0x1122334455667788ULL),
         [](Kept kept) {
             EXPECT_EQ(kept.ft.dwHighDateTime, 0x11223344u);
             EXPECT_EQ(kept.ft.dwLowDateTime, 0x55667788u);
         }},
        {Guid(PROP_TAG(PT_CLSID, 0x6A3B), kGuid), [](Kept kept) { EXPECT_TRUE(*kept.lpguid == kGuid); }},
        {Binary(PROP_TAG(PT_BINARY, 0x6A3C), "\0\1\2", 3),
         [](Kept kept) {
             ASSERT_EQ(kept.bin.cb, 3u);
             EXPECT_EQ(std::memcmp(kept.bin.lpb, "\0\1\2", 3), 0);
         }},
        {Binary(PROP_TAG(PT_BINARY, 0x6A3D), nullptr, 0), [](Kept kept) { EXPECT_EQ(kept.bin.cb, 0u); }},
        {Listed(PROP_TAG(PT_MV_LONG, 0x6A3E), &AnyValue::MVl, m_longs),
         [](Kept kept) { EXPECT_EQ(kept.MVl.lpl[1], -2); }},
        {Listed(PROP_TAG(PT_MV_STRING8, 0x6A3F), &AnyValue::MVszA, m_texts),
         [](Kept kept) { EXPECT_STREQ(kept.MVszA.lppszA[1], "text"); }},
        {Listed(PROP_TAG(PT_MV_I2, 0x6A40), &AnyValue::MVi, m_shorts),
         [](Kept kept) { EXPECT_EQ(kept.MVi.lpi[0], -1); }},
        {Listed(PROP_TAG(PT_MV_I8, 0x6A41), &AnyValue::MVli, m_bigs),
         [](Kept kept) { EXPECT_EQ(kept.MVli.lpli[1].QuadPart, -9000000000LL); }},
        {Listed(PROP_TAG(PT_MV_DOUBLE, 0x6A42), &AnyValue::MVdbl, m_doubles),
         [](Kept kept) { EXPECT_EQ(kept.MVdbl.lpdbl[1], -0.25); }},
        {Listed(PROP_TAG(PT_MV_R4, 0x6A43), &AnyValue::MVflt, m_floats),
         [](Kept kept) { EXPECT_EQ(kept.MVflt.lpflt[0], 1.5f); }},
        {Listed(PROP_TAG(PT_MV_SYSTIME, 0x6A44), &AnyValue::MVft, m_times),
         [](Kept kept) { EXPECT_EQ(kept.MVft.lpft[1].dwHighDateTime, 4u); }},
        {Listed(PROP_TAG(PT_MV_CLSID, 0x6A45), &AnyValue::MVguid, m_guids),
         [](Kept kept) { EXPECT_TRUE(kept.MVguid.lpguid[1] == kGuid); }},
        {Listed(PROP_TAG(PT_MV_BINARY, 0x6A46), &AnyValue::MVbin, m_binaries),
         [](Kept kept) {
             EXPECT_EQ(kept.MVbin.lpbin[0].cb, 0u);
             EXPECT_EQ(std::memcmp(kept.MVbin.lpbin[1].lpb, "text", 4), 0);
         }},
        {Long(PROP_TAG(PT_MV_LONG, 0x6A47), 0), [](Kept kept) { EXPECT_EQ(kept.MVl.cValues, 0u); }},
    };
};

TEST_F(MessageTest, EveryTypeOfPropertyIsKept)
{
    const EveryType all;
    Props values;
    std::vector<ULONG> tags;
    for (const EveryType::Case &one : all.cases) {
        values.push_back(one.value);
        tags.push_back(one.value.ulPropTag);
    }
    const EntryIdBytes id = m_mailbox.Add(values);

    ULONG count = 0;
    Block<SPropValue> got;
    ASSERT_CODE(m_mailbox.Open(id)->GetProps(Tags(tags), 0, &count, got.put()), S_OK);
    ASSERT_EQ(count, tags.size());
    for (ULONG i = 0; i < count; ++i) {
        SCOPED_TRACE(HexText(tags[i]));
        ASSERT_EQ(got[i].ulPropTag, tags[i]);
        all.cases[i].expectKept(got[i].Value);
    }
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
    EXPECT_EQ(BytesOf(message.get(), PR_PARENT_ENTRYID), BytesOf(m_mailbox.Inbox(), PR_ENTRYID));
    EXPECT_EQ(BytesOf(message.get(), PR_SEARCH_KEY).size(), 16u);
}

TEST_F(MessageTest, ASavedMessageHasItsIdentifiersAndTimes)
{
    auto message = m_mailbox.NewMessage();
    const EntryIdBytes id = m_mailbox.Save(message);
    EXPECT_FALSE(id.empty());
    EXPECT_EQ(BytesOf(message.get(), PR_RECORD_KEY), id);
    EXPECT_FALSE(BytesOf(message.get(), PR_INSTANCE_KEY).empty());
    EXPECT_EQ(BytesOf(message.get(), PR_STORE_ENTRYID), BytesOf(m_mailbox.GetStore(), PR_ENTRYID));
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

TEST_F(MessageTest, ThePrefixOfAnEarlierSubjectIsNoneOfALaterOne)
{
    auto message = m_mailbox.NewMessage();
    for (const char *subject : {"hello", "RE: hello"})
        ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, subject)}), S_OK);
    EXPECT_EQ(TextOf(message.get(), PR_SUBJECT_PREFIX_A), "RE: ");
    EXPECT_EQ(TextOf(message.get(), PR_NORMALIZED_SUBJECT_A), "hello");
    // Nor of this one is what another subject did not begin with.
    ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_PREFIX_A, "Answer: ")}), S_OK);
    for (const char *subject : {"x", "FW: x"})
        ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, subject)}), S_OK);
    EXPECT_EQ(TextOf(message.get(), PR_NORMALIZED_SUBJECT_A), "x");
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
