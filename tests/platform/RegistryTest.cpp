// Proves the registry's calls: keys and values, what they answer about sizes, and what is refused. On Linux they stand
// on the settings file that CTest names.
#include "Text.h"
#include <gtest/gtest.h>
#include <vector>

namespace
{
constexpr char kBase[] = "Software\\BRANE\\PlatformTest";

class Registry : public testing::Test
{
  protected:
    Registry()
    {
        RegDeleteTreeA(HKEY_CURRENT_USER, kBase);
        DWORD disposition = 0;
        EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExA(HKEY_CURRENT_USER, kBase, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                                 KEY_ALL_ACCESS, nullptr, &m_key, &disposition));
        EXPECT_EQ(DWORD{REG_CREATED_NEW_KEY}, disposition);
    }
    ~Registry() override
    {
        RegCloseKey(m_key);
        RegDeleteTreeA(HKEY_CURRENT_USER, kBase);
    }
    LSTATUS SetText(const char *name, const std::string &text)
    {
        return RegSetValueExA(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE *>(text.c_str()),
                              static_cast<DWORD>(text.size() + 1));
    }
    std::string TextOf(const char *name)
    {
        char text[256];
        DWORD type = 0, size = sizeof text;
        const LSTATUS result = RegQueryValueExA(m_key, name, nullptr, &type, reinterpret_cast<BYTE *>(text), &size);
        if (result != ERROR_SUCCESS)
            return "<" + std::to_string(result) + ">";
        return type == REG_SZ && size == std::strlen(text) + 1 ? text : "<other>";
    }
    LSTATUS Create(const char *below)
    {
        HKEY made;
        const LSTATUS result = RegCreateKeyExA(m_key, below, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr);
        if (result == ERROR_SUCCESS)
            RegCloseKey(made);
        return result;
    }
    HKEY m_key;
};

TEST_F(Registry, KeepsText)
{
    EXPECT_EQ(ERROR_SUCCESS, SetText("Module Name", "voicemail"));
    EXPECT_EQ("voicemail", TextOf("Module Name"));
    EXPECT_EQ("voicemail", TextOf("mODULE nAME"));
    EXPECT_EQ(ERROR_SUCCESS, SetText("Module Name", ""));
    EXPECT_EQ("", TextOf("Module Name"));
    EXPECT_EQ("<2>", TextOf("Other"));
}

TEST_F(Registry, KeepsNumbers)
{
    for (const DWORD number : {0u, 8u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ERROR_SUCCESS,
                  RegSetValueExA(m_key, "Filter Level", 0, REG_DWORD, reinterpret_cast<const BYTE *>(&number), 4));
        DWORD read = 77, type = 0, size = sizeof read;
        EXPECT_EQ(ERROR_SUCCESS,
                  RegQueryValueExA(m_key, "Filter Level", nullptr, &type, reinterpret_cast<BYTE *>(&read), &size));
        EXPECT_EQ(number, read);
        EXPECT_EQ(DWORD{REG_DWORD}, type);
        EXPECT_EQ(4u, size);
    }
}

TEST_F(Registry, KeepsBytes)
{
    std::vector<BYTE> bytes;
    for (int i = 0; i < 256; ++i)
        bytes.push_back(static_cast<BYTE>(i));
    EXPECT_EQ(ERROR_SUCCESS, RegSetValueExA(m_key, "ID Bitmap", 0, REG_BINARY, bytes.data(), 256));
    std::vector<BYTE> read(256);
    DWORD type = 0, size = 256;
    EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExA(m_key, "ID Bitmap", nullptr, &type, read.data(), &size));
    EXPECT_EQ(bytes, read);
    EXPECT_EQ(DWORD{REG_BINARY}, type);
    EXPECT_EQ(ERROR_SUCCESS, RegSetValueExA(m_key, "ID Bitmap", 0, REG_BINARY, nullptr, 0));
    size = 5;
    EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExA(m_key, "ID Bitmap", nullptr, nullptr, nullptr, &size));
    EXPECT_EQ(0u, size);
}

TEST_F(Registry, SaysHowMuchRoomAValueNeeds)
{
    SetText("Text", "12345");
    DWORD size = 0, type = 0;
    EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExA(m_key, "Text", nullptr, &type, nullptr, &size));
    EXPECT_EQ(6u, size);
    BYTE small[5];
    size = sizeof small;
    EXPECT_EQ(ERROR_MORE_DATA, RegQueryValueExA(m_key, "Text", nullptr, &type, small, &size));
    EXPECT_EQ(6u, size);
    EXPECT_EQ(ERROR_INVALID_PARAMETER, RegQueryValueExA(m_key, "Text", nullptr, nullptr, small, nullptr));
    EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExA(m_key, "Text", nullptr, &type, nullptr, nullptr));
}

