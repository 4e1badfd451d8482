// Proves how long a sink is told: from Advise to Unadvise, to the table's release or to the store's logoff, and never
// after; on one thread.
#include "Notified.h"
#include "localmapi/provider/session/Process.h"
#include "localmapi/provider/table/MemoryTable.h"

#include <atomic>

namespace localmapi::test
{

namespace
{

class AdviseTest : public Notified
{
  protected:
    ComPtr<Sink> m_sink = MakeObject<Sink>();
};

TEST_F(AdviseTest, N08_TheTableHoldsTheSinkUntilUnadvise)
{
    auto table = Inbox();
    EXPECT_EQ(m_sink->References(), 1u);
    const ULONG connection = Advise(table, m_sink);
    EXPECT_EQ(m_sink->References(), 2u);
    Add("a");
    EXPECT_EQ(Told(m_sink), "added a at the top");
    EXPECT_CODE(table->Unadvise(connection), S_OK);
    EXPECT_EQ(m_sink->References(), 1u);
    EXPECT_CODE(table->Unadvise(connection), MAPI_E_NOT_FOUND);
    Add("b");
    auto other = MakeObject<Sink>();
    Advise(table, other);
    Add("c");
    EXPECT_EQ(Told(other), "added c after b");
    EXPECT_EQ(m_sink->Events(), 1u);
}

// A sink in front of another one, that does something when a table first takes a reference to it: that is in the middle
// of Advise.
class Intruding : public IMAPIAdviseSink
{
  public:
    Intruding(const ComPtr<Sink> &sink, std::function<void()> action) : m_sink(sink), m_action(std::move(action)) {}
    virtual ~Intruding() = default;
    STDMETHODIMP QueryInterface(REFIID riid, void **object) override { return m_sink->QueryInterface(riid, object); }
    STDMETHODIMP_(ULONG) AddRef() override
    {
        if (const auto action = std::exchange(m_action, nullptr))
            action();
        return m_sink->AddRef();
    }
    STDMETHODIMP_(ULONG) Release() override { return m_sink->Release(); }
    STDMETHODIMP_(ULONG) OnNotify(ULONG count, LPNOTIFICATION notifications) override
    {
        return m_sink->OnNotify(count, notifications);
    }

