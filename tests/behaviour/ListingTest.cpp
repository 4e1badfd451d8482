// Listing real mailboxes: what each filter shows, pages in both directions, handles between calls.
#include "behaviour/BehaviourTest.h"
#include "localmapi/delivery/Tags.h"
#include "localmapi/storage/Time.h"
#include <numeric>

using namespace localmapi;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

class ListingBehaviour : public BehaviourTest
{
  protected:
    void DeliverMail(const std::string &sender, const std::string &address, const std::string &creator, bool read,
                     bool urgent, const std::string &messageClass = "IPM.Note")
    {
        const storage::User to = *storage::Directory(GetSite()).UserByAlias("alice");
        storage::MessageChanges message =
            Compose(delivery::Mail{{sender, "SMTP", address}, creator, "Subject", "Body", {urgent, false}}, to,
                    storage::CurrentTime());
        message.properties.set.Set(storage::kMessageClass, messageClass);
        message.properties.set.Set(storage::kMessageFlags, std::int32_t{read ? 1 : 0});
        Deliver("alice", message);
    }
    // Voice mails "1" to "n", unread and not urgent, oldest first.
    std::vector<std::string> DeliverNumbered(int n)
    {
        std::vector<std::string> names;
        for (int i = 1; i <= n; ++i) {
            names.push_back(std::to_string(i));
            DeliverVoicemail("alice", names.back());
        }
        return names;
    }
};

TEST_F(ListingBehaviour, EveryFilterShowsJustItsShareOfTheInbox)
{
    for (const bool read : {false, true})
        for (const bool urgent : {false, true}) {
            const std::string mark = std::string(read ? "read" : "unread") + (urgent ? " urgent" : "");
            DeliverMail("mail " + mark, "x@elsewhere.example", "", read, urgent);
            DeliverMail("um " + mark, "x@elsewhere.example", "", read, urgent, "IPM.Note.Microsoft.Voicemail.UM");
            DeliverMail("own " + mark, "x@elsewhere.example", "", read, urgent, "IPM.Norvik.VoiceMessage");
        }
    Connect();
    const OrlMailbox mailbox = Open("alice");
    for (const BYTE um : {BYTE{0}, BYTE{1}})
        for (const BYTE read : {BYTE{0}, BYTE{1}})
            for (const BYTE priority : {BYTE{0}, BYTE{1}}) {
                DWORD table = 0, bookmark = 0;
                EmailHeaderA *headers = nullptr;
                ULONG count = 0, total = 0;
                ASSERT_HR(0, OrlGetEmailHeadersA(m_connection, mailbox, &table, &bookmark, 100, &headers, &count,
                                                 &total, read, 1, 0, 0, priority, 0, 0, nullptr, 0, um));
                ASSERT_EQ(1U, count);
                EXPECT_EQ(1U, total);
                EXPECT_EQ(std::string(um ? "um " : "mail ") + (read ? "read" : "unread") + (priority ? " urgent" : ""),
                          headers[0].pszSenderName);
                EXPECT_EQ(read, headers[0].bRead);
                EXPECT_EQ(priority, headers[0].bHighPriority);
                OrlMapiFreeBuffer(headers);
                OrlMapiReleaseHandle(m_connection, &table, &bookmark);
            }
}

TEST_F(ListingBehaviour, FaxesAreFoundByCreatorAndByTheirDomainAndLeaveOrdinaryListingsOnceKnown)
{
    DeliverMail("Fax one", "line1@FAX.norvik.example", "Whatever", false, false);
    DeliverMail("Fax two", "x@elsewhere.example", "The Faxmaker of Norvik", true, false);
    DeliverMail("Person", "x@elsewhere.example", "", false, false);
    Connect();
    const OrlMailbox mailbox = Open("alice");

    const char *servers[] = {"faxmaker", nullptr, ""};
    DWORD table = 0, bookmark = 0;
    EmailHeaderA *headers = nullptr;
    ULONG count = 0, total = 0;
    ASSERT_HR(0, OrlGetEmailHeadersA(m_connection, mailbox, &table, &bookmark, 10, &headers, &count, &total, 0, 1, 0, 0,
                                     0, 1, 1, servers, 3, 0));
    ASSERT_EQ(2U, count) << "read and unread alike";
    EXPECT_STREQ("line1@FAX.norvik.example", headers[0].pszCreatorName);
    EXPECT_STREQ("The Faxmaker of Norvik", headers[1].pszCreatorName);
    OrlMapiFreeBuffer(headers);
    OrlMapiReleaseHandle(m_connection, &table, &bookmark);

    Filter mail;
    mail.um = 0;
    EXPECT_THAT(ListAll(mailbox, mail).names, ElementsAre("Person"));
}

