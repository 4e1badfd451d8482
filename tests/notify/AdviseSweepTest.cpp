// Every fallible call of a watch's beginning, failed one after the other, once and from there on.
#include "notify/NotifyTest.h"

namespace
{

class AdviseSweepTest : public NotifyTest
{
};

// A failing step of the logon ends in its own result; every later one leaves a sink, or a mailbox, or neither.
TEST_F(AdviseSweepTest, WhateverStepFailsNothingIsLeftThatNobodyCanReach)
{
    HRESULT hr = S_OK;
    int rounds = 0;
    const int calls = Sweep(
        [&] {
            if (sink != kNoSink && sink != 0)
                Unadvise(sink);
            sink = kNoSink;
            mapi.world.mailboxes.at("alice")->inbox->turn = 0;
            Forget();
            TakeTold();
        },
        [&] { hr = Advise(); },
        [&](const Round &round) {
            ++rounds;
            const std::string &method = round.call.method;
            const size_t errors = Errors().size();
            if (FAILED(hr)) {
                EXPECT_EQ(sink, kNoSink);
                EXPECT_EQ(mailbox, kNoMailbox);
            } else if (sink == 0) {
                EXPECT_THAT(method, testing::AnyOf("GetContentsTable", "SetColumns", "Restrict", "SortTable"));
                EXPECT_TRUE(round.onwards || errors == 2) << "the step, and that tables are missing";
                EXPECT_EQ(OrlMapiDisconnectFromMailbox(hConnection, mailbox), S_OK);
            } else {
                if (!round.onwards && (method == "Advise" || method == "GetRowCount")) {
                    EXPECT_EQ(errors, 1u);
                }
                if (method == "GetRowCount") {
                    EXPECT_THAT(TakeTold(), IsEmpty()) << "a failing count never calls the callback";
                }
                EXPECT_EQ(Unadvise(sink), S_OK);
            }
            sink = kNoSink;
            EXPECT_THAT(Registrations(), IsEmpty());
            EXPECT_EQ(LiveObjects().size(), 2u) << "the session and its default store";
            EXPECT_THAT(LiveBlocks(), IsEmpty());
        },
        {E_FAIL, E_OUTOFMEMORY, MAPI_E_NETWORK_ERROR});
    if (sink != kNoSink && sink != 0)
        Unadvise(sink);
    EXPECT_GT(rounds, 2 * 3 * 20);
    EXPECT_GT(calls, 20);
    ASSERT_EQ(Advise(), S_OK) << "the next one works";
    Unadvise(sink);
}

} // namespace
