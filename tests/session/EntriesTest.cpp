// Entry IDs as text, opening objects past the cache, and reading large properties through their streams.
#include "session/OpenEntry.h"
#include "session/SessionTest.h"

namespace
{

TEST(EntryIDString, HasTwoUpperCaseDigitsForEachByteStartingAfterTheFlags)
{
    const BYTE id[] = {1, 2, 3, 4, 0xAB, 0x0C, 0xFF, 0x10};
    const tstring text = GetEntryIDString(sizeof(id), id);
    EXPECT_EQ(text.size(), 2 * sizeof(id));
    EXPECT_EQ(text.substr(0, 8), "AB0CFF10");
    EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF"), std::string::npos);
}

TEST(EntryIDString, ReadsNothingBeyondTheEntryId)
{
    for (ULONG size = 0; size <= 9; ++size) {
        const std::vector<BYTE> exact(size, 0x5A); // the sanitizer sees one byte too many
        EXPECT_EQ(GetEntryIDString(size, exact.data()).size(), 2u * size);
    }
    EXPECT_EQ(GetEntryIDString(0, nullptr), "");
}

class OpenEntryTest : public SessionTest
{
  protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        m_store = NewStore(m_mapi.world.mailboxes["alice"]);
    }
    void TearDown() override
    {
        if (m_object)
            m_object->Release();
        m_store->Release();
        SessionTest::TearDown();
    }
    HRESULT Open(bool noCache, const IID *iid = &IID_IMessage, ULONG flags = MAPI_BEST_ACCESS)
    {
        const std::string id = EntryIdOf("message:m1");
        return HrOpenEntry(m_store, static_cast<ULONG>(id.size()), id.data(), iid, flags, &m_type, &m_object, noCache);
    }
    IMsgStore *m_store = nullptr;
    IUnknown *m_object = nullptr;
    ULONG m_type = 0;
};

TEST_F(OpenEntryTest, AsksPastTheCacheWhereTheOptionSaysSo)
{
    EXPECT_EQ(Open(true), S_OK);
    EXPECT_EQ(ObjectName(m_object), "Message(m1)");
    EXPECT_EQ(m_type, ULONG{MAPI_MESSAGE});
    EXPECT_THAT(Calls(), ElementsAre("Store(alice).OpenEntry(eid(message:m1), IMessage, 0x210)"));
}

TEST_F(OpenEntryTest, AsksWithTheCallersFlagsAloneWithoutTheOption)
{
    EXPECT_EQ(Open(false), S_OK);
    EXPECT_THAT(Calls(), ElementsAre("Store(alice).OpenEntry(eid(message:m1), IMessage, 0x10)"));
}