TEST_F(ListingBehaviour, OfTwelveFaxServersTheFirstTenEntriesCountAndWithoutAnyTheDomainAlone)
{
    DeliverMail("by domain", "line1@fax.norvik.example", "", false, false);
    DeliverMail("by tenth", "x@elsewhere.example", "server10", false, false);
    DeliverMail("by eleventh", "x@elsewhere.example", "server11", false, false);
    Connect();
    const OrlMailbox mailbox = Open("alice");
    const char *const servers[] = {"s1", "",   nullptr, "s4",       "s5",       "s6",
                                   "s7", "s8", "s9",    "server10", "server11", "s12"};
    const auto senders = [&](const char *const *names, ULONG cNames) {
        std::vector<std::string> found;
        DWORD table = 0, bookmark = 0;
        EmailHeaderA *headers = nullptr;
        ULONG count = 0, total = 0;
        EXPECT_HR(0, OrlGetEmailHeadersA(m_connection, mailbox, &table, &bookmark, 10, &headers, &count, &total, 0, 1,
                                         0, 0, 0, 1, 1, names, cNames, 0));
        for (ULONG i = 0; i < count; ++i)
            found.emplace_back(headers[i].pszSenderName);
        OrlMapiFreeBuffer(headers);
        OrlMapiReleaseHandle(m_connection, &table, &bookmark);
        return found;
    };
    EXPECT_THAT(senders(servers, 12), ElementsAre("by domain", "by tenth"));
    EXPECT_THAT(senders(servers + 2, 10), ElementsAre("by domain", "by tenth", "by eleventh"));
    EXPECT_THAT(senders(nullptr, 0), ElementsAre("by domain"));
    EXPECT_THAT(senders(servers + 1, 2), ElementsAre("by domain"));
}

TEST_F(ListingBehaviour, PagesGoThroughAllRowsForwardsWhateverTheirSize)
{
    const std::vector<std::string> all = DeliverNumbered(12);
    Connect();
    const OrlMailbox mailbox = Open("alice");
    for (const LONG rows : {1, 5, 6, 11, 12, 13}) {
        std::vector<std::string> seen;
        DWORD table = 0, bookmark = 0;
        for (ULONG start = ORL_BOOKMARK_BEGINNING;; start = ORL_BOOKMARK_CURRENT) {
            const Page page = List(mailbox, table, bookmark, rows, 1, start);
            ASSERT_HR(0, page.hr);
            seen.insert(seen.end(), page.names.begin(), page.names.end());
            if (page.count == 0)
                break;
            EXPECT_EQ(12U, page.total);
            EXPECT_EQ(page.count == static_cast<ULONG>(rows), bookmark != 0) << "a full page has a bookmark";
            ASSERT_NE(0U, table);
            if (page.count < static_cast<ULONG>(rows)) {
                OrlMapiReleaseHandle(m_connection, &table, &bookmark);
                break;
            }
        }
        EXPECT_THAT(seen, ElementsAreArray(all)) << rows << " rows a page";
    }
}

TEST_F(ListingBehaviour, PagesGoBackwardsFromTheEndWithTheirRowsOldestFirst)
{
    DeliverNumbered(7);
    Connect();
    const OrlMailbox mailbox = Open("alice");
    DWORD table = 0, bookmark = 0;
    EXPECT_THAT(List(mailbox, table, bookmark, 3, 0, ORL_BOOKMARK_END).names, ElementsAre("5", "6", "7"));
    EXPECT_THAT(List(mailbox, table, bookmark, 3, 0, ORL_BOOKMARK_CURRENT).names, ElementsAre("2", "3", "4"));
    EXPECT_THAT(List(mailbox, table, bookmark, 3, 2, ORL_BOOKMARK_CURRENT).names, ElementsAre("1"))
        << "2 is not forward";
    EXPECT_EQ(0U, bookmark);
    EXPECT_HR(0, OrlMapiReleaseHandle(m_connection, &table, &bookmark));
}

TEST_F(ListingBehaviour, AnEmptyPageEndsTheListingAndLeavesTheHandlesAsTheyWere)
{
    Connect();
    const OrlMailbox mailbox = Open("alice");
    DWORD table = 0, bookmark = 4711;
    const Page page = List(mailbox, table, bookmark, 5, 1, ORL_BOOKMARK_BEGINNING);
    EXPECT_HR(0, page.hr);
    EXPECT_EQ(0U, page.count);
    EXPECT_EQ(0U, table);
    EXPECT_EQ(4711U, bookmark);
}

TEST_F(ListingBehaviour, AKeptTableGoesOnWithItsOwnFilter)
{
    DeliverNumbered(4);
    DeliverVoicemail("alice", "urgent", true);
    Connect();
    const OrlMailbox mailbox = Open("alice");
    DWORD table = 0, bookmark = 0;
    EXPECT_THAT(List(mailbox, table, bookmark, 2, 1, ORL_BOOKMARK_BEGINNING).names, ElementsAre("1", "2"));
    Filter urgent;
    urgent.priority = 1;
    EXPECT_THAT(List(mailbox, table, bookmark, 2, 1, ORL_BOOKMARK_CURRENT, urgent).names, ElementsAre("3", "4"));
    EXPECT_HR(0, OrlMapiReleaseHandle(m_connection, &table, &bookmark));
    EXPECT_HR(0, OrlMapiReleaseHandle(m_connection, &table, &bookmark));
}

