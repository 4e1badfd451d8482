// LOCALMAPI_BEHAVIOUR itself: what is taken and refused of it; and its drop and slow: lost sessions and slow calls.
#include "ExchangeMapi.h"
#include "ProviderFixture.h"
#include "localmapi/provider/base/Behaviour.h"
#include "localmapi/provider/base/ErrorText.h"

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

// Waits for one event.
class OneEvent final : public ComObject<IMAPIAdviseSink>
{
  public:
    STDMETHODIMP_(ULONG) OnNotify(ULONG count, LPNOTIFICATION notifications) override
    {
        const std::lock_guard hold(m_lock);
        for (ULONG i = 0; i < count; ++i) {
            m_events.push_back(notifications[i].info.tab);
            m_subjects.push_back(TextIn(notifications[i].info.tab.row, PR_SUBJECT_A));
        }
        m_told.notify_all();
        return S_OK;
    }
    TABLE_NOTIFICATION First()
    {
        const auto hold = Await();
        return m_events.empty() ? TABLE_NOTIFICATION{} : m_events.front();
    }
    // In the row that came with the first event.
    std::string FirstSubject()
    {
        const auto hold = Await();
        return m_subjects.empty() ? "(nothing was told)" : m_subjects.front();
    }

  private:
    std::unique_lock<std::mutex> Await()
    {
        std::unique_lock hold(m_lock);
        m_told.wait_for(hold, std::chrono::seconds(60), [&] { return !m_events.empty(); });
        return hold;
    }

    std::mutex m_lock;
    std::condition_variable m_told;
    std::vector<std::string> m_subjects;
    std::vector<TABLE_NOTIFICATION> m_events; // only what is no pointer may be looked at
};

std::string WhyRefused(const std::string &text)
{
    try {
        Behaviour::FromText(text);
    } catch (const Failure &failure) {
        return CodeName(failure.Code()) + " " + failure.Text();
    }
    return "taken";
}

// --- the variable ---

TEST_F(ProviderBehaviour, WhatCanNotBeUnderstoodIsRefusedAndQuoted)
{
    for (const char *text : {"cut=255", "cut=510", "rows=1", "rows=1000000", "drop=1000000000", "slow=1", "slow=60000",
                             "cut=255,rows=10,drop=200,slow=30", "slow=30,drop=200,rows=10,cut=510"})
        EXPECT_EQ(WhyRefused(text), "taken") << text;
    const std::string code = HexText(static_cast<ULONG>(MAPI_E_BAD_VALUE)) + " LOCALMAPI_BEHAVIOUR: ";
    EXPECT_EQ(WhyRefused("cut=256"), code + "\"cut=256\" is neither cut=255 nor cut=510.");
    EXPECT_EQ(WhyRefused("rows=5,rows=6"), code + "\"rows=6\" is there twice.");
    EXPECT_EQ(WhyRefused("rows=5,,slow=6"), code + "\"\" is none of cut=, rows=, drop= and slow=.");
    EXPECT_EQ(WhyRefused("rows=0"), code + "\"rows=0\" is no number of rows from 1 to 1000000.");
    for (const char *text : {"rows",
                             "rows=",
                             "rows= 5",
                             "rows=5 ",
                             "rows=+5",
                             "rows=-5",
                             "rows=5x",
                             "rows=0x5",
                             "rows=1000001",
                             "rows=99999999999999999999",
                             "Rows=5",
                             " rows=5",
                             "rows=5,",
                             ",rows=5",
                             ",",
                             "drop=0",
                             "drop=1000000001",
                             "slow=0",
                             "slow=60001",
                             "slow=-1",
                             "cut",
                             "cut=",
                             "cut=0255",
                             "cut=255 ",
                             "fast=1",
                             "rows:5",
                             "rows=5;slow=5",
                             "=5",
                             "="})
        EXPECT_THAT(WhyRefused(text), testing::StartsWith(code)) << text;
}

