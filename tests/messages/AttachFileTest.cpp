// Attaching a file: which property takes its name, whatever the name; how its content gets over; what the trace shows.
#include "messages/SendingTest.h"

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

class AttachFileTest : public SendingTest
{
  protected:
    // Attaches a stream to a message, as the session does, and gives its result.
    HRESULT Attach(const char *szFilename, const char *szDisplayName)
    {
        ComPtr<IMessage> message(NewMessage(m_data));
        ComPtr<IStream> source(NewStream("file", m_content));
        SessionGuard session = CMAPIImpl::Locate(m_connection);
        return session->AttachFile(message.get(), source.get(), szFilename, szDisplayName);
    }
    // The property that took the name, with the name.
    std::string NameFor(const char *szFilename, const char *szDisplayName)
    {
        m_data->attachments.clear();
        EXPECT_EQ(Attach(szFilename, szDisplayName), S_OK);
        if (m_data->attachments.size() != 1 || m_data->attachments[0]->props.size() < 3)
            return "no attachment";
        for (const Value &value : m_data->attachments[0]->props)
            if (value.tag == PR_ATTACH_FILENAME_A || value.tag == PR_ATTACH_LONG_FILENAME_A)
                return (value.tag == PR_ATTACH_FILENAME_A ? "short " : "long ") + value.bytes;
        return "no name";
    }
    std::string NameFor(const std::string &name) { return NameFor("C.D", name.c_str()); }

    std::shared_ptr<MessageData> m_data = std::make_shared<MessageData>("target");
    std::shared_ptr<StreamData> m_content = std::make_shared<StreamData>("content");
};

TEST_F(AttachFileTest, TheContentIsCopiedFromTheBeginning)
{
    EXPECT_EQ(Attach("file.wav", "shown.wav"), S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(),
                ElementsAre("Stream(file).Seek(0, SET)", "Message(target).CreateAttach(NULL, 0)",
                            "Attach(target#0).OpenProperty(PR_ATTACH_DATA_BIN, IStream, 0, 0x3)",
                            "Stream(file).Stat(1)", "Stream(file).CopyTo(Stream(target#0.PR_ATTACH_DATA_BIN), 7)",
                            "Attach(target#0).SetProps([PR_ATTACH_LONG_FILENAME_A=\"shown.wav\", PR_ATTACH_METHOD=1, "
                            "PR_RENDERING_POSITION=-1], NULL)",
                            "Attach(target#0).SaveChanges(0)"));
    EXPECT_EQ(m_data->attachments[0]->streams[PR_ATTACH_DATA_BIN]->bytes, "content");
    EXPECT_EQ(m_data->attachments[0]->saved, 1);
    ExpectNothingOpen();
}

TEST_F(AttachFileTest, AnEmptyFileIsAnEmptyAttachment)
{
    m_content->bytes.clear();
    EXPECT_EQ(Attach("empty.wav", "empty.wav"), S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(), Contains("Stream(file).CopyTo(Stream(target#0.PR_ATTACH_DATA_BIN), 0)"));
    EXPECT_EQ(m_data->attachments[0]->streams[PR_ATTACH_DATA_BIN]->bytes, "");
}

TEST_F(AttachFileTest, MoreThanFourGigabytesAreAskedForWhole)
{
    m_content->claimedSize = 5000000000;
    EXPECT_EQ(Attach("large.wav", "large.wav"), S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(),
                Contains("Stream(file).CopyTo(Stream(target#0.PR_ATTACH_DATA_BIN), 5000000000)"));
}

TEST_F(AttachFileTest, AShortNameHasEightCharactersAndThreeWithTheDot)
{
    const struct {
        const char *name;
        bool isShort;
    } cases[] = {
        {"message.wav", false}, // four with the dot
        {"message.wa", true},
        {"12345678.wa", true},
        {"123456789.wa", false},
        {"12345678", true},
        {"123456789", false},
        {"12345678.", true},
        {"a.wav", false},
        {".wa", true},
        {".wav", false},
        {"a.b.c", true},
        {"a.b.cd", true},
        {"a.b.cde", false},
        {"1234.678.wa", true},
        {"12345.789.wa", false},
        {"", true},
        {" ", true},
        {"..", true},
        {"folder/a.wa", true},
        {"12345678.9", true},
    };
    for (const auto &example : cases)
        EXPECT_EQ(NameFor(example.name), (example.isShort ? "short " : "long ") + std::string(example.name));
}

TEST_F(AttachFileTest, CharactersAreCountedAndNotBytes)
{
    // Eight and nine letters of the ANSI code page: of two bytes each where it is UTF-8, else of one.
    const std::string letter = GetACP() == CP_UTF8 ? "\xC3\xA9" : "\xE9";
    std::string eight;
    for (int i = 0; i < 8; ++i)
        eight += letter;
    EXPECT_EQ(NameFor(eight), "short " + eight);
    EXPECT_EQ(NameFor(eight + letter), "long " + eight + letter);
    EXPECT_EQ(NameFor(eight + "." + letter + letter), "short " + eight + "." + letter + letter);
    EXPECT_EQ(NameFor("a." + letter + letter + letter), "long a." + letter + letter + letter);
}

TEST_F(AttachFileTest, ANameOfAnyLengthIsTakenWhole)
{
    for (const size_t length : {254u, 255u, 256u, 257u, 5000u}) {
        SCOPED_TRACE(length);
        const std::string base(length, 'n');
        EXPECT_EQ(NameFor(base), "long " + base);
        EXPECT_EQ(NameFor(base + ".wa"), "long " + base + ".wa");
        EXPECT_EQ(NameFor("a." + base), "long a." + base);
        // The folder is no part of the name that counts.
        EXPECT_EQ(NameFor(base + "/a.wa"), "short " + base + "/a.wa");
    }
}

TEST_F(AttachFileTest, TheFilesOwnNameStandsInForANameThatIsNull)
{
    EXPECT_EQ(NameFor("message.wav", nullptr), "long message.wav");
    EXPECT_EQ(NameFor("NOTE.TX", nullptr), "short NOTE.TX");
    EXPECT_EQ(NameFor(nullptr, "NOTE.TX"), "short NOTE.TX");
    EXPECT_EQ(NameFor(nullptr, nullptr), "short ");
    EXPECT_EQ(NameFor("message.wav", ""), "short ") << "an empty one is a name";
}

TEST_F(AttachFileTest, TheTraceShowsTheArgumentsAndTheCounter)
{
    EXPECT_EQ(Attach("file.wav", "shown.wav"), S_OK);
    EXPECT_THAT(LinesOf("> CMAPIImpl::AttachFile(pMsg: ", '8'),
                ElementsAre(testing::AllOf(HasSubstr(", pSourceStream: "),
                                           EndsWith(", szFilename: \"file.wav\", szDisplayName: \"shown.wav\")"))));
    EXPECT_THAT(LinesOf("CMAPIImpl::AttachFile[n]", '5'),
                ElementsAre("CMAPIImpl::AttachFile[n]: At entry, counter=[0]",
                            "CMAPIImpl::AttachFile[n]: At Exit, counter=[0]"));
}

} // namespace
