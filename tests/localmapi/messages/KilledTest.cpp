// Proves what a client leaves that is killed on its way from making a message to submitting it: nothing of what it
// never saved, all of what it saved, and that the latter is known as unsent until somebody submits it.
#include "../storage/Process.h"
#include "Letters.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Sqlite.h"
#include "localmapi/storage/Unsent.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <random>
#include <thread>

namespace localmapi::test
{

namespace
{

namespace fs = std::filesystem;

std::string g_program;
const std::string kData(3000000, 'd'); // more than is held in memory

std::string Utf8(const fs::path &path)
{
    const auto text = path.u8string();
    return {text.begin(), text.end()};
}

// A folder for what the killed one tells and for its temporary files.
class Place
{
  public:
    Place() : m_path(fs::temp_directory_path() / ("localmapi-killed-" + std::to_string(std::random_device{}())))
    {
        fs::create_directories(m_path / "temporary");
    }
    ~Place()
    {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    Place(const Place &) = delete;
    Place &operator=(const Place &) = delete;
    std::string Path() const { return Utf8(m_path); }
    bool IsTold() const { return fs::exists(m_path / "told"); }
    void Forget() const { fs::remove(m_path / "told"); }
    std::size_t TemporaryFiles() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(m_path / "temporary"), fs::directory_iterator()));
    }

  private:
    fs::path m_path;
};

class KilledTest : public WithLetters
{
  protected:
    // A client that comes so far, and is killed there.
    void KillAt(const char *stage)
    {
        storage::Process client(g_program, {"--client", m_mailbox.GetSite().Path(), m_place.Path(), stage});
        while (!m_place.IsTold())
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        client.Kill();
        client.Wait();
    }
    std::string RowsOfTheSite() const
    {
        storage::Connection connection(m_site, SQLITE_OPEN_READWRITE, 10000);
        std::string rows;
        for (const char *table : {"object", "property", "stream", "chunk", "facet"})
            rows +=
                table + (" " + std::to_string(connection.Integer(std::string("SELECT count(*) FROM ") + table))) + " ";
        return rows;
    }
    // The site's files, by what follows its name.
    std::vector<std::string> FilesOfTheSite() const
    {
        std::vector<std::string> files;
        const fs::path site = storage::PathOf(m_site);
        const std::string name = Utf8(site.filename());
        for (const auto &entry : fs::directory_iterator(site.parent_path()))
            if (const std::string found = Utf8(entry.path().filename()); found.starts_with(name))
                files.push_back(found.substr(name.size()));
        return files;
    }
    std::string Unsent()
    {
        std::string all;
        for (const storage::Unsent &message : storage::UnsentMessages(m_mailbox.GetSite()))
            all += message.user + ":" + message.subject + " ";
        return all;
    }

    Place m_place;
    const std::string m_site = m_mailbox.GetSite().Path();
};

TEST_F(KilledTest, WhatWasNeverSavedIsGone)
{
    const std::string before = RowsOfTheSite();
    KillAt("written");
    EXPECT_EQ(RowsOfTheSite(), before);
    EXPECT_EQ(CountIn(m_outbox.get()), 0u);
    EXPECT_EQ(Unsent(), "");
    EXPECT_EQ(m_place.TemporaryFiles(), 0u);
    EXPECT_THAT(FilesOfTheSite(), testing::IsSubsetOf({"", "-wal", "-shm", "-reserve"}));
}

TEST_F(KilledTest, WhatWasSavedStaysAndIsKnownUntilItIsSubmitted)
{
    KillAt("saved");
    EXPECT_EQ(Unsent(), "alice:saved ");
    ASSERT_EQ(CountIn(m_outbox.get()), 1u);
    {
        const auto message = MessageIn(m_outbox.get());
        EXPECT_EQ(TextOf(message.get(), PR_SUBJECT_A), "saved");
        EXPECT_EQ(AttachmentsOf(message.get()), "first.bin=" + kData);
        EXPECT_CODE(message->SubmitMessage(0), S_OK);
    }
    EXPECT_EQ(Unsent(), "");
    EXPECT_EQ(SubjectsIn(m_bobsInbox.get()), "saved");
}