TEST_F(ProviderBehaviour, ALogonWithARefusedTextFailsAndTheNextOneWithoutItDoesNot)
{
    ComPtr<IMAPISession> session;
    {
        const ScopedVariable variable("LOCALMAPI_BEHAVIOUR", "rows=many");
        testing::internal::CaptureStderr();
        EXPECT_CODE(MAPILogonEx(0, Narrow("Work"), nullptr, MAPI_EXTENDED | MAPI_NEW_SESSION | MAPI_EXPLICIT_PROFILE,
                                session.put()),
                    MAPI_E_BAD_VALUE);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "localmapi: LOCALMAPI_BEHAVIOUR: \"rows=many\" is no number of rows from 1 to 1000000.\n");
    }
    EXPECT_FALSE(session);
    LogOnWith("");
}

TEST_F(ProviderBehaviour, ItIsReadAtLogonAndIsTheSessionsOwn)
{
    LogOnWith("rows=1");
    auto table = Numbered(3);
    auto few = std::move(m_session);
    LogOnWith("");
    auto other = Contents({kOwnNumber});
    EXPECT_EQ(Read(other, 10).size(), 3u);
    EXPECT_EQ(Read(table, 10).size(), 1u);
}

// --- drop ---

TEST_F(ProviderBehaviour, SoManyCallsAreAnsweredAndThenNoneUntilTheNextLogon)
{
    for (int round = 0; round < 2; ++round) {
        {
            const ScopedVariable variable("LOCALMAPI_BEHAVIOUR", "drop=3");
            m_session = LogOn();
        }
        ULONG size = 0;
        for (int call = 1; call <= 6; ++call) {
            Block<ENTRYID> entry;
            EXPECT_CODE(m_session->QueryIdentity(&size, entry.put()), call <= 3 ? S_OK : MAPI_E_NETWORK_ERROR) << call;
        }
        EXPECT_EQ(LastError(m_session.get(), MAPI_E_NETWORK_ERROR),
                  "IMAPISession::QueryIdentity: The session was dropped; it takes a new logon.");
        EXPECT_CODE(m_session->Logoff(0, 0, 0), S_OK);
        m_session.reset();
    }
}

TEST_F(ProviderBehaviour, CallsOnEverythingThatASessionOpenedAreCounted)
{
    // Fewer calls than the ones below, each of which succeeds until it is one too many.
    LogOnWith("drop=100");
    auto table = Contents({kOwnNumber});
    auto message = Add({Number(1)});
    ULONG count = 0;
    const std::function<HRESULT()> calls[] = {
        [&] { return table->GetRowCount(0, &count); },
        [&] { return message->SaveChanges(KEEP_OPEN_READWRITE); },
    };
    HRESULT hr = S_OK;
    int answered = 0;
    for (int i = 0; i < 200 && hr == S_OK; ++i, ++answered)
        hr = calls[i % 2]();
    EXPECT_CODE(hr, MAPI_E_NETWORK_ERROR);
    EXPECT_GT(answered, 70) << "each is one call, and logging on and opening took few";
    EXPECT_LT(answered, 100);
}

