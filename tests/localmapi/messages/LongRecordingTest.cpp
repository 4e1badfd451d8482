// Proves that a long recording is attached from a file, sent, copied and read without lying in memory whole.
#include "../storage/MemoryGauge.h"
#include "Letters.h"
#include "localmapi/provider/stream/FileStream.h"

#include <filesystem>
#include <fstream>
#include <random>

namespace localmapi::test
{

namespace
{

constexpr std::uint64_t kLength = 128 * 1024 * 1024;
// Caches of the file and pieces on their way.
constexpr std::uint64_t kRoom = 56 * 1024 * 1024;

class LongRecordingTest : public WithLetters
{
  protected:
    LongRecordingTest()
    {
        std::ofstream(m_path, std::ios::binary) << "begin";
        std::filesystem::resize_file(m_path, kLength);
        std::fstream file(m_path, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(kLength - 3));
        file << "end";
    }
    ~LongRecordingTest() override
    {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
    void AttachFile(IMessage *message)
    {
        const std::u8string text = m_path.u8string();
        std::string name = AnsiFromUtf8(std::string(text.begin(), text.end()));
        ComPtr<IStream> file, data;
        ASSERT_CODE(OpenFileStream(0, name.data(), nullptr, file.put()), S_OK);
        ComPtr<IAttach> attachment;
        ULONG number = 0;
        ASSERT_CODE(message->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
        ASSERT_CODE(OpenStream(attachment.get(), PR_ATTACH_DATA_BIN, MAPI_CREATE | MAPI_MODIFY, data), S_OK);
        ULARGE_INTEGER all{};
        all.QuadPart = SizeOfStream(file.get());
        ULARGE_INTEGER read{}, written{};
        ASSERT_CODE(file->CopyTo(data.get(), all, &read, &written), S_OK);
        EXPECT_EQ(read.QuadPart, kLength);
        EXPECT_EQ(written.QuadPart, kLength);
        data.reset();
        ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    }
    void ExpectRecording(IMessage *message)
    {
        ComPtr<IStream> data;
        ASSERT_CODE(OpenStream(AttachmentOf(message, 0).get(), PR_ATTACH_DATA_BIN, 0, data), S_OK);
        EXPECT_EQ(SizeOfStream(data.get()), kLength);
        char bytes[5] = "";
        ULONG read = 0;
        EXPECT_CODE(data->Read(bytes, 5, &read), S_OK);
        EXPECT_EQ(std::string(bytes, read), "begin");
        EXPECT_CODE(SeekTo(data.get(), -3, STREAM_SEEK_END), S_OK);
        EXPECT_CODE(data->Read(bytes, 5, &read), S_OK);
        EXPECT_EQ(std::string(bytes, read), "end");
    }

    const std::filesystem::path m_path =
        std::filesystem::temp_directory_path() / ("localmapi-long-" + std::to_string(std::random_device()()));
};

TEST_F(LongRecordingTest, ItIsSentAndAnsweredInPieces)
{
    const std::uint64_t before = storage::MemoryInUse();
    storage::ForgetPeak();
    const EntryIdBytes sent = BytesOf(m_mailbox.GetStore(), PR_IPM_SENTMAIL_ENTRYID);
    {
        auto letter = Letter({Binary(PR_SENTMAIL_ENTRYID, sent.data(), static_cast<ULONG>(sent.size()))});
        AttachFile(letter.get());
        ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    }
    EXPECT_LT(storage::MemoryPeak(), before + kRoom) << "while it was sent";
    ExpectRecording(MessageIn(m_bobsInbox.get()).get());
    ExpectRecording(MessageIn(m_sent.get()).get());

    storage::ForgetPeak();
    auto copy = m_mailbox.NewMessage();
    ASSERT_CODE(MessageIn(m_sent.get())->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMessage, copy.get(), 0, nullptr),
                S_OK);
    ASSERT_CODE(copy->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_LT(storage::MemoryPeak(), before + kRoom) << "while it was copied";
    ExpectRecording(copy.get());
}

} // namespace

} // namespace localmapi::test
