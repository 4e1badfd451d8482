// Results as one block: which allocations are made for it, in which order and of which sizes, what a failing one
// leaves, and that one call frees it all. Texts of W results are read as UTF-8.
#include "messages/MessagesTest.h"

using namespace messages_test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

class ResultBlockTest : public MessagesTest
{
  protected:
    void DeliverVoice(const std::string &name)
    {
        MessageData &message = Deliver(name, {Text(PR_SENDER_NAME_A, "Ann"), Text(PR_CREATOR_NAME_A, "Bo"),
                                              Text(PR_COMMENT_A, "C"), Text(PR_UM_TELEPHONE_NUMBER_A, "12345")});
        m_mapi.world.AddAttachment(
            message,
            {Long(PR_ATTACH_SIZE, 5), Text(PR_ATTACH_MIME_TAG_A, "audio/wav"), Text(PR_ATTACH_FILENAME_A, "v.wav")},
            "");
        m_mapi.world.AddAttachment(message, {Long(PR_ATTACH_SIZE, 6)}, "");
    }
    std::vector<std::string> Allocations() const
    {
        std::vector<std::string> calls;
        for (const std::string &call : m_mapi.recorder.Memory())
            if (call.find("MAPIAllocate") == 0)
                calls.push_back(call);
        return calls;
    }
    static std::string Root(size_t bytes) { return "MAPIAllocateBuffer(" + std::to_string(bytes) + ")"; }
    static std::string Child(size_t bytes) { return "MAPIAllocateMore(" + std::to_string(bytes) + ", block 1)"; }
};

TEST_F(ResultBlockTest, ANarrowListingAllocatesTextsThenEntryIdThenAttachments)
{
    DeliverVoice("m");
    Deliver("n");
    ListingA listing;
    listing.withAttachments = 1;
    Run(listing);
    ASSERT_EQ(listing.count, 2u);
    EXPECT_THAT(Allocations(), ElementsAre(Root(2 * sizeof(EmailHeaderA)), Child(4), Child(3), Child(2), Child(6),
                                           Child(1), Child(IdOf("m").size()), Child(2 * sizeof(AttachmentInfoA)),
                                           Child(10), Child(6), Child(1), Child(1), Child(12), Child(1), Child(1),
                                           Child(1), Child(1), Child(IdOf("n").size()), Child(0)));
    Release(listing);
}

TEST_F(ResultBlockTest, AWideListingAllocatesTwoBytesACharacterAndTwoMore)
{
    DeliverVoice("m");
    ListingW listing;
    listing.withAttachments = 1;
    Run(listing);
    ASSERT_EQ(listing.count, 1u);
    EXPECT_THAT(Allocations(), ElementsAre(Root(sizeof(EmailHeaderW)), Child(8), Child(6), Child(4), Child(12),
                                           Child(2), Child(IdOf("m").size()), Child(2 * sizeof(AttachmentInfoW)),
                                           Child(20), Child(12), Child(2), Child(2)));
    const EmailHeaderW &header = listing.headers[0];
    EXPECT_EQ(wtext(header.pszSenderName), OLESTR("Ann"));
    EXPECT_EQ(wtext(header.pszCreatorName), OLESTR("Bo"));
    EXPECT_EQ(wtext(header.pszComment), OLESTR("C"));
    EXPECT_EQ(wtext(header.pszNumber), OLESTR("12345"));
    EXPECT_EQ(wtext(header.pszName), OLESTR(""));
    EXPECT_EQ(wtext(header.pAttachments[0].pszMimeTag), OLESTR("audio/wav"));
    EXPECT_EQ(wtext(header.pAttachments[0].pszFilename), OLESTR("v.wav"));
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, &listing.hTable, &listing.hOrigin), S_OK);
}

TEST_F(ResultBlockTest, WideTextsAreReadAsUtf8)
{
    Deliver("m", {Text(PR_SENDER_NAME_A, "J\xC3\xBCrgen \xCE\xA9 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x93\x9E")});
    ListingW listing;
    Run(listing);
    ASSERT_EQ(listing.count, 1u);
    EXPECT_EQ(wtext(listing.headers[0].pszSenderName), OLESTR("J\u00FCrgen \u03A9 \u65E5\u672C \U0001F4DE"));
    EXPECT_EQ(OrlMapiReleaseHandle(m_connection, &listing.hTable, &listing.hOrigin), S_OK);
}

TEST_F(ResultBlockTest, NarrowTextsComeAsTheProviderGaveThem)
{
    Deliver("m", {Text(PR_SENDER_NAME_A, "J\xFCrgen \xC3\xBC %s%n")});
    ListingA listing;
    Run(listing);
    ASSERT_EQ(listing.count, 1u);
    EXPECT_STREQ(listing.headers[0].pszSenderName, "J\xFCrgen \xC3\xBC %s%n");
    Release(listing);
}

TEST_F(ResultBlockTest, ABlockThatCannotBeAllocatedStillGivesTheHandles)
{
    Deliver("m");
    m_mapi.script.Tell("MAPIAllocateBuffer", Fails(E_OUTOFMEMORY));
    ListingA listing;
    Run(listing);
    EXPECT_EQ(listing.hr, E_OUTOFMEMORY);
    EXPECT_EQ(listing.headers, nullptr);
    EXPECT_EQ(listing.count, 0u);
    EXPECT_NE(listing.hTable, 0u);
    EXPECT_EQ(OpenObjects(), 1) << "the table is in the caller's hands";
    EXPECT_THAT(ErrorLines(), ElementsAre("OrlGetEmailHeadersA[n]: Error 0x8007000e [MAPI_E_NOT_ENOUGH_MEMORY] from "
                                          "MAPIAllocateBuffer."));
    Release(listing);
}