  private:
    const ComPtr<Sink> &m_sink;
    std::function<void()> m_action;
};

TEST_F(AdviseTest, N01_ARestrictInTheMidstOfAnAdviseIsWhatTheSinkIsToldOf)
{
    auto table = Inbox();
    const auto urgent = Long(PR_IMPORTANCE, IMPORTANCE_HIGH);
    Tree tree;
    Intruding sink(m_sink, [&] { EXPECT_CODE(table->Restrict(tree.Property(RELOP_EQ, urgent), 0), S_OK); });
    ULONG connection = 0;
    ASSERT_CODE(table->Advise(fnevTableModified, &sink, &connection), S_OK);
    Add("hidden");
    Add("shown", {urgent});
    EXPECT_EQ(Told(m_sink), "added shown at the top");
    EXPECT_CODE(table->Unadvise(connection), S_OK);
}

TEST_F(AdviseTest, N08_UnadviseWaitsForASinkThatRunsOnAnotherThread)
{
    auto table = Inbox();
    Signal entered, open;
    std::atomic<bool> left{false};
    std::atomic<int> ended{0};
    auto sink = MakeObject<Sink>([&](Sink &) {
        entered.Set();
        EXPECT_TRUE(open.Await());
        left = true;
    });
    const ULONG connection = Advise(table, sink);
    Add("a");
    ASSERT_TRUE(entered.Await());
    // Of two who end it, the one who comes too late knows by that answer that the other one is waiting.
    const auto end = [&] {
        const HRESULT hr = table->Unadvise(connection);
        if (hr == S_OK) {
            EXPECT_TRUE(left);
            EXPECT_EQ(sink->References(), 1u);
            ++ended;
            return;
        }
        EXPECT_CODE(hr, MAPI_E_NOT_FOUND);
        EXPECT_FALSE(left);
        EXPECT_EQ(sink->References(), 2u);
        open.Set();
    };
    std::thread other(end);
    end();
    other.join();
    EXPECT_EQ(ended, 1);
}

TEST_F(AdviseTest, N08_ASinkMayEndItsOwnAdviseAndIsReleasedWhenItHasReturned)
{
    auto table = Inbox();
    std::atomic<ULONG> connection{0}, references{0};
    Signal advised;
    auto sink = MakeObject<Sink>([&](Sink &self) {
        EXPECT_TRUE(advised.Await());
        EXPECT_CODE(table->Unadvise(connection), S_OK);
        references = self.References();
    });
    auto next = MakeObject<Sink>();
    connection = Advise(table, sink);
    advised.Set();
    Advise(table, next);
    Add("a");
    Add("b");
    EXPECT_EQ(Told(next, 2), "added a at the top, added b after a");
    EXPECT_EQ(sink->Calls(), 1u);
    EXPECT_EQ(references, 2u);
    EXPECT_EQ(sink->References(), 1u);
}

TEST_F(AdviseTest, N08_TheLastSinkMayEndItsOwnAdviseAndTheNextOneIsTold)
{
    for (int round = 0; round < 20; ++round) {
        auto table = Inbox();
        std::atomic<ULONG> connection{0};
        Signal advised, ended;
        auto sink = MakeObject<Sink>([&](Sink &) {
            EXPECT_TRUE(advised.Await());
            EXPECT_CODE(table->Unadvise(connection), S_OK);
            ended.Set();
        });
        connection = Advise(table, sink);
        advised.Set();
        Add("a");
        ASSERT_TRUE(ended.Await());
    }
    auto table = Inbox();
    Advise(table, m_sink);
    Add("b");
    EXPECT_EQ(Told(m_sink), "added b after a");
}

TEST_F(AdviseTest, AllSinksAreCalledOnOneThreadThatIsNotTheWriters)
{
    auto table = Inbox();
    auto second = Inbox();
    auto other = MakeObject<Sink>();
    Advise(table, m_sink);
    Advise(second, other);
    Add("a");
    EXPECT_EQ(Told(m_sink), "added a at the top");
    EXPECT_EQ(Told(other), "added a at the top");
    EXPECT_EQ(m_sink->Thread(), other->Thread());
    EXPECT_NE(m_sink->Thread(), std::this_thread::get_id());
}

TEST_F(AdviseTest, ASinkAdvisedTwiceIsToldTwiceAndALaterOneNothingOfBefore)
{
    auto table = Inbox();
    Advise(table, m_sink);
    const ULONG second = Advise(table, m_sink);
    auto late = MakeObject<Sink>();
    {
        Held held(*this);
        Add("a");
        Advise(table, late);
        Add("b");
    }
    EXPECT_EQ(Told(m_sink, 4), "added a at the top, added b after a, added a at the top, added b after a");
    EXPECT_EQ(Told(late), "added b after a");
    EXPECT_CODE(table->Unadvise(second), S_OK);
    Add("c");
    EXPECT_EQ(Told(m_sink), "added c after b");
    EXPECT_EQ(Told(late), "added c after b");
    EXPECT_EQ(m_sink->Events(), 5u);
}

TEST_F(AdviseTest, AReleasedTableEndsItsAdvises)
{
    auto table = Inbox();
    Advise(table, m_sink);
    Advise(table, m_sink);
    EXPECT_EQ(m_sink->References(), 3u);
    table.reset();
    EXPECT_EQ(m_sink->References(), 1u);
    auto other = Inbox();
    auto otherSink = MakeObject<Sink>();
    Advise(other, otherSink);
    Add("a");
    EXPECT_EQ(Told(otherSink), "added a at the top");
    EXPECT_EQ(m_sink->Events(), 0u);
}

TEST_F(AdviseTest, AStoreThatIsLoggedOffEndsTheAdvisesOfItsTables)
{
    auto store = m_mailbox.StoreOf(m_mailbox.Alice());
    auto folder = m_mailbox.Folder(0, store.get());
    ComPtr<IMAPITable> contents, hierarchy;
    ASSERT_CODE(folder->GetContentsTable(0, contents.put()), S_OK);
    ASSERT_CODE(folder->GetHierarchyTable(0, hierarchy.put()), S_OK);
    auto other = Inbox();
    auto otherSink = MakeObject<Sink>();
    const ULONG connection = Advise(contents, m_sink);
    Advise(hierarchy, m_sink);
    Advise(other, otherSink);
    ULONG flags = LOGOFF_ORDERLY;
    ASSERT_CODE(store->StoreLogoff(&flags), S_OK);
    EXPECT_EQ(m_sink->References(), 1u);
    EXPECT_CODE(contents->Unadvise(connection), MAPI_E_NOT_FOUND);
    Add("a");
    EXPECT_EQ(Told(otherSink), "added a at the top");
    EXPECT_EQ(m_sink->Events(), 0u);
}

TEST_F(AdviseTest, NobodyIsToldAfterTheLastMapiUninitializeUntilSomebodyIsAdvisedAnew)
{
    auto table = Inbox();
    Advise(table, m_sink);
    MAPIUninitialize();
    Add("a");
    ASSERT_EQ(MAPIInitialize(nullptr), S_OK);
    EXPECT_EQ(m_sink->Events(), 0u);
    auto other = Inbox();
    auto otherSink = MakeObject<Sink>();
    Advise(other, otherSink);
    Add("b");
    EXPECT_EQ(Told(otherSink), "added b after a");
    EXPECT_EQ(Told(m_sink, 2), "added a at the top, added b after a");
}

TEST_F(AdviseTest, WhoeverInitialisesWhileTheLastMapiUninitializeIsAtItIsTold)
{
    auto table = Inbox();
    Signal entered;
    auto initialiser = MakeObject<Sink>([&](Sink &) {
        entered.Set();
        while (IsInitialized())
            std::this_thread::yield();
        EXPECT_EQ(MAPIInitialize(nullptr), S_OK);
    });
    const ULONG connection = Advise(table, initialiser);
    // On its way to this one when it is stopped, too.
    auto other = Inbox();
    Advise(other, m_sink);
    Add("a");
    ASSERT_TRUE(entered.Await());
    MAPIUninitialize();
    EXPECT_CODE(table->Unadvise(connection), S_OK);
    Add("b");
    EXPECT_EQ(Told(m_sink, 2), "added a at the top, added b after a");
}

TEST_F(AdviseTest, WrongArgumentsAreRefused)
{
    auto table = Inbox();
    ULONG connection = 7;
    EXPECT_CODE(table->Advise(fnevTableModified, nullptr, &connection), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(connection, 0u);
    EXPECT_CODE(table->Advise(fnevTableModified, m_sink.get(), nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(table->Advise(fnevNewMail, m_sink.get(), &connection), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(table->Unadvise(0), MAPI_E_NOT_FOUND);
    EXPECT_CODE(table->Unadvise(123), MAPI_E_NOT_FOUND);
    EXPECT_EQ(m_sink->References(), 1u);
}

TEST_F(AdviseTest, ATableWhoseRowsNeverChangeSaysThatItTellsNobody)
{
    ComPtr<IMAPITable> table;
    ASSERT_CODE(CreateMemoryTable(MemoryRows(), {.columns = {kLabel}}, table.put()), S_OK);
    ULONG connection = 0;
    EXPECT_CODE(table->Advise(fnevTableModified, m_sink.get(), &connection), MAPI_E_NO_SUPPORT);
    EXPECT_CODE(table->Unadvise(1), MAPI_E_NOT_FOUND);
    Block<MAPIERROR> error;
    ASSERT_CODE(table->GetLastError(MAPI_E_NO_SUPPORT, 0, error.put()), S_OK);
    ASSERT_TRUE(error);
    EXPECT_NE(std::string(reinterpret_cast<const char *>(error->lpszError)).find("IMAPITable::Advise"),
              std::string::npos);
}

} // namespace

} // namespace localmapi::test
