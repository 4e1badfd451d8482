// IAddrBook::ResolveName and IABContainer::ResolveNames: names become entries, what is ambiguous or unknown is told,
// what is resolved stays, and the entries' other properties are kept.
#include "SiteFixture.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/base/Text.h"

#include <gtest/gtest.h>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

constexpr ULONG kOwn = PROP_TAG(PT_LONG, 0x6A00);

// An address list of names as a client makes it.
class AddressList
{
  public:
    explicit AddressList(const std::vector<std::string> &names)
        : m_list(static_cast<ADRLIST *>(AllocateRootBytes(CbNewADRLIST(names.size()))))
    {
        m_list->cEntries = static_cast<ULONG>(names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            auto values = NewRoot<SPropValue>(3);
            values[0].ulPropTag = PR_DISPLAY_NAME_A;
            values[0].Value.lpszA = CopyText(values.get(), std::string_view(names[i]));
            values[1].ulPropTag = PR_RECIPIENT_TYPE;
            values[1].Value.l = MAPI_CC;
            values[2].ulPropTag = kOwn;
            values[2].Value.l = static_cast<LONG>(i);
            m_list->aEntries[i].cValues = 3;
            m_list->aEntries[i].rgPropVals = values.release();
        }
    }
    AddressList(const AddressList &) = delete;
    AddressList &operator=(const AddressList &) = delete;
    ~AddressList() { FreePadrlist(m_list); }

    ADRLIST *get() const { return m_list; }
    ADRENTRY &operator[](ULONG entry) const { return m_list->aEntries[entry]; }
    std::string Text(ULONG entry, ULONG tag) const
    {
        return TextIn(m_list->aEntries[entry].rgPropVals, m_list->aEntries[entry].cValues, tag);
    }
    LONG Long(ULONG entry, ULONG tag) const
    {
        const SPropValue *value =
            PpropFindProp(m_list->aEntries[entry].rgPropVals, m_list->aEntries[entry].cValues, tag);
        return value ? value->Value.l : -1;
    }
    bool Resolved(ULONG entry) const
    {
        return PpropFindProp(m_list->aEntries[entry].rgPropVals, m_list->aEntries[entry].cValues, PR_ENTRYID) !=
               nullptr;
    }

  private:
    ADRLIST *m_list;
};

class ResolveName : public SiteTest
{
  protected:
    void SetUp() override
    {
        SiteTest::SetUp();
        AddProfile();
        m_book = OpenBook(LogOn());
        ASSERT_TRUE(m_book);
    }
    void TearDown() override
    {
        m_book.reset();
        SiteTest::TearDown();
    }
    HRESULT Resolve(const AddressList &list, ULONG flags = 0)
    {
        return m_book->ResolveName(0, flags, nullptr, list.get());
    }
    // What one name becomes: the address, or the code.
    std::string Resolved(const std::string &name)
    {
        const AddressList list({name});
        const HRESULT hr = Resolve(list);
        EXPECT_EQ(list.Resolved(0), hr == S_OK) << name;
        return hr == S_OK ? list.Text(0, PR_EMAIL_ADDRESS_A) : CodeName(hr);
    }
    std::string Dn(const char *alias) { return storage::Directory(OpenedSite()).UserByAlias(alias)->dn; }

    ComPtr<IAddrBook> m_book;
};

TEST_F(ResolveName, AnEntryGetsWhatTheDirectoryKnows)
{
    const AddressList list({"alice"});
    ASSERT_CODE(Resolve(list), S_OK);
    EXPECT_EQ(list.Text(0, PR_DISPLAY_NAME_A), "Alice Archer");
    EXPECT_EQ(list.Text(0, PR_ADDRTYPE_A), "EX");
    EXPECT_EQ(list.Text(0, PR_EMAIL_ADDRESS_A), Dn("alice"));
    EXPECT_EQ(list.Text(0, PROP_TAG(PT_STRING8, 0x39FE)), "alice@norvik.example");
    EXPECT_EQ(list.Long(0, PR_OBJECT_TYPE), LONG{MAPI_MAILUSER});
    EXPECT_EQ(list.Long(0, PR_DISPLAY_TYPE), LONG{DT_MAILUSER});
    EXPECT_TRUE(list.Resolved(0));
    EXPECT_NE(PpropFindProp(list[0].rgPropVals, list[0].cValues, PR_SEARCH_KEY), nullptr);
}

