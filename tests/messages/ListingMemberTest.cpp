// A listing below its export: the list and the handles that the member works on, the sentence of each failing step, and
// exceptions that reach the export itself.
#include "messages/MessagesTest.h"
#include "messages/listing/Header.h"
#include <functional>
#include <new>
#include <set>
#include <utility>

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

namespace
{

class ListingMemberTest : public MessagesTest
{
  protected:
    DWORD m_hTable = 0;
    DWORD m_hOrigin = 0;
    std::vector<Header> m_headers;

    HRESULT List(LONG lRowCount, BYTE bWithAttachments = 0)
    {
        ULONG total = 0;
        return CMAPIImpl::Locate(m_connection)
            ->GetEmailHeaders(reinterpret_cast<IMsgStore *>(m_mailbox), &m_hTable, m_headers, &m_hOrigin, lRowCount,
                              &total, 0, 1, ORL_BOOKMARK_CURRENT, bWithAttachments, 0, 0, 0, nullptr, 0, 0);
    }
    std::vector<std::string> Senders() const
    {
        std::vector<std::string> names;
        for (const Header &header : m_headers)
            names.push_back(header.strSenderName);
        return names;
    }
    void TearDown() override
    {
        EXPECT_EQ(OrlMapiReleaseHandle(m_connection, &m_hTable, &m_hOrigin), S_OK);
        MessagesTest::TearDown();
    }
};

TEST_F(ListingMemberTest, EveryFailingStepOfANewListingHasItsSentence)
{
    const struct {
        const char *call;
        const char *report;
    } steps[] = {
        {"Store.GetReceiveFolder", "GetReceiveFolder trying to obtain the ID for the receive folder."},
        {"Store.OpenEntry", "HrOpenEntry trying to access and open the receive folder."},
        {"Folder.GetContentsTable", "GetContentsTable trying to retrieve the contents table for the receive folder."},
        {"Table.SetColumns", "SetColumns trying to set the column data set for the table."},
        {"Table.Restrict", "Restrict trying to specify the restrictions/filter for the table."},
        {"Table.SortTable", "SortTable trying to sort the table in ascending order."},
        {"Table.QueryRows", "QueryRows trying to query one or more rows from the table."},
    };
    Deliver("m");
    for (const auto &step : steps) {
        SCOPED_TRACE(step.call);
        m_mapi.script.Clear();
        m_mapi.script.Tell(step.call, Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        EXPECT_EQ(List(1), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::GetEmailHeaders[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] "
                                              "from " +
                                              std::string(step.report)));
        EXPECT_EQ(OpenObjects(), 0);
    }
    m_mapi.script.Clear();
}

TEST_F(ListingMemberTest, ANewListingClearsTheListAndOneThatGoesOnAppendsToIt)
{
    Deliver("a");
    Deliver("b");
    m_headers.emplace_back().strSenderName = "old";
    EXPECT_EQ(List(1), S_OK);
    EXPECT_THAT(Senders(), ElementsAre("Sender of a"));
    EXPECT_EQ(List(1), S_OK);
    EXPECT_THAT(Senders(), ElementsAre("Sender of a", "Sender of b"));
}

TEST_F(ListingMemberTest, WhatWasReadBeforeAFailureStaysInTheListWithTheRowThatFailed)
{
    Deliver("a");
    m_mapi.world.AddAttachment(Deliver("b"), {Long(PR_ATTACH_SIZE, 1)}, "");
    Deliver("c");
    m_mapi.script.Tell("Attach(b#0).GetProps", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(List(3, 1), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(Senders(), ElementsAre("Sender of a", "Sender of b"));
    EXPECT_EQ(m_hTable, 0u);
}

TEST_F(ListingMemberTest, ANewListingDoesNotLookAtTheBookmarkHandle)
{
    Deliver("a");
    Deliver("b");
    EXPECT_EQ(List(1), S_OK);
    const DWORD firstTable = std::exchange(m_hTable, 0);
    const DWORD firstOrigin = m_hOrigin;
    Forget();
    EXPECT_EQ(List(1), S_OK);
    EXPECT_EQ(m_mapi.recorder.Count("Table.SeekRow"), 0);
    EXPECT_NE(CMAPIImpl::Locate(m_connection)->LocateBookmark(firstOrigin), 0u) << "still registered";
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, &firstTable, &firstOrigin), S_OK);
}

TEST_F(ListingMemberTest, ABookmarkWhoseTableIsUnknownIsTakenBackAndUsedOnTheNewTable)
{
    for (const char *name : {"a", "b", "c"})
        Deliver(name);
    EXPECT_EQ(List(1), S_OK);
    const DWORD firstTable = std::exchange(m_hTable, 0xFFFF0000);
    const DWORD firstOrigin = m_hOrigin;
    Forget();
    EXPECT_EQ(List(1), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(m_mapi.recorder.Count("Table(alice/Inbox).SeekRow(bookmark 101, 0, NULL)"), 1);
    EXPECT_EQ(m_mapi.recorder.Count("Store.GetReceiveFolder"), 1);
    EXPECT_EQ(CMAPIImpl::Locate(m_connection)->LocateBookmark(firstOrigin), 0u);
    EXPECT_EQ(m_hTable, 0xFFFF0000u);
    EXPECT_EQ(m_hOrigin, firstOrigin);
    EXPECT_EQ(OpenObjects(), 1) << "the first listing's table";
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, &firstTable, nullptr), S_OK);
}

