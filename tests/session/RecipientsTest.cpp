// Turning a text of recipients into a resolved address list: how it is split, how the list is built, and what stays
// with the caller.
#include "session/SessionTest.h"

namespace
{

class RecipientsTest : public SessionTest
{
  protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        Connect();
    }
    HRESULT Create(const char *recipients)
    {
        Free();
        Forget();
        return Session()->CreateAddressList(&m_list, recipients);
    }
    void Free()
    {
        FreePadrlist(m_list);
        m_list = nullptr;
    }
    void TearDown() override
    {
        Free();
        SessionTest::TearDown();
    }
    // The list as it reached ResolveName.
    std::string Resolved() const
    {
        for (const std::string &call : Calls())
            if (call.find("AddrBook.ResolveName(0, 0, NULL, ") == 0)
                return call.substr(33, call.size() - 34);
        return "nothing was resolved";
    }
    static std::string Entry(const std::string &name)
    {
        return "PR_DISPLAY_NAME_A=\"" + name + "\", PR_RECIPIENT_TYPE=1";
    }
    LPADRLIST m_list = nullptr;
};

TEST_F(RecipientsTest, TwoNamesAreTwoResolvedEntries)
{
    EXPECT_EQ(Create("alice;bob"), S_OK);
    EXPECT_THAT(Calls(),
                ElementsAre("Session.OpenAddressBook(0, NULL, 0x1)",
                            "AddrBook.ResolveName(0, 0, NULL, [" + Entry("alice") + "; " + Entry("bob") + "])"));
    ASSERT_NE(m_list, nullptr);
    ASSERT_EQ(m_list->cEntries, 2u);
    const SPropValue *id = PpropFindProp(m_list->aEntries[1].rgPropVals, m_list->aEntries[1].cValues, PR_ENTRYID);
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(EntryId(id->Value.bin.cb, id->Value.bin.lpb), "eid(user:bob)");
    EXPECT_EQ(LiveObjects().size(), 2u) << "the address book is given back";
}

TEST_F(RecipientsTest, TheListIsBuiltBeforeTheAddressBookIsOpened)
{
    EXPECT_EQ(Create("alice;bob"), S_OK);
    const std::string values = std::to_string(2 * sizeof(SPropValue));
    EXPECT_THAT(m_mapi.recorder.Everything(),
                ElementsAre("MAPIAllocateBuffer(" + std::to_string(CbNewADRLIST(2)) + ")",
                            "MAPIAllocateBuffer(" + values + ")", "MAPIAllocateMore(6, block 2)",
                            "MAPIAllocateBuffer(" + values + ")", "MAPIAllocateMore(4, block 3)",
                            "Session.OpenAddressBook(0, NULL, 0x1)", StartsWith("AddrBook.ResolveName("),
                            "AddrBook.Release()"));
}

TEST_F(RecipientsTest, AreSplitAtSemicolonsOnlyAndNothingIsTrimmed)
{
    const struct {
        const char *text;
        std::vector<std::string> names;
    } cases[] = {
        {"alice", {"alice"}},
        {"alice; bob", {"alice", " bob"}},
        {"a,b", {"a,b"}},
        {" a ;b ", {" a ", "b "}},
        {";a;b", {";a", "b"}},
        {"a;;b", {"a", ";b"}},
        {"a;b;", {"a", "b"}},
        {";;a", {";;a"}},
        {"a;;;b;c", {"a", ";;b", "c"}},
        {"\xE5\xB1\xB1;\xF0\x9F\x8E\xA4", {"\xE5\xB1\xB1", "\xF0\x9F\x8E\xA4"}},
    };
    m_mapi.script.Tell("AddrBook.ResolveName", GivesNull());
    for (const auto &expected : cases) {
        SCOPED_TRACE(expected.text);
        EXPECT_EQ(Create(expected.text), S_OK);
        std::string entries;
        for (const std::string &name : expected.names)
            entries += (entries.empty() ? "" : "; ") + Entry(name);
        EXPECT_EQ(Resolved(), "[" + entries + "]");
    }
}

