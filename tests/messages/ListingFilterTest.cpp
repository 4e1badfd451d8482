// The filter of a listing: the whole restriction tree that reaches the table, and the whole line that describes it,
// for every combination of the flags, every number of fax servers that differs, and everything that can be known of
// the fax product. What is expected is put together here from the tables of conditions, text by text.
#include "messages/MessagesTest.h"
#include "messages/listing/FaxSettings.h"
#include <array>

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;

namespace
{

const char kSuffix[] = "@fax.norvik.example";

// The parts of a filter as the table sees them and as they are described.
struct Expected {
    std::vector<std::string> conditions;
    std::string description;

    void Add(const std::string &condition, const std::string &text)
    {
        conditions.push_back(condition);
        description += text;
    }
    std::string Tree() const
    {
        std::string tree = "AND(";
        for (const std::string &condition : conditions)
            tree += (tree.size() > 4 ? ", " : "") + condition;
        return tree + ")";
    }
};

std::string Compare(const char *tag, const char *relation, const std::string &text)
{
    return std::string("PROPERTY(") + tag + " " + relation + " \"" + text + "\")";
}

std::string Content(const char *tag, const char *level, const std::string &text)
{
    return std::string("CONTENT(") + tag + " " + level + "|IGNORECASE \"" + text + "\")";
}

struct Case {
    ListingA listing;
    std::vector<std::string> serversUsed;
    bool faxSeen = false;
    std::string creatorName; // as the session knows it when the filter is built
};

Expected FilterOf(const Case &of)
{
    const ListingA &flags = of.listing;
    Expected expected;
    expected.Add(Compare("PR_MESSAGE_CLASS_A", "!=", "IPM.Norvik.VoiceMessage"),
                 "(PR_MESSAGE_CLASS != IPM.Norvik.VoiceMessage)");
    if (flags.um)
        expected.Add(Compare("PR_MESSAGE_CLASS_A", "==", "IPM.Note.Microsoft.Voicemail.UM"),
                     " AND (PR_MESSAGE_CLASS == IPM.Note.Microsoft.Voicemail.UM)");
    else
        expected.Add(Compare("PR_MESSAGE_CLASS_A", "!=", "IPM.Note.Microsoft.Voicemail.UM"),
                     " AND (PR_MESSAGE_CLASS != IPM.Note.Microsoft.Voicemail.UM)");
    if (!(flags.summary && flags.fax)) {
        if (flags.read)
            expected.Add("BITMASK(PR_MESSAGE_FLAGS & 0x1 != 0)", " AND ((PR_MESSAGE_FLAGS & MSGFLAG_READ) != 0)");
        else
            expected.Add("BITMASK(PR_MESSAGE_FLAGS & 0x1 == 0)", " AND ((PR_MESSAGE_FLAGS & MSGFLAG_READ) == 0)");
    }
    if (flags.priority)
        expected.Add("PROPERTY(PR_IMPORTANCE == 2)", " AND (PR_IMPORTANCE == IMPORTANCE_HIGH)");
    else
        expected.Add("PROPERTY(PR_IMPORTANCE != 2)", " AND (PR_IMPORTANCE != IMPORTANCE_HIGH)");

    if (flags.summary && flags.fax) {
        std::string members;
        std::string text = " AND (";
        for (const std::string &server : of.serversUsed) {
            members += Content("PR_CREATOR_NAME_A", "SUBSTRING", server) + ", ";
            text +=
                (&server == &of.serversUsed.front() ? "(PR_CREATOR_NAME contains " : " OR (PR_CREATOR_NAME contains ") +
                server + ")";
        }
        members += Content("PR_SENDER_EMAIL_ADDRESS_A", "SUBSTRING", kSuffix);
        text += std::string(of.serversUsed.empty() ? "(PR_SENDER_EMAIL_ADDRESS contains "
                                                   : " OR (PR_SENDER_EMAIL_ADDRESS contains ") +
                kSuffix + ")" + ")";
        expected.Add("OR(" + members + ")", text);
        return expected;
    }
    const std::string &name = of.creatorName;
    std::string either;
    std::string text;
    if (of.faxSeen) {
        either = "OR(" + Content("PR_CREATOR_NAME_A", "PREFIX", name) + ", " +
                 Content("PR_SENDER_EMAIL_ADDRESS_A", "SUBSTRING", kSuffix) + ")";
        text = "((PR_CREATOR_NAME starts with " + name + ") OR (PR_SENDER_EMAIL_ADDRESS contains " + kSuffix + "))";
    } else {
        either = "OR(" + Compare("PR_CREATOR_NAME_A", "==", name) + ", " +
                 Compare("PR_SENDER_EMAIL_ADDRESS_A", "==", name) + ")";
        text = "((PR_CREATOR_NAME == " + name + ") OR (PR_SENDER_EMAIL_ADDRESS == " + name + "))";
    }
    if (flags.fax)
        expected.Add(either, " AND " + text);
    else if (of.faxSeen || !name.empty())
        expected.Add("NOT(" + either + ")", " AND NOT " + text);
    return expected;
}

class ListingFilterTest : public MessagesTest
{
  protected:
    void SetUp() override { Deliver("m"); }

