// The library as hosts link it: a whole conversation through the exported functions.
#include "Conversation.h"
#include "SiteFolder.h"

#include <gtest/gtest.h>

using namespace localmapi::test;

namespace
{

TEST(Library, AWholeConversationRunsThroughTheExports)
{
    const SiteFolder site;
    Converse({MAPIInitialize, MAPIUninitialize, MAPILogonEx, MAPIAdminProfiles, MAPIAllocateBuffer, MAPIAllocateMore,
              MAPIFreeBuffer, HrQueryAllRows});
}

TEST(Library, TheUtilityFunctionsAreThere)
{
    SPropValue value{};
    value.ulPropTag = PR_DISPLAY_NAME_A;
    EXPECT_EQ(PpropFindProp(&value, 1, PR_DISPLAY_NAME_A), &value);
    SPropValue *one = nullptr;
    EXPECT_EQ(HrGetOneProp(nullptr, PR_DISPLAY_NAME_A, &one), MAPI_E_INVALID_PARAMETER);
    FreeProws(nullptr);
    FreePadrlist(nullptr);
}

} // namespace
