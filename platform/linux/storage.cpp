// StgCreateDocfile: an existing file as a storage with the one stream "CONTENTS".
#include "code_page.h"
#include "file_time.h"
#include "platform/locks/Mutex.h"
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <objbase.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr OLECHAR kContents[] = u"CONTENTS";

struct File {
    int descriptor;
    std::u16string name;

    File(int opened, std::u16string path) : descriptor(opened), name(std::move(path)) {}
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    ~File() { close(descriptor); }
};

LPOLESTR CopyName(const std::u16string &name)
{
    auto *copy = static_cast<LPOLESTR>(CoTaskMemAlloc((name.size() + 1) * sizeof(OLECHAR)));
    if (copy)
        std::copy(name.c_str(), name.c_str() + name.size() + 1, copy);
    return copy;
}

HRESULT StatOf(const File &file, STATSTG *target, DWORD flags, STGTY type, const std::u16string &name)
{
    if (!target)
        return STG_E_INVALIDPOINTER;
    struct stat status;
    if (fstat(file.descriptor, &status) != 0)
        return STG_E_READFAULT;
    *target = {};
    target->type = type;
    target->mtime = FileTimeOf(status.st_mtim);
    target->atime = FileTimeOf(status.st_atim);
    target->grfMode = STGM_READ | STGM_SHARE_EXCLUSIVE;
    if (type == STGTY_STREAM)
        target->cbSize.QuadPart = static_cast<ULONGLONG>(status.st_size);
    if (!(flags & STATFLAG_NONAME) && !(target->pwcsName = CopyName(name)))
        return STG_E_INSUFFICIENTMEMORY;
    return S_OK;
}