    // Makes the session know a creator name, by a summary listing that shows a message with it.
    void Learn(const std::string &name)
    {
        MessageData &fax = Deliver("fax", {Text(PR_CREATOR_NAME_A, name)});
        ListingA summary;
        summary.summary = 1;
        Run(summary);
        ASSERT_EQ(summary.hr, S_OK);
        Release(summary);
        fax.props.clear();
        m_mapi.world.mailboxes.at("alice")->inbox->messages.pop_back();
    }

    void Check(Case &of)
    {
        Forget();
        Run(of.listing);
        ASSERT_EQ(of.listing.hr, S_OK);
        const Expected expected = FilterOf(of);
        EXPECT_THAT(m_mapi.recorder.Calls(), Contains("Table(alice/Inbox).Restrict(" + expected.Tree() + ", 0)"));
        EXPECT_EQ(m_mapi.recorder.Count("Table.Restrict"), 1);
        EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: Applying filter <" + expected.description + ">"));
        Release(of.listing);
    }
};

// The seven flags are the bits of a number.
void SetFlags(ListingA &listing, unsigned bits)
{
    listing.read = bits & 1;
    listing.forward = (bits & 2) != 0;
    listing.withAttachments = (bits & 4) != 0;
    listing.priority = (bits & 8) != 0;
    listing.fax = (bits & 16) != 0;
    listing.summary = (bits & 32) != 0;
    listing.um = (bits & 64) != 0;
}

const std::vector<std::string> kServers = {"Fax One", "fax2",  "FAX-3",    "four",  "fifth", "Six 6",
                                           "seven",   "eight", "nine % s", "tenth", "11th",  "twelve"};

class EveryFlagOfTheFilter : public ListingFilterTest,
                             public testing::WithParamInterface<std::tuple<size_t, bool, const char *>>
{
};

TEST_P(EveryFlagOfTheFilter, GivesTheTreeAndTheTextOfTheTables)
{
    const auto [servers, faxSeen, learned] = GetParam();
    for (unsigned bits = 0; bits < 128; ++bits) {
        Case of;
        SetFlags(of.listing, bits);
        SCOPED_TRACE("flags " + std::to_string(bits));
        // A session of its own: what one listing learns, the next one would know.
        ASSERT_EQ(OrlCloseConnection(&m_connection), S_OK);
        ASSERT_EQ(OrlCreateConnection(&m_connection, 0), S_OK);
        if (*learned)
            Learn(learned);
        FaxServerSeen = faxSeen;
        of.faxSeen = faxSeen;
        of.creatorName = *learned ? learned : of.listing.summary ? " " : "";
        for (size_t i = 0; i < servers; ++i)
            of.listing.servers.push_back(kServers[i].c_str());
        of.serversUsed.assign(kServers.begin(),
                              kServers.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(servers, 10)));
        Check(of);
    }
}

INSTANTIATE_TEST_SUITE_P(Listing, EveryFlagOfTheFilter,
                         testing::Combine(testing::Values(0, 1, 3, 12), testing::Bool(),
                                          testing::Values("", "Acme Fax", "100% Fax %s")),
                         [](const auto &of) {
                             const std::string learned = std::get<2>(of.param);
                             return std::to_string(std::get<0>(of.param)) + "Servers" +
                                    (std::get<1>(of.param) ? "FaxSeen" : "NoFaxSeen") +
                                    (learned.empty()     ? "NothingLearned"
                                     : learned[0] == 'A' ? "NameLearned"
                                                         : "NameWithPercentLearned");
                         });

