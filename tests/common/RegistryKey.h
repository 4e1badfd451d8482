// The settings of a trace in the registry, as an administrator sees and changes them. Gone at the end.
#pragma once
#include <string>
#include <vector>
#include <windows.h>

class RegistryKey
{
  public:
    // The settings under SOFTWARE\BRANE\<name>.
    explicit RegistryKey(const std::string &name) : m_root("SOFTWARE\\BRANE\\" + name), m_path(m_root + "\\Debug")
    {
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, m_root.c_str());
    }
    ~RegistryKey() { RegDeleteTreeA(HKEY_LOCAL_MACHINE, m_root.c_str()); }
    RegistryKey(const RegistryKey &) = delete;
    RegistryKey &operator=(const RegistryKey &) = delete;

    const char *Path() const { return m_path.c_str(); }
    bool Exists() const
    {
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, Path(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            return false;
        RegCloseKey(key);
        return true;
    }
    void Set(const char *szName, DWORD type, const void *data, DWORD size) const
    {
        HKEY key = nullptr;
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, Path(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
        RegSetValueExA(key, szName, 0, type, static_cast<const BYTE *>(data), size);
        RegCloseKey(key);
    }
    void SetLevel(DWORD level) const { Set("Filter Level", REG_DWORD, &level, sizeof(level)); }
    void SetMap(const std::vector<BYTE> &map) const
    {
        Set("ID Bitmap", REG_BINARY, map.data(), static_cast<DWORD>(map.size()));
    }

    // A value's bytes, if it is of that type; "absent" otherwise.
    std::string Get(const char *szName, DWORD type) const
    {
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, Path(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            return "absent";
        char data[256];
        DWORD size = sizeof(data);
        DWORD found = 0;
        const LSTATUS status = RegQueryValueExA(key, szName, nullptr, &found, reinterpret_cast<LPBYTE>(data), &size);
        RegCloseKey(key);
        return status == ERROR_SUCCESS && found == type ? std::string(data, size) : "absent";
    }
    std::string Text(const char *szName) const { return Get(szName, REG_SZ).c_str(); }
    std::string Level() const { return Get("Filter Level", REG_DWORD); }
    std::string Map() const { return Get("ID Bitmap", REG_BINARY); }

  private:
    std::string m_root;
    std::string m_path;
};
