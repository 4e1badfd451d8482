// The search for the system's text of a code: which module, which attempts in which order with which flags, what is
// freed, and what stands where no text is found.
#include "common/text/SystemMessages.h"
#include "support/TraceCapture.h"
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr DWORD kSystemFlags = 0x1300;
constexpr DWORD kModuleFlags = 0x1B00;

const HMODULE kModule = reinterpret_cast<HMODULE>(static_cast<ULONG_PTR>(0x4400));

struct Attempt {
    DWORD flags;
    const void *source;
    DWORD id;
    bool operator==(const Attempt &) const = default;
};

void PrintTo(const Attempt &attempt, std::ostream *out)
{
    *out << std::hex << "flags " << attempt.flags << " module " << attempt.source << " id " << attempt.id;
}

// A system as the test describes it.
struct Script {
    bool moduleLoads = true;
    DWORD platform = VER_PLATFORM_WIN32_NT;
    BOOL versionKnown = TRUE;
    std::map<std::pair<const void *, DWORD>, std::string> texts;
    bool countWithoutText = false;

    std::vector<std::string> loaded;
    std::vector<Attempt> attempts;
    int freedModules = 0;
    int liveTexts = 0;
};
Script g_script;

HMODULE WINAPI Load(LPCSTR name, HANDLE file, DWORD flags)
{
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(flags, 2u);
    g_script.loaded.emplace_back(name);
    return g_script.moduleLoads ? kModule : nullptr;
}
DWORD WINAPI FormatText(DWORD flags, LPCVOID source, DWORD id, DWORD language, LPSTR buffer, DWORD size, va_list *list)
{
    EXPECT_EQ(language, 0x400u);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(list, nullptr);
    g_script.attempts.push_back({flags, source, id});
    if (g_script.countWithoutText)
        return 5;
    const auto found = g_script.texts.find({source, id});
    if (found == g_script.texts.end())
        return 0;
    const std::string &text = found->second;
    auto *copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    *reinterpret_cast<char **>(buffer) = copy;
    ++g_script.liveTexts;
    return static_cast<DWORD>(text.size());
}
HLOCAL WINAPI FreeText(HLOCAL text)
{
    delete[] static_cast<char *>(text);
    --g_script.liveTexts;
    return nullptr;
}
BOOL WINAPI Version(LPOSVERSIONINFOA version)
{
    EXPECT_EQ(version->dwOSVersionInfoSize, sizeof(OSVERSIONINFOA));
    version->dwPlatformId = g_script.platform;
    return g_script.versionKnown;
}
BOOL WINAPI UnloadModule(HMODULE module)
{
    EXPECT_EQ(module, kModule);
    ++g_script.freedModules;
    return TRUE;
}

constexpr MessageSystem kScripted = {Load, FormatText, FreeText, Version, UnloadModule};

class SystemText : public testing::Test
{
  protected:
    SystemText() { g_script = Script{}; }
    ~SystemText() override { EXPECT_EQ(g_script.liveTexts, 0); }

    static std::string Find(std::uint32_t code)
    {
        g_script.loaded.clear();
        g_script.attempts.clear();
        tstring text("before");
        FindSystemText(text, static_cast<HRESULT>(code), kScripted);
        return text;
    }
    // The module that is asked for a code; "" for none.
    static std::string ModuleFor(std::uint32_t code)
    {
        Find(code);
        return g_script.loaded.empty() ? "" : g_script.loaded.front();
    }
};

TEST_F(SystemText, TheRangesOfCodesChooseTheModule)
{
    EXPECT_EQ(ModuleFor(2099), "");
    EXPECT_EQ(ModuleFor(2100), "netmsg.dll");
    EXPECT_EQ(ModuleFor(2999), "netmsg.dll");
    EXPECT_EQ(ModuleFor(3000), "");
    EXPECT_EQ(ModuleFor(11999), "");
    EXPECT_EQ(ModuleFor(12000), "wininet.dll");
    EXPECT_EQ(ModuleFor(12174), "wininet.dll");
    EXPECT_EQ(ModuleFor(12175), "");
    EXPECT_EQ(ModuleFor(57343), "");
    EXPECT_EQ(ModuleFor(57344), "tapiui.dll");
    EXPECT_EQ(ModuleFor(0xFFFF), "tapiui.dll");
}