TEST_F(ListingFilterTest, TwelveFaxServersAreCutToTenWithAWarning)
{
    Case of;
    of.listing.fax = of.listing.summary = 1;
    for (const std::string &server : kServers)
        of.listing.servers.push_back(server.c_str());
    of.serversUsed.assign(kServers.begin(), kServers.begin() + 10);
    Check(of);
    EXPECT_EQ(CountLines("WARNING: The system currently supports a maximum 10 fax servers. Additional Fax Server will "
                         "be ignored"),
              1);
}

TEST_F(ListingFilterTest, TenFaxServersAreTakenWithoutAWarning)
{
    Case of;
    of.listing.fax = of.listing.summary = 1;
    for (size_t i = 0; i < 10; ++i)
        of.listing.servers.push_back(kServers[i].c_str());
    of.serversUsed.assign(kServers.begin(), kServers.begin() + 10);
    Check(of);
    for (const std::string &line : Lines())
        EXPECT_EQ(line.find("WARNING"), std::string::npos) << line;
}

TEST_F(ListingFilterTest, NullAndEmptyFaxServersAreSkippedWithoutAGap)
{
    Case of;
    of.listing.fax = of.listing.summary = 1;
    of.listing.servers = {nullptr, "", "one", nullptr, "two", ""};
    of.serversUsed = {"one", "two"};
    Check(of);
}

TEST_F(ListingFilterTest, OnlyTheFirstTenEntriesCountAlsoWhereSomeOfThemAreEmpty)
{
    Case of;
    of.listing.fax = of.listing.summary = 1;
    of.listing.servers.assign(9, nullptr);
    of.listing.servers.insert(of.listing.servers.end(), {"tenth", "eleventh"});
    of.serversUsed = {"tenth"};
    Check(of);
}

TEST_F(ListingFilterTest, ANullListOfFaxServersIsNoServers)
{
    ListingA listing;
    listing.fax = listing.summary = 1;
    listing.hr = OrlGetEmailHeadersA(m_connection, m_mailbox, &listing.hTable, &listing.hOrigin, 10, &listing.headers,
                                     &listing.count, &listing.total, 0, 1, 1, 0, 0, 1, 1, nullptr, 3, 0);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_THAT(Lines(), Contains("CMAPIImpl::GetEmailHeaders[n]: Applying filter <(PR_MESSAGE_CLASS != "
                                  "IPM.Norvik.VoiceMessage) AND (PR_MESSAGE_CLASS != IPM.Note.Microsoft.Voicemail.UM) "
                                  "AND (PR_IMPORTANCE != IMPORTANCE_HIGH) AND ((PR_SENDER_EMAIL_ADDRESS contains "
                                  "@fax.norvik.example))>"));
    Release(listing);
}

TEST_F(ListingFilterTest, WideFaxServersAreConvertedToNarrowText)
{
    ListingW listing;
    listing.fax = listing.summary = 1;
    listing.servers = {OLESTR("Fax One"), nullptr, OLESTR("")};
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(m_mapi.recorder.Count(
                  "Table(alice/Inbox).Restrict(AND(PROPERTY(PR_MESSAGE_CLASS_A != \"IPM.Norvik.VoiceMessage\"), "
                  "PROPERTY(PR_MESSAGE_CLASS_A != \"IPM.Note.Microsoft.Voicemail.UM\"), PROPERTY(PR_IMPORTANCE != 2), "
                  "OR(CONTENT(PR_CREATOR_NAME_A SUBSTRING|IGNORECASE \"Fax One\"), "
                  "CONTENT(PR_SENDER_EMAIL_ADDRESS_A SUBSTRING|IGNORECASE \"@fax.norvik.example\"))), 0)"),
              1);
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, &listing.hTable, &listing.hOrigin), S_OK);
}

TEST_F(ListingFilterTest, TheFirstSummaryListingComparesWithABlankCreatorName)
{
    Case of;
    of.listing.summary = 1;
    of.creatorName = " ";
    Check(of);
}

TEST_F(ListingFilterTest, AFlagIsSetByAnyValueButZero)
{
    Case of;
    of.listing.read = 2;
    of.listing.priority = 0x80;
    of.listing.um = 0xFF;
    Check(of);
}

} // namespace
