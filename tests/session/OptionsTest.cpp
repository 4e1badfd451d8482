// The process-wide options: what a statically linking host sets with OrlInitialise, in all four combinations, and which
// flags of which MAPI calls it changes.
#include "session/SessionTest.h"

namespace
{

class OptionsTest : public SessionTest
{
  protected:
    void Initialise(bool service, bool online, bool noCache, ULONG flags)
    {
        OrlInitialise(service, online, noCache, flags);
        OrlUninitialise(); // the test's own connection keeps the MAPI thread
    }
    void TearDown() override
    {
        Initialise(false, true, true, 0);
        SessionTest::TearDown();
    }
};

TEST_F(OptionsTest, StartWithOnlineNoCacheAndHomeLogonWithOwnership)
{
    EXPECT_TRUE(OpenOptions::UseOnlineStore());
    EXPECT_TRUE(OpenOptions::UseNoCache());
    EXPECT_EQ(OpenOptions::StoreEntryIDFlags(), 0xCu);
}

TEST_F(OptionsTest, AreLogged)
{
    OrlInitialise(true, false, true, 0x13);
    EXPECT_THAT(IndentedLines(),
                ElementsAre("OrlInitialise(fService=<true>, bUseMDBOnline=<false>, bUseNoCache=<true>, "
                            "ulOpenStoreFlags=<00000013>)",
                            "> CMAPIImpl::Initialise(Service: <true>)", "< CMAPIImpl::Initialise()"));
    EXPECT_TRUE(CMAPIImpl::IsService());
    m_trace.Clear();
    OrlUninitialise();
    EXPECT_THAT(IndentedLines(), ElementsAre("> CMAPIImpl::Uninitialise()", "< CMAPIImpl::Uninitialise()"));
    EXPECT_EQ(OpenOptions::StoreEntryIDFlags(), 0x13u);
}

TEST_F(OptionsTest, StoreFlagsOfZeroAreReplacedAndLogged)
{
    OrlInitialise(false, true, false, 0);
    EXPECT_THAT(Lines(), ElementsAre("OrlInitialise(fService=<false>, bUseMDBOnline=<true>, bUseNoCache=<false>, "
                                     "ulOpenStoreFlags=<00000000>)",
                                     "OrlInitialise - ulOpenStoreFlags=<0000000c>",
                                     "> CMAPIImpl::Initialise(Service: <false>)", "< CMAPIImpl::Initialise()"));
    OrlUninitialise();
    EXPECT_EQ(OpenOptions::StoreEntryIDFlags(), 0xCu);
}

TEST_F(OptionsTest, AllFourCombinationsChangeJustTheirOwnFlags)
{
    for (const bool online : {false, true})
        for (const bool noCache : {false, true}) {
            SCOPED_TRACE(std::string(online ? "online" : "not online") + (noCache ? ", no cache" : ", cache"));
            Initialise(false, online, noCache, 0x7);
            OrlMapiDisconnect(m_hConnection);
            Forget();
            ASSERT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), S_OK);
            OrlMailbox mailbox = 0;
            ASSERT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, "alice"), S_OK);
            const std::string open = noCache ? "0x210" : "0x10";
            EXPECT_THAT(
                Calls(),
                testing::IsSupersetOf(
                    {std::string("Session.OpenMsgStore(0, eid(store:default), NULL, ") + (online ? "0x111)" : "0x11)"),
                     std::string("Session.OpenMsgStore(0, eid(store:alice), NULL, ") + (online ? "0x131)" : "0x31)"),
                     "AddrBook.OpenEntry(eid(), NULL, " + open + ")"}));
            EXPECT_THAT(Calls(), Contains(Like("Container(GAL).OpenEntry(eid(user:alice), *, " + open + ")")));
            EXPECT_THAT(Calls(), Contains(Like("ManageStore(default).CreateStoreEntryID(*, 0x7)")));
            BYTE flags[3] = {};
            const std::string id = EntryIdOf("message:m1");
            EXPECT_EQ(OrlGetEmailFlags(m_hConnection, mailbox, static_cast<ULONG>(id.size()),
                                       reinterpret_cast<const BYTE *>(id.data()), &flags[0], &flags[1], &flags[2]),
                      S_OK);
            EXPECT_THAT(Calls(), Contains("Store(alice).OpenEntry(eid(message:m1), IMessage, " + open + ")"));
            EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, mailbox), S_OK);
        }
}

TEST_F(OptionsTest, WithoutTheOnlineStoreThereIsOneAttemptOnly)
{
    Initialise(false, false, true, 0);
    m_mapi.script.Tell("Session.OpenMsgStore", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(m_mapi.recorder.Count("Session.OpenMsgStore"), 1);
    m_mapi.script.Clear();
    Connect();
    m_mapi.script.Tell("Session.OpenMsgStore", Fails(MAPI_E_NETWORK_ERROR));
    OrlMailbox mailbox = 0;
    EXPECT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, "alice"), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(m_mapi.recorder.Count("Session.OpenMsgStore"), 1);
}

TEST_F(OptionsTest, WithoutTheNoCacheOptionAnUnknownFlagsAnswerIsFinal)
{
    Initialise(false, true, false, 0);
    Connect();
    m_mapi.script.Tell("AddrBook.OpenEntry", Fails(MAPI_E_UNKNOWN_FLAGS));
    MailboxIdentity identity;
    EXPECT_EQ(Session()->FindAddressBookEntry("alice", identity), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(m_mapi.recorder.Count("AddrBook.OpenEntry"), 1);
}

} // namespace
