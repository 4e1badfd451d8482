// Saving a message's recordings: what is asked of the attachment, which stream is taken by which method, and what is
// refused. What becomes of a stream is proved with the voice streams.
#include "messages/MessagesTest.h"
#include "messages/reading/AttachmentStorage.h"
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

// The shortest PCM recording that is recognised, and something behind it.
const std::string kWave =
    std::string("RIFF\x26\0\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0\x40\x1F\0\0\x40\x1F\0\0\x01\0\x08\0", 36) + "data\x02" +
    std::string("\0\0\0", 3) + "ab";

std::string FileContent(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

class DownloadAttachmentTest : public MessagesTest
{
  protected:
    const std::string m_id = IdOf("m");
    const std::string m_file = (std::filesystem::temp_directory_path() / "orlmapi_download_test.wav").string();

    void SetUp() override { std::remove(m_file.c_str()); }
    void TearDown() override
    {
        std::remove(m_file.c_str());
        MessagesTest::TearDown();
    }
    // A message with one attachment.
    AttachData &Attached(Row props, const std::string &content = kWave)
    {
        return m_mapi.world.AddAttachment(Deliver("m"), std::move(props), content);
    }
    HRESULT Save(ULONG number = 0)
    {
        return OrlDownloadAttachmentA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), number, m_file.c_str());
    }
    bool FileIsThere() const { return std::ifstream(m_file).good(); }
};

const char kSixTags[] = "[PR_ATTACH_METHOD, PR_ATTACH_FILENAME_A, PR_ATTACH_LONG_FILENAME_A, PR_ATTACH_PATHNAME_A, "
                        "PR_ATTACH_LONG_PATHNAME_A, PR_ATTACH_MIME_TAG_A]";

TEST_F(DownloadAttachmentTest, ARecordingByValueIsSavedWhole)
{
    Attached({Long(PR_ATTACH_METHOD, 1), Text(PR_ATTACH_MIME_TAG_A, "audio/wav")});
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(FileContent(m_file), kWave);
    const std::vector<std::string> calls = m_mapi.recorder.Calls();
    ASSERT_GE(calls.size(), 4u);
    EXPECT_EQ(calls[0], "Store(alice).OpenEntry(eid(message:m), IMessage, 0x210)");
    EXPECT_EQ(calls[1], "Message(m).OpenAttach(0, NULL, 0)");
    EXPECT_EQ(calls[2], std::string("Attach(m#0).GetProps(") + kSixTags + ", 0)");
    EXPECT_EQ(calls[3], "Attach(m#0).OpenProperty(PR_ATTACH_DATA_BIN, IStream, 0, 0)");
    EXPECT_THAT(Lines(), Contains(testing::AllOf(StartsWith("> CMAPIImpl::DownloadAttachment(pIMsgStore: "),
                                                 HasSubstr("\", ulAttachNum: 0, szFilename: \""))));
    EXPECT_THAT(Lines(), Contains(testing::AllOf(StartsWith("> CMAPIImpl::HrStreamInAttachment(pmsg: "),
                                                 HasSubstr(", ulAttachNum: 0, szFilename: \""))));
    EXPECT_EQ(CountLines("CMAPIImpl::DownloadAttachment[n]: At entry, counter=[0]"), 1);
    EXPECT_EQ(CountLines("CMAPIImpl::DownloadAttachment[n]: At exit, counter=[0]"), 1);
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(DownloadAttachmentTest, AWideFileNameIsConverted)
{
    Attached({Long(PR_ATTACH_METHOD, 1)});
    const wtext wide(m_file.begin(), m_file.end());
    EXPECT_EQ(OrlDownloadAttachmentW(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), 0, wide.c_str()), S_OK);
    EXPECT_EQ(FileContent(m_file), kWave);
}

TEST_F(DownloadAttachmentTest, AnAttachmentWithoutMimeTagIsTakenForARecording)
{
    Attached({Long(PR_ATTACH_METHOD, 1)});
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(FileContent(m_file), kWave);
}

