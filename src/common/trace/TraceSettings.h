// What the trace lets through, as the administrator sets it in the registry. Any thread may call, also while the
// settings are read again.
#pragma once
#include <atomic>
#include <cstdint>
#include <windows.h>

class TraceSettings
{
  public:
    static constexpr std::size_t kMapBytes = 16; // a bit a class

    constexpr TraceSettings() = default;

    // The filter alone: by level, then by the class's bit.
    bool Passes(DWORD value) const;

    // A value that is missing keeps what holds. Notes the time.
    void Read(const char *szKey);
    // The same when the last reading is more than 3 s ago; one thread of several does it. Where there is no memory for
    // it, what holds is kept.
    void ReadAgainWhenOld(const char *szKey) noexcept;
    // Makes key and values visible to the administrator.
    void Write(const char *szKey, const char *szModuleName) const;

    DWORD Level() const { return m_level; }
    void AllClasses();
    // Holds from now on, whatever the registry says, until Release.
    void Pin(DWORD level, const BYTE (&map)[kMapBytes]);
    void Release(const char *szKey);

  private:
    static constexpr DWORD kDefaultLevel = 5;
    static constexpr DWORD kMostLevel = 9;
    static constexpr DWORD kReadEvery = 3000;

    std::atomic<DWORD> m_level{kDefaultLevel};
    std::atomic<std::uint32_t> m_map[kMapBytes / 4] = {~0u, ~0u, ~0u, ~0u};
    std::atomic<DWORD> m_lastRead{0};
    std::atomic<bool> m_pinned{false};

    void SetMap(const BYTE (&map)[kMapBytes]);
};
