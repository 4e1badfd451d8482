// Proves that objects can be shared by threads: one table, one message and one folder, used by several at once.
#include "Mailbox.h"

#include <atomic>
#include <functional>
#include <thread>

namespace localmapi::test
{

namespace
{

constexpr int kThreads = 4;
constexpr int kRounds = 25;

void InThreads(const std::function<void(int)> &work)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number)
        threads.emplace_back(work, number);
    for (std::thread &thread : threads)
        thread.join();
}

class ThreadTest : public testing::Test
{
  protected:
    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
};

TEST_F(ThreadTest, OneTableServesSeveralThreadsWhileTheFolderChanges)
{
    m_mailbox.Add({Narrow(PR_SUBJECT_A, "first")});
    auto table = m_mailbox.Contents();
    ASSERT_CODE(table->SetColumns(Tags{PR_SUBJECT_A, PR_ENTRYID}, 0), S_OK);
    std::atomic<int> read{0};
    InThreads([&](int number) {
        for (int round = 0; round < kRounds; ++round) {
            if (number == 0) {
                ComPtr<IMessage> message;
                EXPECT_CODE(m_mailbox.Inbox()->CreateMessage(nullptr, 0, message.put()), S_OK);
                EXPECT_CODE(message->SaveChanges(0), S_OK);
                continue;
            }
            Rows rows;
            EXPECT_CODE(table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr), S_OK);
            EXPECT_CODE(table->QueryRows(100, 0, rows.put()), S_OK);
            read += static_cast<int>(rows.size());
            BOOKMARK bookmark = 0;
            EXPECT_CODE(table->CreateBookmark(&bookmark), S_OK);
            EXPECT_CODE(table->FreeBookmark(bookmark), S_OK);
        }
    });
    EXPECT_GT(read, 0);
    ULONG count = 0;
    EXPECT_CODE(table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 1u + kRounds);
}

TEST_F(ThreadTest, OneMessageAndItsAttachmentsServeSeveralThreads)
{
    auto message = m_mailbox.NewMessage();
    std::atomic<ULONG> made{0};
    InThreads([&](int number) {
        for (int round = 0; round < kRounds; ++round) {
            EXPECT_CODE(SetProps(message.get(), {Long(PROP_TAG(PT_LONG, 0x6A20 + number), round)}), S_OK);
            EXPECT_EQ(LongOf(message.get(), PROP_TAG(PT_LONG, 0x6A20 + number)), round);
            if (round % 5 != 0)
                continue;
            ULONG attachmentNumber = 0;
            ComPtr<IAttach> attachment;
            EXPECT_CODE(message->CreateAttach(nullptr, 0, &attachmentNumber, attachment.put()), S_OK);
            ComPtr<IStream> stream;
            EXPECT_CODE(OpenStream(attachment.get(), PR_ATTACH_DATA_BIN, MAPI_CREATE | MAPI_MODIFY, stream), S_OK);
            EXPECT_CODE(WriteStream(stream.get(), "data"), S_OK);
            stream.reset();
            EXPECT_CODE(attachment->SaveChanges(0), S_OK);
            ++made;
        }
    });
    const EntryIdBytes id = m_mailbox.Save(message);
    ComPtr<IMAPITable> table;
    ASSERT_CODE(m_mailbox.Open(id)->GetAttachmentTable(0, table.put()), S_OK);
    ULONG count = 0;
    EXPECT_CODE(table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, made);
}

TEST_F(ThreadTest, StatusBitsThatSeveralSetAtOnceAreAllKept)
{
    const EntryIdBytes id = m_mailbox.Add({Narrow(PR_SUBJECT_A, "marked")});
    std::atomic<int> lost{0};
    InThreads([&](int number) {
        const ULONG own = 1u << number;
        EntryIdBytes entry = id;
        for (int round = 0; round < 10 * kRounds; ++round) {
            ULONG before = 0;
            EXPECT_CODE(m_mailbox.Folder(0)->SetMessageStatus(static_cast<ULONG>(entry.size()),
                                                              reinterpret_cast<ENTRYID *>(entry.data()),
                                                              round % 2 ? 0 : own, own, &before),
                        S_OK);
            lost += (before & own) != (round % 2 ? own : 0);
        }
    });
    EXPECT_EQ(lost, 0) << "what a thread set was undone by another, who left it alone";
}

TEST_F(ThreadTest, WhoMarksAMessageReadIsStillToldWhatOthersChanged)
{
    const EntryIdBytes id = m_mailbox.Add({Long(PROP_TAG(PT_LONG, 0x6A20), 0)});
    std::atomic<int> saved{0};
    InThreads([&](int number) {
        for (int round = 0; round < 10 * kRounds; ++round) {
            auto message = m_mailbox.Open(id);
            const LONG count = LongOf(message.get(), PROP_TAG(PT_LONG, 0x6A20));
            if (number % 2) {
                EXPECT_CODE(message->SetReadFlag(round % 2 ? CLEAR_READ_FLAG : 0), S_OK);
            }
            EXPECT_CODE(SetProps(message.get(), {Long(PROP_TAG(PT_LONG, 0x6A20), count + 1)}), S_OK);
            saved += message->SaveChanges(0) == S_OK;
        }
    });
    EXPECT_GT(saved, 0);
    EXPECT_EQ(LongOf(m_mailbox.Open(id).get(), PROP_TAG(PT_LONG, 0x6A20)), saved) << "a save undid another";
}

} // namespace

} // namespace localmapi::test