TEST_F(DownloadAttachmentTest, AnyOtherMimeTagWritesNothing)
{
    for (const char *tag : {"audio/mpeg", "AUDIO/WAV", "audio/wav ", "text/plain"}) {
        SCOPED_TRACE(tag);
        m_mapi.world.mailboxes.at("alice")->inbox->messages.clear();
        Attached({Long(PR_ATTACH_METHOD, 1), Text(PR_ATTACH_FILENAME_A, "song.mp3"), Text(PR_ATTACH_MIME_TAG_A, tag)});
        Forget();
        EXPECT_EQ(Save(), E_FAIL);
        EXPECT_FALSE(FileIsThere());
        EXPECT_EQ(m_mapi.recorder.Count("Attach.OpenProperty"), 0);
        EXPECT_THAT(
            ErrorLines(),
            ElementsAre("CMAPIImpl::HrStreamInAttachment[n]: Error 0x80004005 [MAPI_E_CALL_FAILED] from OpenAttach "
                        "trying to open the attachment (method=00000001, filename=\"song.mp3\", pathname=\"\", "
                        "mimetag=\"" +
                        std::string(tag) + "\")."));
    }
}

TEST_F(DownloadAttachmentTest, AnUnknownMethodHasNoStream)
{
    for (LONG method : {0, 7, -1}) {
        SCOPED_TRACE(method);
        m_mapi.world.mailboxes.at("alice")->inbox->messages.clear();
        Attached({Long(PR_ATTACH_METHOD, method), Text(PR_ATTACH_PATHNAME_A, "P")});
        Forget();
        EXPECT_EQ(Save(), E_FAIL);
        ASSERT_EQ(ErrorLines().size(), 1u);
        char text[100];
        std::snprintf(text, sizeof text, "(method=%08x, filename=\"\", pathname=\"P\", mimetag=\"\").",
                      static_cast<unsigned>(method));
        EXPECT_THAT(ErrorLines()[0], HasSubstr(text));
        EXPECT_FALSE(FileIsThere());
    }
}

TEST_F(DownloadAttachmentTest, AnEmbeddedMessageIsReadFromItsObject)
{
    AttachData &attach = Attached({Long(PR_ATTACH_METHOD, 5)});
    attach.streams = {{PR_ATTACH_DATA_OBJ, std::make_shared<StreamData>(kWave)}};
    EXPECT_EQ(Save(), S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(), Contains("Attach(m#0).OpenProperty(PR_ATTACH_DATA_OBJ, IStream, 0, 0)"));
    EXPECT_EQ(FileContent(m_file), kWave);
}

TEST_F(DownloadAttachmentTest, AnOleObjectIsTriedInThreeWays)
{
    AttachData &attach = Attached({Long(PR_ATTACH_METHOD, 6)});
    const auto wave = std::make_shared<StreamData>(kWave);
    attach.streams.clear();
    attach.docfileStreams = {{PR_ATTACH_DATA_OBJ, wave}};
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(m_mapi.recorder.Count("Attach.OpenProperty"), 1);

    attach.docfileStreams = {{PR_ATTACH_DATA_BIN, wave}};
    Forget();
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(m_mapi.recorder.Count("Attach.OpenProperty"), 2);

    attach.docfileStreams.clear();
    auto storage = std::make_shared<StorageData>();
    storage->streams["CONTENTS"] = wave;
    attach.storages = {{PR_ATTACH_DATA_OBJ, storage}};
    Forget();
    EXPECT_EQ(Save(), S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(),
                testing::IsSupersetOf({"Attach(m#0).OpenProperty(PR_ATTACH_DATA_OBJ, IStreamDocfile, 0, 0)",
                                       "Attach(m#0).OpenProperty(PR_ATTACH_DATA_BIN, IStreamDocfile, 0, 0)",
                                       "Attach(m#0).OpenProperty(PR_ATTACH_DATA_OBJ, IStorage, 0, 0)",
                                       "Storage(m#0.PR_ATTACH_DATA_OBJ).OpenStream(L\"CONTENTS\", 0x10)"}));
    EXPECT_THAT(ErrorLines(), IsEmpty()) << "the ways that failed are no failures of the operation";
    EXPECT_EQ(FileContent(m_file), kWave);
}

TEST_F(DownloadAttachmentTest, AnOleObjectInNoFormFailsWithTheLastFailure)
{
    AttachData &attach = Attached({Long(PR_ATTACH_METHOD, 6)});
    attach.streams.clear();
    m_mapi.script.Tell("Attach(m#0).OpenProperty(PR_ATTACH_DATA_OBJ, IStorage, 0, 0)", Fails(MAPI_E_NO_ACCESS));
    EXPECT_EQ(Save(), MAPI_E_NO_ACCESS);
    EXPECT_THAT(ErrorLines(), ElementsAre(HasSubstr("[MAPI_E_NO_ACCESS] from OpenAttach trying to open the attachment "
                                                    "(method=00000006, ")));
}