// Reference count, and QueryInterface for the interfaces named.
template <class Interface> class Object : public Interface
{
  public:
    Object() = default;
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override
    {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

  protected:
    virtual ~Object() = default;
    HRESULT Answer(bool supported, void **object)
    {
        if (!object)
            return E_POINTER;
        *object = supported ? this : nullptr;
        if (!supported)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

  private:
    std::atomic<ULONG> m_references{1};
};

class FileStream final : public Object<IStream>
{
  public:
    FileStream(std::shared_ptr<File> file, ULONGLONG position) : m_file(std::move(file)), m_position(position) {}

    HRESULT QueryInterface(REFIID riid, void **ppvObject) override
    {
        return Answer(riid == IID_IUnknown || riid == IID_ISequentialStream || riid == IID_IStream, ppvObject);
    }
    HRESULT Read(void *pv, ULONG cb, ULONG *pcbRead) override
    {
        ULONG done = 0;
        HRESULT result = S_OK;
        const locks::Hold held(m_lock);
        while (done < cb && result == S_OK) {
            const ssize_t count =
                pread(m_file->descriptor, static_cast<char *>(pv) + done, cb - done, static_cast<off_t>(m_position));
            if (count > 0) {
                done += static_cast<ULONG>(count);
                m_position += static_cast<ULONGLONG>(count);
            } else if (count == 0) {
                break;
            } else if (errno != EINTR) {
                result = STG_E_READFAULT;
            }
        }
        if (pcbRead)
            *pcbRead = done;
        return result;
    }
    HRESULT Write(const void *, ULONG, ULONG *pcbWritten) override
    {
        if (pcbWritten)
            *pcbWritten = 0;
        return STG_E_ACCESSDENIED;
    }
    HRESULT Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER *plibNewPosition) override
    {
        struct stat status;
        if (dwOrigin > STREAM_SEEK_END)
            return STG_E_INVALIDFUNCTION;
        if (fstat(m_file->descriptor, &status) != 0)
            return STG_E_SEEKERROR;
        const locks::Hold held(m_lock);
        const LONGLONG base = dwOrigin == STREAM_SEEK_SET   ? 0
                              : dwOrigin == STREAM_SEEK_CUR ? static_cast<LONGLONG>(m_position)
                                                            : status.st_size;
        LONGLONG position;
        if (__builtin_add_overflow(base, dlibMove.QuadPart, &position) || position < 0)
            return STG_E_INVALIDFUNCTION;
        m_position = static_cast<ULONGLONG>(position);
        if (plibNewPosition)
            plibNewPosition->QuadPart = m_position;
        return S_OK;
    }
    HRESULT SetSize(ULARGE_INTEGER) override { return STG_E_ACCESSDENIED; }
    HRESULT CopyTo(IStream *pstm, ULARGE_INTEGER cb, ULARGE_INTEGER *pcbRead, ULARGE_INTEGER *pcbWritten) override
    {
        if (!pstm)
            return STG_E_INVALIDPOINTER;
        ULONGLONG read = 0, written = 0;
        HRESULT result = S_OK;
        char block[65536];
        while (read < cb.QuadPart && result == S_OK) {
            ULONG got = 0, put = 0;
            const auto wanted = static_cast<ULONG>(std::min<ULONGLONG>(sizeof block, cb.QuadPart - read));
            result = Read(block, wanted, &got);
            if (got == 0)
                break;
            read += got;
            const HRESULT writing = pstm->Write(block, got, &put);
            written += put;
            if (FAILED(writing))
                result = writing;
        }
        if (pcbRead)
            pcbRead->QuadPart = read;
        if (pcbWritten)
            pcbWritten->QuadPart = written;
        return result;
    }
    HRESULT Commit(DWORD) override { return S_OK; }
    HRESULT Revert() override { return S_OK; }
    HRESULT LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    HRESULT UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    HRESULT Stat(STATSTG *pstatstg, DWORD grfStatFlag) override
    {
        return StatOf(*m_file, pstatstg, grfStatFlag, STGTY_STREAM, kContents);
    }
    HRESULT Clone(IStream **ppstm) override
    {
        if (!ppstm)
            return STG_E_INVALIDPOINTER;
        const locks::Hold held(m_lock);
        *ppstm = new FileStream(m_file, m_position);
        return S_OK;
    }

  private:
    const std::shared_ptr<File> m_file;
    locks::Mutex m_lock;
    ULONGLONG m_position GUARDED_BY(m_lock);
};

class FileStorage final : public Object<IStorage>
{
  public:
    explicit FileStorage(std::shared_ptr<File> file) : m_file(std::move(file)) {}

    HRESULT QueryInterface(REFIID riid, void **ppvObject) override
    {
        return Answer(riid == IID_IUnknown || riid == IID_IStorage, ppvObject);
    }
    HRESULT OpenStream(LPCOLESTR pwcsName, void *, DWORD grfMode, DWORD, IStream **ppstm) override
    {
        if (!ppstm || !pwcsName)
            return STG_E_INVALIDPOINTER;
        *ppstm = nullptr;
        if (!IsContents(pwcsName))
            return STG_E_FILENOTFOUND;
        if (grfMode & (STGM_WRITE | STGM_READWRITE))
            return STG_E_ACCESSDENIED;
        *ppstm = new FileStream(m_file, 0);
        return S_OK;
    }
    HRESULT Stat(STATSTG *pstatstg, DWORD grfStatFlag) override
    {
        return StatOf(*m_file, pstatstg, grfStatFlag, STGTY_STORAGE, m_file->name);
    }
    HRESULT Commit(DWORD) override { return S_OK; }
    HRESULT Revert() override { return S_OK; }

    HRESULT OpenStorage(LPCOLESTR, IStorage *, DWORD, SNB, DWORD, IStorage **) override { return STG_E_FILENOTFOUND; }
    HRESULT CreateStream(LPCOLESTR, DWORD, DWORD, DWORD, IStream **) override { return STG_E_ACCESSDENIED; }
    HRESULT CreateStorage(LPCOLESTR, DWORD, DWORD, DWORD, IStorage **) override { return STG_E_ACCESSDENIED; }
    HRESULT CopyTo(DWORD, const IID *, SNB, IStorage *) override { return STG_E_UNIMPLEMENTEDFUNCTION; }
    HRESULT MoveElementTo(LPCOLESTR, IStorage *, LPCOLESTR, DWORD) override { return STG_E_ACCESSDENIED; }
    HRESULT EnumElements(DWORD, void *, DWORD, IEnumSTATSTG **) override { return STG_E_UNIMPLEMENTEDFUNCTION; }
    HRESULT DestroyElement(LPCOLESTR) override { return STG_E_ACCESSDENIED; }
    HRESULT RenameElement(LPCOLESTR, LPCOLESTR) override { return STG_E_ACCESSDENIED; }
    HRESULT SetElementTimes(LPCOLESTR, const FILETIME *, const FILETIME *, const FILETIME *) override
    {
        return STG_E_ACCESSDENIED;
    }
    HRESULT SetClass(REFCLSID) override { return STG_E_ACCESSDENIED; }
    HRESULT SetStateBits(DWORD, DWORD) override { return STG_E_ACCESSDENIED; }

  private:
    // Names of elements are compared without case.
    static bool IsContents(LPCOLESTR name)
    {
        for (const OLECHAR *expected = kContents;; ++expected, ++name) {
            const OLECHAR upper = *name >= 'a' && *name <= 'z' ? static_cast<OLECHAR>(*name - 'a' + 'A') : *name;
            if (upper != *expected)
                return false;
            if (*expected == 0)
                return true;
        }
    }

    const std::shared_ptr<File> m_file;
};

HRESULT ErrorOfErrno(int error)
{
    switch (error) {
    case ENOENT:
        return STG_E_FILENOTFOUND;
    case ENOTDIR:
        return STG_E_PATHNOTFOUND;
    case ENOMEM:
        return STG_E_INSUFFICIENTMEMORY;
    case ENAMETOOLONG:
        return STG_E_INVALIDNAME;
    default:
        return STG_E_ACCESSDENIED;
    }
}
} // namespace

HRESULT StgCreateDocfile(const WCHAR *pwcsName, DWORD grfMode, DWORD reserved, IStorage **ppstgOpen)
{
    if (!ppstgOpen)
        return STG_E_INVALIDPOINTER;
    *ppstgOpen = nullptr;
    if (!pwcsName || !*pwcsName)
        return STG_E_INVALIDNAME;
    if (reserved != 0)
        return STG_E_INVALIDPARAMETER;
    if (!(grfMode & STGM_CONVERT))
        return STG_E_INVALIDFLAG;
    const std::u16string name(pwcsName);
    // Without waiting for the other end, should it be a pipe.
    const int descriptor =
        open(platform::Narrow(name.data(), name.size()).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0)
        return ErrorOfErrno(errno);
    auto file = std::make_shared<File>(descriptor, name);
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return STG_E_ACCESSDENIED;
    *ppstgOpen = new FileStorage(std::move(file));
    return S_OK;
}