TEST_F(RecipientsTest, NoTextAndNoNamesAreRefused)
{
    EXPECT_EQ(Create(nullptr), E_POINTER);
    EXPECT_EQ(m_list, nullptr);
    EXPECT_EQ(Create(""), E_INVALIDARG);
    EXPECT_EQ(m_list, nullptr);
    for (const char *delimiters : {";", ";;", ";;;;;"}) {
        EXPECT_EQ(Create(delimiters), E_ABORT);
        EXPECT_EQ(m_list, nullptr);
        EXPECT_THAT(Lines(), Contains("CMAPIImpl::CreateAddressList[#]: No recipients."));
    }
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(RecipientsTest, HavingNoRecipientsIsTracedAsADecisionAndTheEntryAsACall)
{
    EXPECT_EQ(Create(";"), E_ABORT);
    EXPECT_THAT(m_trace.Texts(0x00660005), ElementsAre(Like("CMAPIImpl::CreateAddressList[*]: No recipients.")));
    EXPECT_THAT(m_trace.Texts(0x00660008),
                Contains(Like("> CMAPIImpl::CreateAddressList(pAddressList: *, szRecpientList: \";\")")));
}

TEST_F(RecipientsTest, TheOutListIsNullFirst)
{
    m_list = reinterpret_cast<LPADRLIST>(0x10);
    EXPECT_EQ(Session()->CreateAddressList(&m_list, ""), E_INVALIDARG);
    EXPECT_EQ(m_list, nullptr);
}

TEST_F(RecipientsTest, TheEntryLineKeepsItsSpelling)
{
    EXPECT_EQ(Create("alice"), S_OK);
    EXPECT_THAT(Lines().front(), Like("> CMAPIImpl::CreateAddressList(pAddressList: *, szRecpientList: \"alice\")"));
}

TEST_F(RecipientsTest, AFailedResolutionIsReportedWithTheWholeTextAndTheListStays)
{
    EXPECT_EQ(Create("alice;nobody"), MAPI_E_NOT_FOUND);
    EXPECT_THAT(Errors(), ElementsAre(ErrorLine("CMAPIImpl::CreateAddressList", MAPI_E_NOT_FOUND, "ResolveName",
                                                "trying to resolve the recipients alice;nobody.")));
    ASSERT_NE(m_list, nullptr);
    EXPECT_EQ(m_list->cEntries, 2u);
}

TEST_F(RecipientsTest, EveryFailingCallIsReportedOnceAndTheListFreesWhole)
{
    HRESULT hr = S_OK;
    const int calls = Sweep(
        [&] {
            Free();
            Forget();
        },
        [&] { hr = Session()->CreateAddressList(&m_list, "alice;bob"); },
        [&](const Round &round) {
            EXPECT_EQ(hr, round.hr);
            const std::string sentence =
                round.call.Is("Session.OpenAddressBook") ? "trying to open the MAPI integrated address book."
                : round.call.Is("AddrBook.ResolveName")  ? "trying to resolve the recipients alice;bob."
                                                         : "";
            ASSERT_EQ(Errors().size(), 1u);
            EXPECT_THAT(Errors()[0],
                        Like("*[#]: Error * from " + round.call.method + (sentence.empty() ? "*" : " " + sentence)));
            EXPECT_EQ(m_list == nullptr, round.at == 1) << "once allocated the list stays with the caller";
            Free();
            EXPECT_THAT(LiveBlocks(), IsEmpty());
            EXPECT_EQ(LiveObjects().size(), 2u);
        });
    EXPECT_EQ(calls, 7);
}

TEST_F(RecipientsTest, AThousandNamesAreAThousandEntries)
{
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += (i ? ";" : "") + std::string("name") + std::to_string(i);
    m_mapi.script.Tell("AddrBook.ResolveName", GivesNull());
    EXPECT_EQ(Create(text.c_str()), S_OK);
    ASSERT_EQ(m_list->cEntries, 1000u);
    EXPECT_STREQ(m_list->aEntries[999].rgPropVals[0].Value.lpszA, "name999");
    for (ULONG i = 0; i < m_list->cEntries; ++i)
        EXPECT_EQ(m_list->aEntries[i].ulReserved1, 0u) << i;
}

} // namespace