TEST_F(ResolveName, OtherPropertiesAreKept)
{
    const AddressList list({"alice", "albert"});
    ASSERT_CODE(Resolve(list), S_OK);
    for (ULONG i = 0; i < 2; ++i) {
        EXPECT_EQ(list.Long(i, PR_RECIPIENT_TYPE), LONG{MAPI_CC});
        EXPECT_EQ(list.Long(i, kOwn), static_cast<LONG>(i));
    }
    ULONG names = 0;
    for (ULONG i = 0; i < list[0].cValues; ++i)
        names += PROP_ID(list[0].rgPropVals[i].ulPropTag) == PROP_ID(PR_DISPLAY_NAME);
    EXPECT_EQ(names, 1u) << "the name that was given is replaced";
}

TEST_F(ResolveName, TheResolvedEntryOpens)
{
    const AddressList list({"bob"});
    ASSERT_CODE(Resolve(list), S_OK);
    const SBinary &id = PpropFindProp(list[0].rgPropVals, list[0].cValues, PR_ENTRYID)->Value.bin;
    ComPtr<IUnknown> object;
    ASSERT_CODE(
        m_book->OpenEntry(id.cb, reinterpret_cast<LPENTRYID>(id.lpb), nullptr, MAPI_BEST_ACCESS, nullptr, object.put()),
        S_OK);
    EXPECT_EQ(TextOf(static_cast<IMailUser *>(object.get()), PR_EMAIL_ADDRESS_A), "bob@elsewhere.example");
}

TEST_F(ResolveName, TextsAreWideWithMapiUnicode)
{
    const AddressList list({"zoe"});
    ASSERT_CODE(Resolve(list, MAPI_UNICODE), S_OK);
    EXPECT_EQ(list.Text(0, PR_DISPLAY_NAME_W), "Zo\xC3\xAB \xCE\x91\xCE\xB8\xCE\xB7\xCE\xBD\xCE\xAC \xE6\x9D\xB1");
    EXPECT_EQ(list.Text(0, PR_DISPLAY_NAME_A), "(none)");
    EXPECT_EQ(list.Text(0, PR_ADDRTYPE_W), "EX");
}

TEST_F(ResolveName, AWideNameIsUnderstood)
{
    const AddressList list({"x"});
    SPropValue &name = list[0].rgPropVals[0];
    name.ulPropTag = PR_DISPLAY_NAME_W;
    name.Value.lpszW = const_cast<WCHAR *>(OLESTR("\x0391\x0398"));
    ASSERT_CODE(Resolve(list), S_OK);
    EXPECT_EQ(list.Text(0, PR_EMAIL_ADDRESS_A), Dn("zoe"));
}

TEST_F(ResolveName, NamesAreTakenAsPeopleGiveThem)
{
    const std::string alice = Dn("alice");
    for (const std::string name :
         {"alice", "ALICE", " alice ", "Alice Archer", "archer ali", "alice@norvik.example", "=alice", "=Alice Archer"})
        EXPECT_EQ(Resolved(name), alice) << name;
    EXPECT_EQ(Resolved(alice), alice);
    EXPECT_EQ(Resolved("BERT@norvik.example"), Dn("albert")) << "an address of somebody here is that person";
}

TEST_F(ResolveName, SeveralMatchesAreAmbiguous)
{
    EXPECT_EQ(Resolved("archer"), "MAPI_E_AMBIGUOUS_RECIP");
    EXPECT_EQ(Resolved("al"), "MAPI_E_AMBIGUOUS_RECIP");
    EXPECT_NE(LastError(m_book.get(), MAPI_E_AMBIGUOUS_RECIP).find("\"al\""), std::string::npos);
}

TEST_F(ResolveName, AnExactMatchWinsOverAPartialOne)
{
    storage::Directory(OpenedSite()).AddUser("al", "Albertine");
    EXPECT_EQ(Resolved("al"), Dn("al"));
    storage::Directory(OpenedSite()).AddUser("a2", "Archer");
    EXPECT_EQ(Resolved("archer"), Dn("a2"));
    storage::Directory(OpenedSite()).AddUser("a3", "Archer");
    EXPECT_EQ(Resolved("archer"), "MAPI_E_AMBIGUOUS_RECIP");
    EXPECT_EQ(Resolved("a3"), Dn("a3"));
}

