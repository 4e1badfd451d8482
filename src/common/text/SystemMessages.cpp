#include "common/text/SystemMessages.h"

namespace
{

constexpr DWORD kMessageFlags =
    FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
constexpr DWORD kUserDefaultLanguage = 0x0400;

// The module whose messages explain hr; null where the system's own do. The ranges of codes come before the
// facility, whatever the facility is, as the contract has it.
const char *MessageModule(HRESULT hr)
{
    const unsigned code = static_cast<unsigned>(hr) & 0xFFFF;
    const unsigned facility = (static_cast<unsigned>(hr) >> 16) & 0x1FFF;
    if (code >= 2100 && code < 3000)
        return "netmsg.dll";
    if (code >= 12000 && code < 12175)
        return "wininet.dll";
    if (code >= 0xE000)
        return "tapiui.dll";
    if (facility == 13)
        return code >= 2000 && code < 3000 ? "asferror.dll" : "nserror.dll";
    return nullptr;
}

// hr as it stands, then its low word. Null when neither has a text.
char *AskFor(HRESULT hr, DWORD flags, HMODULE hModule, const MessageSystem &system)
{
    for (const DWORD id : {static_cast<DWORD>(hr), static_cast<DWORD>(hr) & 0xFFFF}) {
        char *text = nullptr;
        if (system.FormatMessageA(flags, hModule, id, kUserDefaultLanguage, reinterpret_cast<LPSTR>(&text), 0,
                                  nullptr) != 0 &&
            text)
            return text;
    }
    return nullptr;
}

} // namespace

void FindSystemText(tstring &text, HRESULT hr, const MessageSystem &system)
{
    struct Module {
        HMODULE handle;
        const MessageSystem &system;
        ~Module()
        {
            if (handle)
                FreeModuleOnNT(handle, system);
        }
    } module{nullptr, system};
    struct Text {
        char *found;
        const MessageSystem &system;
        ~Text()
        {
            if (found)
                system.LocalFree(found);
        }
    } message{nullptr, system};

    DWORD flags = kMessageFlags;
    if (const char *szModule = MessageModule(hr)) {
        module.handle = system.LoadLibraryExA(szModule, nullptr, LOAD_LIBRARY_AS_DATAFILE);
        flags |= FORMAT_MESSAGE_FROM_HMODULE;
    }
    message.found = AskFor(hr, flags, module.handle, system);
    if (!message.found && module.handle)
        message.found = AskFor(hr, flags, nullptr, system);
    if (message.found)
        text = message.found;
    else
        // Brackets in the brackets of an error line, as the contract has it.
        text.Format("[%#010x]", static_cast<unsigned>(hr));
    text.Trim();
}

void FreeModuleOnNT(HMODULE &hModule, const MessageSystem &system)
{
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof(version);
    // Other systems keep the module, as the contract has it.
    if (system.GetVersionExA(&version) && version.dwPlatformId == VER_PLATFORM_WIN32_NT)
        system.FreeLibrary(hModule);
    hModule = nullptr;
}

tstring &tstring::GetErrorText(HRESULT hr)
{
    const MessageSystem system = {::LoadLibraryExA, ::FormatMessageA, ::LocalFree, ::GetVersionExA, ::FreeLibrary};
    FindSystemText(*this, hr, system);
    return *this;
}
