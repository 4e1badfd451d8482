// The registry's calls over the settings file.
#include "code_page.h"
#include "platform/locks/Mutex.h"
#include "settings_file.h"
#include <algorithm>
#include <map>
#include <set>

namespace
{
using platform::ChangeSettings;
using platform::FindName;
using platform::ReadSettings;
using platform::SameName;
using platform::Settings;

struct Key {
    std::string path; // from the root on, in UTF-8
    REGSAM access;
};

struct OpenKeys {
    locks::Mutex lock;
    std::map<HKEY, Key> keys GUARDED_BY(lock);
    ULONG_PTR last GUARDED_BY(lock) = 0;
};
OpenKeys &Opened()
{
    static OpenKeys &opened = *new OpenKeys;
    return opened;
}

struct Root {
    HKEY key;
    const char *name;
};
const Root kRoots[] = {{HKEY_CLASSES_ROOT, "HKEY_CLASSES_ROOT"},
                       {HKEY_CURRENT_USER, "HKEY_CURRENT_USER"},
                       {HKEY_LOCAL_MACHINE, "HKEY_LOCAL_MACHINE"}};

// The file is UTF-8, the calls speak the ANSI code page.
std::string ToUtf8(const char *text, std::size_t length)
{
    const std::u16string wide = platform::Widen(text, length);
    return platform::Narrow(wide.data(), wide.size(), CP_UTF8);
}
std::string ToUtf8(const char *text)
{
    return text ? ToUtf8(text, std::strlen(text)) : std::string();
}
std::string ToAnsi(const std::string &text)
{
    const std::u16string wide = platform::Widen(text.data(), text.size(), CP_UTF8);
    return platform::Narrow(wide.data(), wide.size());
}

LSTATUS FindKey(HKEY handle, REGSAM access, Key &key)
{
    for (const Root &root : kRoots) {
        if (root.key == handle) {
            key = {root.name, KEY_ALL_ACCESS};
            return ERROR_SUCCESS;
        }
    }
    const locks::Hold held(Opened().lock);
    const auto found = Opened().keys.find(handle);
    if (found == Opened().keys.end())
        return ERROR_INVALID_HANDLE;
    key = found->second;
    return (key.access & access) == access ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

HKEY NewKey(Key key)
{
    const locks::Hold held(Opened().lock);
    const auto handle = reinterpret_cast<HKEY>(Opened().last += 4);
    Opened().keys.emplace(handle, std::move(key));
    return handle;
}

std::string PathBelow(const std::string &path, LPCSTR subKey)
{
    std::string below = ToUtf8(subKey);
    const std::size_t last = below.find_last_not_of('\\');
    below.resize(last == std::string::npos ? 0 : last + 1);
    return below.empty() ? path : path + '\\' + below;
}

bool IsBelow(const std::string &path, const std::string &above)
{
    return path.size() > above.size() && path[above.size()] == '\\' && SameName(path.substr(0, above.size()), above);
}

bool IsRoot(const std::string &path)
{
    return path.find('\\') == std::string::npos;
}

// A key is there when it has values, or when there is one below it.
bool Exists(const Settings &settings, const std::string &path)
{
    if (IsRoot(path))
        return true;
    for (const auto &entry : settings.items())
        if (SameName(entry.key(), path) || IsBelow(entry.key(), path))
            return true;
    return false;
}

bool HasKeysBelow(const Settings &settings, const std::string &path)
{
    for (const auto &entry : settings.items())
        if (IsBelow(entry.key(), path))
            return true;
    return false;
}

bool FromHex(const std::string &text, std::string &bytes)
{
    if (text.size() % 2 != 0 || text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return false;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return true;
}

std::string ToHex(const BYTE *bytes, std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 15];
    }
    return text;
}

// A value's type and bytes; false for what no value of the registry looks like.
bool Decode(const Settings &value, DWORD &type, std::string &data)
{
    if (value.is_string()) {
        type = REG_SZ;
        data = ToAnsi(value.get<std::string>());
        data += '\0';
        return true;
    }
    if (value.is_number_unsigned() && value.get<std::uint64_t>() <= 0xFFFFFFFF) {
        type = REG_DWORD;
        const auto number = value.get<DWORD>();
        data.assign(reinterpret_cast<const char *>(&number), sizeof number);
        return true;
    }
    if (!value.is_object() || value.size() != 1 || !value.contains("binary") || !value["binary"].is_string())
        return false;
    type = REG_BINARY;
    return FromHex(value["binary"].get<std::string>(), data);
}

LSTATUS Encode(DWORD type, const BYTE *data, DWORD size, Settings &value)
{
    if (size > 0 && !data)
        return ERROR_INVALID_PARAMETER;
    switch (type) {
    case REG_SZ: {
        const auto *text = reinterpret_cast<const char *>(data);
        if (size > 0 && text[size - 1] == '\0')
            --size;
        value = ToUtf8(text, size);
        return ERROR_SUCCESS;
    }
    case REG_DWORD: {
        DWORD number;
        if (size != sizeof number)
            return ERROR_INVALID_PARAMETER;
        std::memcpy(&number, data, sizeof number);
        value = number;
        return ERROR_SUCCESS;
    }
    case REG_BINARY:
        value = Settings{{"binary", ToHex(data, size)}};
        return ERROR_SUCCESS;
    default:
        return ERROR_NOT_SUPPORTED;
    }
}
} // namespace

