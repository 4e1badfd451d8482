// No memory for a sink, or for what it keeps.
#include "notify/AdviseSink.h"
#include "notify/NotifyTest.h"
#include "support/ControlledNew.h"
#include <optional>

namespace
{

class NotifyNoMemoryTest : public NotifyTest
{
  protected:
    // Fails the next allocation of a size between these after the tables have been made: the call before the sink's
    // construction.
    void FailAfterTheTables(std::size_t least, std::size_t most)
    {
        m_mapi.script.Tell("MAPIFreeBuffer(receive folder ID)",
                           Does([this, least, most] { m_failing.emplace(least, most); }));
    }
    std::optional<controlled_new::FailingAllocation> m_failing;
};

TEST_F(NotifyNoMemoryTest, WithoutRoomForASinkTheMailboxIsLoggedOff)
{
    FailAfterTheTables(sizeof(CAdviseSink), sizeof(CAdviseSink));
    EXPECT_EQ(Advise(), E_OUTOFMEMORY);
    EXPECT_TRUE(m_failing && m_failing->HasFailed());
    m_failing.reset();
    EXPECT_EQ(m_sink, kNoSink);
    EXPECT_EQ(m_mailbox, kNoMailbox);
    EXPECT_THAT(Errors(), ElementsAre("CMAPIImpl::Advise[#]: Failed to create advise sink for alice"));
    EXPECT_EQ(m_mapi.recorder.Count("Store(alice).StoreLogoff(NULL)"), 1);
    EXPECT_EQ(m_mapi.recorder.Count("Store(alice).Release()"), 1);
    EXPECT_EQ(Counter(), 0);
    EXPECT_THAT(AllTold(), IsEmpty());
}

// A long name, so that the allocation for it differs in size from any other.
TEST_F(NotifyNoMemoryTest, WithoutRoomForItsNameThereIsNoSinkEither)
{
    const std::string name(5000, 'n');
    m_mapi.world.AddMailbox(name, name);
    FailAfterTheTables(2 * name.size(), 2 * name.size() + 64);
    EXPECT_EQ(Advise(name.c_str()), E_OUTOFMEMORY);
    EXPECT_TRUE(m_failing && m_failing->HasFailed());
    m_failing.reset();
    EXPECT_EQ(m_mapi.recorder.Count("Store.StoreLogoff"), 1);
    EXPECT_EQ(Counter(), 0);
}

} // namespace
