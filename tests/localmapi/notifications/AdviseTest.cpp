// Proves how long a sink is told: from Advise to Unadvise, to the table's release or to the store's logoff, and never
// after; on one thread, also when the sink does what it likes.
#include "Notified.h"

#include "MemoryTable.h"
#include "localmapi/storage/objects.h"

#include <atomic>

namespace localmapi::test
{

namespace
{

class AdviseTest : public Notified
{
  protected:
    Ref<Sink> m_sink = MakeObject<Sink>();
};

class SinkTest : public Notified
{
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

TEST_F(AdviseTest, N08_UnadviseWaitsForASinkThatRunsOnAnotherThread)
{
    auto table = Inbox();
    Signal entered, open;
    std::atomic<bool> left{false};
    auto sink = MakeObject<Sink>([&](Sink &) {
        entered.Set();
        EXPECT_TRUE(open.Await());
        left = true;
    });
    const ULONG connection = Advise(table, sink);
    Add("a");
    ASSERT_TRUE(entered.Await());
    std::thread opener([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(left);
        EXPECT_EQ(sink->References(), 2u);
        open.Set();
    });
    EXPECT_CODE(table->Unadvise(connection), S_OK);
    EXPECT_TRUE(left);
    EXPECT_EQ(sink->References(), 1u);
    opener.join();
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
    auto store = m_mailbox.StoreOf(m_mailbox.alice());
    auto folder = m_mailbox.Folder(0, store.get());
    Ref<IMAPITable> contents, hierarchy;
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
    Ref<IMAPITable> table;
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

// --- sinks that do what they like ---

TEST_F(SinkTest, ASinkMayReadTheTableAndTheMailbox)
{
    auto table = Inbox();
    std::atomic<ULONG> rows{0};
    auto sink = MakeObject<Sink>([&](Sink &) {
        ULONG count = 0;
        EXPECT_CODE(table->GetRowCount(0, &count), S_OK);
        Rows read;
        EXPECT_CODE(table->QueryRows(10, TBL_NOADVANCE, read.put()), S_OK);
        EXPECT_EQ(read.size(), count);
        rows = count;
        auto folder = m_mailbox.Folder(0);
        EXPECT_TRUE(folder);
    });
    const ULONG connection = Advise(table, sink);
    Add("a");
    EXPECT_EQ(Told(sink), "added a at the top");
    EXPECT_CODE(table->Unadvise(connection), S_OK);
    EXPECT_EQ(rows, 1u);
}

TEST_F(SinkTest, ASinkMayChangeTheMailboxAndIsToldOfThatToo)
{
    auto table = Inbox();
    std::atomic<bool> added{false};
    auto sink = MakeObject<Sink>([&](Sink &) {
        if (!added.exchange(true))
            Add("b");
    });
    const ULONG connection = Advise(table, sink);
    Add("a");
    ASSERT_TRUE(sink->Await(2));
    EXPECT_CODE(table->Unadvise(connection), S_OK);
    EXPECT_EQ(Told(sink, 2), "added a at the top, added b after a");
}

TEST_F(SinkTest, ASinkMayRestrictItsTableAndAdviseAnother)
{
    auto table = Inbox();
    Tree tree;
    auto later = MakeObject<Sink>();
    auto sink = MakeObject<Sink>([&](Sink &) {
        EXPECT_CODE(table->Restrict(tree.Property(RELOP_EQ, Long(PR_IMPORTANCE, IMPORTANCE_HIGH)), 0), S_OK);
        ULONG connection = 0;
        if (later->References() == 1) {
            EXPECT_CODE(table->Advise(fnevTableModified, later.get(), &connection), S_OK);
        }
    });
    const ULONG connection = Advise(table, sink);
    Add("a");
    ASSERT_TRUE(sink->Await(1));
    EXPECT_CODE(table->Unadvise(connection), S_OK);
    Add("b");
    Add("c", {Long(PR_IMPORTANCE, IMPORTANCE_HIGH)});
    EXPECT_EQ(Told(later), "added c at the top");
}

TEST_F(SinkTest, ASinkMayReleaseItsTable)
{
    auto table = Inbox();
    Ref<IMAPITable> *held = &table;
    Signal released;
    auto sink = MakeObject<Sink>([&](Sink &) {
        held->reset();
        released.Set();
    });
    Advise(table, sink);
    Add("a");
    ASSERT_TRUE(released.Await());
    auto other = Inbox();
    auto next = MakeObject<Sink>();
    const ULONG connection = Advise(other, next);
    Add("b");
    EXPECT_EQ(Told(next), "added b after a");
    EXPECT_CODE(other->Unadvise(connection), S_OK);
    EXPECT_EQ(sink->Events(), 1u);
    EXPECT_EQ(sink->References(), 1u);
}

TEST_F(SinkTest, ASinkMayEndAnothersAdviseWhichIsThenNotCalled)
{
    auto table = Inbox();
    std::atomic<ULONG> second{0};
    auto victim = MakeObject<Sink>();
    Signal ready;
    auto first = MakeObject<Sink>([&](Sink &) {
        EXPECT_TRUE(ready.Await());
        if (const ULONG connection = second.exchange(0)) {
            EXPECT_CODE(table->Unadvise(connection), S_OK);
            EXPECT_EQ(victim->References(), 1u);
        }
    });
    const ULONG connection = Advise(table, first);
    second = Advise(table, victim);
    ready.Set();
    Add("a");
    ASSERT_TRUE(first->Await(1));
    EXPECT_CODE(table->Unadvise(connection), S_OK);
    EXPECT_EQ(victim->Events(), 0u);
}

TEST_F(SinkTest, AnExceptionOfOneSinkDoesNotReachTheOthers)
{
    auto table = Inbox();
    auto thrower = MakeObject<Sink>([](Sink &) { throw std::runtime_error("a client's fault"); });
    auto next = MakeObject<Sink>();
    Advise(table, thrower);
    Advise(table, next);
    Add("a");
    Add("b");
    EXPECT_EQ(Told(next, 2), "added a at the top, added b after a");
    EXPECT_EQ(Told(thrower, 2), "added a at the top, added b after a");
}

TEST_F(SinkTest, ASinkThatTakesASecondDelaysTheOthersButLosesThemNothing)
{
    auto table = Inbox();
    Signal entered;
    auto slow = MakeObject<Sink>([&](Sink &) {
        entered.Set();
        std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    });
    auto next = MakeObject<Sink>();
    const ULONG connection = Advise(table, slow);
    Advise(table, next);
    Add("a");
    ASSERT_TRUE(entered.Await());
    Add("b");
    // The writer does not wait for it.
    EXPECT_EQ(next->Events(), 0u);
    EXPECT_CODE(table->Unadvise(connection), S_OK);
    EXPECT_EQ(Told(next, 2), "added a at the top, added b after a");
}

TEST_F(SinkTest, AdvisesThatComeAndGoInFourThreadsWhileMailArrivesAreNeverCalledAfterwards)
{
    constexpr int kThreads = 4, kRounds = 250;
    std::atomic<int> calls{0};
    std::atomic<bool> done{false};
    std::thread writer([&] {
        storage::Objects objects(m_mailbox.site());
        const auto inbox = storage::Directory(m_mailbox.site()).mailbox(m_mailbox.alice().mailbox).inbox;
        std::vector<storage::ObjectId> one{objects.createMessage(inbox, {})};
        for (bool read = true; !done; read = !read)
            objects.setRead(one, read);
    });
    auto shared = Inbox();
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number)
        threads.emplace_back([&, number] {
            for (int round = 0; round < kRounds; ++round) {
                auto table = number % 2 ? shared : Inbox();
                std::atomic<bool> over{false};
                auto sink = MakeObject<Sink>([&](Sink &) {
                    EXPECT_FALSE(over);
                    ++calls;
                });
                const ULONG connection = Advise(table, sink);
                if (round % 3 == 0)
                    sink->Await(1);
                if (number == 2 && round % 2)
                    table.reset();
                else
                    EXPECT_CODE(table->Unadvise(connection), S_OK);
                over = true;
                EXPECT_EQ(sink->References(), 1u);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    done = true;
    writer.join();
    EXPECT_GT(calls, kThreads * kRounds / 4);
}

} // namespace

} // namespace localmapi::test
