// The stream: a place, and content that is shared until somebody writes. One lock, which all clones share, guards the
// content and their places.
#include "localmapi/provider/stream/Stream.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/storage/Spool.h"

#include "platform/locks/Mutex.h"
#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <vector>

namespace localmapi
{

namespace
{

constexpr ULONG kPiece = 64 * 1024;

template <class Held> class HeldBytes final : public storage::Stream
{
  public:
    explicit HeldBytes(Held held) : m_held(std::move(held)) {}
    std::uint64_t size() const override { return m_held.size(); }
    std::size_t Read(std::uint64_t offset, void *into, std::size_t length) const override
    {
        if (offset >= m_held.size())
            return 0;
        const auto at = static_cast<std::size_t>(offset);
        const std::size_t count = std::min(length, m_held.size() - at);
        if (count)
            std::memcpy(into, m_held.data() + at, count);
        return count;
    }

  private:
    const Held m_held;
};

// What a stream and its clones share.
class Content final : public OpenStreams::Writer
{
  public:
    explicit Content(StreamSettings settings) : m_settings(std::move(settings)), m_changed(m_settings.changed)
    {
        if (!m_settings.content)
            m_settings.content = StreamOfBytes({});
    }
    ~Content()
    {
        // With the last of the streams that share it; there is nobody left to tell of a failure.
        (void)Guarded([&]() -> HRESULT {
            const locks::Hold hold(lock);
            return Commit();
        });
    }

    // Of the content, and of the places of all streams that share it.
    locks::Mutex lock;

    // At the beginning of each call on one of them, under no lock.
    void Enter() const
    {
        if (m_settings.behaviour)
            m_settings.behaviour->OnObjectCall();
    }
    bool Writable() const { return static_cast<bool>(m_settings.commit); }
    std::uint64_t size() const REQUIRES(lock) { return Current().size(); }
    std::size_t Read(std::uint64_t offset, void *into, std::size_t length) const REQUIRES(lock)
    {
        return Current().Read(offset, into, length);
    }
    storage::Spool &ForWriting() REQUIRES(lock)
    {
        if (!m_spool)
            m_spool = storage::SpoolOf(*m_settings.content);
        m_changed = true;
        return *m_spool;
    }
    HRESULT CommitNow() override
    {
        const locks::Hold hold(lock);
        return Commit();
    }
    HRESULT Commit() REQUIRES(lock)
    {
        if (!m_changed)
            return S_OK;
        if (!m_spool)
            m_spool = storage::SpoolOf(*m_settings.content);
        m_settings.commit(m_spool);
        // What was handed over changes no more: the next write begins a new copy.
        m_settings.content = std::exchange(m_spool, nullptr);
        m_changed = false;
        return S_OK;
    }
    void Revert() REQUIRES(lock)
    {
        m_spool.reset();
        m_changed = false;
    }

  private:
    const storage::Stream &Current() const REQUIRES(lock) { return m_spool ? *m_spool : *m_settings.content; }

    StreamSettings m_settings;
    std::shared_ptr<storage::Spool> m_spool GUARDED_BY(lock);
    bool m_changed GUARDED_BY(lock);
};

class PropertyStream final : public ComObject<IStream>
{
  public:
    PropertyStream(std::shared_ptr<Content> content, std::uint64_t place)
        : m_content(std::move(content)), m_place(place)
    {
    }

