// Everything may be called from several threads at once: logons, one shared session, profiles made and deleted, the
// address book, last errors.
#include "SiteFixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

using namespace localmapi;
using namespace localmapi::test;

namespace
{

class Threads : public SiteTest
{
  protected:
    static void InParallel(int threads, const std::function<void(int)> &body)
    {
        std::vector<std::thread> running;
        for (int i = 0; i < threads; ++i)
            running.emplace_back(body, i);
        for (std::thread &thread : running)
            thread.join();
    }
};

TEST_F(Threads, SessionsOfTheirOwn)
{
    AddProfile();
    InParallel(6, [&](int) {
        for (int round = 0; round < 5; ++round) {
            ASSERT_CODE(MAPIInitialize(nullptr), S_OK);
            {
                const auto session = LogOn();
                ASSERT_TRUE(session);
                ComPtr<IMAPITable> table;
                EXPECT_CODE(session->GetMsgStoresTable(0, table.put()), S_OK);
                EXPECT_EQ(AllRows(table.get(), {PR_ENTRYID}).Count(), 1u);
                EXPECT_CODE(session->Logoff(0, 0, 0), S_OK);
            }
            MAPIUninitialize();
        }
    });
}

TEST_F(Threads, OneSessionShared)
{
    AddProfile();
    const auto session = LogOn();
    const auto book = OpenBook(session);
    InParallel(6, [&](int thread) {
        for (int round = 0; round < 10; ++round) {
            ComPtr<IUnknown> object;
            EXPECT_CODE(book->OpenEntry(0, nullptr, nullptr, 0, nullptr, object.put()), S_OK);
            auto values = NewRoot<SPropValue>(1);
            values->ulPropTag = PR_DISPLAY_NAME_A;
            values->Value.lpszA = const_cast<char *>(thread % 2 ? "alice" : "nobody");
            ADRLIST list = {1, {{0, 1, values.release()}}};
            EXPECT_CODE(book->ResolveName(0, 0, nullptr, &list), thread % 2 ? S_OK : MAPI_E_NOT_FOUND);
            MAPIFreeBuffer(list.aEntries[0].rgPropVals);
            if (thread % 2 == 0) {
                EXPECT_NE(LastError(book.get(), MAPI_E_NOT_FOUND), "");
            }
            ComPtr<IMsgServiceAdmin> services;
            EXPECT_CODE(session->AdminServices(0, services.put()), S_OK);
            ComPtr<IProfSect> section;
            EXPECT_CODE(services->OpenProfileSection(nullptr, nullptr, MAPI_MODIFY, section.put()), S_OK);
            EXPECT_EQ(TextOf(section.get(), PR_PROFILE_NAME_A), "Work");
        }
    });
}

TEST_F(Threads, ProfilesMadeAndDeleted)
{
    InParallel(4, [&](int thread) {
        const std::string name = "Profile " + std::to_string(thread);
        for (int round = 0; round < 5; ++round) {
            const auto admin = Admin();
            ASSERT_CODE(admin->CreateProfile(Narrow(name.c_str()), nullptr, 0, MAPI_DEFAULT_SERVICES), S_OK);
            ServiceUid(Services(admin, name.c_str()));
            EXPECT_CODE(admin->DeleteProfile(Narrow(name.c_str()), 0), S_OK);
        }
    });
    EXPECT_TRUE(ProfileNames().empty());
}

TEST_F(Threads, OnlyOneMakesAProfileOfAName)
{
    std::atomic<int> made{0};
    InParallel(6, [&](int) {
        const HRESULT hr = Admin()->CreateProfile(Narrow("Same"), nullptr, 0, 0);
        made += hr == S_OK;
        EXPECT_TRUE(hr == S_OK || hr == MAPI_E_NO_ACCESS) << CodeName(hr);
    });
    EXPECT_EQ(made, 1);
}

} // namespace
