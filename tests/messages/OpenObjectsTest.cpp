// What an operation holds counts as open while it holds it: the session's counter as it stands when each call reaches
// MAPI. (That it is back where it was at the end is proved by every test.)
#include "messages/MessagesTest.h"
#include <cstdio>
#include <filesystem>
#include <map>

using namespace messages_test;
using testing::ElementsAre;
using testing::Pair;

namespace
{

class OpenObjectsTest : public MessagesTest
{
  protected:
    const std::string m_id = IdOf("m");
    const std::string m_file =
        (std::filesystem::temp_directory_path() / ("orlmapi_open_objects" + std::to_string(GetCurrentProcessId())))
            .string();
    using Seen = std::vector<std::pair<std::string, LONG>>;
    Seen m_seen;

    void TearDown() override
    {
        std::remove(m_file.c_str());
        MessagesTest::TearDown();
    }
    // Notes the counter at every first call of each of these.
    void Watch(std::initializer_list<const char *> calls)
    {
        for (const char *call : calls)
            m_mapi.script.Tell(call, Does([this, call] { m_seen.emplace_back(call, OpenObjects()); }).Once());
    }
};

TEST_F(OpenObjectsTest, OfAListing)
{
    m_mapi.world.AddAttachment(Deliver("m"), {Long(PR_ATTACH_SIZE, 1)}, "");
    Watch({"Store.GetReceiveFolder", "Folder.GetContentsTable", "Table(alice/Inbox).SetColumns",
           "Table(alice/Inbox).SortTable", "Table(alice/Inbox).QueryRows", "Message.GetAttachmentTable",
           "HrQueryAllRows", "Message.OpenAttach", "Attach.GetProps", "Table(alice/Inbox).CreateBookmark",
           "MAPIAllocateBuffer", "Table(alice/Inbox).FreeBookmark"});
    ListingA listing;
    listing.rows = 1;
    listing.withAttachments = 1;
    Run(listing);
    Release(listing);
    EXPECT_THAT(m_seen, ElementsAre(Pair("Store.GetReceiveFolder", 0), Pair("Folder.GetContentsTable", 1),
                                    Pair("Table(alice/Inbox).SetColumns", 2), Pair("Table(alice/Inbox).SortTable", 2),
                                    Pair("Table(alice/Inbox).QueryRows", 1), // the folder is closed
                                    Pair("Message.GetAttachmentTable", 3),   // table, rows, message
                                    Pair("HrQueryAllRows", 4), Pair("Message.OpenAttach", 3),
                                    Pair("Attach.GetProps", 4), Pair("Table(alice/Inbox).CreateBookmark", 2),
                                    Pair("MAPIAllocateBuffer", 1), Pair("Table(alice/Inbox).FreeBookmark", 1)));
}

TEST_F(OpenObjectsTest, OfWorkOnOneMessage)
{
    Deliver("m");
    Watch({"Message.GetProps", "Message.SetReadFlag", "HrGetOneProp", "Store.GetProps", "Folder.CopyMessages"});
    BYTE flags[3];
    EXPECT_TRUE(
        SUCCEEDED(OrlGetEmailFlags(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), flags, flags + 1, flags + 2)));
    EXPECT_EQ(OrlSetEmailReadFlag(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), 1), S_OK);
    EXPECT_EQ(OrlDeleteEmail(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id)), S_OK);
    EXPECT_THAT(m_seen,
                ElementsAre(Pair("Message.GetProps", 1), Pair("Message.SetReadFlag", 1), Pair("HrGetOneProp", 1),
                            Pair("Store.GetProps", 1),        // the message is closed, its folder open
                            Pair("Folder.CopyMessages", 2))); // and Deleted Items
}

TEST_F(OpenObjectsTest, OfADownloadedText)
{
    MessageData &message = Deliver("m");
    message.raw = true;
    message.props = {Missing(PR_BODY_A, MAPI_E_NOT_ENOUGH_MEMORY), Text(PR_SUBJECT_A, "Subject")};
    message.streams[PR_BODY_A] = std::make_shared<StreamData>("Body");
    Watch({"Message.GetProps", "Message.OpenProperty"});
    EmailTextA *text = nullptr;
    EXPECT_EQ(OrlDownloadEmailA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), &text), S_OK);
    OrlMapiFreeBuffer(text);
    EXPECT_THAT(m_seen, ElementsAre(Pair("Message.GetProps", 1), Pair("Message.OpenProperty", 2)));
}

TEST_F(OpenObjectsTest, OfASavedRecording)
{
    AttachData &attach = m_mapi.world.AddAttachment(Deliver("m"), {Long(PR_ATTACH_METHOD, 6)}, "");
    auto storage = std::make_shared<StorageData>();
    storage->streams["CONTENTS"] = std::make_shared<StreamData>("no recording");
    attach.storages = {{PR_ATTACH_DATA_OBJ, storage}};
    Watch({"Message.OpenAttach", "Attach.GetProps", "Attach.OpenProperty", "Storage.OpenStream", "Stream.Seek"});
    EXPECT_EQ(OrlDownloadAttachmentA(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id), 0, m_file.c_str()), E_FAIL);
    EXPECT_THAT(m_seen,
                ElementsAre(Pair("Message.OpenAttach", 1), Pair("Attach.GetProps", 2), Pair("Attach.OpenProperty", 2),
                            Pair("Storage.OpenStream", 3), Pair("Stream.Seek", 4)));
    std::vector<std::string> released;
    for (const std::string &call : m_mapi.recorder.Everything())
        if (call.find(".Release()") != std::string::npos)
            released.push_back(call.substr(0, call.find('(')));
    EXPECT_THAT(released, ElementsAre("Stream", "Storage", "Attach", "Message"));
}

} // namespace