TEST_F(DownloadAttachmentTest, AStreamThatCannotBeOpenedIsReportedAsTheAttachment)
{
    Attached({Long(PR_ATTACH_METHOD, 1), Text(PR_ATTACH_FILENAME_A, "a.wav"), Text(PR_ATTACH_MIME_TAG_A, "audio/wav")});
    m_mapi.script.Tell("Attach.OpenProperty", Fails(MAPI_E_CORRUPT_DATA));
    EXPECT_EQ(Save(), MAPI_E_CORRUPT_DATA);
    EXPECT_FALSE(FileIsThere());
    EXPECT_THAT(
        ErrorLines(),
        ElementsAre("CMAPIImpl::HrStreamInAttachment[n]: Error 0x8004011b [MAPI_E_CORRUPT_DATA] from OpenAttach "
                    "trying to open the attachment (method=00000001, filename=\"a.wav\", pathname=\"\", "
                    "mimetag=\"audio/wav\")."));
}

TEST_F(DownloadAttachmentTest, FailuresAreNamed)
{
    Attached({Long(PR_ATTACH_METHOD, 1)});
    const struct {
        const char *call;
        const char *report;
    } cases[] = {
        {"Store.OpenEntry",
         "CMAPIImpl::DownloadAttachment[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from HrOpenEntry "
         "trying to access and open the message."},
        {"Message.OpenAttach", "CMAPIImpl::HrStreamInAttachment[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from "
                               "OpenAttach trying to open the attachment."},
        {"Attach.GetProps", "CMAPIImpl::HrStreamInAttachment[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from GetProps "
                            "trying to get the properties for the attachment."},
    };
    for (const auto &failing : cases) {
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing.call, Fails(MAPI_E_NETWORK_ERROR));
        Forget();
        EXPECT_EQ(Save(), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(ErrorLines(), ElementsAre(failing.report));
        EXPECT_FALSE(FileIsThere());
        EXPECT_EQ(OpenObjects(), 0);
    }
}

TEST_F(DownloadAttachmentTest, AnAttachmentThatIsNotThereIsNotFound)
{
    Attached({Long(PR_ATTACH_METHOD, 1)});
    EXPECT_EQ(Save(7), MAPI_E_NOT_FOUND);
}

TEST_F(DownloadAttachmentTest, MalformedValuesAreTakenAsEmpty)
{
    AttachData &attach = Attached({});
    attach.raw = true;
    attach.props = {Long(PR_ATTACH_METHOD, 1),  Null(PR_ATTACH_MIME_TAG_A),      Null(PR_ATTACH_FILENAME_A),
                    Null(PR_ATTACH_PATHNAME_A), Null(PR_ATTACH_LONG_PATHNAME_A), Null(PR_ATTACH_LONG_FILENAME_A)};
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(FileContent(m_file), kWave);
}

TEST_F(DownloadAttachmentTest, ANullMailboxAnUnknownConnectionAndANullStoreAreRefused)
{
    EXPECT_EQ(OrlDownloadAttachmentA(m_connection, 0, SizeOf(m_id), AsBytes(m_id), 0, m_file.c_str()), E_INVALIDARG);
    EXPECT_EQ(OrlDownloadAttachmentW(0, m_mailbox, SizeOf(m_id), AsBytes(m_id), 0, OLESTR("x")), E_INVALIDARG);
    SessionGuard session = CMAPIImpl::Locate(m_connection);
    EXPECT_EQ(session->DownloadAttachment(nullptr, SizeOf(m_id), AsBytes(m_id), 0, tstring(m_file)), E_POINTER);
    EXPECT_EQ(CountLines("CMAPIImpl::DownloadAttachment[n]: Error pIMsgStore is NULL."), 1);
    EXPECT_FALSE(FileIsThere());
}

// Stands in for the wrapping of a referenced file as a storage.
struct Reference {
    wtext path;
    DWORD mode = 0;
    int opened = 0;
    HRESULT hr = S_OK;
    bool withContents = true;
} g_reference;

HRESULT WINAPI OpenStandIn(const WCHAR *path, DWORD mode, DWORD, IStorage **storage)
{
    g_reference.path = path;
    g_reference.mode = mode;
    ++g_reference.opened;
    *storage = nullptr;
    if (FAILED(g_reference.hr))
        return g_reference.hr;
    auto data = std::make_shared<StorageData>();
    if (g_reference.withContents)
        data->streams["CONTENTS"] = std::make_shared<StreamData>(kWave);
    *storage = NewStorage("reference", data);
    return S_OK;
}

