// Deleting a message: it is moved to Deleted Items, by which calls, and what keeps it where it is.
#include "messages/MessagesTest.h"
#include <algorithm>

using namespace messages_test;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

class DeletionTest : public MessagesTest
{
  protected:
    const std::string m_id = IdOf("m");

    HRESULT Delete() const { return OrlDeleteEmail(m_connection, m_mailbox, SizeOf(m_id), AsBytes(m_id)); }
};

TEST_F(DeletionTest, ADeletedMessageIsMovedToDeletedItems)
{
    Deliver("m");
    EXPECT_EQ(Delete(), S_OK);
    EXPECT_THAT(m_mapi.recorder.Calls(),
                ElementsAre("Store(alice).OpenEntry(eid(message:m), IMessage, 0x210)",
                            "HrGetOneProp(Message(m), PR_PARENT_ENTRYID)",
                            "Store(alice).OpenEntry(eid(folder:alice/Inbox), IMAPIFolder, 0x210)",
                            "Store(alice).GetProps([PR_IPM_WASTEBASKET_ENTRYID], 0)",
                            "Store(alice).OpenEntry(eid(folder:alice/Deleted Items), NULL, 0x201)",
                            "Folder(alice/Inbox).CopyMessages([eid(message:m)], NULL, Folder(alice/Deleted Items), 0, "
                            "NULL, 0x1)"));
    EXPECT_TRUE(m_mapi.world.mailboxes.at("alice")->inbox->messages.empty());
    EXPECT_EQ(m_mapi.world.mailboxes.at("alice")->deletedItems->messages.size(), 1u);
    const std::vector<std::string> all = m_mapi.recorder.Everything();
    const auto at = [&](const std::string &call) { return std::find(all.begin(), all.end(), call) - all.begin(); };
    EXPECT_LT(at("Message(m).Release()"), at("MAPIAllocateBuffer(" + std::to_string(sizeof(SBinary)) + ")"));
    EXPECT_LT(at("Folder(alice/Deleted Items).Release()"), at("MAPIFreeBuffer(block 1)"));
    EXPECT_LT(at("MAPIFreeBuffer(block 1)"), at("Folder(alice/Inbox).Release()"));
    EXPECT_THAT(Lines(), Contains(testing::AllOf(StartsWith("> CMAPIImpl::DeleteEmail(pIMsgStore: "),
                                                 testing::EndsWith("\")"))));
    EXPECT_EQ(CountLines("CMAPIImpl::DeleteEmail[n]: At entry, counter=[0]"), 1);
    EXPECT_EQ(CountLines("CMAPIImpl::DeleteEmail[n]: At Exit, counter=[0]"), 1);
}

TEST_F(DeletionTest, AMessageWithoutParentIsNotMoved)
{
    MessageData &message = Deliver("m");
    message.props = {Binary(PR_ENTRYID, m_id)};
    EXPECT_EQ(Delete(), MAPI_E_NOT_FOUND);
    EXPECT_EQ(m_mapi.recorder.Count("Folder.CopyMessages"), 0);
    EXPECT_THAT(ErrorLines(), ElementsAre("CMAPIImpl::DeleteEmail[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] from "
                                          "HrGetOneProp determining the ID for the folder where the message resides."));
}

TEST_F(DeletionTest, AParentIdOfAnotherTypeIsNoParent)
{
    MessageData &message = Deliver("m");
    message.raw = true;
    message.props = {Text(CHANGE_PROP_TYPE(PR_PARENT_ENTRYID, PT_STRING8), "folder")};
    EXPECT_EQ(Delete(), MAPI_E_NOT_FOUND);
    EXPECT_EQ(ErrorLines().size(), 1u);
    m_mapi.script.Tell("HrGetOneProp", GivesNull());
    EXPECT_EQ(Delete(), MAPI_E_NOT_FOUND);
}

TEST_F(DeletionTest, AStoreWithoutDeletedItemsKeepsTheMessage)
{
    Deliver("m");
    m_mapi.world.mailboxes.at("alice")->props.clear();
    EXPECT_EQ(Delete(), MAPI_E_NOT_FOUND);
    EXPECT_EQ(m_mapi.world.mailboxes.at("alice")->inbox->messages.size(), 1u);
    EXPECT_THAT(ErrorLines(), ElementsAre(StartsWith("CMAPIImpl::DeleteEmail[n]: Error 0x8004010f [MAPI_E_NOT_FOUND] "
                                                     "from GetProps trying to determine")));
    m_mapi.world.mailboxes.at("alice")->raw = true;
    const Row others[] = {{Missing(PR_IPM_WASTEBASKET_ENTRYID, MAPI_E_NO_ACCESS)},
                          {Text(CHANGE_PROP_TYPE(PR_IPM_WASTEBASKET_ENTRYID, PT_STRING8), "folder")},
                          {}};
    for (const Row &other : others) {
        m_mapi.world.mailboxes.at("alice")->props = other;
        Forget();
        EXPECT_EQ(Delete(), &other == others ? MAPI_E_NO_ACCESS : MAPI_E_NOT_FOUND);
        EXPECT_EQ(ErrorLines().size(), 1u);
        EXPECT_EQ(m_mapi.recorder.Count("Store.OpenEntry"), 2) << "the message and its folder";
    }
}

TEST_F(DeletionTest, FailuresOfADeletionAreNamed)
{
    const struct {
        const char *call;
        int nth;
        const char *report;
    } cases[] = {
        {"Store.OpenEntry", 1, "HrOpenEntry trying to access and open the message."},
        {"HrGetOneProp", 1, "HrGetOneProp determining the ID for the folder where the message resides."},
        {"Store.OpenEntry", 2, "HrOpenEntry trying to access and open the containing folder for the message."},
        {"MAPIAllocateBuffer", 1, "MAPIAllocateBuffer."},
        {"Store.GetProps", 1, "GetProps trying to determine the ID of the deleted items folder."},
        {"Store.OpenEntry", 3, "HrOpenEntry trying to access and open deleted items folder."},
        {"Folder.CopyMessages", 1, "CopyMessages trying to move messages to the deleted items folder."},
    };
    Deliver("m");
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.report);
        m_mapi.script.Clear();
        m_mapi.script.Tell(failing.call, Fails(MAPI_E_NETWORK_ERROR).Nth(failing.nth));
        Forget();
        EXPECT_EQ(Delete(), MAPI_E_NETWORK_ERROR);
        EXPECT_THAT(
            ErrorLines(),
            ElementsAre(std::string("CMAPIImpl::DeleteEmail[n]: Error 0x80040115 [MAPI_E_NETWORK_ERROR] from ") +
                        failing.report));
        EXPECT_EQ(OpenObjects(), 0);
        EXPECT_EQ(m_mapi.world.mailboxes.at("alice")->inbox->messages.size(), 1u);
    }
}

TEST_F(DeletionTest, AMoveThatWarnsIsASuccess)
{
    Deliver("m");
    m_mapi.script.Tell("Folder.CopyMessages", Warns(MAPI_W_PARTIAL_COMPLETION));
    EXPECT_EQ(Delete(), MAPI_W_PARTIAL_COMPLETION);
    EXPECT_THAT(ErrorLines(), IsEmpty());
}

} // namespace