TEST_F(ListingMemberTest, AnExceptionInAnExportIsReportedUnderItsNameAndALineOfItsOwnAndNothingIsKept)
{
    Deliver("m", {Text(PR_BODY_A, "Body"), Text(PR_SUBJECT_A, "Subject")});
    const std::string id = IdOf("m");
    EmailHeaderA *headerA = nullptr;
    EmailHeaderW *headerW = nullptr;
    EmailTextA *textA = nullptr;
    EmailTextW *textW = nullptr;
    ListingA listingA;
    ListingW listingW;
    listingA.rows = listingW.rows = 1;
    const std::pair<const char *, std::function<HRESULT()>> exports[] = {
        {"OrlGetEmailHeadersA", [&] { return Run(listingA), listingA.hr; }},
        {"OrlGetEmailHeadersW", [&] { return Run(listingW), listingW.hr; }},
        {"OrlGetEmailHeaderA",
         [&] { return OrlGetEmailHeaderA(m_connection, m_mailbox, SizeOf(id), AsBytes(id), &headerA); }},
        {"OrlGetEmailHeaderW",
         [&] { return OrlGetEmailHeaderW(m_connection, m_mailbox, SizeOf(id), AsBytes(id), &headerW); }},
        {"OrlDownloadEmailA",
         [&] { return OrlDownloadEmailA(m_connection, m_mailbox, SizeOf(id), AsBytes(id), &textA); }},
        {"OrlDownloadEmailW",
         [&] { return OrlDownloadEmailW(m_connection, m_mailbox, SizeOf(id), AsBytes(id), &textW); }},
    };
    std::set<std::string> places;
    m_mapi.script.Tell("MAPIAllocateBuffer", Does([] { throw std::bad_alloc(); }));
    for (const auto &[name, call] : exports) {
        SCOPED_TRACE(name);
        Forget();
        EXPECT_EQ(call(), E_UNEXPECTED);
        const std::string start = std::string("Exception has occurred in ") + name + " (OrlMapi32";
        EXPECT_THAT(Lines(), Contains(StartsWith(start + "[")));
        for (const std::string &line : Lines())
            if (line.find(start) == 0)
                places.insert(line.substr(start.size()));
        EXPECT_EQ(OpenObjects(), 0) << "a listing's table is out of the caller's reach";
        EXPECT_THAT(LiveBlocks(), testing::IsEmpty());
    }
    EXPECT_EQ(places.size(), std::size(exports));
    EXPECT_EQ(listingA.hTable, 0u);
    EXPECT_EQ(listingA.headers, nullptr);
    EXPECT_EQ(listingW.hTable, 0u);
    EXPECT_EQ(listingW.headers, nullptr);
    EXPECT_EQ(headerA, nullptr);
    EXPECT_EQ(headerW, nullptr);
    EXPECT_EQ(textA, nullptr);
    EXPECT_EQ(textW, nullptr);
}

} // namespace
