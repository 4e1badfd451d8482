// MAPIInitialize is counted and looks at what it is given; without it there is no logon and no profile administration.
#include "SiteFixture.h"
#include "localmapi/provider/session/Process.h"

#include <gtest/gtest.h>

#include <thread>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

class Initialize : public testing::Test
{
  protected:
    HRESULT LogOn()
    {
        ComPtr<IMAPISession> session;
        return MAPILogonEx(0, Narrow("Nobody"), nullptr, MAPI_EXTENDED, session.put());
    }
    HRESULT With(ULONG version, ULONG flags)
    {
        MAPIINIT_0 settings = {version, flags};
        const HRESULT hr = MAPIInitialize(&settings);
        if (SUCCEEDED(hr))
            MAPIUninitialize();
        return hr;
    }

    // No site is there, so that a logon that gets further fails with MAPI_E_LOGON_FAILED.
    ScopedVariable m_variable{"LOCALMAPI_FILE", "no-such-folder/no-such-file.db"};
};

TEST_F(Initialize, WithoutItThereIsNoLogonAndNoAdministration)
{
    ASSERT_FALSE(IsInitialized());
    EXPECT_CODE(LogOn(), MAPI_E_NOT_INITIALIZED);
    ComPtr<IProfAdmin> admin;
    EXPECT_CODE(MAPIAdminProfiles(0, admin.put()), MAPI_E_NOT_INITIALIZED);
}

TEST_F(Initialize, ItIsCounted)
{
    EXPECT_CODE(MAPIInitialize(nullptr), S_OK);
    EXPECT_CODE(MAPIInitialize(nullptr), S_OK);
    MAPIUninitialize();
    EXPECT_CODE(LogOn(), MAPI_E_LOGON_FAILED);
    MAPIUninitialize();
    EXPECT_CODE(LogOn(), MAPI_E_NOT_INITIALIZED);
}

TEST_F(Initialize, OneUninitializeTooManyChangesNothing)
{
    MAPIUninitialize();
    EXPECT_CODE(MAPIInitialize(nullptr), S_OK);
    EXPECT_TRUE(IsInitialized());
    MAPIUninitialize();
    EXPECT_FALSE(IsInitialized());
}

TEST_F(Initialize, KnownFlagsAreTakenAndOthersRefused)
{
    EXPECT_CODE(With(MAPI_INIT_VERSION, 0), S_OK);
    EXPECT_CODE(With(MAPI_INIT_VERSION, MAPI_MULTITHREAD_NOTIFICATIONS), S_OK);
    EXPECT_CODE(With(MAPI_INIT_VERSION, MAPI_NO_COINIT), S_OK);
    EXPECT_CODE(With(MAPI_INIT_VERSION, MAPI_NT_SERVICE), S_OK);
    EXPECT_CODE(With(MAPI_INIT_VERSION, MAPI_MULTITHREAD_NOTIFICATIONS | MAPI_NO_COINIT | MAPI_NT_SERVICE), S_OK);
    EXPECT_CODE(With(MAPI_INIT_VERSION, 0x2), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(With(MAPI_INIT_VERSION, MAPI_UNICODE), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(With(1, 0), MAPI_E_VERSION);
    EXPECT_FALSE(IsInitialized()) << "a call that was refused does not count";
}

TEST_F(Initialize, MemoryNeedsNone)
{
    void *block = nullptr;
    ASSERT_CODE(MAPIAllocateBuffer(1, &block), S_OK);
    EXPECT_EQ(MAPIFreeBuffer(block), 0u);
}

TEST_F(Initialize, ThreadsCountTogether)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([] {
            for (int round = 0; round < 100; ++round) {
                EXPECT_CODE(MAPIInitialize(nullptr), S_OK);
                EXPECT_TRUE(IsInitialized());
                MAPIUninitialize();
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_FALSE(IsInitialized());
}

} // namespace