    STDMETHODIMP Read(void *pv, ULONG cb, ULONG *pcbRead) override
    {
        return Do([&]() REQUIRES(m_content->lock) -> HRESULT {
            if (pcbRead)
                *pcbRead = 0;
            if (!pv)
                return STG_E_INVALIDPOINTER;
            const auto read = static_cast<ULONG>(m_content->Read(m_place, pv, cb));
            m_place += read;
            if (pcbRead)
                *pcbRead = read;
            return S_OK;
        });
    }
    STDMETHODIMP Write(const void *pv, ULONG cb, ULONG *pcbWritten) override
    {
        return Do([&]() REQUIRES(m_content->lock) -> HRESULT {
            if (pcbWritten)
                *pcbWritten = 0;
            if (!pv)
                return STG_E_INVALIDPOINTER;
            if (!m_content->Writable())
                return STG_E_ACCESSDENIED;
            if (m_place > kStreamLimit || cb > kStreamLimit - m_place)
                return STG_E_MEDIUMFULL;
            if (cb) {
                m_content->ForWriting().Write(m_place, pv, cb);
                m_place += cb;
            }
            if (pcbWritten)
                *pcbWritten = cb;
            return S_OK;
        });
    }
    STDMETHODIMP Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER *plibNewPosition) override
    {
        return Do([&]() REQUIRES(m_content->lock) -> HRESULT {
            std::uint64_t origin = 0;
            if (dwOrigin == STREAM_SEEK_CUR)
                origin = m_place;
            else if (dwOrigin == STREAM_SEEK_END)
                origin = m_content->size();
            else if (dwOrigin != STREAM_SEEK_SET)
                return STG_E_INVALIDFUNCTION;
            const LONGLONG move = dlibMove.QuadPart;
            // The distance of a move back, without overflow at its extreme.
            const std::uint64_t back = move < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(move) : 0;
            if (back > origin)
                return STG_E_INVALIDFUNCTION;
            if (move > 0 && static_cast<std::uint64_t>(move) > std::numeric_limits<LONGLONG>::max() - origin)
                return STG_E_INVALIDFUNCTION;
            m_place = move < 0 ? origin - back : origin + static_cast<std::uint64_t>(move);
            if (plibNewPosition)
                plibNewPosition->QuadPart = m_place;
            return S_OK;
        });
    }
    STDMETHODIMP SetSize(ULARGE_INTEGER libNewSize) override
    {
        return Do([&]() REQUIRES(m_content->lock) -> HRESULT {
            if (!m_content->Writable())
                return STG_E_ACCESSDENIED;
            if (libNewSize.QuadPart > kStreamLimit)
                return STG_E_MEDIUMFULL;
            m_content->ForWriting().resize(libNewSize.QuadPart);
            return S_OK;
        });
    }
    STDMETHODIMP CopyTo(IStream *pstm, ULARGE_INTEGER cb, ULARGE_INTEGER *pcbRead, ULARGE_INTEGER *pcbWritten) override
    {
        if (pcbRead)
            pcbRead->QuadPart = 0;
        if (pcbWritten)
            pcbWritten->QuadPart = 0;
        if (!pstm)
            return STG_E_INVALIDPOINTER;
        // Not under the lock: the other stream may be one that shares the content.
        return Guarded([&]() -> HRESULT {
            std::vector<BYTE> piece(kPiece);
            std::uint64_t left = cb.QuadPart;
            while (left > 0) {
                ULONG read = 0;
                const auto wanted = static_cast<ULONG>(std::min<std::uint64_t>(left, kPiece));
                HRESULT hr = Read(piece.data(), wanted, &read);
                if (FAILED(hr))
                    return hr;
                if (read == 0)
                    break;
                if (pcbRead)
                    pcbRead->QuadPart += read;
                ULONG written = 0;
                hr = pstm->Write(piece.data(), read, &written);
                if (pcbWritten)
                    pcbWritten->QuadPart += written;
                if (FAILED(hr))
                    return hr;
                left -= read;
            }
            return S_OK;
        });
    }
    STDMETHODIMP Commit(DWORD) override
    {
        return Do([&]() REQUIRES(m_content->lock) { return m_content->Commit(); });
    }
    STDMETHODIMP Revert() override
    {
        return Do([&]() REQUIRES(m_content->lock) -> HRESULT {
            m_content->Revert();
            return S_OK;
        });
    }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    STDMETHODIMP Stat(STATSTG *pstatstg, DWORD) override
    {
        return Do([&]() REQUIRES(m_content->lock) -> HRESULT {
            if (!pstatstg)
                return STG_E_INVALIDPOINTER;
            // A property has no name.
            *pstatstg = STATSTG{};
            pstatstg->type = STGTY_STREAM;
            pstatstg->cbSize.QuadPart = m_content->size();
            pstatstg->grfMode = m_content->Writable() ? STGM_READWRITE : STGM_READ;
            return S_OK;
        });
    }
    STDMETHODIMP Clone(IStream **ppstm) override
    {
        return Do([&]() REQUIRES(m_content->lock) -> HRESULT {
            if (!ppstm)
                return STG_E_INVALIDPOINTER;
            *ppstm = MakeObject<PropertyStream>(m_content, m_place).release();
            return S_OK;
        });
    }

  private:
    template <class Body> HRESULT Do(Body &&body)
    {
        return Guarded([&]() -> HRESULT {
            m_content->Enter();
            const locks::Hold hold(m_content->lock);
            return body();
        });
    }

    const std::shared_ptr<Content> m_content;
    std::uint64_t m_place GUARDED_BY(m_content->lock) = 0;
};

} // namespace

void OpenStreams::Add(std::weak_ptr<Writer> writer)
{
    const locks::Hold hold(m_lock);
    std::erase_if(m_writers, [](const std::weak_ptr<Writer> &old) { return old.expired(); });
    m_writers.push_back(std::move(writer));
}

HRESULT OpenStreams::Commit()
{
    std::vector<std::weak_ptr<Writer>> writers;
    {
        const locks::Hold hold(m_lock);
        writers = m_writers;
    }
    for (const std::weak_ptr<Writer> &open : writers)
        if (const std::shared_ptr<Writer> writer = open.lock())
            if (const HRESULT hr = writer->CommitNow(); FAILED(hr))
                return hr;
    return S_OK;
}

ComPtr<IStream> MakeStream(StreamSettings settings)
{
    const std::uint64_t place = settings.append && settings.content ? settings.content->size() : 0;
    OpenStreams *opened = settings.commit ? settings.opened : nullptr;
    auto content = std::make_shared<Content>(std::move(settings));
    ComPtr<IStream> stream;
    try {
        stream = ComPtr<IStream>(MakeObject<PropertyStream>(content, place).release());
        // Last: from here on the object's SaveChanges may reach the content from another thread.
        if (opened)
            opened->Add(content);
    } catch (...) {
        // There is no stream: nothing is to be committed.
        const locks::Hold hold(content->lock);
        content->Revert();
        throw;
    }
    return stream;
}

std::shared_ptr<const storage::Stream> StreamOfBytes(storage::Bytes bytes)
{
    return std::make_shared<HeldBytes<storage::Bytes>>(std::move(bytes));
}

std::shared_ptr<const storage::Stream> StreamOfText(std::string text)
{
    return std::make_shared<HeldBytes<std::string>>(std::move(text));
}

} // namespace localmapi