TEST_F(ResolveName, UnknownNamesAreNotFound)
{
    EXPECT_EQ(Resolved("nobody"), "MAPI_E_NOT_FOUND");
    EXPECT_EQ(Resolved(""), "MAPI_E_NOT_FOUND");
    EXPECT_EQ(Resolved("="), "MAPI_E_NOT_FOUND");
    EXPECT_EQ(Resolved("=ali"), "MAPI_E_NOT_FOUND");
    EXPECT_EQ(Resolved("100% sure_"), "MAPI_E_NOT_FOUND");
    EXPECT_EQ(Resolved("'; --"), "MAPI_E_NOT_FOUND");
}

TEST_F(ResolveName, SmtpAddressesAreOneOffRecipients)
{
    const AddressList list(
        {"carol@x.example", "Carol Clark [SMTP:carol@x.example]", "[smtp:d@y.example]", "Fax [FAX:+15550100]"});
    ASSERT_CODE(Resolve(list), S_OK);
    EXPECT_EQ(list.Text(0, PR_DISPLAY_NAME_A), "carol@x.example");
    EXPECT_EQ(list.Text(0, PR_ADDRTYPE_A), "SMTP");
    EXPECT_EQ(list.Text(0, PR_EMAIL_ADDRESS_A), "carol@x.example");
    EXPECT_EQ(list.Text(1, PR_DISPLAY_NAME_A), "Carol Clark");
    EXPECT_EQ(list.Text(1, PR_EMAIL_ADDRESS_A), "carol@x.example");
    EXPECT_EQ(list.Text(2, PR_DISPLAY_NAME_A), "d@y.example");
    EXPECT_EQ(list.Text(2, PR_ADDRTYPE_A), "SMTP");
    EXPECT_EQ(list.Text(3, PR_ADDRTYPE_A), "FAX");
    EXPECT_EQ(list.Text(3, PR_EMAIL_ADDRESS_A), "+15550100");
    EXPECT_EQ(list.Long(1, PR_RECIPIENT_TYPE), LONG{MAPI_CC});
}

TEST_F(ResolveName, WhatOnlyLooksLikeAnAddressIsNotFound)
{
    for (const char *name : {"@x.example", "carol@", "a@b@c", "carol @x.example", "Carol [SMTP:nobody]",
                             "Carol [SMTP:]", "Carol [:a@b]", "Carol [a@b", "<carol@x.example>"})
        EXPECT_EQ(Resolved(name), "MAPI_E_NOT_FOUND") << name;
}

TEST_F(ResolveName, ResolvedEntriesStayAsTheyAre)
{
    const AddressList list({"alice", "nobody"});
    EXPECT_CODE(Resolve(list), MAPI_E_NOT_FOUND);
    const SPropValue *values = list[0].rgPropVals;
    EXPECT_CODE(Resolve(list), MAPI_E_NOT_FOUND);
    EXPECT_EQ(list[0].rgPropVals, values);
}

TEST_F(ResolveName, OneBadNameDoesNotKeepOthersFromResolving)
{
    const AddressList list({"nobody", "alice", "archer", "bob"});
    EXPECT_CODE(Resolve(list), MAPI_E_NOT_FOUND) << "the first failure is told";
    EXPECT_FALSE(list.Resolved(0));
    EXPECT_EQ(list.Text(0, PR_DISPLAY_NAME_A), "nobody");
    EXPECT_TRUE(list.Resolved(1));
    EXPECT_FALSE(list.Resolved(2));
    EXPECT_TRUE(list.Resolved(3));
    const AddressList other({"archer", "nobody"});
    EXPECT_CODE(Resolve(other), MAPI_E_AMBIGUOUS_RECIP);
}

TEST_F(ResolveName, EmptyPlacesAreSkippedAndNamelessEntriesRefused)
{
    AddressList list({"alice", "bob"});
    MAPIFreeBuffer(list[0].rgPropVals);
    list[0] = ADRENTRY{};
    ASSERT_CODE(Resolve(list), S_OK);
    EXPECT_TRUE(list.Resolved(1));
    AddressList nameless({"x"});
    nameless[0].rgPropVals[0].ulPropTag = PR_NULL;
    EXPECT_CODE(Resolve(nameless), MAPI_E_INVALID_PARAMETER);
    const AddressList none({});
    EXPECT_CODE(Resolve(none), S_OK);
}

