// Saving a voice stream by what it holds: how a stream is recognised, with the reader's quirks, and how an
// uncompressed one is copied. No codec module that works lies beside this program.
#include "messages/VoiceStreams.h"
#include "support/BareStream.h"
#include "support/ControlledNew.h"

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

class Recognition : public VoiceStreamTest
{
  protected:
    WORD Tag(const std::string &content) const
    {
        ComPtr<IStream> stream(NewStream("voice", std::make_shared<StreamData>(content)));
        return ReadFormatTag(stream.get());
    }
};

TEST_F(Recognition, TheFormatTagIsReadFromTheFormatChunk)
{
    EXPECT_EQ(Tag(Wave(0x0001, "x")), 0x0001);
    EXPECT_EQ(Tag(Wave(0x0031, "x")), 0x0031);
    EXPECT_EQ(Tag(Wave(0xFFFE, "x")), 0xFFFE);
}

TEST_F(Recognition, ChunksBeforeTheFormatAreSkipped)
{
    for (size_t size : {0u, 2u, 99u + 1u, 101u + 1u, 250u, 4096u})
        EXPECT_EQ(Tag(Riff(Chunk("LIST", std::string(size, 'x')) + Chunk("fmt ", Format(1)))), 1) << size;
}

TEST_F(Recognition, SkippingReadsAtMostAHundredBytesAtATime)
{
    Tag(Riff(Chunk("LIST", std::string(250, 'x')) + Chunk("fmt ", Format(1))));
    EXPECT_THAT(m_mapi.recorder.Calls(),
                ElementsAre("Stream(voice).Seek(0, SET)", "Stream(voice).Read(4)", "Stream(voice).Read(4)",
                            "Stream(voice).Read(4)", "Stream(voice).Read(4)", "Stream(voice).Read(4)",
                            "Stream(voice).Read(100)", "Stream(voice).Read(100)", "Stream(voice).Read(50)",
                            "Stream(voice).Read(4)", "Stream(voice).Read(4)", "Stream(voice).Read(2)"));
}

TEST_F(Recognition, AFormatChunkAfterAnOddChunkWithItsPadByteIsNotRecognised)
{
    EXPECT_EQ(Tag(Riff(Chunk("LIST", "odd") + std::string(1, '\0') + Chunk("fmt ", Format(1)))), 0);
}

TEST_F(Recognition, AFormatChunkRightAfterAnOddChunkIsRecognised)
{
    EXPECT_EQ(Tag(Riff(Chunk("LIST", "odd") + Chunk("fmt ", Format(1)))), 1);
}

TEST_F(Recognition, AFormatChunkOfSizeZeroIsNotFound)
{
    EXPECT_EQ(Tag(Riff("fmt " + Number32(0) + Format(1))), 0);
}

TEST_F(Recognition, TheSizesInTheStreamAreNotTrusted)
{
    EXPECT_EQ(Tag("RIFF" + Number32(0xFFFFFFFF) + "WAVE" + Chunk("fmt ", Format(1))), 1);
    EXPECT_EQ(Tag("RIFF" + Number32(0) + "WAVE" + Chunk("fmt ", Format(1))), 1);
    EXPECT_EQ(Tag(Riff("LIST" + Number32(0xFFFFFFFF) + "abc")), 0);
    EXPECT_EQ(Tag(Riff("fmt " + Number32(0xFFFFFFFF) + Format(1))), 1);
}

TEST_F(Recognition, IdentifiersAreComparedByteByByte)
{
    EXPECT_EQ(Tag(Riff(Chunk("FMT ", Format(1)))), 0);
    EXPECT_EQ(Tag("RIFX" + Number32(4) + "WAVE" + Chunk("fmt ", Format(1))), 0);
    EXPECT_EQ(Tag("RIFF" + Number32(4) + "AVI " + Chunk("fmt ", Format(1))), 0);
}

TEST_F(Recognition, EveryTruncationOfAWaveStreamIsHandled)
{
    const std::string whole = Riff(Chunk("LIST", "1234") + Chunk("fmt ", Format(1)));
    const size_t tagEnds = 12 + 12 + 8 + 2;
    for (size_t length = 0; length <= whole.size(); ++length)
        EXPECT_EQ(Tag(whole.substr(0, length)), length >= tagEnds ? 1 : 0) << length;
}

TEST_F(Recognition, EverySingleChangedByteOfAWaveStreamIsHandled)
{
    const std::string whole = Riff(Chunk("LIST", "1234") + Chunk("fmt ", Format(1)));
    for (size_t at = 0; at < whole.size(); ++at)
        for (int change = 1; change < 256; ++change) {
            std::string changed = whole;
            changed[at] = static_cast<char>(changed[at] ^ change);
            const WORD tag = Tag(changed);
            if (at >= 32 && at < 34)
                EXPECT_NE(tag, 1) << at;
            else
                EXPECT_TRUE(tag == 0 || tag == 1) << at << " " << change << " " << tag;
        }
}

