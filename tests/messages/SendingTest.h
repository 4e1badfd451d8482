// The fixture of the tests about messages that leave a mailbox: a logged-on connection, and files to attach.
#pragma once
#include "messages/MessagesTest.h"
#include <filesystem>
#include <fstream>

namespace messages_test
{

// Texts of an export, as narrow or as wide ones. ASCII is the same text in every code page.
inline WideText Widened(const std::string &text)
{
    return WideText(text.begin(), text.end());
}

class SendingTest : public MessagesTest
{
  protected:
    const std::string m_id = IdOf("m");

    void SetUp() override
    {
        ASSERT_EQ(OrlMapiConnectA(m_connection, "NORVIK1", "vm", "Voicemail"), S_OK);
        Forget();
    }
    void TearDown() override
    {
        std::error_code error;
        std::filesystem::remove_all(m_folder, error);
        MessagesTest::TearDown();
    }
    // The path of a new file with this content.
    std::string File(const std::string &name, const std::string &content) const
    {
        std::filesystem::create_directories(m_folder);
        const std::string path = (m_folder / name).string();
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    std::string MissingFile() const { return (m_folder / "there is no such file").string(); }

    // The message that was created last.
    const MessageData &Created() const
    {
        static const MessageData none("none");
        EXPECT_FALSE(m_mapi.world.created.empty());
        return m_mapi.world.created.empty() ? none : *m_mapi.world.created.back();
    }
    // How a message's recipients were named when they were resolved.
    std::string NamesOfRecipients() const
    {
        std::string names;
        for (const Row &recipient : Created().recipients)
            names += (names.empty() ? "" : ";") + Find(recipient, PR_DISPLAY_NAME_A)->bytes;
        return names;
    }
    bool Submitted() const { return m_mapi.recorder.Count("Message.SubmitMessage") > 0; }

    // Session, default store and Alice's store are what the fixture holds.
    void ExpectNothingOpen()
    {
        EXPECT_EQ(OpenObjects(), 0);
        EXPECT_THAT(LiveObjects(), testing::UnorderedElementsAre("Session", "Store(default)", "Store(alice)"));
        EXPECT_THAT(LiveBlocks(), testing::IsEmpty());
    }
    // The lines of the trace that name this function, at this level.
    static std::vector<std::string> LinesOf(const std::string &function, char level)
    {
        std::vector<std::string> lines;
        for (const TraceLine &line : Trace())
            if (line.level == level && line.text.find(function) != std::string::npos)
                lines.push_back(line.text);
        return lines;
    }

  private:
    const std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("orlmapi_sending" + std::to_string(GetCurrentProcessId()));
};

} // namespace messages_test
