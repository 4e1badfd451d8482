// Voice streams as tests write them, and files to save them to.
#pragma once
#include "messages/MessagesTest.h"
#include "messages/reading/Codecs.h"
#include "messages/reading/VoiceStream.h"
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace messages_test
{

inline std::string Number32(ULONG value)
{
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(value >> shift);
    return bytes;
}

inline std::string Chunk(const std::string &identifier, const std::string &data)
{
    return identifier + Number32(static_cast<ULONG>(data.size())) + data;
}

// A "fmt " chunk's data of mono, 8 kHz.
inline std::string Format(WORD tag)
{
    return std::string{static_cast<char>(tag), static_cast<char>(tag >> 8)} + std::string("\x01\0", 2) +
           Number32(8000) + Number32(8000) + std::string("\x01\0\x08\0", 4);
}

inline std::string Riff(const std::string &chunks)
{
    return "RIFF" + Number32(static_cast<ULONG>(chunks.size() + 4)) + "WAVE" + chunks;
}

inline std::string Wave(WORD tag, const std::string &data)
{
    return Riff(Chunk("fmt ", Format(tag)) + Chunk("data", data));
}

inline std::string FileContent(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

class VoiceStreamTest : public MessagesTest
{
  protected:
    // Each test program has its own file: several of them may run at the same time.
    VoiceStreamTest()
        : m_file((std::filesystem::temp_directory_path() /
                  (std::string("orlmapi_") + testing::UnitTest::GetInstance()->current_test_info()->name() +
                   std::to_string(GetCurrentProcessId())))
                     .string())
    {
        std::remove(m_file.c_str());
    }
    ~VoiceStreamTest() override { std::remove(m_file.c_str()); }

    HRESULT Save(const std::string &content, BYTE bWMA = 0) const
    {
        ComPtr<IStream> stream(NewStream("voice", std::make_shared<StreamData>(content)));
        return SaveStreamToFile(stream.get(), bWMA, m_file.c_str());
    }
    bool FileIsThere() const { return std::ifstream(m_file).good(); }

    const std::string m_file;
};

} // namespace messages_test