LSTATUS RegOpenKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD, REGSAM samDesired, PHKEY phkResult)
{
    Key parent;
    if (!phkResult)
        return ERROR_INVALID_PARAMETER;
    *phkResult = nullptr;
    LSTATUS result = FindKey(hKey, 0, parent);
    Settings settings;
    if (result != ERROR_SUCCESS || (result = ReadSettings(settings)) != ERROR_SUCCESS)
        return result;
    const std::string path = PathBelow(parent.path, lpSubKey);
    if (!Exists(settings, path))
        return ERROR_FILE_NOT_FOUND;
    *phkResult = NewKey({path, samDesired});
    return ERROR_SUCCESS;
}

LSTATUS RegCreateKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD, LPSTR, DWORD, REGSAM samDesired, const SECURITY_ATTRIBUTES *,
                        PHKEY phkResult, LPDWORD lpdwDisposition)
{
    Key parent;
    if (!phkResult || !lpSubKey)
        return ERROR_INVALID_PARAMETER;
    *phkResult = nullptr;
    LSTATUS result = FindKey(hKey, 0, parent);
    if (result != ERROR_SUCCESS)
        return result;
    const std::string path = PathBelow(parent.path, lpSubKey);
    bool created = false;
    result = ChangeSettings([&](Settings &settings) {
        created = !Exists(settings, path);
        if (created)
            settings[path] = Settings::object();
        return ERROR_SUCCESS;
    });
    if (result != ERROR_SUCCESS)
        return result;
    if (lpdwDisposition)
        *lpdwDisposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    *phkResult = NewKey({path, samDesired});
    return ERROR_SUCCESS;
}

LSTATUS RegCloseKey(HKEY hKey)
{
    for (const Root &root : kRoots)
        if (root.key == hKey)
            return ERROR_SUCCESS;
    const locks::Hold held(Opened().lock);
    return Opened().keys.erase(hKey) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LSTATUS RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData)
{
    if (lpData && !lpcbData)
        return ERROR_INVALID_PARAMETER;
    Key key;
    Settings settings;
    LSTATUS result = FindKey(hKey, KEY_QUERY_VALUE, key);
    if (result != ERROR_SUCCESS || (result = ReadSettings(settings)) != ERROR_SUCCESS)
        return result;
    const auto values = FindName(settings, key.path);
    if (values == settings.end())
        return Exists(settings, key.path) ? ERROR_FILE_NOT_FOUND : ERROR_KEY_DELETED;
    const auto value = FindName(*values, ToUtf8(lpValueName));
    if (value == values->end())
        return ERROR_FILE_NOT_FOUND;
    DWORD type;
    std::string data;
    if (!Decode(*value, type, data))
        return ERROR_INVALID_DATA;
    if (lpType)
        *lpType = type;
    if (!lpcbData)
        return ERROR_SUCCESS;
    const DWORD room = *lpcbData;
    *lpcbData = static_cast<DWORD>(data.size());
    if (lpData && room < data.size())
        return ERROR_MORE_DATA;
    if (lpData)
        std::copy(data.begin(), data.end(), lpData);
    return ERROR_SUCCESS;
}

LSTATUS RegSetValueExA(HKEY hKey, LPCSTR lpValueName, DWORD, DWORD dwType, const BYTE *lpData, DWORD cbData)
{
    Key key;
    Settings value;
    LSTATUS result = FindKey(hKey, KEY_SET_VALUE, key);
    if (result != ERROR_SUCCESS || (result = Encode(dwType, lpData, cbData, value)) != ERROR_SUCCESS)
        return result;
    const std::string name = ToUtf8(lpValueName);
    return ChangeSettings([&](Settings &settings) {
        if (!Exists(settings, key.path))
            return ERROR_KEY_DELETED;
        auto values = FindName(settings, key.path);
        Settings &object = values == settings.end() ? settings[key.path] = Settings::object() : *values;
        const auto existing = FindName(object, name);
        if (existing == object.end())
            object[name] = value;
        else
            *existing = value;
        return ERROR_SUCCESS;
    });
}