class ReferencedFileTest : public DownloadAttachmentTest
{
  protected:
    void SetUp() override
    {
        DownloadAttachmentTest::SetUp();
        g_reference = {};
        m_usual = std::exchange(g_pfnOpenReferencedFile, &OpenStandIn);
    }
    void TearDown() override
    {
        g_pfnOpenReferencedFile = m_usual;
        DownloadAttachmentTest::TearDown();
    }

    OpenReferencedFile m_usual = nullptr;
};

TEST_F(ReferencedFileTest, WithoutAStandInTheSystemOpensTheFile)
{
    g_pfnOpenReferencedFile = m_usual;
    const std::string referenced = m_file + ".referenced";
    std::ofstream(referenced, std::ios::binary) << kWave;
    Attached({Long(PR_ATTACH_METHOD, 2), Text(PR_ATTACH_PATHNAME_A, referenced)});
    const HRESULT hr = Save();
    EXPECT_EQ(ErrorLines().size(), FAILED(hr) ? 1u : 0u);
    EXPECT_EQ(FileContent(m_file), FAILED(hr) ? "" : kWave);
    const std::string afterwards = FileContent(referenced);
    std::remove(referenced.c_str());
    if (FAILED(hr))
        GTEST_SKIP() << "this system does not wrap files as storages";
    EXPECT_EQ(afterwards, kWave) << "the file is left as it is";
}

TEST_F(ReferencedFileTest, EachReferenceMethodWrapsTheFileAsAStorage)
{
    for (LONG method : {2, 3, 4}) {
        SCOPED_TRACE(method);
        m_mapi.world.mailboxes.at("alice")->inbox->messages.clear();
        Attached({Long(PR_ATTACH_METHOD, method), Text(PR_ATTACH_PATHNAME_A, "SHORT~1.WAV"),
                  Text(PR_ATTACH_LONG_PATHNAME_A, "\\\\server\\share\\J\xC3\xBCrgen.wav")});
        Forget();
        EXPECT_EQ(Save(), S_OK);
        EXPECT_EQ(g_reference.path, OLESTR("\\\\server\\share\\J\u00FCrgen.wav"));
        EXPECT_EQ(g_reference.mode, 0x00030012u);
        EXPECT_THAT(m_mapi.recorder.Calls(), Contains("Storage(reference).OpenStream(L\"CONTENTS\", 0x10)"));
        EXPECT_EQ(FileContent(m_file), kWave);
    }
}

TEST_F(ReferencedFileTest, WithoutALongPathTheShortOneIsTaken)
{
    Attached({Long(PR_ATTACH_METHOD, 2), Text(PR_ATTACH_PATHNAME_A, "SHORT~1.WAV")});
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(g_reference.path, OLESTR("SHORT~1.WAV"));
}

TEST_F(ReferencedFileTest, WithoutAnyPathNothingIsOpened)
{
    Attached({Long(PR_ATTACH_METHOD, 4)});
    EXPECT_EQ(Save(), E_FAIL);
    EXPECT_EQ(g_reference.opened, 0);
    EXPECT_EQ(ErrorLines().size(), 1u);
}

TEST_F(ReferencedFileTest, AFileThatCannotBeOpenedFailsWithItsFailure)
{
    Attached({Long(PR_ATTACH_METHOD, 2), Text(PR_ATTACH_PATHNAME_A, "gone.wav")});
    g_reference.hr = STG_E_FILENOTFOUND;
    EXPECT_EQ(Save(), STG_E_FILENOTFOUND);
    EXPECT_THAT(ErrorLines(), ElementsAre(HasSubstr("from OpenAttach trying to open the attachment (method=00000002, "
                                                    "filename=\"\", pathname=\"gone.wav\", mimetag=\"\").")));
}

TEST_F(ReferencedFileTest, AStorageWithoutContentsFails)
{
    Attached({Long(PR_ATTACH_METHOD, 2), Text(PR_ATTACH_PATHNAME_A, "other.doc")});
    g_reference.withContents = false;
    EXPECT_EQ(Save(), STG_E_FILENOTFOUND);
    EXPECT_FALSE(FileIsThere());
}

TEST_F(ReferencedFileTest, ARefusedMimeTagOpensNoFile)
{
    Attached({Long(PR_ATTACH_METHOD, 2), Text(PR_ATTACH_PATHNAME_A, "a.wav"),
              Text(PR_ATTACH_MIME_TAG_A, "application/pdf")});
    EXPECT_EQ(Save(), E_FAIL);
    EXPECT_EQ(g_reference.opened, 0);
}

} // namespace
