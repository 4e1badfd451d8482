// Every fallible MAPI call and allocation of every operation of reading, failed one after the other, once and from
// there on, with several results: the result of the operation, one error line that names the call, nothing left, the
// outputs as they must be, and the next call working.
#include "messages/MessagesTest.h"
#include <cstdio>
#include <filesystem>
#include <set>

using namespace messages_test;
using testing::HasSubstr;

namespace
{

const std::vector<HRESULT> kCodes = {E_FAIL, E_OUTOFMEMORY, MAPI_E_NETWORK_ERROR, MAPI_E_UNKNOWN_FLAGS};

class FailureSweep : public MessagesTest
{
  protected:
    const std::string m_id = IdOf("m");
    HRESULT m_hr = S_OK;

    void SetUp() override
    {
        MessageData &message = Deliver("m", {Long(PR_MESSAGE_FLAGS, 1), Long(PR_IMPORTANCE, 2), Long(PR_SENSITIVITY, 0),
                                             Text(PR_BODY_A, "Body"), Text(PR_SUBJECT_A, "Subject")});
        m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 3), Long(PR_ATTACH_METHOD, 5)}, "");
        message.attachments[0]->streams[PR_ATTACH_DATA_OBJ] = std::make_shared<StreamData>("no WAVE");
    }

    // The name under which a failing call is reported.
    static std::string Reported(const Record &call)
    {
        if (call.method == "OpenEntry")
            return "HrOpenEntry";
        if (call.method == "OpenProperty")
            return "OpenAttach";
        return call.method;
    }

    void CheckReport(const Round &round)
    {
        const std::vector<std::string> errors = ErrorLines();
        ASSERT_FALSE(errors.empty());
        if (!round.onwards) {
            EXPECT_EQ(errors.size(), 1u) << testing::PrintToString(errors);
        }
        EXPECT_THAT(errors[0], HasSubstr(" from " + Reported(round.call)));
        char code[16];
        std::snprintf(code, sizeof code, "0x%08x", static_cast<unsigned>(round.hr));
        EXPECT_THAT(errors[0], HasSubstr(std::string("Error ") + code + " ["));
    }

    void CheckNothingLeft(const Round &)
    {
        EXPECT_EQ(OpenObjects(), 0);
        EXPECT_EQ(LiveObjects(), std::vector<std::string>{"Store(alice)"});
        EXPECT_TRUE(LiveBlocks().empty()) << testing::PrintToString(LiveBlocks());
    }
};

TEST_F(FailureSweep, OfASingleHeader)
{
    EmailHeaderA *const untouched = reinterpret_cast<EmailHeaderA *>(&m_hr);
    EmailHeaderA *header = untouched;
    const int calls = Sweep(
        [&] {
            if (header != untouched)
                OrlMapiFreeBuffer(header);
            header = untouched;
            Forget();
        },
        [&] { m_hr = OrlGetEmailHeaderA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), &header); },
        [&](const Round &round) {
            if (IsAskedAgain(round)) {
                EXPECT_EQ(m_hr, S_OK);
                return;
            }
            EXPECT_EQ(m_hr, round.hr);
            EXPECT_EQ(header, untouched);
            CheckReport(round);
            CheckNothingLeft(round);
        },
        kCodes);
    EXPECT_EQ(calls, 9); // open, properties, the block and its six parts
    if (header != untouched)
        OrlMapiFreeBuffer(header);
}

TEST_F(FailureSweep, OfTheFlags)
{
    BYTE flags[3];
    const int calls = Sweep(
        [&] {
            flags[0] = flags[1] = flags[2] = 9;
            Forget();
        },
        [&] {
            m_hr =
                OrlGetEmailFlags(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), &flags[0], &flags[1], &flags[2]);
        },
        [&](const Round &round) {
            if (IsAskedAgain(round)) {
                EXPECT_EQ(m_hr, S_OK);
                EXPECT_EQ(flags[1], 1);
                return;
            }
            EXPECT_EQ(m_hr, round.hr);
            EXPECT_EQ(flags[0] + flags[1] + flags[2], 27);
            CheckReport(round);
            CheckNothingLeft(round);
        },
        kCodes);
    EXPECT_EQ(calls, 2);
}

TEST_F(FailureSweep, OfTheReadFlag)
{
    const int calls = Sweep(
        [&] { Forget(); }, [&] { m_hr = OrlSetEmailReadFlag(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), 0); },
        [&](const Round &round) {
            if (IsAskedAgain(round)) {
                EXPECT_EQ(m_hr, S_OK);
                return;
            }
            EXPECT_EQ(m_hr, round.hr);
            CheckReport(round);
            CheckNothingLeft(round);
        },
        kCodes);
    EXPECT_EQ(calls, 2);
}

TEST_F(FailureSweep, OfADeletion)
{
    auto &store = *m_mapi.world.mailboxes.at("alice");
    const int calls = Sweep(
        [&] {
            // What a round has moved comes back.
            for (const auto &moved : store.deletedItems->messages)
                store.inbox->messages.push_back(moved);
            store.deletedItems->messages.clear();
            Forget();
        },
        [&] { m_hr = OrlDeleteEmail(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id)); },
        [&](const Round &round) {
            CheckNothingLeft(round);
            if (IsAskedAgain(round)) {
                EXPECT_EQ(m_hr, S_OK);
                EXPECT_EQ(store.deletedItems->messages.size(), 1u);
                return;
            }
            EXPECT_EQ(m_hr, round.hr);
            EXPECT_EQ(store.inbox->messages.size(), 1u);
            CheckReport(round);
        },
        kCodes);
    EXPECT_EQ(calls, 7);
}

