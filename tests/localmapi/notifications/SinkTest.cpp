// Proves that a sink may do what it likes: call the table and the mailbox, end advises, throw, take its time.
#include "Notified.h"
#include "localmapi/storage/Objects.h"

#include <atomic>

namespace localmapi::test
{

namespace
{

class SinkTest : public Notified
{
};

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

// Does something whenever it is taken or given back.
class CountedSink : public Sink
{
  public:
    STDMETHODIMP_(ULONG) AddRef() override
    {
        m_whenCounted();
        return Sink::AddRef();
    }
    STDMETHODIMP_(ULONG) Release() override
    {
        m_whenCounted();
        return Sink::Release();
    }

    std::function<void()> m_whenCounted = [] {};
};

TEST_F(SinkTest, ASinkMayAdviseAndEndAdvisesWheneverItIsTakenOrGivenBack)
{
    auto table = Inbox(), other = Inbox();
    auto another = MakeObject<Sink>();
    std::atomic<int> counted{0};
    auto sink = MakeObject<CountedSink>();
    sink->m_whenCounted = [&] {
        ++counted;
        EXPECT_CODE(other->Unadvise(Advise(other, another)), S_OK);
    };
    ULONG connection = 0;
    EXPECT_CODE(table->Advise(fnevTableModified, sink.get(), &connection), S_OK);
    Add("a");
    EXPECT_TRUE(sink->Await(1));
    EXPECT_CODE(table->Unadvise(connection), S_OK);
    EXPECT_CODE(table->Advise(fnevTableModified, sink.get(), &connection), S_OK);
    table.reset(); // ends its advise
    EXPECT_GE(counted, 4);
    sink->m_whenCounted = [] {};
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
    ComPtr<IMAPITable> *held = &table;
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

TEST_F(SinkTest, ASinkThatTakesItsTimeDelaysTheOthersButLosesThemNothing)
{
    auto table = Inbox();
    Signal entered, leave;
    auto slow = MakeObject<Sink>([&](Sink &) {
        entered.Set();
        EXPECT_TRUE(leave.Await());
    });
    auto next = MakeObject<Sink>();
    const ULONG connection = Advise(table, slow);
    Advise(table, next);
    Add("a");
    ASSERT_TRUE(entered.Await());
    Add("b");
    // The writer does not wait for it.
    EXPECT_EQ(next->Events(), 0u);
    leave.Set();
    EXPECT_CODE(table->Unadvise(connection), S_OK);
    EXPECT_EQ(Told(next, 2), "added a at the top, added b after a");
}

TEST_F(SinkTest, AdvisesThatComeAndGoInFourThreadsWhileMailArrivesAreNeverCalledAfterwards)
{
    constexpr int kThreads = 4, kRounds = 250;
    std::atomic<int> calls{0};
    std::atomic<bool> done{false};
    std::thread writer([&] {
        storage::Objects objects(m_mailbox.GetSite());
        const auto inbox = storage::Directory(m_mailbox.GetSite()).GetMailbox(m_mailbox.Alice().mailbox).inbox;
        std::vector<storage::ObjectId> one{objects.CreateMessage(inbox, {})};
        for (bool read = true; !done; read = !read)
            objects.SetRead(one, read);
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