TEST_F(ListingBehaviour, MessagesThatGoBetweenPagesDoNotMoveTheBookmark)
{
    DeliverNumbered(6);
    Connect();
    const OrlMailbox mailbox = Open("alice");
    DWORD table = 0, bookmark = 0;
    const Page first = List(mailbox, table, bookmark, 2, 1, ORL_BOOKMARK_BEGINNING);
    EXPECT_THAT(first.names, ElementsAre("1", "2"));
    for (const Id &id : first.ids)
        EXPECT_HR(0, OrlSetEmailReadFlag(m_connection, mailbox, static_cast<ULONG>(id.size()), id.data(), 1));
    DeliverVoicemail("alice", "7");
    EXPECT_THAT(List(mailbox, table, bookmark, 2, 1, ORL_BOOKMARK_CURRENT).names, ElementsAre("3", "4"));
    EXPECT_THAT(List(mailbox, table, bookmark, 5, 1, ORL_BOOKMARK_CURRENT).names, ElementsAre("5", "6", "7"));
    OrlMapiReleaseHandle(m_connection, &table, &bookmark);
}

TEST_F(ListingBehaviour, HandlesOfOneSessionMeanNothingInAnother)
{
    DeliverNumbered(3);
    Connect();
    const OrlMailbox mailbox = Open("alice");
    DWORD table = 0, bookmark = 0;
    EXPECT_THAT(List(mailbox, table, bookmark, 1, 1, ORL_BOOKMARK_BEGINNING).names, ElementsAre("1"));

    DWORD other = 0;
    ASSERT_HR(0, OrlCreateConnection(&other, 0));
    EXPECT_HR(0, OrlMapiReleaseHandle(other, &table, &bookmark));
    EXPECT_HR(0, OrlCloseConnection(&other));

    EXPECT_THAT(List(mailbox, table, bookmark, 1, 1, ORL_BOOKMARK_CURRENT).names, ElementsAre("2")) << "still there";
    EXPECT_HR(0, OrlMapiReleaseHandle(m_connection, &table, nullptr));
    EXPECT_HR(0, OrlMapiReleaseHandle(m_connection, nullptr, &bookmark));
    EXPECT_HR(0, OrlMapiReleaseHandle(m_connection, nullptr, nullptr));
}

TEST_F(ListingBehaviour, OffsetStandsForAMissingReceivedTime)
{
    const storage::User to = *storage::Directory(GetSite()).UserByAlias("alice");
    storage::MessageChanges message =
        Compose(delivery::Voicemail{{"x", "", ""}, "", "x", 3, "", {}}, to, storage::CurrentTime());
    message.properties.set.Set(delivery::kVoiceOffset, std::int32_t{41});
    message.properties.set.Erase(delivery::kVoiceReceived);
    Deliver("alice", message);
    Connect();
    const OrlMailbox mailbox = Open("alice");
    DWORD table = 0, bookmark = 0;
    EmailHeaderW *headers = nullptr;
    ULONG count = 0, total = 0;
    ASSERT_HR(0, OrlGetEmailHeadersW(m_connection, mailbox, &table, nullptr, 5, &headers, &count, &total, 0, 1, 0, 0, 0,
                                     0, 0, nullptr, 0, 1));
    ASSERT_EQ(1U, count);
    EXPECT_EQ(41, headers[0].offset);
    EXPECT_EQ(41U, headers[0].ulMsgReceived);
    EmailHeaderW *single = nullptr;
    ASSERT_HR(0, OrlGetEmailHeaderW(m_connection, mailbox, headers[0].cbEntryID, headers[0].pEntryID, &single));
    EXPECT_EQ(41, single->offset);
    EXPECT_EQ(0U, single->ulMsgReceived) << "here it does not";
    OrlMapiFreeBuffer(single);
    OrlMapiFreeBuffer(headers);
    OrlMapiReleaseHandle(m_connection, &table, &bookmark);
}

TEST_F(ListingBehaviour, AttachmentsAreListedByNumberTypeAndName)
{
    DeliverVoicemail("alice", "x", false, Wave("hello.wav", 500));
    Connect();
    const OrlMailbox mailbox = Open("alice");
    DWORD table = 0, bookmark = 0;
    EmailHeaderA *headers = nullptr;
    ULONG count = 0, total = 0;
    ASSERT_HR(0, OrlGetEmailHeadersA(m_connection, mailbox, &table, &bookmark, 5, &headers, &count, &total, 0, 1, 0, 1,
                                     0, 0, 0, nullptr, 0, 1));
    ASSERT_EQ(1U, count);
    ASSERT_EQ(1U, headers[0].cAttachments);
    EXPECT_STREQ("audio/wav", headers[0].pAttachments[0].pszMimeTag);
    EXPECT_STREQ("hello.wav", headers[0].pAttachments[0].pszFilename);
    EXPECT_GE(headers[0].pAttachments[0].ulSize, 544U);
    OrlMapiFreeBuffer(headers);
    OrlMapiReleaseHandle(m_connection, &table, &bookmark);
    EXPECT_THAT(ListAll(mailbox, {}).attachments[0], IsEmpty()) << "not asked for";
}
