// Reads a stream of the file chunk by chunk and holds the last one.
#include "localmapi/storage/StoredReader.h"
#include "localmapi/storage/Streams.h"
#include <algorithm>
#include <cstring>

namespace localmapi::storage
{

namespace
{

class StoredReader : public Stream
{
  public:
    StoredReader(Site site, std::int64_t stream) : m_site(std::move(site))
    {
        Reader reader(m_site.GetDatabase());
        m_stream = RequireStream(*reader, stream);
        // The first one last: it is read first.
        for (std::uint64_t number = (m_stream.size + kChunkSize - 1) / kChunkSize; number-- > 0;)
            m_chunk = ReadChunk(*reader, m_stream, number);
    }

    std::uint64_t size() const override { return m_stream.size; }

    std::size_t Read(std::uint64_t offset, void *into, std::size_t length) const override
    {
        if (offset >= m_stream.size)
            return 0;
        length = static_cast<std::size_t>(std::min<std::uint64_t>(length, m_stream.size - offset));
        const locks::Hold lock(m_lock);
        for (std::size_t done = 0; done < length;) {
            Load((offset + done) / kChunkSize);
            auto at = static_cast<std::size_t>((offset + done) % kChunkSize);
            std::size_t part = std::min(length - done, m_chunk.size() - at);
            std::memcpy(static_cast<std::uint8_t *>(into) + done, m_chunk.data() + at, part);
            done += part;
        }
        return length;
    }

  private:
    void Load(std::uint64_t number) const REQUIRES(m_lock)
    {
        if (number == m_number && !m_chunk.empty())
            return;
        m_chunk.clear();
        Reader reader(m_site.GetDatabase());
        m_chunk = ReadChunk(*reader, m_stream, number);
        m_number = number;
    }

    Site m_site;
    StoredStream m_stream;
    mutable locks::Mutex m_lock;
    mutable std::uint64_t m_number GUARDED_BY(m_lock) = 0;
    mutable Bytes m_chunk GUARDED_BY(m_lock);
};

} // namespace

std::unique_ptr<Stream> OpenStored(const Site &site, std::int64_t stream)
{
    return std::make_unique<StoredReader>(site, stream);
}

} // namespace localmapi::storage