TEST_F(Recognition, AReadThatFailsOrIsShortEndsTheSearch)
{
    const std::string whole = Riff(Chunk("LIST", "1234") + Chunk("fmt ", Format(1)));
    for (int nth = 1; nth <= 9; ++nth) {
        m_mapi.script.Clear();
        m_mapi.script.Tell("Stream.Read", Fails(STG_E_READFAULT).Nth(nth));
        EXPECT_EQ(Tag(whole), 0) << nth;
        m_mapi.script.Clear();
        m_mapi.script.Tell("Stream.Read", GivesNull().Nth(nth));
        EXPECT_EQ(Tag(whole), 0) << nth;
    }
}

TEST_F(VoiceStreamTest, APcmStreamIsWrittenWholeWithItsHeader)
{
    std::string data;
    for (int i = 0; i < 10000; ++i)
        data += static_cast<char>(i * 7);
    const std::string wave = Wave(1, data);
    EXPECT_EQ(Save(wave), S_OK);
    EXPECT_EQ(FileContent(m_file), wave);
    EXPECT_THAT(Lines(), Contains(testing::AllOf(testing::StartsWith("> SaveStreamToFile(pStream: "),
                                                 HasSubstr(", bWMA: false, szFilename: \""))));
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(VoiceStreamTest, LengthsAroundABlockAreCopied)
{
    const size_t header = Wave(1, "").size();
    for (size_t length : {4095u, 4096u, 4097u, 8192u}) {
        const std::string wave = Wave(1, std::string(length - header, 'v'));
        EXPECT_EQ(Save(wave), S_OK);
        EXPECT_EQ(FileContent(m_file), wave) << length;
    }
}

TEST_F(VoiceStreamTest, APcmStreamIsReadInBlocksOf4096FromItsStart)
{
    Save(Wave(1, std::string(5000, 'v')));
    EXPECT_THAT(m_mapi.recorder.Calls(),
                ElementsAre("Stream(voice).Seek(0, SET)", "Stream(voice).Seek(0, SET)", "Stream(voice).Read(4)",
                            "Stream(voice).Read(4)", "Stream(voice).Read(4)", "Stream(voice).Read(4)",
                            "Stream(voice).Read(4)", "Stream(voice).Read(2)", "Stream(voice).Seek(0, SET)",
                            "Stream(voice).Read(4096)", "Stream(voice).Read(4096)", "Stream(voice).Read(4096)"));
}

TEST_F(VoiceStreamTest, AnExistingFileIsOverwritten)
{
    std::ofstream(m_file) << std::string(100000, 'x');
    const std::string wave = Wave(1, "short");
    EXPECT_EQ(Save(wave), S_OK);
    EXPECT_EQ(FileContent(m_file), wave);
}

TEST_F(VoiceStreamTest, AStreamThatIsNoWaveGivesNoFile)
{
    for (const std::string &content : {std::string(), std::string("RIFF"), std::string("ID3 is no WAVE stream at all"),
                                       Wave(2, "ADPCM"), Wave(0, "none"), Riff(Chunk("data", "no format"))}) {
        EXPECT_EQ(Save(content), E_FAIL);
        EXPECT_FALSE(FileIsThere());
    }
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(VoiceStreamTest, AGsmStreamWithoutItsCodecGivesNoFile)
{
    EXPECT_EQ(Save(Wave(0x31, "gsm")), HRESULT(0x80004005));
    EXPECT_FALSE(FileIsThere());
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(VoiceStreamTest, ACodecModuleWithoutItsEntryPointGivesNoFile)
{
    ASSERT_TRUE(std::ifstream(CodecPath(Codec::WindowsMedia)).good()) << CodecPath(Codec::WindowsMedia);
    EXPECT_EQ(Save("anything", 1), E_FAIL);
    EXPECT_EQ(Save("anything", 1), E_FAIL);
    EXPECT_FALSE(FileIsThere());
    EXPECT_THAT(Lines(), Contains(HasSubstr(", bWMA: true, szFilename: \"")));
}

TEST_F(VoiceStreamTest, AStreamThatFailsHalfWayLeavesWhatCameAndSucceeds)
{
    const std::string wave = Wave(1, std::string(10000, 'v'));
    m_mapi.script.Tell("Stream(voice).Read(4096)", Fails(STG_E_READFAULT).Nth(2));
    EXPECT_EQ(Save(wave), S_OK);
    EXPECT_EQ(FileContent(m_file), wave.substr(0, 4096));
    EXPECT_THAT(ErrorLines(), ElementsAre(HasSubstr("SaveStreamToFile[n]: Error 0x8003001e [STG_E_READFAULT] from Read "
                                                    "trying to read the voice stream")));
}

TEST_F(VoiceStreamTest, AStreamThatCannotBeRewoundIsReported)
{
    m_mapi.script.Tell("Stream.Seek", Fails(STG_E_SEEKERROR).Nth(1));
    EXPECT_EQ(Save(Wave(1, "v")), STG_E_SEEKERROR);
    m_mapi.script.Clear();
    m_mapi.script.Tell("Stream.Seek", Fails(STG_E_SEEKERROR).Nth(3));
    EXPECT_EQ(Save(Wave(1, "v")), STG_E_SEEKERROR);
    EXPECT_EQ(ErrorLines().size(), 2u);
    EXPECT_FALSE(FileIsThere());
}

TEST_F(VoiceStreamTest, AFileThatCannotBeCreatedFailsAndIsReported)
{
    const std::string nowhere = m_file + "_no_folder/voice.wav";
    ComPtr<IStream> stream(NewStream("voice", std::make_shared<StreamData>(Wave(1, "v"))));
    EXPECT_EQ(SaveStreamToFile(stream.get(), 0, nowhere.c_str()), E_FAIL);
    ASSERT_EQ(ErrorLines().size(), 1u);
    EXPECT_THAT(ErrorLines()[0], HasSubstr("from fopen_s trying to create the file \"" + nowhere + "\"."));
}

TEST_F(VoiceStreamTest, AFullDiskIsReported)
{
    const char full[] = "/dev/full";
    if (!std::ifstream(full).good())
        GTEST_SKIP() << "no device that is always full on this system";
    // Less than a buffer is noticed when the file is closed, more than one when it is written.
    for (size_t length : {10u, 100000u}) {
        ForgetTrace();
        ComPtr<IStream> stream(NewStream("voice", std::make_shared<StreamData>(Wave(1, std::string(length, 'v')))));
        EXPECT_EQ(SaveStreamToFile(stream.get(), 0, full), STG_E_MEDIUMFULL);
        EXPECT_THAT(ErrorLines(), ElementsAre("SaveStreamToFile[n]: Error 0x80030070 [STG_E_MEDIUMFULL] from fwrite "
                                              "trying to write the voice stream to the file \"/dev/full\"."));
    }
}

// A recording that nobody holds in memory.
class LongRecording final : public BareStream
{
  public:
    LongRecording() : m_header(Wave(1, "")) {}
    static constexpr ULONGLONG kLength = 100 * 1024 * 1024;
    char At(ULONGLONG position) const
    {
        return position < m_header.size() ? m_header[static_cast<size_t>(position)]
                                          : static_cast<char>(position * 2654435761u >> 13);
    }
    ULONG most = 0;

    STDMETHODIMP Read(void *pv, ULONG cb, ULONG *pcbRead) override
    {
        most = std::max(most, cb);
        const ULONG count = static_cast<ULONG>(std::min<ULONGLONG>(cb, kLength - m_position));
        for (ULONG i = 0; i < count; ++i)
            static_cast<char *>(pv)[i] = At(m_position + i);
        m_position += count;
        *pcbRead = count;
        return S_OK;
    }
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD, ULARGE_INTEGER *) override
    {
        m_position = static_cast<ULONGLONG>(move.QuadPart);
        return S_OK;
    }

  private:
    const std::string m_header;
    ULONGLONG m_position = 0;
};

TEST_F(VoiceStreamTest, AHundredMegabytesAreCopiedWithoutGrowthOfMemory)
{
    LongRecording recording;
    const size_t before = controlled_new::Total();
    EXPECT_EQ(SaveStreamToFile(&recording, 0, m_file.c_str()), S_OK);
    EXPECT_LT(controlled_new::Total() - before, 512u * 1024);
    EXPECT_EQ(recording.most, 4096u);
    EXPECT_EQ(std::filesystem::file_size(m_file), LongRecording::kLength);
    std::ifstream saved(m_file, std::ios::binary);
    std::vector<char> block(1 << 20);
    std::vector<char> expected(block.size());
    for (ULONGLONG at = 0; at < LongRecording::kLength; at += block.size()) {
        ASSERT_TRUE(saved.read(block.data(), static_cast<std::streamsize>(block.size())));
        for (size_t i = 0; i < expected.size(); ++i)
            expected[i] = recording.At(at + i);
        ASSERT_TRUE(block == expected) << "in the block at " << at;
    }
}

TEST_F(VoiceStreamTest, TheCodecsLieBesideTheLibrarysOwnFile)
{
    char own[260] = "";
    ASSERT_NE(GetModuleFileNameA(nullptr, own, sizeof own), 0u);
    const auto folder = std::filesystem::path(own).parent_path();
    EXPECT_EQ(std::filesystem::path(CodecPath(Codec::Gsm)), folder / "KRNBRANE.vcl");
    EXPECT_EQ(std::filesystem::path(CodecPath(Codec::WindowsMedia)), folder / "KRN_WMA.vcl");
    // Built once: another module, in another folder, changes nothing.
    const auto elsewhere = folder.parent_path() / "codec_test.d" / "KRN_WMA.vcl";
    const HMODULE other = LoadLibraryA(elsewhere.string().c_str());
    ASSERT_NE(other, nullptr) << elsewhere;
    BuildCodecPaths(other);
    EXPECT_EQ(std::filesystem::path(CodecPath(Codec::Gsm)), folder / "KRNBRANE.vcl");
    EXPECT_EQ(std::filesystem::path(CodecPath(Codec::WindowsMedia)), folder / "KRN_WMA.vcl");
}

} // namespace
