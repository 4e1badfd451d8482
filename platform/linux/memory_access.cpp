// IsBadStringPtr and its relatives.
#include "memory_access.h"
#include "platform_test.h"
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <link.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>
#include <windows.h>

// The texts looked at here may be anything: reading them is no concern of a sanitizer.
#define UNCHECKED __attribute__((no_sanitize("address"), no_sanitize("thread"), no_sanitize("undefined")))

namespace
{
// Below this nothing is ever mapped: the kernel's vm.mmap_min_addr is at least one page.
constexpr std::uintptr_t kNullPage = 4096;

std::atomic<bool> probeByPipe{false};

std::uintptr_t PageSize()
{
    static const auto size = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    return size;
}

// For systems whose sandbox refuses process_vm_readv: writing one byte to a pipe fails with EFAULT when the byte
// can't be read. The raw system call keeps a sanitizer from looking at the byte first.
class Pipe
{
  public:
    Pipe()
    {
        if (pipe2(m_ends, O_CLOEXEC | O_NONBLOCK) != 0)
            m_ends[0] = m_ends[1] = -1;
    }
    bool CanRead(const void *address) const
    {
        for (;;) {
            if (syscall(SYS_write, m_ends[1], address, 1) == 1) {
                Drain();
                return true;
            }
            if (errno == EAGAIN)
                Drain();
            else if (errno != EINTR)
                return false;
        }
    }

  private:
    void Drain() const
    {
        char byte;
        (void)!read(m_ends[0], &byte, 1);
    }
    int m_ends[2];
};

// The image that this code lies in, which is there as long as it runs: most texts that are looked at are its own.
class OwnImage
{
  public:
    OwnImage()
    {
        dl_iterate_phdr(
            [](dl_phdr_info *image, std::size_t, void *self) { return static_cast<OwnImage *>(self)->Take(*image); },
            this);
    }
    bool Holds(std::uintptr_t address) const
    {
        return std::any_of(m_parts.begin(), m_parts.end(),
                           [&](const Part &part) { return part.begin <= address && address < part.end; });
    }

  private:
    struct Part {
        std::uintptr_t begin = 1, end = 0;
    };

    // Of each image in turn, until it was the one.
    int Take(const dl_phdr_info &image)
    {
        std::size_t count = 0;
        m_parts = {};
        for (const auto *header = image.dlpi_phdr; header != image.dlpi_phdr + image.dlpi_phnum; ++header)
            if (header->p_type == PT_LOAD && (header->p_flags & PF_R) && count < m_parts.size())
                m_parts[count++] = {image.dlpi_addr + header->p_vaddr,
                                    image.dlpi_addr + header->p_vaddr + header->p_memsz};
        if (Holds(reinterpret_cast<std::uintptr_t>(&kNullPage)))
            return 1;
        m_parts = {};
        return 0;
    }

