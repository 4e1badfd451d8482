// Makes this DLL the default mail client, to which the system's mapi32.dll forwards, and puts the former one back.
#include <string>
#include <windows.h>

namespace
{

constexpr wchar_t kMailClients[] = L"SOFTWARE\\Clients\\Mail";
constexpr wchar_t kClient[] = L"localmapi";
// Under our own client: which one was the default before.
constexpr wchar_t kFormer[] = L"Former default";

class Key
{
  public:
    static LSTATUS Create(HKEY parent, const std::wstring &path, Key &key)
    {
        return RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &key.m_key, nullptr);
    }
    static LSTATUS Open(HKEY parent, const std::wstring &path, Key &key)
    {
        return RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ | KEY_WRITE, &key.m_key);
    }
    Key() = default;
    Key(const Key &) = delete;
    Key &operator=(const Key &) = delete;
    ~Key()
    {
        if (m_key)
            RegCloseKey(m_key);
    }

    // Empty when there is no such text.
    std::wstring Text(const wchar_t *name) const
    {
        wchar_t text[1024] = {};
        DWORD type = 0, size = sizeof text - sizeof text[0];
        if (RegQueryValueExW(m_key, name, nullptr, &type, reinterpret_cast<BYTE *>(text), &size) != ERROR_SUCCESS ||
            type != REG_SZ)
            return {};
        return text;
    }
    LSTATUS SetText(const wchar_t *name, const std::wstring &text) const
    {
        return RegSetValueExW(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE *>(text.c_str()),
                              static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    void DeleteValue(const wchar_t *name) const { RegDeleteValueW(m_key, name); }

  private:
    HKEY m_key = nullptr;
};

std::wstring ClientPath()
{
    return std::wstring(kMailClients) + L"\\" + kClient;
}

std::wstring OwnPath()
{
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            kClient, &module))
        return {};
    wchar_t path[1024] = {};
    const DWORD size = GetModuleFileNameW(module, path, 1024);
    return size == 0 || size == 1024 ? std::wstring() : path;
}

LSTATUS Register()
{
    const std::wstring path = OwnPath();
    if (path.empty())
        return ERROR_PATH_NOT_FOUND;
    Key clients, client;
    LSTATUS status = Key::Create(HKEY_LOCAL_MACHINE, kMailClients, clients);
    if (status == ERROR_SUCCESS)
        status = Key::Create(HKEY_LOCAL_MACHINE, ClientPath(), client);
    if (status != ERROR_SUCCESS)
        return status;
    const std::wstring former = clients.Text(nullptr);
    // Registered twice, it is still the first one's former client that is put back.
    if (former != kClient)
        status = client.SetText(kFormer, former);
    if (status == ERROR_SUCCESS)
        status = client.SetText(nullptr, kClient);
    if (status == ERROR_SUCCESS)
        status = client.SetText(L"DLLPath", path);
    if (status == ERROR_SUCCESS)
        status = client.SetText(L"DLLPathEx", path);
    if (status == ERROR_SUCCESS)
        status = clients.SetText(nullptr, kClient);
    return status;
}

LSTATUS Unregister()
{
    std::wstring former;
    Key clients;
    LSTATUS status = Key::Open(HKEY_LOCAL_MACHINE, kMailClients, clients);
    if (status != ERROR_SUCCESS)
        return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
    {
        Key client;
        if (Key::Open(HKEY_LOCAL_MACHINE, ClientPath(), client) == ERROR_SUCCESS)
            former = client.Text(kFormer);
    }
    // Another client that was made the default one since stays it.
    if (clients.Text(nullptr) == kClient) {
        if (former.empty())
            clients.DeleteValue(nullptr);
        else
            status = clients.SetText(nullptr, former);
    }
    if (status != ERROR_SUCCESS)
        return status;
    status = RegDeleteKeyW(HKEY_LOCAL_MACHINE, ClientPath().c_str());
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

} // namespace

extern "C" HRESULT STDAPICALLTYPE DllRegisterServer()
{
    return HRESULT_FROM_WIN32(static_cast<DWORD>(Register()));
}

extern "C" HRESULT STDAPICALLTYPE DllUnregisterServer()
{
    return HRESULT_FROM_WIN32(static_cast<DWORD>(Unregister()));
}
