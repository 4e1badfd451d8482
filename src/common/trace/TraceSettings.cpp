// The settings in the registry: read at the start and every three seconds, written once so that they can be found.
#include "common/trace/TraceSettings.h"
#include "common/base/SystemCalls.h"
#include <algorithm>
#include <cstring>

namespace
{

constexpr const char *kLevelName = "Filter Level";
constexpr const char *kMapName = "ID Bitmap";
constexpr const char *kModuleName = "Module Name";

class Key
{
  public:
    ~Key()
    {
        if (m_key)
            RegCloseKey(m_key);
    }
    HKEY *put() { return &m_key; }
    HKEY get() const { return m_key; }

  private:
    HKEY m_key = nullptr;
};

// True when the value has the type and just the size that is wanted.
bool ReadValue(HKEY key, const char *szName, DWORD type, void *data, DWORD size)
{
    BYTE value[TraceSettings::kMapBytes];
    DWORD foundType = 0;
    DWORD foundSize = sizeof(value);
    if (RegQueryValueExA(key, szName, nullptr, &foundType, value, &foundSize) != ERROR_SUCCESS || foundType != type ||
        foundSize != size)
        return false;
    std::memcpy(data, value, size);
    return true;
}

} // namespace

bool TraceSettings::Passes(DWORD value) const
{
    const DWORD filter = m_level.load(std::memory_order_relaxed);
    const DWORD level = value & 0xFFFF;
    DWORD id = value >> 16;
    if (filter == 0)
        return false;
    if (level < 0xFFFF && level > filter)
        return false;
    if (id == 0xFFFF)
        return true;
    // A class beyond the map counts as class 0, as the contract has it.
    if (id >= kMapBytes * 8)
        id = 0;
    return (m_map[id / 32].load(std::memory_order_relaxed) >> (id % 32) & 1) != 0;
}

void TraceSettings::Read(const char *szKey)
{
    m_lastRead = SystemCalls().GetTickCount();
    if (m_pinned)
        return;
    Key key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, szKey, 0, KEY_READ, key.put()) != ERROR_SUCCESS)
        return;
    DWORD level = 0;
    if (ReadValue(key.get(), kLevelName, REG_DWORD, &level, sizeof(level)))
        m_level = std::min(level, kMostLevel);
    BYTE map[kMapBytes];
    if (ReadValue(key.get(), kMapName, REG_BINARY, map, sizeof(map)))
        SetMap(map);
}

void TraceSettings::ReadAgainWhenOld(const char *szKey) noexcept
{
    // In this order the tick is never before the time noted, so that their difference is an age.
    DWORD last = m_lastRead.load(std::memory_order_acquire);
    const DWORD now = SystemCalls().GetTickCount();
    if (now - last <= kReadEvery || !m_lastRead.compare_exchange_strong(last, now))
        return;
    try {
        Read(szKey);
    } catch (...) { // No line of the trace is worth the host: what holds is kept, and read in 3 s again.
    }
}

void TraceSettings::Write(const char *szKey, const char *szModuleName) const
{
    Key key;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, szKey, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, key.put(),
                        nullptr) != ERROR_SUCCESS)
        return;
    const DWORD level = m_level;
    BYTE map[kMapBytes];
    for (std::size_t i = 0; i < kMapBytes; ++i)
        map[i] = static_cast<BYTE>(m_map[i / 4] >> (i % 4 * 8));
    RegSetValueExA(key.get(), kModuleName, 0, REG_SZ, reinterpret_cast<const BYTE *>(szModuleName),
                   static_cast<DWORD>(std::strlen(szModuleName) + 1));
    RegSetValueExA(key.get(), kLevelName, 0, REG_DWORD, reinterpret_cast<const BYTE *>(&level), sizeof(level));
    RegSetValueExA(key.get(), kMapName, 0, REG_BINARY, map, sizeof(map));
}

void TraceSettings::AllClasses()
{
    if (m_pinned)
        return;
    for (auto &classes : m_map)
        classes = ~std::uint32_t{0};
}

void TraceSettings::Pin(DWORD level, const BYTE (&map)[kMapBytes])
{
    m_pinned = true;
    m_level = std::min(level, kMostLevel);
    SetMap(map);
}

void TraceSettings::Release(const char *szKey)
{
    m_pinned = false;
    m_level = kDefaultLevel;
    AllClasses();
    Read(szKey);
}

void TraceSettings::SetMap(const BYTE (&map)[kMapBytes])
{
    for (std::size_t i = 0; i < kMapBytes; i += 4)
        m_map[i / 4] = map[i] | map[i + 1] << 8 | map[i + 2] << 16 | static_cast<std::uint32_t>(map[i + 3]) << 24;
}
