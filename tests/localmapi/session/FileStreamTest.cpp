// Proves OpenStreamOnFile: a file's bytes as a stream for reading, in pieces however long it is, and what no file, a
// folder and wrong arguments give.
#include "SiteFixture.h"
#include "localmapi/provider/base/Text.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

namespace fs = std::filesystem;

class FileStream : public SiteTest
{
  protected:
    FileStream()
    {
        m_makeSite = false;
        fs::create_directories(m_folder);
    }
    ~FileStream() override
    {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    std::string Name(const std::string &name) const
    {
        const std::u8string text = (m_folder / std::u8string(name.begin(), name.end())).u8string();
        return AnsiFromUtf8(std::string(text.begin(), text.end()));
    }
    std::string File(const std::string &name, const std::string &bytes)
    {
        std::ofstream(m_folder / name, std::ios::binary) << bytes;
        return Name(name);
    }
    static HRESULT Open(const std::string &name, ComPtr<IStream> &stream, ULONG flags = 0)
    {
        std::string text = name;
        return OpenStreamOnFile(MAPIAllocateBuffer, MAPIFreeBuffer, flags, text.data(), nullptr, stream.put());
    }
    static ULONGLONG Size(IStream *stream)
    {
        STATSTG stat{};
        EXPECT_CODE(stream->Stat(&stat, STATFLAG_NONAME), S_OK);
        return stat.cbSize.QuadPart;
    }
    static std::string Read(IStream *stream, ULONG size)
    {
        std::string bytes(size, '\0');
        ULONG read = 0;
        EXPECT_CODE(stream->Read(bytes.data(), size, &read), S_OK);
        bytes.resize(read);
        return bytes;
    }

    const fs::path m_folder = fs::temp_directory_path() / ("localmapi-file-" + std::to_string(std::random_device()()));
};

TEST_F(FileStream, AFileIsReadFromAnyPlace)
{
    const std::string name = File("there.txt", "0123456789");
    ComPtr<IStream> stream;
    ASSERT_CODE(Open(name, stream), S_OK);
    EXPECT_EQ(Size(stream.get()), 10u);
    EXPECT_EQ(Read(stream.get(), 4), "0123");
    EXPECT_EQ(Read(stream.get(), 100), "456789");
    EXPECT_EQ(Read(stream.get(), 100), "");
    LARGE_INTEGER start{};
    EXPECT_CODE(stream->Seek(start, STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(Read(stream.get(), 100), "0123456789");
    stream.reset();
    EXPECT_TRUE(fs::remove(m_folder / "there.txt")) << "nothing holds the file any more";
}

TEST_F(FileStream, TheFileIsOnlyRead)
{
    const std::string name = File("there.txt", "0123456789");
    ComPtr<IStream> stream;
    ASSERT_CODE(Open(name, stream, STGM_READ | STGM_SHARE_DENY_WRITE), S_OK);
    ULONG written = 1;
    EXPECT_CODE(stream->Write("x", 1, &written), STG_E_ACCESSDENIED);
    EXPECT_EQ(written, 0u);
    stream.reset();
    EXPECT_EQ(fs::file_size(m_folder / "there.txt"), 10u);
}

TEST_F(FileStream, AnEmptyFileIsAnEmptyStream)
{
    ComPtr<IStream> stream;
    ASSERT_CODE(Open(File("empty.txt", ""), stream), S_OK);
    EXPECT_EQ(Size(stream.get()), 0u);
    EXPECT_EQ(Read(stream.get(), 10), "");
}

TEST_F(FileStream, WhatIsNotThereIsNotFoundAndNotMade)
{
    ComPtr<IStream> stream;
    EXPECT_CODE(Open(Name("missing.txt"), stream), MAPI_E_NOT_FOUND);
    EXPECT_CODE(Open(Name("missing/there.txt"), stream), MAPI_E_NOT_FOUND);
    EXPECT_FALSE(stream);
    EXPECT_FALSE(fs::exists(m_folder / "missing.txt"));
    const std::string long_name(5000, 'x');
    EXPECT_CODE(Open(Name(long_name), stream), MAPI_E_NOT_FOUND);
}

TEST_F(FileStream, AFolderIsNoFile)
{
    fs::create_directories(m_folder / "folder");
    ComPtr<IStream> stream;
    EXPECT_CODE(Open(Name("folder"), stream), MAPI_E_NO_ACCESS);
    EXPECT_FALSE(stream);
}

TEST_F(FileStream, WrongArgumentsAndWritingAreRefused)
{
    std::string name = File("there.txt", "0123456789");
    ComPtr<IStream> stream;
    EXPECT_CODE(OpenStreamOnFile(nullptr, nullptr, 0, nullptr, nullptr, stream.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(OpenStreamOnFile(nullptr, nullptr, 0, name.data(), nullptr, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Open("", stream), MAPI_E_INVALID_PARAMETER);
    for (const ULONG flags : {ULONG{STGM_READWRITE}, ULONG{STGM_WRITE}, ULONG{STGM_CREATE}, ULONG{SOF_UNIQUEFILENAME}})
        EXPECT_CODE(Open(name, stream, flags), MAPI_E_NO_SUPPORT) << flags;
    std::string prefix = "TMP";
    EXPECT_CODE(OpenStreamOnFile(nullptr, nullptr, 0, name.data(), prefix.data(), stream.put()), MAPI_E_NO_SUPPORT);
    EXPECT_FALSE(stream);
    EXPECT_EQ(fs::file_size(m_folder / "there.txt"), 10u);
}

// More than 32 bits hold; the file is sparse.
TEST_F(FileStream, AFileOfMoreThan4GBIsReadAtItsEnd)
{
    const std::string name = File("long.bin", "");
    constexpr std::uint64_t kSize = 0x100000010;
    std::error_code error;
    fs::resize_file(m_folder / "long.bin", kSize, error);
    if (error)
        GTEST_SKIP() << "there is no room for so long a file: " << error.message();
    {
        std::fstream file(m_folder / "long.bin", std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(kSize - 4));
        file << "last";
    }
    ComPtr<IStream> stream;
    ASSERT_CODE(Open(name, stream), S_OK);
    EXPECT_EQ(Size(stream.get()), kSize);
    LARGE_INTEGER place{};
    place.QuadPart = -6;
    EXPECT_CODE(stream->Seek(place, STREAM_SEEK_END, nullptr), S_OK);
    EXPECT_EQ(Read(stream.get(), 100), std::string("\0\0last", 6));
}

} // namespace
