// Proves that sinks are told when the site that they watch is no longer what its path names, instead of nothing.
#include "Notified.h"
#include <filesystem>

namespace localmapi::test
{

namespace
{

TEST_F(Notified, ASiteThatIsNotInItsPlaceIsAnErrorToldOnceUntilItIsBack)
{
    auto table = Inbox();
    auto sink = MakeObject<Sink>();
    Advise(table, sink);
    const std::string path = m_mailbox.GetSite().Path();
    std::filesystem::rename(path, path + ".elsewhere");
    const Event told = sink->Take(1).front();
    EXPECT_EQ(told.event, ULONG{TABLE_ERROR});
    EXPECT_CODE(told.result, MAPI_E_OBJECT_CHANGED);
    ULONG rows = 0;
    EXPECT_CODE(table->GetRowCount(0, &rows), MAPI_E_OBJECT_CHANGED);

    std::filesystem::rename(path + ".elsewhere", path);
    Add("back");
    EXPECT_EQ(Told(sink), "added back at the top");
    EXPECT_EQ(sink->Events(), 2u);
}

} // namespace

} // namespace localmapi::test