TEST_F(SystemText, TheRangesHoldForEveryFacility)
{
    for (const std::uint32_t facility : {0u, 4u, 7u, 12u, 13u, 0x1FFFu}) {
        EXPECT_EQ(ModuleFor(0x80000000 | facility << 16 | 2100), "netmsg.dll");
        EXPECT_EQ(ModuleFor(0x80000000 | facility << 16 | 12000), "wininet.dll");
        EXPECT_EQ(ModuleFor(0x80000000 | facility << 16 | 57344), "tapiui.dll");
    }
}

TEST_F(SystemText, FacilityThirteenHasTwoModules)
{
    EXPECT_EQ(ModuleFor(0xC00D0000 | 1999), "nserror.dll");
    EXPECT_EQ(ModuleFor(0xC00D0000 | 2000), "asferror.dll");
    EXPECT_EQ(ModuleFor(0xC00D0000 | 2099), "asferror.dll");
    EXPECT_EQ(ModuleFor(0xC00D0000 | 3000), "nserror.dll");
    EXPECT_EQ(ModuleFor(0xC00D0000), "nserror.dll");
    EXPECT_EQ(ModuleFor(0xC00E0000), "");
    EXPECT_EQ(ModuleFor(0xC00C0000 | 2000), "");
}

TEST_F(SystemText, TheFacilityHasThirteenBits)
{
    EXPECT_EQ(ModuleFor(0xE00D0001), "nserror.dll");
    EXPECT_EQ(ModuleFor(0x900D0001), "");
}

TEST_F(SystemText, WithoutAModuleTheCodeAndThenItsLowWordAreTried)
{
    EXPECT_EQ(Find(0x80041234), "[0x80041234]");
    EXPECT_THAT(g_script.attempts,
                ElementsAre(Attempt{kSystemFlags, nullptr, 0x80041234}, Attempt{kSystemFlags, nullptr, 0x1234}));
    EXPECT_EQ(g_script.freedModules, 0);
}

TEST_F(SystemText, TheFirstTextFoundEndsTheSearch)
{
    g_script.texts[{nullptr, 0x80041234}] = "whole";
    g_script.texts[{nullptr, 0x1234}] = "low";
    EXPECT_EQ(Find(0x80041234), "whole");
    EXPECT_EQ(g_script.attempts.size(), 1u);
    g_script.texts.erase({nullptr, 0x80041234});
    EXPECT_EQ(Find(0x80041234), "low");
    EXPECT_EQ(g_script.attempts.size(), 2u);
}

TEST_F(SystemText, WithAModuleFourAttemptsAreMadeWithTheSameFlags)
{
    EXPECT_EQ(Find(0x80040834), "[0x80040834]");
    EXPECT_THAT(g_script.attempts,
                ElementsAre(Attempt{kModuleFlags, kModule, 0x80040834}, Attempt{kModuleFlags, kModule, 0x0834},
                            Attempt{kModuleFlags, nullptr, 0x80040834}, Attempt{kModuleFlags, nullptr, 0x0834}));
    EXPECT_EQ(g_script.freedModules, 1);
}

TEST_F(SystemText, EachOfTheFourAttemptsCanSucceed)
{
    g_script.texts[{nullptr, 0x0834}] = "fourth";
    EXPECT_EQ(Find(0x80040834), "fourth");
    g_script.texts[{nullptr, 0x80040834}] = "third";
    EXPECT_EQ(Find(0x80040834), "third");
    g_script.texts[{kModule, 0x0834}] = "second";
    EXPECT_EQ(Find(0x80040834), "second");
    g_script.texts[{kModule, 0x80040834}] = "first";
    EXPECT_EQ(Find(0x80040834), "first");
    EXPECT_EQ(g_script.freedModules, 4);
}

