// A commit sets the site's file's time of last write to now, and whoever listens is told of its folder by the system:
// after the commit can be seen, across sessions (in which a service and a user's program don't see each other's named
// objects), and gone with the listener however it ends.
#include "localmapi/storage/Error.h"
#include "localmapi/storage/SystemSignal.h"
#include <map>
#include <vector>
#include <windows.h>

namespace localmapi::storage
{

namespace
{

std::wstring Widened(const std::string &text)
{
    int length = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length > 0 ? length : 1), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, wide.data(), length);
    wide.pop_back();
    return wide;
}

std::wstring FolderOf(const std::string &path)
{
    std::size_t slash = path.find_last_of("/\\");
    return Widened(slash == path.npos ? "." : path.substr(0, slash + 1));
}

} // namespace

struct SystemSignal::Impl {
    HANDLE woken = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::map<std::wstring, HANDLE> folders;
};

SystemSignal::SystemSignal() : m_impl(std::make_unique<Impl>())
{
    if (!m_impl->woken)
        throw Error(Fault::Failed, "The system has no more events.");
}

SystemSignal::~SystemSignal()
{
    for (const auto &[folder, handle] : m_impl->folders)
        FindCloseChangeNotification(handle);
    CloseHandle(m_impl->woken);
}

std::set<std::string> SystemSignal::Listen(const std::set<std::string> &paths)
{
    std::set<std::wstring> wanted;
    for (const std::string &path : paths)
        wanted.insert(FolderOf(path));
    std::erase_if(m_impl->folders, [&](const auto &folder) {
        if (wanted.count(folder.first))
            return false;
        FindCloseChangeNotification(folder.second);
        return true;
    });
    std::set<std::string> deaf;
    for (const std::string &path : paths) {
        const std::wstring folder = FolderOf(path);
        if (m_impl->folders.count(folder))
            continue;
        HANDLE handle = m_impl->folders.size() + 1 < MAXIMUM_WAIT_OBJECTS
                            ? FindFirstChangeNotificationW(
                                  folder.c_str(), FALSE, FILE_NOTIFY_CHANGE_LAST_WRITE | FILE_NOTIFY_CHANGE_ATTRIBUTES)
                            : INVALID_HANDLE_VALUE;
        if (handle != INVALID_HANDLE_VALUE)
            m_impl->folders[folder] = handle;
        else
            deaf.insert(path);
    }
    return deaf;
}

bool SystemSignal::Wait(std::chrono::milliseconds longest)
{
    std::vector<HANDLE> handles{m_impl->woken};
    for (const auto &[folder, handle] : m_impl->folders)
        handles.push_back(handle);
    DWORD result = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                          static_cast<DWORD>(longest.count()));
    if (result == WAIT_FAILED) {
        Sleep(static_cast<DWORD>(longest.count()));
        return false;
    }
    // Armed again before the caller looks, so that nothing falls between. Where that fails, as it does when the folder
    // has gone, the handle would stay signalled.
    if (result > WAIT_OBJECT_0 && result < WAIT_OBJECT_0 + handles.size()) {
        HANDLE told = handles[result - WAIT_OBJECT_0];
        if (!FindNextChangeNotification(told)) {
            std::erase_if(m_impl->folders, [&](const auto &folder) { return folder.second == told; });
            FindCloseChangeNotification(told);
        }
    }
    return result != WAIT_TIMEOUT;
}

void SystemSignal::Wake() noexcept
{
    SetEvent(m_impl->woken);
}

void Touch(const std::string &path) noexcept
{
    try {
        HANDLE file =
            CreateFileW(Widened(path).c_str(), FILE_WRITE_ATTRIBUTES,
                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return; // the others find the change when they look of their own accord
        FILETIME now;
        GetSystemTimeAsFileTime(&now);
        SetFileTime(file, nullptr, nullptr, &now);
        CloseHandle(file);
    } catch (const std::bad_alloc &) {
    }
}

} // namespace localmapi::storage