TEST_F(Registry, OpensTheKeysThatAreThere)
{
    EXPECT_EQ(ERROR_SUCCESS, Create("One\\Two"));
    HKEY opened;
    for (const char *path : {"One", "One\\Two", "one\\TWO", "One\\Two\\"}) {
        ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(m_key, path, 0, KEY_READ, &opened)) << path;
        RegCloseKey(opened);
    }
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegOpenKeyExA(m_key, "Three", 0, KEY_READ, &opened));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegOpenKeyExA(m_key, "One\\Tw", 0, KEY_READ, &opened));
    DWORD disposition = 0;
    ASSERT_EQ(ERROR_SUCCESS,
              RegCreateKeyExA(HKEY_CURRENT_USER, kBase, 0, nullptr, 0, KEY_WRITE, nullptr, &opened, &disposition));
    EXPECT_EQ(DWORD{REG_OPENED_EXISTING_KEY}, disposition);
    RegCloseKey(opened);
}

TEST_F(Registry, GivesNoMoreThanWasAskedFor)
{
    HKEY reading, writing;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_CURRENT_USER, kBase, 0, KEY_READ, &reading));
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_CURRENT_USER, kBase, 0, KEY_WRITE, &writing));
    const DWORD number = 1;
    const auto *bytes = reinterpret_cast<const BYTE *>(&number);
    DWORD size = 0;
    EXPECT_EQ(ERROR_ACCESS_DENIED, RegSetValueExA(reading, "Number", 0, REG_DWORD, bytes, 4));
    EXPECT_EQ(ERROR_SUCCESS, RegSetValueExA(writing, "Number", 0, REG_DWORD, bytes, 4));
    EXPECT_EQ(ERROR_ACCESS_DENIED, RegQueryValueExA(writing, "Number", nullptr, nullptr, nullptr, &size));
    EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExA(reading, "Number", nullptr, nullptr, nullptr, &size));
    RegCloseKey(reading);
    RegCloseKey(writing);
}

TEST_F(Registry, DeletesValues)
{
    SetText("Text", "x");
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteValueA(m_key, "TEXT"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegDeleteValueA(m_key, "Text"));
    EXPECT_EQ("<2>", TextOf("Text"));
}

TEST_F(Registry, DeletesAKeyWithoutKeysBelowAndATreeWithThem)
{
    Create("One\\Two");
    EXPECT_EQ(ERROR_ACCESS_DENIED, RegDeleteKeyA(m_key, "One"));
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteKeyA(m_key, "One\\Two"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegDeleteKeyA(m_key, "One\\Two"));
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteKeyA(m_key, "One"));
    Create("One\\Two\\Three");
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteTreeA(m_key, "One"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegDeleteTreeA(m_key, "One"));
    HKEY opened;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_CURRENT_USER, kBase, 0, KEY_READ, &opened));
    RegCloseKey(opened);
}

TEST_F(Registry, ListsTheKeysBelow)
{
    Create("Beta\\Deeper");
    Create("alpha");
    std::vector<std::string> names;
    for (DWORD index = 0;; ++index) {
        char name[64];
        DWORD length = sizeof name;
        const LSTATUS result = RegEnumKeyExA(m_key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (result == ERROR_NO_MORE_ITEMS)
            break;
        ASSERT_EQ(ERROR_SUCCESS, result);
        EXPECT_EQ(std::strlen(name), length);
        names.push_back(name);
    }
    EXPECT_EQ((std::vector<std::string>{"alpha", "Beta"}), names);
    char small[5];
    DWORD length = sizeof small;
    EXPECT_EQ(ERROR_MORE_DATA, RegEnumKeyExA(m_key, 0, small, &length, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(Registry, RefusesHandlesThatAreNone)
{
    HKEY opened;
    DWORD size = 0;
    EXPECT_EQ(ERROR_INVALID_HANDLE, RegOpenKeyExA(nullptr, "Software", 0, KEY_READ, &opened));
    EXPECT_EQ(ERROR_INVALID_HANDLE, RegQueryValueExA(nullptr, "x", nullptr, nullptr, nullptr, &size));
    EXPECT_EQ(ERROR_INVALID_HANDLE, RegCloseKey(nullptr));
    EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(HKEY_LOCAL_MACHINE));
}

TEST_F(Registry, KnowsADeletedKeyByItsHandle)
{
    HKEY below;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExA(m_key, "Gone", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr));
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteKeyA(m_key, "Gone"));
    const DWORD number = 1;
    EXPECT_EQ(ERROR_KEY_DELETED, RegSetValueExA(below, "x", 0, REG_DWORD, reinterpret_cast<const BYTE *>(&number), 4));
    EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(below));
}
} // namespace