TEST_F(OpenEntryTest, AsksOnceMoreWhereTheProviderDoesNotKnowTheFlag)
{
    m_mapi.script.Tell("Store(alice).OpenEntry", Fails(MAPI_E_UNKNOWN_FLAGS).Once().WithOutput());
    EXPECT_EQ(Open(true), S_OK);
    EXPECT_EQ(ObjectName(m_object), "Message(m1)");
    EXPECT_THAT(m_mapi.recorder.Everything(),
                ElementsAre("Store(alice).OpenEntry(eid(message:m1), IMessage, 0x210)", "Message(m1).Release()",
                            "Store(alice).OpenEntry(eid(message:m1), IMessage, 0x10)"))
        << "the first attempt's object is given back first";
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(OpenEntryTest, AsksOnceOnlyForAnyOtherFailureAndWithoutTheOption)
{
    m_mapi.script.Tell("Store(alice).OpenEntry", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(Open(true), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(Calls().size(), 1u);
    m_mapi.script.Clear();
    m_mapi.script.Tell("Store(alice).OpenEntry", Fails(MAPI_E_UNKNOWN_FLAGS));
    Forget();
    EXPECT_EQ(Open(false), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(Calls().size(), 1u);
    Forget();
    EXPECT_EQ(Open(true), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(Calls().size(), 2u);
}

TEST_F(OpenEntryTest, GivesNoObjectTogetherWithAFailure)
{
    m_mapi.script.Tell("Store(alice).OpenEntry", Fails(MAPI_E_NETWORK_ERROR).WithOutput());
    EXPECT_EQ(Open(true), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(m_object, nullptr);
    EXPECT_EQ(Open(false), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(m_object, nullptr);
    EXPECT_THAT(LiveObjects(), ElementsAre("Store(alice)"));
}

TEST_F(OpenEntryTest, NeedsAStore)
{
    ULONG unused = 0;
    EXPECT_EQ(HrOpenEntry(nullptr, 0, nullptr, nullptr, 0, &unused, &m_object, true), E_POINTER);
    EXPECT_EQ(m_object, nullptr);
    EXPECT_THAT(Errors(), ElementsAre("HrOpenEntry[#]: Error pIMsgStore is NULL."));
}

TEST_F(OpenEntryTest, TracesItsArguments)
{
    EXPECT_EQ(Open(true), S_OK);
    const std::string digits = "6D6573736167653A6D31"; // "message:m1"
    EXPECT_THAT(m_trace.Texts(), Contains(Like("*pIMsgStore: *, EntryID: \"" + digits +
                                               "*\", Interface: "
                                               "\"*00020307-0000-0000-*000-000000000046*\", Flags: 00000010 use "
                                               "MAPI_NO_CACHE*")));
    m_object->Release();
    m_object = nullptr;
    m_trace.Clear();
    EXPECT_EQ(Open(false, nullptr, 0x1), S_OK);
    EXPECT_THAT(m_trace.Texts(), Contains(Like("*Interface: \"NULL\", Flags: 00000001*")));
    EXPECT_THAT(m_trace.Texts(), testing::Not(Contains(testing::HasSubstr("use MAPI_NO_CACHE"))));
}

class OpenPropertyTest : public SessionTest
{
  protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        m_message = static_cast<IMessage *>(m_mapi.world.entries[EntryIdOf("message:m1")]->Open());
    }
    void TearDown() override
    {
        MAPIFreeBuffer(m_value);
        m_message->Release();
        SessionTest::TearDown();
    }
    StreamData &Stream(ULONG tag, std::string bytes)
    {
        auto data = std::make_shared<StreamData>(std::move(bytes));
        m_mapi.world.entries[EntryIdOf("message:m1")]->streams[tag] = data;
        return *data;
    }
    HRESULT Read(ULONG tag)
    {
        MAPIFreeBuffer(m_value);
        m_value = nullptr;
        Forget();
        return HrOpenProperty(m_message, tag, &m_value);
    }
    IMessage *m_message = nullptr;
    LPSPropValue m_value = nullptr;
};

TEST_F(OpenPropertyTest, ReadsNarrowTextThroughAStream)
{
    Stream(PR_BODY_A, std::string("whole text\0", 11));
    EXPECT_EQ(Read(PR_BODY_A), S_OK);
    ASSERT_NE(m_value, nullptr);
    EXPECT_EQ(m_value->ulPropTag, ULONG{PR_BODY_A});
    EXPECT_STREQ(m_value->Value.lpszA, "whole text");
    EXPECT_THAT(Calls(), ElementsAre("Message(m1).OpenProperty(PR_BODY_A, IStream, 0, 0)",
                                     "Stream(m1.PR_BODY_A).Stat(1)", "Stream(m1.PR_BODY_A).Read(11)"));
    EXPECT_THAT(m_mapi.recorder.Memory(), ElementsAre("MAPIAllocateBuffer(" + std::to_string(sizeof(SPropValue)) + ")",
                                                      "MAPIAllocateMore(11, block 1)"));
    EXPECT_THAT(Lines(), ElementsAre(Like("> HrOpenProperty(pMAPIProp: *, ulPropTag: \"1000001e\", lppProp: *)"),
                                     "< HrOpenProperty()"));
}

TEST_F(OpenPropertyTest, TheLastByteOfACompleteReadBecomesTheTerminator)
{
    Stream(PR_BODY_A, "no zero");
    EXPECT_EQ(Read(PR_BODY_A), S_OK);
    EXPECT_STREQ(m_value->Value.lpszA, "no zer");
}

TEST_F(OpenPropertyTest, AShortReadEndsRightAfterItsBytes)
{
    Stream(PR_BODY_A, "short").claimedSize = 100;
    EXPECT_EQ(Read(PR_BODY_A), S_OK);
    EXPECT_STREQ(m_value->Value.lpszA, "short");
}

TEST_F(OpenPropertyTest, MoreThan64KiBGivesTheFirst64KiB)
{
    for (const size_t size : {size_t{0xFFFF}, size_t{0x10000}, size_t{0x10001}, size_t{300000}}) {
        SCOPED_TRACE(size);
        Stream(PR_BODY_A, std::string(size, 'x'));
        EXPECT_EQ(Read(PR_BODY_A), S_OK);
        const size_t read = std::min<size_t>(size, 0x10000);
        EXPECT_EQ(std::string(m_value->Value.lpszA), std::string(read - 1, 'x'));
        EXPECT_THAT(Calls(), Contains("Stream(m1.PR_BODY_A).Read(" + std::to_string(read) + ")"));
        Stream(PR_ATTACH_DATA_BIN, std::string(size, 'y'));
        EXPECT_EQ(Read(PR_ATTACH_DATA_BIN), S_OK);
        EXPECT_EQ(m_value->Value.bin.cb, read);
    }
}

TEST_F(OpenPropertyTest, AStreamThatClaimsFourGigabytesDoesNotOverflow)
{
    Stream(PR_BODY_A, "text").claimedSize = 0x100000000ull;
    EXPECT_EQ(Read(PR_BODY_A), S_OK);
    EXPECT_STREQ(m_value->Value.lpszA, "text");
}

TEST_F(OpenPropertyTest, WideTextCountsItsTerminatorsPlaceInBytes)
{
    const WideText text = OLESTR("αβγ🎤");
    const std::string bytes(reinterpret_cast<const char *>(text.c_str()), text.size() * 2);
    Stream(PR_BODY_W, bytes).claimedSize = 100; // fewer came
    EXPECT_EQ(Read(PR_BODY_W), S_OK);
    EXPECT_EQ(WideText(m_value->Value.lpszW), text);
    EXPECT_EQ(m_value->Value.lpszW[bytes.size()], 0);
    EXPECT_THAT(m_mapi.recorder.Memory(), Contains("MAPIAllocateMore(200, block 1)"));
    Stream(PR_BODY_W, bytes); // all came
    EXPECT_EQ(Read(PR_BODY_W), S_OK);
    EXPECT_EQ(m_value->Value.lpszW[bytes.size() - 1], 0);
    EXPECT_EQ(WideText(m_value->Value.lpszW, text.size()), text);
}

TEST_F(OpenPropertyTest, BinaryMustComeWhole)
{
    const std::string bytes("\0\1\2binary\xFF", 10);
    Stream(PR_ATTACH_DATA_BIN, bytes);
    EXPECT_EQ(Read(PR_ATTACH_DATA_BIN), S_OK);
    EXPECT_EQ(Bytes(m_value->Value.bin.lpb, m_value->Value.bin.cb), bytes);
    Stream(PR_ATTACH_DATA_BIN, bytes).claimedSize = 11;
    EXPECT_EQ(Read(PR_ATTACH_DATA_BIN), E_FAIL);
    EXPECT_EQ(m_value, nullptr);
    EXPECT_THAT(LiveBlocks(), IsEmpty());
}

TEST_F(OpenPropertyTest, AnEmptyStreamDoesNoHarm)
{
    for (const ULONG tag : {ULONG{PR_BODY_A}, ULONG{PR_BODY_W}, ULONG{PR_ATTACH_DATA_BIN}}) {
        Stream(tag, "");
        const HRESULT hr = Read(tag);
        EXPECT_EQ(SUCCEEDED(hr), m_value != nullptr);
        if (m_value && tag == PR_BODY_A) {
            EXPECT_STREQ(m_value->Value.lpszA, "");
        }
    }
}

TEST_F(OpenPropertyTest, NeedsAnObjectAndAnOutput)
{
    EXPECT_EQ(HrOpenProperty(nullptr, PR_BODY_A, &m_value), E_POINTER);
    EXPECT_EQ(HrOpenProperty(m_message, PR_BODY_A, nullptr), E_POINTER);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(OpenPropertyTest, AFailingReadGivesNothing)
{
    for (const ULONG tag : {ULONG{PR_BODY_A}, ULONG{PR_BODY_W}, ULONG{PR_ATTACH_DATA_BIN}}) {
        Stream(tag, "abc");
        m_mapi.script.Clear();
        m_mapi.script.Tell("Stream.Read", Fails(STG_E_READFAULT));
        EXPECT_TRUE(FAILED(Read(tag)));
        EXPECT_EQ(m_value, nullptr);
        EXPECT_THAT(LiveBlocks(), IsEmpty());
        EXPECT_THAT(LiveObjects(), ElementsAre("Message(m1)"));
    }
}

TEST_F(OpenPropertyTest, NoStreamTogetherWithASuccessIsAFailure)
{
    Stream(PR_BODY_A, "abc");
    m_mapi.script.Tell("Message.OpenProperty", GivesNull());
    EXPECT_TRUE(FAILED(Read(PR_BODY_A)));
    EXPECT_EQ(m_value, nullptr);
}

TEST_F(OpenPropertyTest, EveryFailingCallComesBackUnchangedAndLeavesNothing)
{
    for (const ULONG tag : {ULONG{PR_BODY_A}, ULONG{PR_BODY_W}, ULONG{PR_ATTACH_DATA_BIN}}) {
        Stream(tag, "abcdef");
        HRESULT hr = S_OK;
        const int calls = Sweep(
            [&] {
                MAPIFreeBuffer(m_value);
                m_value = nullptr;
            },
            [&] { hr = HrOpenProperty(m_message, tag, &m_value); },
            [&](const Round &round) {
                EXPECT_EQ(hr, round.hr);
                EXPECT_EQ(m_value, nullptr);
                EXPECT_THAT(LiveBlocks(), IsEmpty());
                EXPECT_THAT(LiveObjects(), ElementsAre("Message(m1)"));
            });
        EXPECT_EQ(calls, 5);
        EXPECT_EQ(m_mapi.recorder.Count("Stream.Release"), m_mapi.recorder.Count("Stream.Stat"));
    }
}

} // namespace
