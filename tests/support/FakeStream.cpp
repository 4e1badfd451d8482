// IStream over bytes in memory, and IStorage over named streams.
#include "support/FakeStream.h"
#include "support/Print.h"
#include <algorithm>
#include <cstring>

namespace mapi_double
{

namespace
{

class FakeStream : public ComObject<IStream>
{
  public:
    FakeStream(const std::string &name, std::shared_ptr<StreamData> data)
        : ComObject("Stream", name), m_data(std::move(data))
    {
    }

    STDMETHODIMP Read(void *pv, ULONG cb, ULONG *pcbRead) override
    {
        Call call(*this, "Read", {Number(cb)});
        if (!call.Proceed())
            return call.Return(STG_E_READFAULT);
        const ULONGLONG left = m_position < m_data->bytes.size() ? m_data->bytes.size() - m_position : 0;
        const ULONG count =
            static_cast<ULONG>(std::min<ULONGLONG>({call.GivesNull() ? 0 : left, cb, m_data->mostPerRead}));
        if (count)
            std::memcpy(pv, m_data->bytes.data() + m_position, count);
        m_position += count;
        if (pcbRead)
            *pcbRead = count;
        return call.Return(S_OK);
    }
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER *position) override
    {
        static const char *const origins[] = {"SET", "CUR", "END"};
        Call call(*this, "Seek", {Number(move.QuadPart), origin < 3 ? origins[origin] : "?"});
        if (!call.Proceed())
            return call.Return(STG_E_SEEKERROR);
        const LONGLONG base = origin == STREAM_SEEK_SET   ? 0
                              : origin == STREAM_SEEK_CUR ? static_cast<LONGLONG>(m_position)
                                                          : static_cast<LONGLONG>(m_data->bytes.size());
        if (base + move.QuadPart < 0)
            return call.Return(STG_E_INVALIDFUNCTION);
        m_position = static_cast<ULONGLONG>(base + move.QuadPart);
        if (position)
            position->QuadPart = m_position;
        return call.Return(S_OK);
    }
    STDMETHODIMP Stat(STATSTG *stat, DWORD flags) override
    {
        Call call(*this, "Stat", {Number(flags)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        std::memset(stat, 0, sizeof(*stat));
        stat->type = STGTY_STREAM;
        stat->cbSize.QuadPart = m_data->claimedSize.value_or(m_data->bytes.size());
        return call.Return(S_OK);
    }
    NOT_CALLED(Write, (const void *, ULONG, ULONG *))
    NOT_CALLED(SetSize, (ULARGE_INTEGER))
    STDMETHODIMP CopyTo(IStream *target, ULARGE_INTEGER cb, ULARGE_INTEGER *read, ULARGE_INTEGER *written) override
    {
        Call call(*this, "CopyTo", {ObjectName(target), Number(static_cast<LONGLONG>(cb.QuadPart))});
        auto *other = dynamic_cast<FakeStream *>(ObjectAt(target));
        if (!call.Proceed() || !other)
            return call.Return(STG_E_WRITEFAULT);
        const ULONGLONG left = m_position < m_data->bytes.size() ? m_data->bytes.size() - m_position : 0;
        const ULONGLONG count = std::min<ULONGLONG>(left, cb.QuadPart);
        other->m_data->bytes.replace(other->m_position, std::string::npos, m_data->bytes, m_position, count);
        m_position += count;
        other->m_position += count;
        for (ULARGE_INTEGER *out : {read, written})
            if (out)
                out->QuadPart = count;
        return call.Return(S_OK);
    }
    NOT_CALLED(Commit, (DWORD))
    NOT_CALLED(Revert, ())
    NOT_CALLED(LockRegion, (ULARGE_INTEGER, ULARGE_INTEGER, DWORD))
    NOT_CALLED(UnlockRegion, (ULARGE_INTEGER, ULARGE_INTEGER, DWORD))
    NOT_CALLED(Clone, (IStream **))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IStream || riid == IID_ISequentialStream; }

  private:
    std::shared_ptr<StreamData> m_data;
    ULONGLONG m_position = 0;
};

std::string NarrowName(LPCOLESTR name)
{
    std::string result;
    for (; name && *name; ++name)
        result += static_cast<char>(*name);
    return result;
}

class FakeStorage : public ComObject<IStorage>
{
  public:
    FakeStorage(const std::string &name, std::shared_ptr<StorageData> data)
        : ComObject("Storage", name), m_data(std::move(data))
    {
    }

    STDMETHODIMP OpenStream(LPCOLESTR name, void *, DWORD mode, DWORD, IStream **stream) override
    {
        Call call(*this, "OpenStream", {Quoted(name), Hex(mode)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        *stream = nullptr;
        if (call.GivesNull())
            return call.Return(S_OK);
        const auto found = m_data->streams.find(NarrowName(name));
        if (found == m_data->streams.end())
            return call.Return(STG_E_FILENOTFOUND);
        *stream = NewStream(Instance() + "/" + found->first, found->second);
        return call.Return(S_OK);
    }
    NOT_CALLED(CreateStream, (LPCOLESTR, DWORD, DWORD, DWORD, IStream **))
    NOT_CALLED(CreateStorage, (LPCOLESTR, DWORD, DWORD, DWORD, IStorage **))
    NOT_CALLED(OpenStorage, (LPCOLESTR, IStorage *, DWORD, SNB, DWORD, IStorage **))
    NOT_CALLED(CopyTo, (DWORD, const IID *, SNB, IStorage *))
    NOT_CALLED(MoveElementTo, (LPCOLESTR, IStorage *, LPCOLESTR, DWORD))
    NOT_CALLED(Commit, (DWORD))
    NOT_CALLED(Revert, ())
    NOT_CALLED(EnumElements, (DWORD, void *, DWORD, IEnumSTATSTG **))
    NOT_CALLED(DestroyElement, (LPCOLESTR))
    NOT_CALLED(RenameElement, (LPCOLESTR, LPCOLESTR))
    NOT_CALLED(SetElementTimes, (LPCOLESTR, const FILETIME *, const FILETIME *, const FILETIME *))
    NOT_CALLED(SetClass, (REFCLSID))
    NOT_CALLED(SetStateBits, (DWORD, DWORD))
    NOT_CALLED(Stat, (STATSTG *, DWORD))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IStorage; }

  private:
    std::shared_ptr<StorageData> m_data;
};

} // namespace

IStream *NewStream(const std::string &name, std::shared_ptr<StreamData> data)
{
    return new FakeStream(name, std::move(data));
}

IStorage *NewStorage(const std::string &name, std::shared_ptr<StorageData> data)
{
    return new FakeStorage(name, std::move(data));
}

} // namespace mapi_double
