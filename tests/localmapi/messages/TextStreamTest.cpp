// Proves streams on text: in either width, with and without a terminator, long and in every script.
#include "StreamFixture.h"

#include <algorithm>

namespace localmapi::test
{

namespace
{

class TextStreamTest : public StreamTest
{
};

TEST_F(TextStreamTest, ATextStreamHasTheWidthOfItsTagAndEndsWithATerminator)
{
    ASSERT_CODE(SetProps(m_message.get(), {Narrow(PR_BODY_A, "hello")}), S_OK);
    EXPECT_EQ(ReadProperty(m_message.get(), PR_BODY_A), std::string("hello\0", 6));
    EXPECT_EQ(ReadProperty(m_message.get(), PR_BODY_W), std::string("h\0e\0l\0l\0o\0\0\0", 12));
    EXPECT_EQ(ReadProperty(m_message.get(), PROP_TAG(PT_BINARY, PROP_ID(PR_BODY))), "(MAPI_E_NOT_FOUND)");
}

TEST_F(TextStreamTest, TextIsWrittenInEitherWidthWithOrWithoutATerminator)
{
    const struct {
        ULONG tag;
        std::string bytes;
    } writes[] = {{PR_BODY_A, "hello"},
                  {PR_BODY_A, std::string("hello\0", 6)},
                  {PR_BODY_W, std::string("h\0e\0l\0l\0o\0", 10)},
                  {PR_BODY_W, std::string("h\0e\0l\0l\0o\0\0\0", 12)}};
    for (const auto &write : writes) {
        auto stream = NewStream(write.tag);
        ASSERT_CODE(WriteStream(stream.get(), write.bytes), S_OK);
        stream.reset();
        EXPECT_EQ(TextOf(m_message.get(), PR_BODY_A), "hello");
        EXPECT_EQ(TextOf(m_message.get(), PR_BODY_W), "hello");
    }
    ComPtr<IStream> stream;
    ASSERT_CODE(OpenStream(m_message.get(), PR_BODY_A, MAPI_MODIFY | STREAM_APPEND, stream), S_OK);
    ASSERT_CODE(WriteStream(stream.get(), " you"), S_OK);
    stream.reset();
    EXPECT_EQ(TextOf(m_message.get(), PR_BODY_A), "hello you");
}

TEST_F(TextStreamTest, LongTextOfSeveralBytesACharacterIsConvertedWholeThoughInPieces)
{
    // Characters of one, two, three and four bytes, so that pieces end within every kind of them.
    std::basic_string<WCHAR> text;
    for (int i = 0; i < 60000; ++i)
        text += OLESTR("a\u00FC\u65E5\xD83D\xDE00");
    auto stream = NewStream(PR_BODY_W);
    const auto *bytes = reinterpret_cast<const char *>(text.data());
    std::size_t at = 0;
    const std::size_t size = text.size() * sizeof(WCHAR);
    // In pieces that end within characters.
    while (at < size) {
        const std::size_t piece = std::min<std::size_t>(size - at, 7777);
        ASSERT_CODE(WriteStream(stream.get(), std::string(bytes + at, piece)), S_OK);
        at += piece;
    }
    stream.reset();
    const EntryIdBytes id = m_mailbox.Save(m_message);
    auto opened = m_mailbox.Open(id);
    EXPECT_CODE(GetProps(opened, {PR_BODY_W}).Error(PROP_ID(PR_BODY)), MAPI_E_NOT_ENOUGH_MEMORY);
    const std::string read = ReadProperty(opened.get(), PR_BODY_W);
    ASSERT_EQ(read.size(), size + sizeof(WCHAR));
    EXPECT_TRUE(read.compare(0, size, bytes, size) == 0);
}

TEST_F(TextStreamTest, LongNarrowTextComesBackAsItWasWritten)
{
    std::string text;
    for (int i = 0; i < 20000; ++i)
        text += "line " + std::to_string(i) + "\r\n";
    auto stream = NewStream(PR_BODY_A);
    ASSERT_CODE(WriteStream(stream.get(), text), S_OK);
    stream.reset();
    const EntryIdBytes id = m_mailbox.Save(m_message);
    const std::string read = ReadProperty(m_mailbox.Open(id).get(), PR_BODY_A);
    ASSERT_EQ(read.size(), text.size() + 1);
    EXPECT_TRUE(read.compare(0, text.size(), text) == 0);
    EXPECT_EQ(read.back(), '\0');
}

TEST_F(TextStreamTest, LongNarrowTextWithoutAnyPlaceToCutAtIsConvertedWhole)
{
    std::string utf8 = "a";
    for (int i = 0; i < 100000; ++i)
        utf8 += "\xC3\xBC";
    const std::string text = AnsiFromUtf8(utf8);
    auto stream = NewStream(PR_BODY_A);
    ASSERT_CODE(WriteStream(stream.get(), text), S_OK);
    stream.reset();
    const std::string read = ReadProperty(m_message.get(), PR_BODY_A);
    ASSERT_EQ(read.size(), text.size() + 1);
    EXPECT_TRUE(read.compare(0, text.size(), text) == 0);
    EXPECT_EQ(ReadProperty(m_message.get(), PR_BODY_W).size(), (100001 + 1) * sizeof(WCHAR));
}

} // namespace

} // namespace localmapi::test