TEST_F(ResolveName, BadArgumentsAreRefused)
{
    EXPECT_CODE(m_book->ResolveName(0, 0, nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
    const AddressList list({"alice"});
    EXPECT_CODE(Resolve(list, 0x1), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(Resolve(list, MAPI_DIALOG), S_OK) << "no dialog comes";
}

TEST_F(ResolveName, ManyRecipientsAreOneCall)
{
    std::vector<std::string> names;
    for (int i = 0; i < 200; ++i)
        names.push_back(i % 2 ? "alice" : "someone" + std::to_string(i) + "@x.example");
    const AddressList list(names);
    ASSERT_CODE(Resolve(list), S_OK);
    for (ULONG i = 0; i < 200; ++i)
        EXPECT_EQ(list.Long(i, kOwn), static_cast<LONG>(i));
}

TEST_F(ResolveName, WithoutMemoryTheListStaysWhole)
{
    for (LONG after = 0; after < 60; ++after) {
        const AddressList list({"alice"});
        FailAllocation(after, true);
        const HRESULT hr = Resolve(list);
        FailAllocation(-1);
        if (hr == S_OK) {
            EXPECT_GT(after, 3) << "the allocations were counted";
            return;
        }
        EXPECT_CODE(hr, MAPI_E_NOT_ENOUGH_MEMORY) << "at allocation " << after;
        EXPECT_EQ(list.Text(0, PR_DISPLAY_NAME_A), "alice") << "at allocation " << after;
        EXPECT_EQ(list[0].cValues, 3u);
    }
    FAIL() << "it never succeeds";
}

TEST_F(ResolveName, PreparedRecipientsHaveTheWantedPropertiesFirst)
{
    const AddressList list({"alice", "carol@x.example"});
    ASSERT_CODE(Resolve(list), S_OK);
    std::vector<ULONG> wanted = {3, PR_ACCOUNT_A, PR_EMAIL_ADDRESS_W, kOwn};
    auto *tags = reinterpret_cast<SPropTagArray *>(wanted.data());
    ASSERT_CODE(m_book->PrepareRecips(0, tags, list.get()), S_OK);
    EXPECT_EQ(list[0].rgPropVals[0].ulPropTag, ULONG{PR_ACCOUNT_A});
    EXPECT_STREQ(list[0].rgPropVals[0].Value.lpszA, "alice");
    EXPECT_EQ(list[0].rgPropVals[1].ulPropTag, ULONG{PR_EMAIL_ADDRESS_W});
    EXPECT_EQ(list[0].rgPropVals[2].ulPropTag, kOwn);
    EXPECT_EQ(list[0].rgPropVals[2].Value.l, 0);
    EXPECT_EQ(list.Long(0, PR_RECIPIENT_TYPE), LONG{MAPI_CC});
    EXPECT_EQ(list[1].rgPropVals[0].ulPropTag, CHANGE_PROP_TYPE(PR_ACCOUNT_A, PT_ERROR));
    EXPECT_CODE(m_book->PrepareRecips(0, nullptr, list.get()), S_OK);
    EXPECT_CODE(m_book->PrepareRecips(0, tags, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(ResolveName, AContainerResolvesIntoFlags)
{
    ULONG size = 0;
    Block<ENTRYID> entry;
    ASSERT_CODE(m_book->GetDefaultDir(&size, entry.put()), S_OK);
    ComPtr<IUnknown> object;
    ASSERT_CODE(m_book->OpenEntry(size, entry.get(), nullptr, 0, nullptr, object.put()), S_OK);
    auto *container = static_cast<IABContainer *>(object.get());
    const AddressList list({"alice", "archer", "nobody", "carol@x.example", "bob"});
    std::vector<ULONG> flags = {5, MAPI_UNRESOLVED, MAPI_UNRESOLVED, MAPI_UNRESOLVED, MAPI_UNRESOLVED, MAPI_RESOLVED};
    auto *resolved = reinterpret_cast<FlagList *>(flags.data());
    ASSERT_CODE(container->ResolveNames(nullptr, 0, list.get(), resolved), S_OK);
    EXPECT_EQ(flags,
              (std::vector<ULONG>{5, MAPI_RESOLVED, MAPI_AMBIGUOUS, MAPI_UNRESOLVED, MAPI_UNRESOLVED, MAPI_RESOLVED}));
    EXPECT_TRUE(list.Resolved(0));
    EXPECT_FALSE(list.Resolved(4)) << "what is flagged as resolved is left alone";
    flags[0] = 4;
    EXPECT_CODE(container->ResolveNames(nullptr, 0, list.get(), resolved), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(container->ResolveNames(nullptr, 0, nullptr, resolved), MAPI_E_INVALID_PARAMETER);
}

} // namespace