TEST_F(KilledTest, WhatWasSubmittedHasArrived)
{
    KillAt("submitted");
    EXPECT_EQ(Unsent(), "");
    EXPECT_EQ(CountIn(m_outbox.get()), 0u);
    ASSERT_EQ(CountIn(m_bobsInbox.get()), 1u);
    EXPECT_EQ(AttachmentsOf(MessageIn(m_bobsInbox.get()).get()), "first.bin=" + kData + ", late.bin=late");
}

TEST_F(KilledTest, AtAnyMomentItLeavesWholeMessages)
{
    std::mt19937 random{std::random_device{}()};
    const std::string before = RowsOfTheSite();
    for (int round = 0; round < 8; ++round) {
        {
            storage::Process client(g_program, {"--client", m_site, m_place.Path(), "again"});
            while (!m_place.IsTold())
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 200));
            client.Kill();
            client.Wait();
        }
        m_place.Forget();
        const auto left = MessagesIn(m_outbox.get());
        EXPECT_LE(left.size(), 1u);
        EXPECT_EQ(Unsent(), left.empty() ? "" : "alice:saved ");
        for (const auto &folder : {m_outbox, m_bobsInbox}) {
            const auto messages = MessagesIn(folder.get());
            for (std::size_t i = 0; i < messages.size(); ++i)
                ASSERT_THAT(AttachmentsOf(MessageIn(folder.get(), i).get()), testing::StartsWith("first.bin=" + kData));
            if (!messages.empty()) {
                EXPECT_CODE(folder->DeleteMessages(EntryList(messages), 0, nullptr, 0), S_OK);
            }
        }
        EXPECT_EQ(RowsOfTheSite(), before);
    }
}

// What the test starts itself as. "left" goes without submitting, and without being killed.
int BeClient(const std::string &path, const std::string &place, const std::string &stage)
{
    sqlite3_temp_directory = sqlite3_mprintf("%s/temporary", place.c_str());
    const storage::Site site = storage::Site::Open(path);
    const storage::User alice = storage::Directory(site).UserByAlias("alice").value();
    const storage::User bob = storage::Directory(site).UserByAlias("bob").value();
    ComPtr<IMsgStore> store;
    EXPECT_CODE(CreateStore({site, alice.mailbox, alice.id, MAPI_BEST_ACCESS, false}, nullptr, store.put()), S_OK);
    ComPtr<IMAPIFolder> outbox;
    EXPECT_CODE(OpenEntry(store.get(), BytesOf(store.get(), PR_IPM_OUTBOX_ENTRYID), &IID_IMAPIFolder, MAPI_BEST_ACCESS,
                          reinterpret_cast<IUnknown **>(outbox.put())),
                S_OK);
    const auto tell = [&] { std::ofstream(storage::PathOf(place) / "told") << "told" << std::endl; };
    do {
        ComPtr<IMessage> message;
        EXPECT_CODE(outbox->CreateMessage(nullptr, 0, message.put()), S_OK);
        EXPECT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, "saved"), Bool(PR_DELETE_AFTER_SUBMIT, true)}), S_OK);
        EXPECT_CODE(Address(message.get(), {ByAddress("EX", bob.dn)}), S_OK);
        Attach(message.get(), "first.bin", kData);
        if (stage == "again")
            tell();
        if (stage != "written") {
            EXPECT_CODE(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
            if (stage == "left")
                return 0;
            EXPECT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, "changed")}), S_OK);
            Attach(message.get(), "late.bin", "late");
        }
        if (stage == "submitted" || stage == "again") {
            EXPECT_CODE(message->SubmitMessage(0), S_OK);
        }
        if (stage != "again") {
            tell();
            for (;;)
                std::this_thread::sleep_for(std::chrono::seconds(1));
        }
    } while (!testing::Test::HasFailure());
    return 1;
}

} // namespace

} // namespace localmapi::test

int main(int argc, char **argv)
{
    using namespace localmapi::test;
    g_program = Utf8(std::filesystem::absolute(argv[0]));
    if (argc == 5 && std::string(argv[1]) == "--client")
        return BeClient(argv[2], argv[3], argv[4]);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
