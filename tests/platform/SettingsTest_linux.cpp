// Proves the settings file: where it lies, what it looks like, that it is shared by processes, that a damaged one is
// left alone, and that folders which can't be written to are an error and no more.
#include "Text.h"
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
namespace fs = std::filesystem;
constexpr char kPath[] = "SOFTWARE\\BRANE\\host\\Debug";
constexpr char kKey[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\BRANE\\host\\Debug";

class SettingsFile : public testing::Test
{
  protected:
    SettingsFile()
    {
        char name[] = "/tmp/settings_test.XXXXXX";
        m_folder = mkdtemp(name);
        m_file = m_folder / "settings.json";
        setenv("ORLMAPI_SETTINGS", m_file.c_str(), 1);
    }
    ~SettingsFile() override
    {
        fs::permissions(m_folder, fs::perms::owner_all);
        fs::remove_all(m_folder);
    }
    static LSTATUS Set(const char *name, DWORD number, const char *path = kPath)
    {
        HKEY key;
        LSTATUS result = RegCreateKeyExA(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
        if (result != ERROR_SUCCESS)
            return result;
        result = RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE *>(&number), sizeof number);
        RegCloseKey(key);
        return result;
    }
    static LONG Get(const char *name)
    {
        HKEY key;
        LSTATUS result = RegOpenKeyExA(HKEY_LOCAL_MACHINE, kPath, 0, KEY_READ, &key);
        if (result != ERROR_SUCCESS)
            return -result;
        LONG number = 0;
        DWORD type, size = sizeof number;
        result = RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE *>(&number), &size);
        RegCloseKey(key);
        return result == ERROR_SUCCESS ? number : -result;
    }
    std::string Content() const
    {
        std::ifstream in(m_file);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    void Write(const std::string &text) const { std::ofstream(m_file) << text; }

    fs::path m_folder, m_file;
};

TEST_F(SettingsFile, HoldsAnObjectAKeyWithItsValues)
{
    ASSERT_EQ(ERROR_SUCCESS, Set("Filter Level", 8));
    HKEY key;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, kPath, 0, KEY_WRITE, &key));
    RegSetValueExA(key, "Module Name", 0, REG_SZ, reinterpret_cast<const BYTE *>("host\xC3\xA9"), 7);
    RegSetValueExA(key, "ID Bitmap", 0, REG_BINARY, reinterpret_cast<const BYTE *>("\xFF\x00\x1a"), 3);
    RegCloseKey(key);
    const auto expected = nlohmann::json::parse(R"({"HKEY_LOCAL_MACHINE\\SOFTWARE\\BRANE\\host\\Debug":
        {"Filter Level": 8, "Module Name": "hosté", "ID Bitmap": {"binary": "ff001a"}}})");
    EXPECT_EQ(expected, nlohmann::json::parse(Content()));
    EXPECT_EQ(0600, fs::status(m_file).permissions() == fs::perms(0600) ? 0600 : 0);
}

TEST_F(SettingsFile, IsReadAsAnOperatorWroteIt)
{
    Write("{\"hkey_local_machine\\\\Software\\\\Brane\\\\HOST\\\\debug\": {\"filter LEVEL\": 5}}");
    EXPECT_EQ(5, Get("Filter Level"));
    ASSERT_EQ(ERROR_SUCCESS, Set("Filter Level", 6));
    EXPECT_EQ("{\"hkey_local_machine\\\\Software\\\\Brane\\\\HOST\\\\debug\":{\"filter LEVEL\":6}}",
              nlohmann::json::parse(Content()).dump());
}

TEST_F(SettingsFile, IsReadAgainWhenItHasChanged)
{
    ASSERT_EQ(ERROR_SUCCESS, Set("Filter Level", 1));
    for (int level = 2; level < 8; ++level) {
        // As an editor does it, once in place and once by a new file.
        std::string text = Content();
        text.replace(text.find("\": " + std::to_string(level - 1)), 4, "\": " + std::to_string(level));
        if (level % 2 == 0) {
            const fs::file_time_type before = fs::last_write_time(m_file);
            Write(text);
            // A kernel's time stamps may be too coarse to show it.
            fs::last_write_time(m_file, before + std::chrono::seconds(1));
        } else {
            std::ofstream(m_folder / "other") << text;
            fs::rename(m_folder / "other", m_file);
        }
        EXPECT_EQ(level, Get("Filter Level"));
    }
    fs::remove(m_file);
    EXPECT_EQ(-ERROR_FILE_NOT_FOUND, Get("Filter Level"));
}

TEST_F(SettingsFile, ThatIsDamagedIsAnErrorAndIsLeftAsItIs)
{
    for (const char *damaged : {"{\"HKEY_LOCAL_MACHINE\": {", "", "[]", "{\"a\": 5}", "\xFF\xFE"}) {
        Write(damaged);
        EXPECT_EQ(-ERROR_BADDB, Get("Filter Level")) << damaged;
        EXPECT_EQ(ERROR_BADDB, Set("Filter Level", 1)) << damaged;
        EXPECT_EQ(damaged, Content());
    }
    Write("{}");
    EXPECT_EQ(ERROR_SUCCESS, Set("Filter Level", 1));
    EXPECT_EQ(1, Get("Filter Level"));
}

