#include "Process.h"
#include <stdexcept>
#include <windows.h>

namespace localmapi::storage
{

struct Process::Impl {
    HANDLE handle = nullptr;
};

namespace
{

std::wstring Widened(const std::string &text)
{
    int length = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, wide.data(), length);
    wide.pop_back();
    return wide;
}

} // namespace

Process::Process(const std::string &program, const std::vector<std::string> &arguments)
    : m_impl(std::make_unique<Impl>())
{
    std::wstring line = L'"' + Widened(program) + L'"';
    for (const std::string &argument : arguments)
        line += L" \"" + Widened(argument) + L'"';
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &started))
        throw std::runtime_error("can't start " + program);
    CloseHandle(started.hThread);
    m_impl->handle = started.hProcess;
}

Process::~Process()
{
    Kill();
    Wait();
    CloseHandle(m_impl->handle);
}

int Process::Wait()
{
    WaitForSingleObject(m_impl->handle, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(m_impl->handle, &status);
    return static_cast<int>(status);
}

void Process::Kill()
{
    TerminateProcess(m_impl->handle, 137);
}

} // namespace localmapi::storage
