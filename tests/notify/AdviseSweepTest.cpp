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
            if (m_sink != kNoSink && m_sink != 0)
                Unadvise(m_sink);
            m_sink = kNoSink;
            m_mapi.world.mailboxes.at("alice")->inbox->turn = 0;
            Forget();
            TakeTold();
        },
        [&] { hr = Advise(); },
        [&](const Round &round) {
            ++rounds;
            const std::string &method = round.call.method;
            const size_t errors = Errors().size();
            if (FAILED(hr)) {
                EXPECT_EQ(m_sink, kNoSink);
                EXPECT_EQ(m_mailbox, kNoMailbox);
            } else if (m_sink == 0) {
                EXPECT_THAT(method, testing::AnyOf("GetContentsTable", "SetColumns", "Restrict", "SortTable"));
                EXPECT_TRUE(round.onwards || errors == 2) << "the step, and that tables are missing";
                EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, m_mailbox), S_OK);
            } else {
                if (!round.onwards && (method == "Advise" || method == "GetRowCount")) {
                    EXPECT_EQ(errors, 1u);
                }
                if (method == "GetRowCount") {
                    EXPECT_THAT(TakeTold(), IsEmpty()) << "a failing count never calls the callback";
                }
                EXPECT_EQ(Unadvise(m_sink), S_OK);
            }
            m_sink = kNoSink;
            EXPECT_THAT(Registrations(), IsEmpty());
            EXPECT_EQ(LiveObjects().size(), 2u) << "the session and its default store";
            EXPECT_THAT(LiveBlocks(), IsEmpty());
        },
        {E_FAIL, E_OUTOFMEMORY, MAPI_E_NETWORK_ERROR});
    if (m_sink != kNoSink && m_sink != 0)
        Unadvise(m_sink);
    EXPECT_GT(rounds, 2 * 3 * 20);
    EXPECT_GT(calls, 20);
    ASSERT_EQ(Advise(), S_OK) << "the next one works";
    Unadvise(m_sink);
}

} // namespace
