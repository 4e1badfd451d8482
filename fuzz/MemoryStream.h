// A read-only stream over bytes in memory, as a store would hand one out.
#pragma once
#include "support/BareStream.h"
#include <algorithm>
#include <cstring>
#include <span>

class MemoryStream final : public BareStream
{
  public:
    explicit MemoryStream(std::span<const BYTE> bytes) : m_bytes(bytes) {}

    std::size_t Position() const { return m_at; }

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

  private:
    std::span<const BYTE> m_bytes;
    std::size_t m_at = 0;
};