TEST_F(SystemText, AModuleThatDoesNotLoadLeavesTheFlagAndTwoAttempts)
{
    g_script.moduleLoads = false;
    EXPECT_EQ(Find(0x80040834), "[0x80040834]");
    EXPECT_THAT(g_script.attempts,
                ElementsAre(Attempt{kModuleFlags, nullptr, 0x80040834}, Attempt{kModuleFlags, nullptr, 0x0834}));
    EXPECT_EQ(g_script.freedModules, 0);
}

TEST_F(SystemText, ACountWithoutATextIsNoText)
{
    g_script.countWithoutText = true;
    EXPECT_EQ(Find(0x80040834), "[0x80040834]");
    EXPECT_EQ(g_script.attempts.size(), 4u);
}

TEST_F(SystemText, TheTextIsTrimmedAndCutAtItsFirstNul)
{
    g_script.texts[{nullptr, 5}] = "  Access is denied.\r\n";
    EXPECT_EQ(Find(5), "Access is denied.");
    g_script.texts[{nullptr, 5}] = std::string("cut \0 off", 9);
    EXPECT_EQ(Find(5), "cut");
    g_script.texts[{nullptr, 5}] = " \r\n";
    EXPECT_EQ(Find(5), "");
}

TEST_F(SystemText, SmallCodesAreShownWithEightDigits)
{
    EXPECT_EQ(Find(5), "[0x00000005]");
    EXPECT_EQ(Find(0xFFFFFFFF), "[0xffffffff]");
}

TEST_F(SystemText, ModulesStayLoadedOutsideTheNtFamily)
{
    g_script.platform = 1;
    HMODULE module = kModule;
    FreeModuleOnNT(module, kScripted);
    EXPECT_EQ(module, nullptr);
    g_script.platform = VER_PLATFORM_WIN32_NT;
    g_script.versionKnown = FALSE;
    module = kModule;
    FreeModuleOnNT(module, kScripted);
    EXPECT_EQ(module, nullptr);
    EXPECT_EQ(g_script.freedModules, 0);
    g_script.versionKnown = TRUE;
    module = kModule;
    FreeModuleOnNT(module, kScripted);
    EXPECT_EQ(module, nullptr);
    EXPECT_EQ(g_script.freedModules, 1);
}

TEST(GetErrorText, AccessDeniedHasTheSystemsOwnTextWithoutLineBreak)
{
    char *szText = nullptr;
    ASSERT_NE(FormatMessageA(kSystemFlags, nullptr, 0x80070005, 0x400, reinterpret_cast<LPSTR>(&szText), 0, nullptr),
              0u);
    const tstring expected = tstring(szText).Trim();
    LocalFree(szText);
    ASSERT_FALSE(expected.empty());

    tstring text("before");
    const tstring &returned = text.GetErrorText(static_cast<HRESULT>(0x80070005));
    EXPECT_EQ(&returned, &text);
    EXPECT_EQ(text, expected);
    EXPECT_NE(text.back(), '\n');
    EXPECT_NE(text.back(), '\r');
}

TEST(GetErrorText, ACodeWithoutATextIsShownInBrackets)
{
    EXPECT_EQ(tstring().GetErrorText(static_cast<HRESULT>(0x80041234)), "[0x80041234]");
}

TEST(GetErrorText, CodesOfTheRangesNeverFail)
{
    for (const std::uint32_t code : {2100u, 2999u, 12000u, 12174u, 57344u, 0xC00D07D0u, 0xC00D0001u})
        EXPECT_FALSE(tstring().GetErrorText(static_cast<HRESULT>(code)).empty()) << code;
}

} // namespace