TEST_F(FailureSweep, OfADownloadedText)
{
    EmailTextW *text = nullptr;
    const int calls = Sweep(
        [&] {
            OrlMapiFreeBuffer(text);
            text = nullptr;
            Forget();
        },
        [&] { m_hr = OrlDownloadEmailW(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), &text); },
        [&](const Round &round) {
            if (IsAskedAgain(round)) {
                EXPECT_EQ(m_hr, S_OK);
                return;
            }
            EXPECT_EQ(m_hr, round.hr);
            EXPECT_EQ(text, nullptr);
            CheckReport(round);
            CheckNothingLeft(round);
        },
        kCodes);
    EXPECT_EQ(calls, 5);
    OrlMapiFreeBuffer(text);
}

TEST_F(FailureSweep, OfADownloadedAttachment)
{
    const std::string file = (std::filesystem::temp_directory_path() / "orlmapi_failure_sweep").string();
    const int calls = Sweep(
        [&] { Forget(); },
        [&] { m_hr = OrlDownloadAttachmentA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), 0, file.c_str()); },
        [&](const Round &round) {
            CheckNothingLeft(round);
            // The stream is no recording: what fails within it changes nothing but the seek that comes first.
            const bool inStream = round.call.kindOfObject == "Stream";
            if (IsAskedAgain(round) || (inStream && round.call.method == "Read") || (inStream && round.at > 5)) {
                EXPECT_EQ(m_hr, E_FAIL);
                return;
            }
            EXPECT_EQ(m_hr, round.hr);
            CheckReport(round);
        },
        kCodes);
    EXPECT_GE(calls, 6);
    EXPECT_FALSE(std::filesystem::exists(file));
}

// A listing of one full page with attachments, begun and gone on with.
class ListingSweep : public FailureSweep, public testing::WithParamInterface<bool>
{
};

TEST_P(ListingSweep, OfAPageWithAttachments)
{
    const bool goesOn = GetParam();
    Deliver("second");
    m_mapi.world.AddAttachment(*m_mapi.world.mailboxes.at("alice")->inbox->messages[1], {Long(PR_ATTACH_SIZE, 3)}, "");
    ListingA listing;
    listing.rows = 1;
    listing.withAttachments = 1;
    DWORD hTable = 0;
    DWORD hOrigin = 0;
    std::set<std::string> failed;
    Sweep(
        [&] {
            Release(listing);
            listing.hTable = listing.hOrigin = 0;
            if (goesOn)
                Run(listing);
            hTable = listing.hTable;
            hOrigin = listing.hOrigin;
            Forget();
        },
        [&] { Run(listing); },
        [&](const Round &round) {
            failed.insert(round.call.method);
            const std::string &method = round.call.method;
            const bool inResult = round.call.kind == Kind::Memory;
            if (!inResult && IsAskedAgain(round)) {
                EXPECT_EQ(listing.hr, S_OK);
                return;
            }
            if (!round.onwards && (method == "GetRowCount" || method == "FreeBookmark")) {
                EXPECT_EQ(listing.hr, S_OK) << "neither costs the page";
                EXPECT_EQ(listing.count, 1u);
                EXPECT_EQ(ErrorLines().size(), method == "FreeBookmark" ? 1u : 0u);
                return;
            }
            EXPECT_EQ(listing.hr, round.hr);
            EXPECT_EQ(listing.count, 0u);
            if (method == "GetRowCount" || method == "FreeBookmark") {
                EXPECT_FALSE(ErrorLines().empty());
            } else {
                CheckReport(round);
            }
            if (inResult) {
                EXPECT_EQ(OpenObjects(), 1) << "the handles are in the caller's hands";
                return;
            }
            EXPECT_EQ(listing.headers, nullptr);
            EXPECT_EQ(listing.hTable, hTable);
            EXPECT_EQ(listing.hOrigin, hOrigin);
            CheckNothingLeft(round);
        },
        kCodes);
    Release(listing);

    std::set<std::string> fallible = {"GetRowCount",        "QueryRows",       "CreateBookmark", "OpenEntry",
                                      "GetAttachmentTable", "HrQueryAllRows",  "OpenAttach",     "GetProps",
                                      "MAPIAllocateBuffer", "MAPIAllocateMore"};
    if (goesOn)
        fallible.insert({"SeekRow", "FreeBookmark"});
    else
        fallible.insert({"GetReceiveFolder", "GetContentsTable", "SetColumns", "Restrict", "SortTable"});
    EXPECT_EQ(failed, fallible);
    // The next call works.
    listing.hTable = listing.hOrigin = 0;
    Run(listing);
    EXPECT_EQ(listing.hr, S_OK);
    EXPECT_EQ(listing.count, 1u);
    Release(listing);
}

INSTANTIATE_TEST_SUITE_P(Pages, ListingSweep, testing::Bool(),
                         [](const auto &of) { return of.param ? "GoneOnWith" : "Begun"; });

} // namespace
