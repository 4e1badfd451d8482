// Where the site's file is looked for, and that it is opened once for all who use it.
#include "localmapi/provider/site/SiteFile.h"
#include "SiteFixture.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Rights.h"

#include <gtest/gtest.h>

#include <windows.h>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

class SiteFile : public SiteTest
{
  protected:
    SiteFile() { m_makeSite = false; }
    void SetUp() override
    {
        SiteTest::SetUp();
        // Settings of a file of the test's own where they are kept in one.
        m_settings.emplace("ORLMAPI_SETTINGS", PathOf("settings.json"));
        DeleteSetting(HKEY_CURRENT_USER);
        DeleteSetting(HKEY_LOCAL_MACHINE);
    }
    void TearDown() override
    {
        DeleteSetting(HKEY_CURRENT_USER);
        DeleteSetting(HKEY_LOCAL_MACHINE);
        m_settings.reset();
        SiteTest::TearDown();
    }
    static void SetSetting(HKEY root, const std::string &text)
    {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExA(root, kPath, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        EXPECT_EQ(RegSetValueExA(key, "File", 0, REG_SZ, reinterpret_cast<const BYTE *>(text.c_str()),
                                 static_cast<DWORD>(text.size() + 1)),
                  ERROR_SUCCESS);
        RegCloseKey(key);
    }
    static void DeleteSetting(HKEY root)
    {
        HKEY key = nullptr;
        if (RegOpenKeyExA(root, kPath, 0, KEY_WRITE, &key) == ERROR_SUCCESS) {
            RegDeleteValueA(key, "File");
            RegCloseKey(key);
        }
    }

    static constexpr char kPath[] = "SOFTWARE\\BRANE\\LocalMapi";
    std::optional<ScopedVariable> m_settings;
};

TEST_F(SiteFile, TheEnvironmentComesFirst)
{
    SetSetting(HKEY_CURRENT_USER, "settings.db");
    EXPECT_EQ(FindSiteFile(), m_file);
    const ScopedVariable other("LOCALMAPI_FILE", "Zo\xC3\xAB-\xE6\x9D\xB1.db");
    EXPECT_EQ(FindSiteFile(), "Zo\xC3\xAB-\xE6\x9D\xB1.db");
}

TEST_F(SiteFile, ThenTheUsersSettingAndTheMachines)
{
    const ScopedVariable none("LOCALMAPI_FILE", "");
    SetSetting(HKEY_LOCAL_MACHINE, "machine.db");
    EXPECT_EQ(FindSiteFile(), "machine.db");
    SetSetting(HKEY_CURRENT_USER, "user.db");
    EXPECT_EQ(FindSiteFile(), "user.db");
    SetSetting(HKEY_CURRENT_USER, "");
    EXPECT_EQ(FindSiteFile(), "machine.db") << "an empty setting is none";
}

TEST_F(SiteFile, ThenAFileInTheUsersDataFolder)
{
    const ScopedVariable none("LOCALMAPI_FILE", "");
    const ScopedVariable xdg("XDG_DATA_HOME", PathOf("data")), local("LOCALAPPDATA", PathOf("data"));
    const std::filesystem::path expected = m_folder / "data" / "localmapi" / "site.db";
    EXPECT_EQ(std::filesystem::path(FindSiteFile()), expected);
    storage::MakePrivateFolders(storage::Utf8Of(storage::PathOf(FindSiteFile()).parent_path()));
    EXPECT_TRUE(std::filesystem::is_directory(expected.parent_path()));
    storage::MakePrivateFolders(storage::Utf8Of(storage::PathOf(FindSiteFile()).parent_path()));
}

TEST_F(SiteFile, OneHandleServesAll)
{
    storage::Site::Create(m_file, "NORVIK1", "Norvik");
    const auto first = OpenSite(m_file), second = OpenSite(m_file);
    EXPECT_EQ(first, second);
    EXPECT_EQ(first->Info().server, "NORVIK1");
}

TEST_F(SiteFile, ANewFileOfTheSameNameIsAnotherSite)
{
    storage::Site::Create(m_file, "NORVIK1", "Norvik");
    EXPECT_EQ(OpenSite(m_file)->Info().server, "NORVIK1");
    std::filesystem::remove_all(m_folder);
    std::filesystem::create_directories(m_folder);
    storage::Site::Create(m_file, "NORVIK2", "Norvik");
    EXPECT_EQ(OpenSite(m_file)->Info().server, "NORVIK2");
}

TEST_F(SiteFile, AMissingFileIsNotMade)
{
    EXPECT_THROW(OpenSite(m_file), storage::Error);
    EXPECT_FALSE(std::filesystem::exists(m_file));
}

} // namespace
