// What the codec modules beside the library are called with, and that their result is the result. The program is
// built twice: once the GSM module cleans the stack itself and the Windows Media one leaves that to its caller, once
// the other way round; on x86 those are the two calling conventions that a module may have.
#include "messages/VoiceStreams.h"
#include <thread>

using namespace messages_test;

namespace
{

class CodecTest : public VoiceStreamTest
{
};

TEST_F(CodecTest, WindowsMediaGoesToItsModuleFromTheStartWithoutFormat)
{
    for (const BYTE flagged : {BYTE{1}, BYTE{0x80}}) {
        EXPECT_EQ(Save("any bytes", flagged), HRESULT(0x00040001));
        EXPECT_EQ(FileContent(m_file), "KRN_WMA\nNULL\nany bytes");
    }
}

TEST_F(CodecTest, AWaveStreamThatIsFlaggedAsWindowsMediaIsNotLookedInto)
{
    const std::string wave = Wave(1, "pcm");
    EXPECT_EQ(Save(wave, 1), HRESULT(0x00040001));
    EXPECT_EQ(FileContent(m_file), "KRN_WMA\nNULL\n" + wave);
}

TEST_F(CodecTest, GsmGoesToItsModuleWithTheFormatThatItExpects)
{
    EXPECT_EQ(Save(Wave(0x31, "gsm")), HRESULT(0x00040001));
    // The reader of the format tag leaves the stream behind the tag.
    EXPECT_EQ(FileContent(m_file),
              "KRNBRANE\nTXC[RATE=13000]:WAV GSM, 8 kHz, mono\n" + Wave(0x31, "gsm").substr(12 + 8 + 2));
}

TEST_F(CodecTest, PcmNeedsNoModule)
{
    EXPECT_EQ(Save(Wave(1, "pcm")), S_OK);
    EXPECT_EQ(FileContent(m_file), Wave(1, "pcm"));
}

TEST_F(CodecTest, AModulesFailureIsTheResult)
{
    EXPECT_EQ(Save("bad!", 1), HRESULT(0x80040301));
    EXPECT_EQ(Save(Wave(0x31, "bad!")), HRESULT(0x80040301));
}

TEST_F(CodecTest, TheStackIsAsItWasAfterManyCalls)
{
    volatile ULONG_PTR guard[4] = {1, 2, 3, 4};
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(Save("x", 1), HRESULT(0x00040001));
        ASSERT_EQ(Save(Wave(0x31, "x")), HRESULT(0x00040001));
    }
    for (ULONG_PTR i = 0; i < 4; ++i)
        EXPECT_EQ(guard[i], i + 1);
}

TEST_F(CodecTest, ThreadsMayLoadAndUseTheModulesAtTheSameTime)
{
    std::vector<std::thread> threads;
    std::atomic<int> good{0};
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            const std::string own = m_file + std::to_string(i);
            for (BYTE wma : {BYTE{1}, BYTE{0}}) {
                ComPtr<IStream> stream(NewStream("voice", std::make_shared<StreamData>(Wave(0x31, "x"))));
                if (SaveStreamToFile(stream.get(), wma, own.c_str()) == HRESULT(0x00040001))
                    ++good;
            }
            std::remove(own.c_str());
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(good, 16);
}

TEST_F(CodecTest, AnAttachmentOfWindowsMediaIsSavedThroughItsModule)
{
    MessageData &message = Deliver("m");
    m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_METHOD, 1), Text(PR_ATTACH_MIME_TAG_A, "audio/x-ms-wma")},
                               "wma");
    const std::string id = IdOf("m");
    EXPECT_EQ(OrlDownloadAttachmentA(m_connection, m_mailbox, SizeOf(id), AsBytes(id), 0, m_file.c_str()),
              HRESULT(0x00040001));
    EXPECT_EQ(FileContent(m_file), "KRN_WMA\nNULL\nwma");
}

} // namespace
