// Proves that submission and copying fail cleanly where memory runs out, that they work from several threads at once,
// and that of two who submit one message one does.
#include "Letters.h"

#include <functional>
#include <thread>

namespace localmapi::test
{

namespace
{

class SubmitFailureTest : public WithLetters
{
  protected:
    // Makes the first, second, ... allocation of a call fail until the call does not need so many.
    static int Sweep(const std::function<HRESULT()> &call)
    {
        const LONG before = LiveBlocks();
        for (LONG allocation = 0;; ++allocation) {
            EXPECT_LT(allocation, 1000);
            FailAllocation(allocation);
            const HRESULT hr = call();
            FailAllocation(-1);
            if (hr == S_OK || allocation >= 1000)
                return static_cast<int>(allocation);
            EXPECT_CODE(hr, MAPI_E_NOT_ENOUGH_MEMORY) << "allocation " << allocation;
            EXPECT_EQ(LiveBlocks(), before) << "allocation " << allocation;
        }
    }
};

TEST_F(SubmitFailureTest, WhereMemoryRunsOutACopyFailsAndWorksTheNextTime)
{
    auto source = LetterTo({Bob(), ByName("vm")}, {Narrow(PR_SUBJECT_A, "source")});
    Attach(source.get(), "a.txt", std::string(50000, 'a'));
    auto copy = m_mailbox.NewMessage();
    const int failures =
        Sweep([&] { return source->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMessage, copy.get(), 0, nullptr); });
    EXPECT_GT(failures, 3);
    EXPECT_EQ(TextOf(copy.get(), PR_SUBJECT_A), "source");
    EXPECT_EQ(RecipientsOf(copy.get()), "(none)/1, vm/1");
    EXPECT_EQ(AttachmentsOf(copy.get()), "a.txt=" + std::string(50000, 'a'));
}

TEST_F(SubmitFailureTest, WhereMemoryRunsOutNamesFailCleanly)
{
    constexpr GUID kSet = {0x6ED8DA90, 0x450B, 0x101B, {0x98, 0xDA, 0x00, 0xAA, 0x00, 0x3F, 0x13, 0x05}};
    GUID set = kSet;
    MAPINAMEID number{}, text{};
    number.lpguid = text.lpguid = &set;
    text.ulKind = MNID_STRING;
    text.Kind.lpwstrName = const_cast<LPWSTR>(OLESTR("text"));
    MAPINAMEID *names[] = {&number, &text};
    Block<SPropTagArray> tags;
    EXPECT_GT(Sweep([&] { return m_outbox->GetIDsFromNames(2, names, MAPI_CREATE, tags.put()); }), 0);
    Block<MAPINAMEID *> given;
    ULONG count = 0;
    SPropTagArray *these = tags.get();
    EXPECT_GT(Sweep([&] { return m_outbox->GetNamesFromIDs(&these, nullptr, 0, &count, given.put()); }), 2);
    EXPECT_EQ(count, 2u);
    given.reset();
    Block<SPropTagArray> all;
    EXPECT_GT(Sweep([&] {
                  all.reset();
                  return m_outbox->GetNamesFromIDs(all.put(), nullptr, 0, &count, given.put());
              }),
              2);
}

// Submits through every object at once, each on a thread of its own: one is submitted, the others are refused with
// `refusal`.
void ExpectOneOfAllSubmits(const std::vector<IMessage *> &objects, ULONG flags, HRESULT refusal)
{
    const int count = static_cast<int>(objects.size());
    std::atomic<int> ready{0}, done{0}, refused{0};
    std::vector<std::thread> threads;
    for (IMessage *message : objects)
        threads.emplace_back([&, message] {
            for (++ready; ready < count;)
                std::this_thread::yield();
            const HRESULT hr = message->SubmitMessage(flags);
            done += hr == S_OK;
            refused += hr == refusal;
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(done, 1);
    EXPECT_EQ(refused, count - 1);
}

TEST_F(SubmitFailureTest, OfSeveralThreadsOneSubmitsAMessage)
{
    for (int round = 0; round < 10; ++round) {
        auto letter = Letter({Bool(PR_DELETE_AFTER_SUBMIT, true)});
        ExpectOneOfAllSubmits({letter.get(), letter.get(), letter.get(), letter.get()}, 0, MAPI_E_SUBMITTED);
    }
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 10u);
}

TEST_F(SubmitFailureTest, TwoObjectsOfOneMessageSendItOnce)
{
    for (int round = 0; round < 10; ++round) {
        {
            auto letter = Letter({Bool(PR_DELETE_AFTER_SUBMIT, true)});
            ASSERT_CODE(letter->SaveChanges(0), S_OK);
        }
        const ComPtr<IMessage> both[] = {MessageIn(m_outbox.get()), MessageIn(m_outbox.get())};
        ExpectOneOfAllSubmits({both[0].get(), both[1].get()}, 0, MAPI_E_OBJECT_DELETED);
        EXPECT_EQ(CountIn(m_bobsInbox.get()), static_cast<ULONG>(round + 1));
    }
}

// The message stays where it lies, so that each object finds it there after the other one has sent it.
TEST_F(SubmitFailureTest, OfSeveralObjectsThatAreForcedOneSendsTheMessage)
{
    for (int round = 0; round < 20; ++round) {
        auto letter = Letter();
        ASSERT_CODE(letter->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
        const EntryIdBytes id = BytesOf(letter.get(), PR_ENTRYID);
        const ComPtr<IMessage> more[] = {m_mailbox.Open(id), m_mailbox.Open(id), m_mailbox.Open(id)};
        ExpectOneOfAllSubmits({letter.get(), more[0].get(), more[1].get(), more[2].get()}, FORCE_SUBMIT,
                              MAPI_E_SUBMITTED);
        EXPECT_EQ(CountIn(m_bobsInbox.get()), static_cast<ULONG>(round + 1));
    }
}

TEST_F(SubmitFailureTest, MessagesAreCopiedIntoEachOtherAtOnce)
{
    auto first = LetterTo({Bob()}, {Narrow(PR_SUBJECT_A, "one")});
    auto second = LetterTo({Bob()}, {Narrow(PR_SUBJECT_A, "one")});
    std::vector<std::thread> threads;
    std::atomic<int> failed{0};
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&, i] {
            IMessage *from = i % 2 ? first.get() : second.get(), *to = i % 2 ? second.get() : first.get();
            for (int round = 0; round < 50; ++round)
                failed += from->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMessage, to, 0, nullptr) != S_OK;
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(TextOf(first.get(), PR_SUBJECT_A), "one");
    EXPECT_EQ(RecipientsOf(second.get()), "(none)/1");
}

TEST_F(SubmitFailureTest, ManySendersAtOnceLoseNothing)
{
    std::vector<std::thread> threads;
    std::atomic<int> failed{0};
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 10; ++round) {
                ComPtr<IMessage> message;
                failed += m_outbox->CreateMessage(nullptr, 0, message.put()) != S_OK;
                SPropValue value = Bool(PR_DELETE_AFTER_SUBMIT, true);
                failed += message->SetProps(1, &value, nullptr) != S_OK;
                failed += Address(message.get(), {Bob()}) != S_OK;
                failed += message->SubmitMessage(0) != S_OK;
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(CountIn(m_bobsInbox.get()), 40u);
}

} // namespace

} // namespace localmapi::test
