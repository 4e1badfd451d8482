// localmapi.dll as the system's default mail client: it registers itself, the system's mapi32.dll then forwards to it,
// and the former client is put back. All in a registry of the test's own, which stands in for HKEY_LOCAL_MACHINE.
#include "Conversation.h"
#include "SiteFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <mapiutil.h>
#include <windows.h>

using namespace localmapi::test;

namespace
{

constexpr wchar_t kStandIn[] = L"Software\\BRANE\\LocalMapi registration test";
constexpr wchar_t kMail[] = L"SOFTWARE\\Clients\\Mail";

std::wstring BesideThisProgram(const wchar_t *name)
{
    wchar_t path[1024] = {};
    GetModuleFileNameW(nullptr, path, 1023);
    std::wstring text = path;
    return text.substr(0, text.rfind(L'\\') + 1) + name;
}

class Registration : public testing::Test
{
  protected:
    void SetUp() override
    {
        // Not volatile: a volatile key takes volatile children alone.
        ASSERT_EQ(
            RegCreateKeyExW(HKEY_CURRENT_USER, kStandIn, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_standIn, nullptr),
            ERROR_SUCCESS);
        m_dll = LoadLibraryW(BesideThisProgram(L"localmapi.dll").c_str());
        ASSERT_NE(m_dll, nullptr);
        ASSERT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_standIn), ERROR_SUCCESS);
    }
    void TearDown() override
    {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegDeleteTreeW(m_standIn, nullptr);
        RegCloseKey(m_standIn);
        RegDeleteKeyW(HKEY_CURRENT_USER, kStandIn);
        if (m_dll)
            FreeLibrary(m_dll);
    }
    HRESULT Call(const char *name)
    {
        const auto function = reinterpret_cast<HRESULT(STDAPICALLTYPE *)()>(GetProcAddress(m_dll, name));
        return function ? function() : E_NOTIMPL;
    }
    HRESULT Register() { return Call("DllRegisterServer"); }
    HRESULT Unregister() { return Call("DllUnregisterServer"); }

    static std::wstring Value(const std::wstring &path, const wchar_t *name)
    {
        wchar_t text[1024] = {};
        DWORD size = sizeof text;
        if (RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size) != ERROR_SUCCESS)
            return L"(none)";
        return text;
    }
    static std::wstring DefaultClient() { return Value(kMail, nullptr); }
    static std::wstring ClientValue(const wchar_t *name) { return Value(std::wstring(kMail) + L"\\localmapi", name); }
    static void SetDefaultClient(const wchar_t *name)
    {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kMail, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE *>(name),
                       static_cast<DWORD>((wcslen(name) + 1) * sizeof(wchar_t)));
        RegCloseKey(key);
    }

    HKEY m_standIn = nullptr;
    HMODULE m_dll = nullptr;
};

TEST_F(Registration, TheDllNamesItselfAsTheDefaultClient)
{
    ASSERT_EQ(Register(), S_OK);
    EXPECT_EQ(DefaultClient(), L"localmapi");
    EXPECT_EQ(ClientValue(L"DLLPathEx"), BesideThisProgram(L"localmapi.dll"));
    EXPECT_EQ(ClientValue(L"DLLPath"), BesideThisProgram(L"localmapi.dll"));
}

TEST_F(Registration, TheFormerClientIsPutBack)
{
    SetDefaultClient(L"Former");
    ASSERT_EQ(Register(), S_OK);
    ASSERT_EQ(Register(), S_OK) << "twice";
    EXPECT_EQ(DefaultClient(), L"localmapi");
    ASSERT_EQ(Unregister(), S_OK);
    EXPECT_EQ(DefaultClient(), L"Former");
    EXPECT_EQ(ClientValue(L"DLLPathEx"), L"(none)");
}

TEST_F(Registration, WithoutAFormerClientThereIsNoneAfterwards)
{
    ASSERT_EQ(Register(), S_OK);
    ASSERT_EQ(Unregister(), S_OK);
    EXPECT_EQ(DefaultClient(), L"(none)");
    EXPECT_EQ(Unregister(), S_OK) << "twice";
}

TEST_F(Registration, AClientMadeTheDefaultSinceStaysIt)
{
    SetDefaultClient(L"Former");
    ASSERT_EQ(Register(), S_OK);
    SetDefaultClient(L"Newer");
    ASSERT_EQ(Unregister(), S_OK);
    EXPECT_EQ(DefaultClient(), L"Newer");
}

TEST_F(Registration, TheSystemsMapiForwardsToTheRegisteredDll)
{
    ASSERT_EQ(Register(), S_OK);
    const SiteFolder site;
    const HMODULE system = LoadLibraryW(L"mapi32.dll");
    ASSERT_NE(system, nullptr);
    wchar_t path[1024] = {};
    GetModuleFileNameW(system, path, 1023);
    EXPECT_EQ(std::wstring(path).find(BesideThisProgram(L"")), std::wstring::npos) << "it is the system's own";
    MapiFunctions mapi{};
    const auto find = [&](auto &function, const char *name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(GetProcAddress(system, name));
        EXPECT_NE(function, nullptr) << name;
    };
    find(mapi.initialize, "MAPIInitialize");
    find(mapi.uninitialize, "MAPIUninitialize");
    find(mapi.logonEx, "MAPILogonEx");
    find(mapi.adminProfiles, "MAPIAdminProfiles");
    find(mapi.allocateBuffer, "MAPIAllocateBuffer");
    find(mapi.allocateMore, "MAPIAllocateMore");
    find(mapi.freeBuffer, "MAPIFreeBuffer");
    find(mapi.queryAllRows, "HrQueryAllRows@24");
    if (!HasFailure())
        Converse(mapi);
    FreeLibrary(system);
}

// By itself Wine's mapi32.dll opens no file that is there.
TEST_F(Registration, TheSystemsMapiOpensFilesThroughTheRegisteredDll)
{
    ASSERT_EQ(Register(), S_OK);
    const HMODULE system = LoadLibraryW(L"mapi32.dll");
    ASSERT_NE(system, nullptr);
    const auto open =
        reinterpret_cast<LPOPENSTREAMONFILE>(reinterpret_cast<void *>(GetProcAddress(system, "OpenStreamOnFile@24")));
    ASSERT_NE(open, nullptr);
    char name[MAX_PATH + 20] = "";
    GetTempPathA(MAX_PATH, name);
    strcat(name, "localmapi-file-test");
    DeleteFileA(name);
    IStream *stream = nullptr;
    EXPECT_EQ(open(nullptr, nullptr, 0, name, nullptr, &stream), MAPI_E_NOT_FOUND);
    EXPECT_EQ(stream, nullptr);
    std::ofstream(name, std::ios::binary) << "0123456789";
    ASSERT_EQ(open(nullptr, nullptr, 0, name, nullptr, &stream), S_OK);
    char bytes[20] = "";
    ULONG read = 0;
    EXPECT_EQ(stream->Read(bytes, sizeof bytes, &read), S_OK);
    EXPECT_EQ(std::string(bytes, read), "0123456789");
    stream->Release();
    DeleteFileA(name);
    FreeLibrary(system);
}

} // namespace