LSTATUS RegDeleteValueA(HKEY hKey, LPCSTR lpValueName)
{
    Key key;
    const LSTATUS result = FindKey(hKey, KEY_SET_VALUE, key);
    if (result != ERROR_SUCCESS)
        return result;
    return ChangeSettings([&](Settings &settings) {
        const auto values = FindName(settings, key.path);
        if (values == settings.end())
            return Exists(settings, key.path) ? ERROR_FILE_NOT_FOUND : ERROR_KEY_DELETED;
        const auto value = FindName(*values, ToUtf8(lpValueName));
        if (value == values->end())
            return ERROR_FILE_NOT_FOUND;
        values->erase(value);
        return ERROR_SUCCESS;
    });
}

LSTATUS RegDeleteKeyA(HKEY hKey, LPCSTR lpSubKey)
{
    Key key;
    const LSTATUS result = FindKey(hKey, 0, key);
    if (result != ERROR_SUCCESS)
        return result;
    if (!lpSubKey)
        return ERROR_INVALID_PARAMETER;
    const std::string path = PathBelow(key.path, lpSubKey);
    return ChangeSettings([&](Settings &settings) {
        if (!Exists(settings, path))
            return ERROR_FILE_NOT_FOUND;
        if (IsRoot(path) || HasKeysBelow(settings, path))
            return ERROR_ACCESS_DENIED;
        settings.erase(FindName(settings, path));
        // What was above it stays, as a key of its own.
        const std::string above = path.substr(0, path.rfind('\\'));
        if (!Exists(settings, above))
            settings[above] = Settings::object();
        return ERROR_SUCCESS;
    });
}

LSTATUS RegDeleteTreeA(HKEY hKey, LPCSTR lpSubKey)
{
    Key key;
    const LSTATUS result = FindKey(hKey, 0, key);
    if (result != ERROR_SUCCESS)
        return result;
    const std::string path = PathBelow(key.path, lpSubKey);
    const bool keepKey = path == key.path; // then only what it holds is deleted
    return ChangeSettings([&](Settings &settings) {
        if (!Exists(settings, path))
            return ERROR_FILE_NOT_FOUND;
        Settings kept = Settings::object();
        for (const auto &entry : settings.items())
            if (!SameName(entry.key(), path) && !IsBelow(entry.key(), path))
                kept[entry.key()] = entry.value();
        const std::string stays = keepKey ? path : path.substr(0, path.rfind('\\'));
        if (!Exists(kept, stays))
            kept[stays] = Settings::object();
        settings = std::move(kept);
        return ERROR_SUCCESS;
    });
}

LSTATUS RegEnumKeyExA(HKEY hKey, DWORD dwIndex, LPSTR lpName, LPDWORD lpcchName, LPDWORD, LPSTR, LPDWORD, LPFILETIME)
{
    if (!lpName || !lpcchName)
        return ERROR_INVALID_PARAMETER;
    Key key;
    Settings settings;
    LSTATUS result = FindKey(hKey, KEY_ENUMERATE_SUB_KEYS, key);
    if (result != ERROR_SUCCESS || (result = ReadSettings(settings)) != ERROR_SUCCESS)
        return result;
    if (!Exists(settings, key.path))
        return ERROR_KEY_DELETED;
    const auto order = [](const std::string &left, const std::string &right) {
        return _stricmp(left.c_str(), right.c_str()) < 0;
    };
    std::set<std::string, decltype(order)> names(order);
    for (const auto &entry : settings.items())
        if (IsBelow(entry.key(), key.path)) {
            const std::string below = entry.key().substr(key.path.size() + 1);
            names.insert(ToAnsi(below.substr(0, below.find('\\'))));
        }
    if (dwIndex >= names.size())
        return ERROR_NO_MORE_ITEMS;
    const std::string &name = *std::next(names.begin(), dwIndex);
    if (*lpcchName <= name.size())
        return ERROR_MORE_DATA;
    std::copy(name.c_str(), name.c_str() + name.size() + 1, lpName);
    *lpcchName = static_cast<DWORD>(name.size());
    return ERROR_SUCCESS;
}
