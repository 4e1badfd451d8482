// Proves that changes of another process are told, all of them and in order, also while this process and several others
// write; and that one who writes very much does not flood the sinks.
#include "Notified.h"
#include "localmapi/storage/Objects.h"
#include "localmapi/storage/Time.h"
#include <filesystem>
#include <gmock/gmock.h>

namespace localmapi::test
{

namespace
{

std::string g_program;

class ProcessTest : public Notified
{
  protected:
    // A process that adds so many messages, "<label> 0" onwards, each in a transaction of its own or all in one.
    storage::Process Writer(const std::string &label, int count, bool atOnce = false)
    {
        return {g_program, {atOnce ? "--at-once" : "--each", m_mailbox.GetSite().Path(), label, std::to_string(count)}};
    }
};

TEST_F(ProcessTest, MessagesOfAnotherProcessAreToldInOrder)
{
    auto table = Inbox();
    auto sink = MakeObject<Sink>();
    Advise(table, sink);
    constexpr int kCount = 30; // few enough to be told one by one, however late
    storage::Process writer = Writer("there", kCount);
    const auto events = sink->Take(kCount);
    ASSERT_EQ(writer.Wait(), 0);
    ASSERT_EQ(events.size(), std::size_t{kCount});
    for (int i = 0; i < kCount; ++i) {
        EXPECT_EQ(events[static_cast<std::size_t>(i)].event, ULONG{TABLE_ROW_ADDED});
        EXPECT_EQ(events[static_cast<std::size_t>(i)].label, "there " + std::to_string(i));
    }
}

TEST_F(ProcessTest, NothingIsLostWhenThreeProcessesWrite)
{
    auto table = Inbox();
    ASSERT_CODE(table->SetColumns(Tags{kLabel}, 0), S_OK);
    auto sink = MakeObject<Sink>();
    Advise(table, sink);
    constexpr int kCount = 60;
    storage::Process first = Writer("first", kCount);
    storage::Process second = Writer("second", kCount);
    for (int i = 0; i < kCount; ++i)
        Add(("here " + std::to_string(i)).c_str());
    ASSERT_EQ(first.Wait(), 0);
    ASSERT_EQ(second.Wait(), 0);
    // Where many came at once the table says that it has changed; then the client reads it.
    ULONG count = 0;
    std::map<std::string, int> seen;
    bool changed = false;
    while (seen.size() < 3 * kCount && !changed)
        for (const Event &event : sink->Take(1)) {
            changed = changed || event.event == TABLE_CHANGED;
            if (event.event == TABLE_ROW_ADDED) {
                EXPECT_EQ(++seen[event.label], 1);
            }
        }
    ASSERT_CODE(table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 3u * kCount);
}

TEST_F(ProcessTest, TenThousandMessagesInOneTransactionAreOneEvent)
{
    auto table = Inbox();
    auto sink = MakeObject<Sink>();
    Advise(table, sink);
    ASSERT_EQ(Writer("many", 10000, true).Wait(), 0);
    EXPECT_EQ(Told(sink), "changed");
    Add("last");
    EXPECT_EQ(Told(sink).substr(0, 10), "added last");
    EXPECT_EQ(sink->Events(), 2u);
}

int Write(const std::string &how, const std::string &path, const std::string &label, int count)
{
    storage::Site site = storage::Site::Open(path);
    const storage::Directory directory(site);
    const auto inbox = directory.GetMailbox(directory.UserByAlias("alice")->mailbox).inbox;
    std::vector<storage::NewMessage> messages;
    for (int i = 0; i < count; ++i) {
        storage::NewMessage message{inbox, {}};
        message.content.properties.set.Set(PR_SUBJECT_W, label + " " + std::to_string(i));
        message.content.properties.set.Set(PR_CLIENT_SUBMIT_TIME, storage::CurrentTime());
        if (how == "--at-once")
            messages.push_back(std::move(message));
        else
            storage::Objects(site).CreateMessage(inbox, message.content);
    }
    if (!messages.empty())
        storage::Objects(site).CreateMessages(messages);
    return 0;
}

} // namespace

} // namespace localmapi::test

int main(int argc, char **argv)
{
    using namespace localmapi::test;
    const auto program = std::filesystem::absolute(argv[0]).u8string();
    g_program.assign(program.begin(), program.end());
    if (argc == 5 && std::string(argv[1]).starts_with("--"))
        return Write(argv[1], argv[2], argv[3], std::stoi(argv[4]));
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