TEST_F(ProviderBehaviour, NothingOfADroppedSessionAnswersAnyMore)
{
    LogOnWith("drop=100");
    auto message = AddSubject("Kept");
    ComPtr<IAttach> attachment;
    ULONG number = 0;
    ASSERT_CODE(message->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
    ComPtr<IUnknown> opened;
    ASSERT_CODE(attachment->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, MAPI_CREATE | MAPI_MODIFY, opened.put()),
                S_OK);
    auto stream = Share(static_cast<IStream *>(opened.get()));
    auto table = Contents({PR_SUBJECT_A});
    auto book = OpenBook(m_session);
    UseUp();

    Block<SPropValue> values;
    ULONG count = 0;
    EXPECT_CODE(m_store->GetProps(nullptr, 0, &count, values.put()), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(m_inbox->GetProps(nullptr, 0, &count, values.put()), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(message->GetProps(nullptr, 0, &count, values.put()), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(attachment->GetProps(nullptr, 0, &count, values.put()), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(book->GetProps(nullptr, 0, &count, values.put()), MAPI_E_NETWORK_ERROR);
    SPropValue value = Number(5);
    EXPECT_CODE(message->SetProps(1, &value, nullptr), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(message->SaveChanges(0), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(message->SubmitMessage(0), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(message->SetReadFlag(0), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(attachment->SaveChanges(0), MAPI_E_NETWORK_ERROR);
    ULONG written = 0;
    EXPECT_CODE(stream->Write("x", 1, &written), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(stream->Commit(0), MAPI_E_NETWORK_ERROR);
    Rows rows;
    EXPECT_CODE(table->QueryRows(1, 0, rows.put()), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(table->GetRowCount(0, &count), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(table->Restrict(nullptr, 0), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(table->Abort(), MAPI_E_NETWORK_ERROR);
    ComPtr<IMAPITable> another;
    EXPECT_CODE(m_inbox->GetContentsTable(0, another.put()), MAPI_E_NETWORK_ERROR);
    ComPtr<IMessage> second;
    EXPECT_CODE(m_inbox->CreateMessage(nullptr, 0, second.put()), MAPI_E_NETWORK_ERROR);
    ComPtr<IUnknown> root;
    ULONG type = 0;
    EXPECT_CODE(m_store->OpenEntry(0, nullptr, nullptr, 0, &type, root.put()), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(m_session->GetMsgStoresTable(0, another.put()), MAPI_E_NETWORK_ERROR);
    ULONG logoff = 0;
    EXPECT_CODE(m_store->StoreLogoff(&logoff), MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(m_session->Logoff(0, 0, 0), S_OK);

    message.reset();
    Leave();
    LogOnWith("");
    EXPECT_EQ(SubjectInRow(PR_SUBJECT_A), "Kept") << "what was saved before";
}

TEST_F(ProviderBehaviour, ADroppedSessionsAdvisesAreToldOfTheErrorAndEndAsUsual)
{
    LogOnWith("drop=100");
    auto table = Contents({PR_SUBJECT_A});
    auto sink = MakeObject<OneEvent>();
    ULONG connection = 0;
    ASSERT_CODE(table->Advise(fnevTableModified, sink.get(), &connection), S_OK);
    UseUp();
    auto late = MakeObject<OneEvent>();
    ULONG none = 0;
    EXPECT_CODE(table->Advise(fnevTableModified, late.get(), &none), MAPI_E_NETWORK_ERROR);
    Leave();
    LogOnWith("");
    AddSubject("News");
    const TABLE_NOTIFICATION told = sink->First();
    EXPECT_EQ(told.ulTableEvent, ULONG{TABLE_ERROR});
    EXPECT_CODE(told.hResult, MAPI_E_NETWORK_ERROR);
    EXPECT_CODE(table->Unadvise(connection), MAPI_E_NETWORK_ERROR);
    sink->AddRef();
    EXPECT_EQ(sink->Release(), 1u) << "the table holds it no more";
    EXPECT_CODE(table->Unadvise(connection), MAPI_E_NOT_FOUND);
}

TEST_F(ProviderBehaviour, TheRowOfANoticeIsCutAsOthersAre)
{
    LogOnWith("cut=255");
    auto table = Contents({PR_SUBJECT_A});
    auto sink = MakeObject<OneEvent>();
    ULONG connection = 0;
    ASSERT_CODE(table->Advise(fnevTableModified, sink.get(), &connection), S_OK);
    AddSubject(std::string(300, 'm'));
    EXPECT_EQ(sink->FirstSubject(), std::string(255, 'm'));
    EXPECT_CODE(table->Unadvise(connection), S_OK);
}

// --- slow ---

TEST_F(ProviderBehaviour, EachCallOnAStoresObjectsTakesSoMuchLonger)
{
    LogOnWith("slow=20");
    using Clock = std::chrono::steady_clock;
    auto table = Contents({PR_SUBJECT_A});
    ULONG count = 0;
    const auto begin = Clock::now();
    for (int i = 0; i < 5; ++i)
        EXPECT_CODE(table->GetRowCount(0, &count), S_OK);
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(100));
}

TEST_F(ProviderBehaviour, TheSessionItselfIsNotSlow)
{
    {
        const ScopedVariable variable("LOCALMAPI_BEHAVIOUR", "slow=60000");
        m_session = LogOn();
    }
    const auto begin = std::chrono::steady_clock::now();
    ULONG size = 0;
    Block<ENTRYID> entry;
    EXPECT_CODE(m_session->QueryIdentity(&size, entry.put()), S_OK);
    OpenBook(m_session);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

} // namespace
