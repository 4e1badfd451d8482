// Proves the error texts of Linux: the C library's where they fit, and a catalogue of messages in the place of a
// message module.
#include "Text.h"
#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>

namespace
{
std::string TextOf(DWORD code, HMODULE module = nullptr)
{
    char buffer[256];
    DWORD flags = FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    if (module)
        flags |= FORMAT_MESSAGE_FROM_HMODULE;
    return FormatMessageA(flags, module, code, 0x400, buffer, sizeof buffer, nullptr) ? buffer : "";
}

TEST(ErrorTextOnLinux, IsTheCLibrarysWhereItHasTheSameError)
{
    EXPECT_EQ("Permission denied\r\n", TextOf(ERROR_ACCESS_DENIED));
    EXPECT_EQ("No such file or directory\r\n", TextOf(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ("Cannot allocate memory\r\n", TextOf(0x8007000E));
    EXPECT_EQ("Invalid handle\r\n", TextOf(ERROR_INVALID_HANDLE));
}

TEST(ErrorTextOnLinux, IsNotThereForCodesOfOLE)
{
    for (const DWORD code : {0x80004005u, 0x8000FFFFu, 0x80030002u, 0x80040154u}) {
        EXPECT_EQ("", TextOf(code));
        EXPECT_EQ(DWORD{ERROR_MR_MID_NOT_FOUND}, GetLastError());
    }
}

TEST(ErrorTextOnLinux, WantsInsertsIgnored)
{
    char buffer[64];
    EXPECT_EQ(0u, FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, buffer, sizeof buffer, nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST(MessageCatalogue, StandsInForAMessageModule)
{
    FILE *source = nullptr;
    ASSERT_EQ(0, fopen_s(&source, "messages.txt", "w"));
    fputs("$set 1\n2101 A text of the network.\n", source);
    fclose(source);
    ASSERT_EQ(0, std::system("gencat ./netmsg.cat messages.txt"));
    const HMODULE module = LoadLibraryExA("./netmsg.cat", nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(nullptr, module);
    EXPECT_EQ("A text of the network.\r\n", TextOf(2101, module));
    EXPECT_EQ("", TextOf(2102, module));
    EXPECT_EQ("Permission denied\r\n", TextOf(5, module));
    EXPECT_EQ(nullptr, GetProcAddress(module, "Answer"));
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_FALSE(FreeLibrary(module));
    EXPECT_EQ("", TextOf(2101, module));
    std::remove("messages.txt");
    std::remove("netmsg.cat");
}
} // namespace