TEST_F(ResultBlockTest, TheFirstPartThatCannotBeAllocatedEndsTheResultWithTheElementsBeforeIt)
{
    // Each header takes seven parts: five texts, the entry ID and the array of its attachments.
    for (int failing = 1; failing <= 21; ++failing) {
        SCOPED_TRACE(failing);
        m_mapi.world.mailboxes.at("alice")->inbox->messages.clear();
        m_mapi.script.Clear();
        for (const char *name : {"a", "b", "c"})
            Deliver(name);
        m_mapi.script.Tell("MAPIAllocateMore", Fails(E_OUTOFMEMORY).From(failing));
        Forget();
        ListingA listing;
        Run(listing);
        EXPECT_EQ(listing.hr, E_OUTOFMEMORY);
        EXPECT_EQ(listing.count, static_cast<ULONG>((failing - 1) / 7));
        ASSERT_NE(listing.headers, nullptr);
        for (ULONG i = 0; i < listing.count; ++i) {
            EXPECT_EQ(listing.headers[i].cAttachments, 0u);
            EXPECT_EQ(listing.headers[i].pszSenderName, std::string("Sender of ") + "abc"[i]);
        }
        EXPECT_EQ(m_mapi.recorder.Count("MAPIAllocateMore"), failing) << "none is tried after the first that failed";
        EXPECT_THAT(ErrorLines(), ElementsAre("OrlGetEmailHeadersA[n]: Error 0x8007000e [MAPI_E_NOT_ENOUGH_MEMORY] "
                                              "from MAPIAllocateMore."));
        EXPECT_NE(listing.hTable, 0u);
        Release(listing);
    }
}

TEST_F(ResultBlockTest, ASingleHeaderAllocatesTextsThenEntryId)
{
    DeliverVoice("m");
    const std::string id = IdOf("m");
    EmailHeaderW *header = nullptr;
    EXPECT_EQ(OrlGetEmailHeaderW(m_connection, m_mailbox, SizeOf(id), AsBytes(id), &header), S_OK);
    EXPECT_THAT(Allocations(), ElementsAre(Root(sizeof(EmailHeaderW)), Child(8), Child(6), Child(4), Child(12),
                                           Child(2), Child(id.size())));
    OrlMapiFreeBuffer(header);
}

TEST_F(ResultBlockTest, ASingleHeaderThatCannotBeAllocatedLeavesNothing)
{
    DeliverVoice("m");
    const std::string id = IdOf("m");
    auto *const untouched = reinterpret_cast<EmailHeaderA *>(&m_connection);
    for (int failing = 0; failing <= 6; ++failing) {
        SCOPED_TRACE(failing);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing ? "MAPIAllocateMore" : "MAPIAllocateBuffer",
                           Fails(E_OUTOFMEMORY).Nth(failing ? failing : 1));
        Forget();
        EmailHeaderA *header = untouched;
        EXPECT_EQ(OrlGetEmailHeaderA(m_connection, m_mailbox, SizeOf(id), AsBytes(id), &header), E_OUTOFMEMORY);
        EXPECT_EQ(header, untouched);
        EXPECT_THAT(ErrorLines(),
                    ElementsAre(HasSubstr(failing ? "from MAPIAllocateMore." : "from MAPIAllocateBuffer.")));
        EXPECT_THAT(LiveBlocks(), testing::IsEmpty());
    }
}

TEST_F(ResultBlockTest, ADownloadedTextAllocatesBodyThenSubject)
{
    Deliver("m", {Text(PR_BODY_A, "Body"), Text(PR_SUBJECT_A, "Subject")});
    const std::string id = IdOf("m");
    EmailTextA *narrow = nullptr;
    EXPECT_EQ(OrlDownloadEmailA(m_connection, m_mailbox, SizeOf(id), AsBytes(id), &narrow), S_OK);
    EXPECT_THAT(Allocations(), ElementsAre(Root(sizeof(EmailTextA)), Child(5), Child(8)));
    OrlMapiFreeBuffer(narrow);
    ForgetBlockNumbers();
    Forget();
    EmailTextW *wide = nullptr;
    EXPECT_EQ(OrlDownloadEmailW(m_connection, m_mailbox, SizeOf(id), AsBytes(id), &wide), S_OK);
    EXPECT_THAT(Allocations(), ElementsAre(Root(sizeof(EmailTextW)), Child(10), Child(16)));
    EXPECT_EQ(wtext(wide->pszBody), OLESTR("Body"));
    EXPECT_EQ(wtext(wide->pszSubject), OLESTR("Subject"));
    OrlMapiFreeBuffer(wide);
}

TEST_F(ResultBlockTest, ADownloadedTextThatCannotBeAllocatedLeavesNothing)
{
    Deliver("m", {Text(PR_BODY_A, "Body"), Text(PR_SUBJECT_A, "Subject")});
    const std::string id = IdOf("m");
    for (int failing = 0; failing <= 2; ++failing) {
        SCOPED_TRACE(failing);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing ? "MAPIAllocateMore" : "MAPIAllocateBuffer",
                           Fails(E_OUTOFMEMORY).Nth(failing ? failing : 1));
        Forget();
        EmailTextW *text = nullptr;
        EXPECT_EQ(OrlDownloadEmailW(m_connection, m_mailbox, SizeOf(id), AsBytes(id), &text), E_OUTOFMEMORY);
        EXPECT_EQ(text, nullptr);
        EXPECT_EQ(ErrorLines().size(), 1u);
        EXPECT_THAT(LiveBlocks(), testing::IsEmpty());
    }
}

} // namespace
