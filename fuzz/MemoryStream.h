// A read-only stream over bytes in memory, as a store would hand one out.
#pragma once
#include <algorithm>
#include <cstring>
#include <objidl.h>
#include <span>

class MemoryStream final : public IStream
{
  public:
    explicit MemoryStream(std::span<const BYTE> bytes) : m_bytes(bytes) {}

    std::size_t position() const { return m_at; }

    // It lives on the stack.
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP QueryInterface(REFIID, void **) override { return E_NOINTERFACE; }

    STDMETHODIMP Read(void *pv, ULONG cb, ULONG *pcbRead) override
    {
        const std::size_t left = m_at < m_bytes.size() ? m_bytes.size() - m_at : 0;
        const auto count = static_cast<ULONG>(std::min<std::size_t>(cb, left));
        if (count)
            std::memcpy(pv, m_bytes.data() + m_at, count);
        m_at += count;
        if (pcbRead)
            *pcbRead = count;
        return count == cb ? S_OK : S_FALSE;
    }
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER *position) override
    {
        const auto from = static_cast<LONGLONG>(origin == STREAM_SEEK_CUR   ? m_at
                                                : origin == STREAM_SEEK_END ? m_bytes.size()
                                                                            : 0);
        if (move.QuadPart < -from)
            return STG_E_INVALIDFUNCTION;
        m_at = static_cast<std::size_t>(from + move.QuadPart);
        if (position)
            position->QuadPart = m_at;
        return S_OK;
    }

    STDMETHODIMP Write(const void *, ULONG, ULONG *) override { return STG_E_ACCESSDENIED; }
    STDMETHODIMP SetSize(ULARGE_INTEGER) override { return STG_E_ACCESSDENIED; }
    STDMETHODIMP CopyTo(IStream *, ULARGE_INTEGER, ULARGE_INTEGER *, ULARGE_INTEGER *) override { return E_NOTIMPL; }
    STDMETHODIMP Commit(DWORD) override { return S_OK; }
    STDMETHODIMP Revert() override { return S_OK; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    STDMETHODIMP Stat(STATSTG *, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Clone(IStream **) override { return E_NOTIMPL; }

  private:
    std::span<const BYTE> m_bytes;
    std::size_t m_at = 0;
};