    std::array<Part, 8> m_parts;
};

bool CanReadByte(std::uintptr_t address)
{
    static const OwnImage image;
    if (image.Holds(address))
        return true;
    if (address < kNullPage)
        return false;
    const int savedErrno = errno;
    bool readable = false;
    if (!probeByPipe.load(std::memory_order_relaxed)) {
        char byte;
        iovec local{&byte, 1};
        iovec remote{reinterpret_cast<void *>(address), 1};
        readable = syscall(SYS_process_vm_readv, getpid(), &local, 1, &remote, 1, 0) == 1;
        if (!readable && errno != EFAULT)
            probeByPipe = true;
    }
    if (!readable && probeByPipe.load(std::memory_order_relaxed)) {
        static const Pipe probe;
        readable = probe.CanRead(reinterpret_cast<const void *>(address));
    }
    errno = savedErrno;
    return readable;
}

// Characters are read byte by byte, so that text at an odd address is read too.
template <class Char> UNCHECKED bool IsTerminator(std::uintptr_t address)
{
    const auto *bytes = reinterpret_cast<const volatile unsigned char *>(address);
    for (std::size_t i = 0; i < sizeof(Char); ++i)
        if (bytes[i] != 0)
            return false;
    return true;
}

template <class Char> UNCHECKED bool LengthOf(const Char *text, std::size_t limit, std::size_t *length)
{
    const auto begin = reinterpret_cast<std::uintptr_t>(text);
    std::uintptr_t readableEnd = begin;
    for (std::size_t i = 0; i < limit; ++i) {
        const std::uintptr_t at = begin + i * sizeof(Char);
        while (readableEnd < at + sizeof(Char)) {
            if (!CanReadByte(readableEnd))
                return false;
            readableEnd = (readableEnd / PageSize() + 1) * PageSize();
        }
        if (IsTerminator<Char>(at)) {
            *length = i;
            return true;
        }
    }
    *length = limit;
    return true;
}

// Writing can only be tested by writing, which would race with other threads; so the kernel's own list is read.
bool IsWritable(std::uintptr_t begin, std::size_t bytes)
{
    std::FILE *maps = std::fopen("/proc/self/maps", "re");
    if (!maps)
        return platform::IsReadable(reinterpret_cast<const void *>(begin), bytes);
    std::uintptr_t covered = begin;
    const std::uintptr_t end = begin + bytes;
    char line[512];
    bool wholeLine = true;
    while (covered < end && std::fgets(line, sizeof line, maps)) {
        unsigned long from, to;
        char mode[5];
        if (wholeLine && std::sscanf(line, "%lx-%lx %4s", &from, &to, mode) == 3 && from <= covered && covered < to) {
            if (mode[1] != 'w')
                break;
            covered = to;
        }
        wholeLine = std::strchr(line, '\n') != nullptr;
    }
    std::fclose(maps);
    return covered >= end;
}
} // namespace

namespace platform
{
bool IsReadable(const void *address, std::size_t bytes)
{
    if (bytes == 0)
        return true;
    const auto begin = reinterpret_cast<std::uintptr_t>(address);
    const std::uintptr_t last = begin + bytes - 1;
    if (last < begin)
        return false;
    for (std::uintptr_t at = begin;;) {
        if (!CanReadByte(at))
            return false;
        at = (at / PageSize() + 1) * PageSize();
        if (at > last || at == 0)
            return true;
    }
}

bool ReadableLength(const char *text, std::size_t limit, std::size_t *length)
{
    return LengthOf(text, limit, length);
}

bool ReadableLength(const WCHAR *text, std::size_t limit, std::size_t *length)
{
    return LengthOf(text, limit, length);
}
} // namespace platform

void PlatformProbeByPipe(bool byPipe)
{
    probeByPipe = byPipe;
}

BOOL IsBadStringPtrA(LPCSTR lpsz, UINT_PTR ucchMax)
{
    std::size_t length;
    return !lpsz || !platform::ReadableLength(lpsz, ucchMax, &length);
}

BOOL IsBadStringPtrW(LPCWSTR lpsz, UINT_PTR ucchMax)
{
    std::size_t length;
    return !lpsz || !platform::ReadableLength(lpsz, ucchMax, &length);
}

BOOL IsBadReadPtr(const void *lp, UINT_PTR ucb)
{
    return !platform::IsReadable(lp, ucb);
}

BOOL IsBadWritePtr(LPVOID lp, UINT_PTR ucb)
{
    if (ucb == 0)
        return FALSE;
    const auto begin = reinterpret_cast<std::uintptr_t>(lp);
    return begin < kNullPage || begin + ucb < begin || !IsWritable(begin, ucb);
}

int lstrlenA(LPCSTR lpString)
{
    std::size_t length = 0;
    return lpString && platform::ReadableLength(lpString, INT32_MAX, &length) ? static_cast<int>(length) : 0;
}

int lstrlenW(LPCWSTR lpString)
{
    std::size_t length = 0;
    return lpString && platform::ReadableLength(lpString, INT32_MAX, &length) ? static_cast<int>(length) : 0;
}
