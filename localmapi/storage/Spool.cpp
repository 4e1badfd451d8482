// A spool holds one piece; the others lie in a private temporary database, which SQLite deletes with its connection.
#include "localmapi/storage/Spool.h"
#include "localmapi/storage/Sqlite.h"
#include "platform/locks/Mutex.h"
#include <algorithm>
#include <cstring>
#include <vector>

namespace localmapi::storage
{

namespace
{
constexpr std::uint64_t kPiece = 256 * 1024;
}

// One piece is held in memory. As long as there is no other one that is all; then the pieces that are not in use lie
// in a private temporary file.
struct Spool::Impl {
    mutable locks::Mutex lock;
    std::uint64_t size GUARDED_BY(lock) = 0;
    std::uint64_t current GUARDED_BY(lock) = 0;       // which piece is held
    std::vector<std::uint8_t> piece GUARDED_BY(lock); // may be shorter than kPiece: zeros follow
    bool changed GUARDED_BY(lock) = false;
    std::unique_ptr<Connection> file GUARDED_BY(lock);

    Connection &Opened() REQUIRES(lock)
    {
        if (!file) {
            file = std::make_unique<Connection>("", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, 0);
            file->Execute("PRAGMA page_size = 8192; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
                          "PRAGMA temp_store = FILE; PRAGMA cache_size = -1000;"
                          "CREATE TABLE piece (number INTEGER PRIMARY KEY, data BLOB NOT NULL)");
        }
        return *file;
    }

    void Use(std::uint64_t number) REQUIRES(lock)
    {
        if (number == current)
            return;
        if (changed) {
            Statement store = Opened().Prepare("INSERT OR REPLACE INTO piece (number, data) VALUES (?, ?)");
            store.Bind(static_cast<std::int64_t>(current), piece).Run();
        }
        changed = false;
        // What can't be read is not taken for zeros by the next write.
        std::vector<std::uint8_t> next = file ? Stored(number) : std::vector<std::uint8_t>();
        piece = std::move(next);
        current = number;
    }

    std::vector<std::uint8_t> Stored(std::uint64_t number) REQUIRES(lock)
    {
        Statement load = file->Prepare("SELECT data FROM piece WHERE number = ?");
        load.Bind(static_cast<std::int64_t>(number));
        return load.Step() ? load.GetBytes(0) : std::vector<std::uint8_t>();
    }

    std::size_t Read(std::uint64_t offset, std::uint8_t *into, std::size_t length) REQUIRES(lock)
    {
        if (offset >= size)
            return 0;
        length = static_cast<std::size_t>(std::min<std::uint64_t>(length, size - offset));
        for (std::size_t done = 0; done < length;) {
            Use((offset + done) / kPiece);
            auto at = static_cast<std::size_t>((offset + done) % kPiece);
            std::size_t part = std::min<std::size_t>(length - done, kPiece - at);
            std::size_t held = at < piece.size() ? std::min(part, piece.size() - at) : 0;
            if (held)
                std::memcpy(into + done, piece.data() + at, held);
            std::memset(into + done + held, 0, part - held);
            done += part;
        }
        return length;
    }

    void Write(std::uint64_t offset, const std::uint8_t *from, std::size_t length) REQUIRES(lock)
    {
        for (std::size_t done = 0; done < length;) {
            Use((offset + done) / kPiece);
            auto at = static_cast<std::size_t>((offset + done) % kPiece);
            std::size_t part = std::min<std::size_t>(length - done, kPiece - at);
            if (piece.size() < at + part)
                piece.resize(at + part);
            std::memcpy(piece.data() + at, from + done, part);
            changed = true;
            done += part;
            size = std::max(size, offset + done);
        }
    }

    void Shrink(std::uint64_t newSize) REQUIRES(lock)
    {
        std::uint64_t last = newSize / kPiece;
        Use(last);
        auto rest = static_cast<std::size_t>(newSize % kPiece);
        if (piece.size() > rest) {
            piece.resize(rest);
            changed = true;
        }
        if (file)
            file->Prepare("DELETE FROM piece WHERE number > ?").Bind(static_cast<std::int64_t>(last)).Run();
        size = newSize;
    }
};

Spool::Spool() : m_impl(std::make_unique<Impl>())
{
}
Spool::~Spool() = default;

std::uint64_t Spool::size() const
{
    const locks::Hold hold(m_impl->lock);
    return m_impl->size;
}

std::size_t Spool::Read(std::uint64_t offset, void *into, std::size_t length) const
{
    const locks::Hold hold(m_impl->lock);
    return m_impl->Read(offset, static_cast<std::uint8_t *>(into), length);
}

void Spool::Write(std::uint64_t offset, const void *from, std::size_t length)
{
    const locks::Hold hold(m_impl->lock);
    m_impl->Write(offset, static_cast<const std::uint8_t *>(from), length);
}

void Spool::resize(std::uint64_t size)
{
    const locks::Hold hold(m_impl->lock);
    if (size < m_impl->size)
        m_impl->Shrink(size);
    m_impl->size = size;
}

std::shared_ptr<Spool> SpoolOf(const Stream &from)
{
    auto spool = std::make_shared<Spool>();
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(kPiece));
    std::uint64_t offset = 0;
    while (std::size_t read = from.Read(offset, buffer.data(), buffer.size())) {
        spool->Write(offset, buffer.data(), read);
        offset += read;
    }
    return spool;
}

} // namespace localmapi::storage
