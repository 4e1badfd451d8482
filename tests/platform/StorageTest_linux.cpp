// Proves that an existing file is wrapped, unchanged, as a storage with the one stream "CONTENTS", and what is
// refused.
#include "Text.h"
#include "support/BareStream.h"
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{
namespace fs = std::filesystem;
constexpr DWORD kMode = STGM_CONVERT | STGM_TRANSACTED | STGM_SHARE_EXCLUSIVE | STGM_READWRITE;

template <class T> class Held
{
  public:
    ~Held() { reset(); }
    T **put()
    {
        reset();
        return &m_object;
    }
    T *operator->() const { return m_object; }
    T *get() const { return m_object; }
    // The count after letting go; 0 when the object is gone.
    ULONG reset()
    {
        T *object = m_object;
        m_object = nullptr;
        return object ? object->Release() : 0;
    }

  private:
    T *m_object = nullptr;
};

class WrappedFile : public testing::Test
{
  protected:
    WrappedFile()
    {
        char name[] = "/tmp/storage_test.XXXXXX";
        m_folder = mkdtemp(name);
        m_file = m_folder / "message \xC3\xA9.wav";
        std::mt19937 random(1);
        for (int i = 0; i < 200000; ++i)
            m_content += static_cast<char>(random());
        std::ofstream(m_file, std::ios::binary) << m_content;
    }
    ~WrappedFile() override { fs::remove_all(m_folder); }
    static HRESULT Wrap(const fs::path &path, IStorage **storage, DWORD mode = kMode)
    {
        return StgCreateDocfile(path.u16string().c_str(), mode, 0, storage);
    }
    void Open()
    {
        ASSERT_EQ(S_OK, Wrap(m_file, m_storage.put()));
        ASSERT_EQ(S_OK, m_storage->OpenStream(u"CONTENTS", nullptr, STGM_SHARE_EXCLUSIVE, 0, m_stream.put()));
    }
    std::string Read(ULONG count)
    {
        std::string bytes(count, '\0');
        ULONG read = 77;
        EXPECT_EQ(S_OK, m_stream->Read(bytes.data(), count, &read));
        return bytes.substr(0, read);
    }
    fs::path m_folder, m_file;
    std::string m_content;
    Held<IStorage> m_storage;
    Held<IStream> m_stream;
};

TEST_F(WrappedFile, IsReadWholeAndLeftAsItWas)
{
    Open();
    m_storage.reset();
    std::string read;
    for (std::string block; !(block = Read(4096)).empty();)
        read += block;
    EXPECT_EQ(m_content, read);
    EXPECT_EQ("", Read(10));
    EXPECT_EQ(0u, m_stream.reset());
    std::ifstream in(m_file, std::ios::binary);
    std::stringstream after;
    after << in.rdbuf();
    EXPECT_EQ(m_content, after.str());
}

TEST_F(WrappedFile, IsReadFromWhereItWasSought)
{
    Open();
    const auto seek = [&](LONGLONG distance, DWORD origin) {
        LARGE_INTEGER move;
        move.QuadPart = distance;
        ULARGE_INTEGER position;
        position.QuadPart = 77;
        return m_stream->Seek(move, origin, &position) == S_OK ? static_cast<LONGLONG>(position.QuadPart) : -1;
    };
    EXPECT_EQ(100, seek(100, STREAM_SEEK_SET));
    EXPECT_EQ(m_content.substr(100, 10), Read(10));
    EXPECT_EQ(105, seek(-5, STREAM_SEEK_CUR));
    EXPECT_EQ(m_content.substr(105, 10), Read(10));
    EXPECT_EQ(199990, seek(-10, STREAM_SEEK_END));
    EXPECT_EQ(m_content.substr(199990), Read(100));
    EXPECT_EQ(300000, seek(300000, STREAM_SEEK_SET));
    EXPECT_EQ("", Read(10));
    EXPECT_EQ(-1, seek(-1, STREAM_SEEK_SET));
    EXPECT_EQ(-1, seek(0, 3));
    EXPECT_EQ(-1, seek(INT64_MAX, STREAM_SEEK_END));
    EXPECT_EQ(0, seek(0, STREAM_SEEK_SET));
    EXPECT_EQ(S_OK, m_stream->Seek({}, STREAM_SEEK_SET, nullptr));
}

TEST_F(WrappedFile, SaysItsSizeAndName)
{
    Open();
    STATSTG status;
    ASSERT_EQ(S_OK, m_stream->Stat(&status, STATFLAG_DEFAULT));
    EXPECT_EQ(m_content.size(), status.cbSize.QuadPart);
    EXPECT_EQ(DWORD{STGTY_STREAM}, status.type);
    EXPECT_EQ(u"CONTENTS", WideText(status.pwcsName));
    CoTaskMemFree(status.pwcsName);
    ASSERT_EQ(S_OK, m_stream->Stat(&status, STATFLAG_NONAME));
    EXPECT_EQ(nullptr, status.pwcsName);
    ASSERT_EQ(S_OK, m_storage->Stat(&status, STATFLAG_DEFAULT));
    EXPECT_EQ(DWORD{STGTY_STORAGE}, status.type);
    EXPECT_EQ(m_file.u16string(), WideText(status.pwcsName));
    CoTaskMemFree(status.pwcsName);
}

TEST_F(WrappedFile, IsNotWrittenTo)
{
    Open();
    ULONG written = 77;
    ULARGE_INTEGER size{};
    EXPECT_EQ(STG_E_ACCESSDENIED, m_stream->Write("x", 1, &written));
    EXPECT_EQ(0u, written);
    EXPECT_EQ(STG_E_ACCESSDENIED, m_stream->SetSize(size));
    EXPECT_EQ(S_OK, m_stream->Commit(STGC_DEFAULT));
    EXPECT_EQ(S_OK, m_storage->Commit(STGC_DEFAULT));
    EXPECT_EQ(STG_E_ACCESSDENIED, m_storage->DestroyElement(u"CONTENTS"));
    Held<IStream> other;
    EXPECT_EQ(STG_E_ACCESSDENIED, m_storage->CreateStream(u"x", STGM_READWRITE, 0, 0, other.put()));
    EXPECT_EQ(STG_E_ACCESSDENIED, m_storage->OpenStream(u"CONTENTS", nullptr, STGM_READWRITE, 0, other.put()));
    EXPECT_EQ(m_content.size(), fs::file_size(m_file));
}

TEST_F(WrappedFile, HasNoOtherStream)
{
    ASSERT_EQ(S_OK, Wrap(m_file, m_storage.put()));
    for (const OLECHAR *name : {u"CONTENT", u"CONTENTS2", u""})
        EXPECT_EQ(STG_E_FILENOTFOUND, m_storage->OpenStream(name, nullptr, STGM_SHARE_EXCLUSIVE, 0, m_stream.put()));
    EXPECT_EQ(S_OK, m_storage->OpenStream(u"Contents", nullptr, STGM_SHARE_EXCLUSIVE, 0, m_stream.put()));
    Held<IStorage> inner;
    EXPECT_EQ(STG_E_FILENOTFOUND, m_storage->OpenStorage(u"x", nullptr, STGM_READ, nullptr, 0, inner.put()));
}

TEST_F(WrappedFile, IsClonedAtItsPosition)
{
    Open();
    Read(1000);
    Held<IStream> clone;
    ASSERT_EQ(S_OK, m_stream->Clone(clone.put()));
    const std::string next = Read(10);
    char bytes[10];
    ULONG read = 0;
    ASSERT_EQ(S_OK, clone->Read(bytes, 10, &read));
    EXPECT_EQ(next, std::string(bytes, read));
}

TEST_F(WrappedFile, AnswersForTheInterfacesThatItHas)
{
    Open();
    Held<IUnknown> unknown;
    for (const GUID *id : {&IID_IUnknown, &IID_ISequentialStream, &IID_IStream})
        EXPECT_EQ(S_OK, m_stream->QueryInterface(*id, reinterpret_cast<void **>(unknown.put())));
    EXPECT_EQ(E_NOINTERFACE, m_stream->QueryInterface(IID_IStorage, reinterpret_cast<void **>(unknown.put())));
    EXPECT_EQ(nullptr, unknown.get());
    EXPECT_EQ(S_OK, m_storage->QueryInterface(IID_IStorage, reinterpret_cast<void **>(unknown.put())));
    EXPECT_EQ(E_POINTER, m_storage->QueryInterface(IID_IStorage, nullptr));
}

// Takes what is written to it, up to a limit.
class Collector final : public BareStream
{
  public:
    std::string bytes;
    std::size_t limit = SIZE_MAX;
    HRESULT Write(const void *pv, ULONG cb, ULONG *pcbWritten) override
    {
        const std::size_t taken = std::min<std::size_t>(cb, limit - bytes.size());
        bytes.append(static_cast<const char *>(pv), taken);
        *pcbWritten = static_cast<ULONG>(taken);
        return taken == cb ? S_OK : STG_E_MEDIUMFULL;
    }
};

TEST_F(WrappedFile, IsCopiedToAnotherStream)
{
    Open();
    Read(10);
    Collector all;
    ULARGE_INTEGER count, read, written;
    count.QuadPart = UINT64_MAX;
    EXPECT_EQ(S_OK, m_stream->CopyTo(&all, count, &read, &written));
    EXPECT_EQ(m_content.substr(10), all.bytes);
    EXPECT_EQ(m_content.size() - 10, read.QuadPart);
    EXPECT_EQ(m_content.size() - 10, written.QuadPart);
    m_stream->Seek({}, STREAM_SEEK_SET, nullptr);
    Collector some;
    some.limit = 70000;
    EXPECT_EQ(STG_E_MEDIUMFULL, m_stream->CopyTo(&some, count, &read, &written));
    EXPECT_EQ(70000u, written.QuadPart);
    EXPECT_EQ(STG_E_INVALIDPOINTER, m_stream->CopyTo(nullptr, count, nullptr, nullptr));
}

TEST_F(WrappedFile, ThatCanNotBeOpenedSaysWhy)
{
    EXPECT_EQ(STG_E_FILENOTFOUND, Wrap(m_folder / "none.wav", m_storage.put()));
    EXPECT_EQ(STG_E_FILENOTFOUND, Wrap(m_folder / "none" / "none.wav", m_storage.put()));
    EXPECT_EQ(STG_E_PATHNOTFOUND, Wrap(m_file / "none.wav", m_storage.put()));
    EXPECT_EQ(STG_E_ACCESSDENIED, Wrap(m_folder, m_storage.put()));
    mkfifo((m_folder / "pipe").c_str(), 0600);
    EXPECT_EQ(STG_E_ACCESSDENIED, Wrap(m_folder / "pipe", m_storage.put()));
    EXPECT_EQ(nullptr, m_storage.get());
}

TEST_F(WrappedFile, ThatMayNotBeReadIsDenied)
{
    fs::permissions(m_file, fs::perms(0000));
    const pid_t child = fork();
    if (child == 0) {
        // A user with all rights would be refused nothing.
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(99);
        IStorage *denied;
        _exit(Wrap(m_file, &denied) == STG_E_ACCESSDENIED ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST_F(WrappedFile, IsAllThatAStorageIsMadeFor)
{
    EXPECT_EQ(STG_E_INVALIDFLAG, Wrap(m_file, m_storage.put(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE));
    EXPECT_EQ(STG_E_INVALIDNAME, StgCreateDocfile(nullptr, kMode, 0, m_storage.put()));
    EXPECT_EQ(STG_E_INVALIDPARAMETER, StgCreateDocfile(m_file.u16string().c_str(), kMode, 1, m_storage.put()));
    EXPECT_EQ(STG_E_INVALIDPOINTER, Wrap(m_file, nullptr));
    EXPECT_EQ(m_content.size(), fs::file_size(m_file));
}
} // namespace