TEST_F(SettingsFile, WithAValueThatIsNoneGivesAnErrorForThatValueAlone)
{
    Write(nlohmann::json{{kKey, {{"A", -1}, {"B", true}, {"C", {{"binary", "abc"}}}, {"D", 5000000000}, {"E", 5}}}}
              .dump());
    for (const char *name : {"A", "B", "C", "D"})
        EXPECT_EQ(-ERROR_INVALID_DATA, Get(name)) << name;
    EXPECT_EQ(5, Get("E"));
}

TEST_F(SettingsFile, IsMadeWithTheFoldersAboveIt)
{
    m_file = m_folder / "a" / "b" / "settings.json";
    setenv("ORLMAPI_SETTINGS", m_file.c_str(), 1);
    EXPECT_EQ(-ERROR_FILE_NOT_FOUND, Get("Filter Level"));
    EXPECT_FALSE(fs::exists(m_folder / "a"));
    EXPECT_EQ(ERROR_SUCCESS, Set("Filter Level", 3));
    EXPECT_EQ(3, Get("Filter Level"));
}

TEST_F(SettingsFile, LiesInTheUsersConfigurationUnlessNamed)
{
    unsetenv("ORLMAPI_SETTINGS");
    setenv("XDG_CONFIG_HOME", (m_folder / "config").c_str(), 1);
    EXPECT_EQ(ERROR_SUCCESS, Set("Filter Level", 3));
    EXPECT_TRUE(fs::exists(m_folder / "config/orlmapi/settings.json"));
    unsetenv("XDG_CONFIG_HOME");
    const std::string home = std::getenv("HOME") ? std::getenv("HOME") : "";
    setenv("HOME", m_folder.c_str(), 1);
    EXPECT_EQ(ERROR_SUCCESS, Set("Filter Level", 4));
    EXPECT_TRUE(fs::exists(m_folder / ".config/orlmapi/settings.json"));
    setenv("HOME", home.c_str(), 1);
}

TEST_F(SettingsFile, ThatIsALinkStaysOne)
{
    std::ofstream(m_folder / "real.json") << "{}";
    fs::create_symlink("real.json", m_file);
    fs::permissions(m_folder / "real.json", fs::perms(0640));
    EXPECT_EQ(ERROR_SUCCESS, Set("Filter Level", 2));
    EXPECT_TRUE(fs::is_symlink(m_file));
    EXPECT_EQ(2, Get("Filter Level"));
    EXPECT_EQ(fs::perms(0640), fs::status(m_folder / "real.json").permissions());
}

// What a child process answers, by its exit status. A user with all rights would be refused nothing, so the child
// gives them up.
int AsOrdinaryUser(int (*body)())
{
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
            _exit(99);
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(SettingsFile, InAFolderThatCantBeWrittenToIsDenied)
{
    ASSERT_EQ(ERROR_SUCCESS, Set("Filter Level", 3));
    fs::permissions(m_folder, fs::perms(0555));
    fs::permissions(m_file, fs::perms(0444));
    EXPECT_EQ(ERROR_ACCESS_DENIED, AsOrdinaryUser([] { return static_cast<int>(Set("Filter Level", 4)); }));
    EXPECT_EQ(3, AsOrdinaryUser([] { return static_cast<int>(Get("Filter Level")); }));
    // A change that is none needs no right to write.
    EXPECT_EQ(ERROR_SUCCESS, AsOrdinaryUser([] { return static_cast<int>(Set("Filter Level", 3)); }));
    fs::permissions(m_file, fs::perms(0000));
    EXPECT_EQ(ERROR_ACCESS_DENIED, AsOrdinaryUser([] { return static_cast<int>(-Get("Filter Level")); }));
    fs::permissions(m_folder, fs::perms(0000));
    EXPECT_EQ(ERROR_ACCESS_DENIED, AsOrdinaryUser([] { return static_cast<int>(Set("Filter Level", 4)); }));
}

TEST_F(SettingsFile, ThatCanLieNowhereIsDenied)
{
    setenv("ORLMAPI_SETTINGS", "/proc/no/such/folder/settings.json", 1);
    EXPECT_EQ(ERROR_ACCESS_DENIED, Set("Filter Level", 4));
    EXPECT_EQ(-ERROR_FILE_NOT_FOUND, Get("Filter Level"));
}

TEST_F(SettingsFile, LosesNoValueWhenManyProcessesWriteAtOnce)
{
    constexpr int kProcesses = 6, kValues = 15;
    std::vector<pid_t> children;
    for (int process = 0; process < kProcesses; ++process) {
        children.push_back(fork());
        if (children.back() == 0) {
            for (int i = 0; i < kValues; ++i)
                if (Set(Formats("%d-%d", process, i).c_str(), static_cast<DWORD>(process * 100 + i)) != ERROR_SUCCESS)
                    _exit(1);
            _exit(0);
        }
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(0, status);
    }
    for (int process = 0; process < kProcesses; ++process)
        for (int i = 0; i < kValues; ++i)
            EXPECT_EQ(process * 100 + i, Get(Formats("%d-%d", process, i).c_str()));
    // The file, its lock, and nothing else.
    EXPECT_EQ(2, std::distance(fs::directory_iterator(m_folder), fs::directory_iterator()));
}
} // namespace
