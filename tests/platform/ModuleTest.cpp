// Proves how modules are found, loaded, asked for entry points and named.
#include "Text.h"
#include <cstdio>
#include <gtest/gtest.h>

namespace
{
constexpr DWORD kUntouched = 0xDEAD;
constexpr char kModule[] = "PlatformTest.Module"; // as mixed in case as it stands in the folder

std::string FileName(HMODULE module)
{
    char path[1024];
    const DWORD length = GetModuleFileNameA(module, path, sizeof path);
    return length < sizeof path ? std::string(path, length) : "<too long>";
}

std::string LastPart(const std::string &path)
{
    return path.substr(path.find_last_of("/\\") + 1);
}

HMODULE ThisImage()
{
    HMODULE module = nullptr;
    static const char inThisImage = 0;
    EXPECT_TRUE(GetModuleHandleExA(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, &inThisImage, &module));
    return module;
}

TEST(Module, IsLoadedFromBesideTheProgramByItsName)
{
    const HMODULE module = LoadLibraryA(kModule);
    ASSERT_NE(nullptr, module) << GetLastError();
    const auto answer = reinterpret_cast<int (*)()>(GetProcAddress(module, "Answer"));
    ASSERT_NE(nullptr, answer);
    EXPECT_EQ(42, answer());
    EXPECT_EQ(kModule, LastPart(FileName(module)));
    EXPECT_EQ(module, LoadLibraryA(kModule));
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_TRUE(FreeLibrary(module));
}

TEST(Module, IsLoadedByItsPath)
{
    const std::string program = FileName(nullptr);
    const std::string path = program.substr(0, program.size() - LastPart(program).size()) + kModule;
    const HMODULE module = LoadLibraryA(path.c_str());
    ASSERT_NE(nullptr, module) << path;
    EXPECT_EQ(path, FileName(module));
    EXPECT_TRUE(FreeLibrary(module));
}

TEST(Module, ThatIsNotThereIsNotFound)
{
    for (const char *name : {"NoSuch.Module", "./NoSuch.Module", "no/such/folder/NoSuch.Module"}) {
        SetLastError(kUntouched);
        EXPECT_EQ(nullptr, LoadLibraryA(name)) << name;
        EXPECT_EQ(DWORD{ERROR_MOD_NOT_FOUND}, GetLastError()) << name;
    }
}

TEST(Module, ThatIsNoImageIsRefused)
{
    FILE *file = nullptr;
    ASSERT_EQ(0, fopen_s(&file, "./not_an_image.vcl", "wb"));
    for (int i = 0; i < 100; ++i)
        fputs("This is no image of a program. ", file);
    fclose(file);
    SetLastError(kUntouched);
    EXPECT_EQ(nullptr, LoadLibraryA("./not_an_image.vcl"));
    EXPECT_EQ(DWORD{ERROR_BAD_EXE_FORMAT}, GetLastError());
    std::remove("./not_an_image.vcl");
}

TEST(Module, WithoutAnEntryPointSaysSo)
{
    const HMODULE module = LoadLibraryA(kModule);
    SetLastError(kUntouched);
    EXPECT_EQ(nullptr, GetProcAddress(module, "NoSuchName"));
    EXPECT_EQ(DWORD{ERROR_PROC_NOT_FOUND}, GetLastError());
    SetLastError(kUntouched);
    EXPECT_EQ(nullptr, GetProcAddress(module, "printf")); // of the library that it stands on
    EXPECT_EQ(DWORD{ERROR_PROC_NOT_FOUND}, GetLastError());
    EXPECT_TRUE(FreeLibrary(module));
}

TEST(Module, OfAnAddressIsTheImageThatHoldsIt)
{
    EXPECT_NE(nullptr, ThisImage());
    EXPECT_EQ(FileName(nullptr), FileName(ThisImage()));
    EXPECT_NE(std::string::npos, LastPart(FileName(nullptr)).find("module_test"));
}

TEST(Module, NamesAreCutToTheRoomThatThereIs)
{
    const std::string whole = FileName(nullptr);
    std::string buffer(whole.size() + 1, 'Z');
    EXPECT_EQ(whole.size(), GetModuleFileNameA(nullptr, buffer.data(), static_cast<DWORD>(buffer.size())));
    SetLastError(kUntouched);
    EXPECT_EQ(whole.size(), GetModuleFileNameA(nullptr, buffer.data(), static_cast<DWORD>(whole.size())));
    EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
    EXPECT_EQ(whole.substr(0, whole.size() - 1), buffer.substr(0, whole.size() - 1));
}

TEST(Module, ThatIsNoModuleIsRefused)
{
    const auto none = reinterpret_cast<HMODULE>(ULONG_PTR{0x10000});
    char path[64];
    SetLastError(kUntouched);
    EXPECT_EQ(0u, GetModuleFileNameA(none, path, sizeof path));
    EXPECT_EQ(DWORD{ERROR_MOD_NOT_FOUND}, GetLastError());
    EXPECT_EQ(nullptr, GetProcAddress(none, "Answer"));
}

TEST(MessageModule, ThatIsNotThereIsNotFound)
{
    SetLastError(kUntouched);
    EXPECT_EQ(nullptr, LoadLibraryExA("nosuchmessages.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE));
    EXPECT_NE(kUntouched, GetLastError());
}

TEST(Version, IsOfThePlatformOfWindowsNT)
{
    OSVERSIONINFOA version{};
    EXPECT_FALSE(GetVersionExA(&version));
    version.dwOSVersionInfoSize = sizeof version;
    EXPECT_TRUE(GetVersionExA(&version));
    EXPECT_EQ(DWORD{VER_PLATFORM_WIN32_NT}, version.dwPlatformId);
    EXPECT_LT(0u, version.dwMajorVersion);
}
} // namespace
