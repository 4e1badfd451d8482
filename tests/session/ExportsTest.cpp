// The connection family of exports: the frame around each of them, what they do with handles and outputs, and that no
// exception leaves the library.
#include "session/SessionTest.h"
#include <set>
#include <stdexcept>

namespace
{

class ExportsTest : public SessionTest
{
};

TEST_F(ExportsTest, EveryFramedExportRefusesAnUnknownConnectionAndTouchesNothing)
{
    DWORD unknown = m_hConnection;
    ASSERT_EQ(OrlCloseConnection(&m_hConnection), S_OK);
    Forget();
    for (const DWORD h : {DWORD{0}, unknown, DWORD{32769}, DWORD{0xFFFFFFFF}}) {
        SCOPED_TRACE(h);
        OrlMailbox mailbox = 77;
        auto *const untouched = reinterpret_cast<void *>(0x10);
        auto *nameA = static_cast<ExchangeServerNameA *>(untouched);
        auto *nameW = static_cast<ExchangeServerNameW *>(untouched);
        auto *profilesA = static_cast<ExchangeProfileA *>(untouched);
        auto *profilesW = static_cast<ExchangeProfileW *>(untouched);
        ULONG countA = 9;
        ULONG countW = 9;
        const DWORD table = 3;
        EXPECT_EQ(OrlMapiConnectA(h, "s", "m", "p"), E_INVALIDARG);
        EXPECT_EQ(OrlMapiConnectW(h, OLESTR("s"), OLESTR("m"), OLESTR("p")), E_INVALIDARG);
        EXPECT_EQ(OrlMapiDisconnect(h), E_INVALIDARG);
        EXPECT_EQ(OrlMapiConnectToMailboxA(h, &mailbox, "alice"), E_INVALIDARG);
        EXPECT_EQ(OrlMapiConnectToMailboxW(h, &mailbox, OLESTR("alice")), E_INVALIDARG);
        EXPECT_EQ(OrlMapiDisconnectFromMailbox(h, 77), E_INVALIDARG);
        EXPECT_EQ(OrlMapiReleaseHandle(h, &table, nullptr), E_INVALIDARG);
        EXPECT_EQ(OrlGetExchangeServerNameA(h, &nameA, "p"), E_INVALIDARG);
        EXPECT_EQ(OrlGetExchangeServerNameW(h, &nameW, OLESTR("p")), E_INVALIDARG);
        EXPECT_EQ(OrlGetExchangeProfilesA(h, &profilesA, &countA), E_INVALIDARG);
        EXPECT_EQ(OrlGetExchangeProfilesW(h, &profilesW, &countW), E_INVALIDARG);
        EXPECT_EQ(OrlIsMAPIAvailable(h), 0);
        EXPECT_EQ(OrlIsConnected(h), 0);
        EXPECT_EQ(mailbox, 77u);
        EXPECT_EQ(static_cast<void *>(nameA), untouched);
        EXPECT_EQ(static_cast<void *>(nameW), untouched);
        EXPECT_EQ(static_cast<void *>(profilesA), untouched);
        EXPECT_EQ(static_cast<void *>(profilesW), untouched);
        EXPECT_EQ(countA, 0u) << "the count is set before the connection is looked up";
        EXPECT_EQ(countW, 0u);
    }
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
}

TEST_F(ExportsTest, CreatingGivesAHandleFrom1To32768)
{
    EXPECT_GE(m_hConnection, 1u);
    EXPECT_LE(m_hConnection, 32768u);
}

TEST_F(ExportsTest, ClosingSetsTheHandleToZeroAndAnUnknownOneIsLeftAsItIs)
{
    const DWORD closed = m_hConnection;
    EXPECT_EQ(OrlCloseConnection(&m_hConnection), S_OK);
    EXPECT_EQ(m_hConnection, 0u);
    DWORD again = closed;
    EXPECT_EQ(OrlCloseConnection(&again), E_FAIL);
    EXPECT_EQ(again, closed);
    DWORD zero = 0;
    EXPECT_EQ(OrlCloseConnection(&zero), E_FAIL);
    EXPECT_EQ(zero, 0u);
}

TEST_F(ExportsTest, IsConnectedOnlyBetweenLogonAndLogoff)
{
    EXPECT_EQ(OrlIsConnected(m_hConnection), 0);
    Connect();
    EXPECT_EQ(OrlIsConnected(m_hConnection), 1);
    EXPECT_EQ(OrlMapiDisconnect(m_hConnection), S_OK);
    EXPECT_EQ(OrlIsConnected(m_hConnection), 0);
}

TEST_F(ExportsTest, IsNotConnectedWithASessionButNoDefaultStore)
{
    m_mapi.script.Tell("Session.OpenMsgStore", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", "Voicemail"), MAPI_E_NETWORK_ERROR);
    EXPECT_EQ(OrlIsConnected(m_hConnection), 0);
}

TEST_F(ExportsTest, CrashRecoveryHasNoEffect)
{
    Connect();
    OrlCrashRecovery();
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
    EXPECT_THAT(Lines(), IsEmpty());
    EXPECT_EQ(OrlIsConnected(m_hConnection), 1);
    Close();
    Forget();
    OrlCrashRecovery();
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
}

TEST_F(ExportsTest, FreeingABufferNeedsNoConnectionAndGivesMapisOwnResult)
{
    Close();
    void *block = nullptr;
    ASSERT_EQ(MAPIAllocateBuffer(16, &block), S_OK);
    Forget();
    EXPECT_EQ(OrlMapiFreeBuffer(block), S_OK);
    m_mapi.script.Tell("MAPIFreeBuffer", Fails(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(OrlMapiFreeBuffer(nullptr), MAPI_E_NETWORK_ERROR);
    EXPECT_THAT(m_mapi.recorder.Memory(), ElementsAre("MAPIFreeBuffer(block 1)", "MAPIFreeBuffer(NULL)"));
}

TEST_F(ExportsTest, ReleasingNoHandlesPassesTwoZeroHandles)
{
    EXPECT_EQ(OrlMapiReleaseHandle(m_hConnection, nullptr, nullptr), S_OK);
    EXPECT_THAT(Lines(), Contains(Like("> CMAPIImpl::ReleaseHandles(hTable: 0*0, hBookmark: 0*0)")));
}

TEST_F(ExportsTest, ReleasingHandlesReadsThemThroughTheirPointersAndDoesNotClearThem)
{
    IMAPITable *table = NewTable(std::make_shared<TableData>("kept"));
    BOOKMARK bookmark = 0;
    ASSERT_EQ(table->CreateBookmark(&bookmark), S_OK);
    Forget();
    const DWORD hTable = Session()->StoreObject(table);
    const DWORD hBookmark = Session()->StoreObject(bookmark);
    Session()->OpenObjects() = 1; // the kept table
    DWORD tableVariable = hTable;
    DWORD bookmarkVariable = hBookmark;
    EXPECT_EQ(OrlMapiReleaseHandle(m_hConnection, &tableVariable, &bookmarkVariable), S_OK);
    EXPECT_EQ(tableVariable, hTable);
    EXPECT_EQ(bookmarkVariable, hBookmark);
    EXPECT_THAT(m_mapi.recorder.Everything(),
                ElementsAre("Table(kept).FreeBookmark(bookmark 101)", "Table(kept).Release()"));
    EXPECT_EQ(Counter(), 0);
    EXPECT_EQ(Session()->LocateContentsTable(hTable), nullptr);
    EXPECT_EQ(Session()->LocateBookmark(hBookmark), 0u);
}

TEST_F(ExportsTest, AFailedMailboxLogonLeavesTheMailboxHandleAlone)
{
    Connect();
    OrlMailbox mailbox = 77;
    EXPECT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, "nobody"), MAPI_E_NOT_FOUND);
    EXPECT_EQ(mailbox, 77u);
    EXPECT_EQ(OrlMapiConnectToMailboxW(m_hConnection, &mailbox, OLESTR("nobody")), MAPI_E_NOT_FOUND);
    EXPECT_EQ(mailbox, 77u);
}

TEST_F(ExportsTest, TheMailboxHandleIsTheStoreAndGoesBackUnchanged)
{
    Connect();
    OrlMailbox mailbox = 0;
    ASSERT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, "alice"), S_OK);
    EXPECT_EQ(ObjectName(reinterpret_cast<void *>(mailbox)), "Store(alice)");
    Forget();
    EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, mailbox), S_OK);
    EXPECT_THAT(m_mapi.recorder.Everything(), ElementsAre("Store(alice).StoreLogoff(NULL)", "Store(alice).Release()"));
}

TEST_F(ExportsTest, LeavingMailboxZeroIsNoErrorAndChangesNothing)
{
    Connect();
    EXPECT_EQ(OrlMapiDisconnectFromMailbox(m_hConnection, 0), S_OK);
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
    EXPECT_EQ(Counter(), 0);
}

TEST_F(ExportsTest, NullTextArgumentsAreReportedAndEmpty)
{
    // An empty profile with an empty server falls back to the default profile.
    EXPECT_EQ(OrlMapiConnectA(m_hConnection, nullptr, nullptr, nullptr), S_OK);
    EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, NULL, NULL, 0x108062)"));
    Forget();
    EXPECT_EQ(OrlMapiConnectW(m_hConnection, nullptr, nullptr, nullptr), S_OK);
    EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, NULL, NULL, 0x108062)"));
}

TEST_F(ExportsTest, NarrowTextReachesMapiByteForByte)
{
    for (const std::string &name : {std::string("J\xC3\xBCrgen"), std::string("\xCE\x93\xCE\xB9\xCF\x8E"),
                                    std::string("\xE5\xB1\xB1\xE7\x94\xB0"), std::string("\xF0\x9F\x8E\xA4 mail"),
                                    std::string("broken \xE9\x80 \xFF"), std::string("cut \xF0\x9F\x8E")}) {
        Forget();
        EXPECT_EQ(OrlMapiConnectA(m_hConnection, "NORVIK1", "vm", name.c_str()), S_OK);
        EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, \"" + name + "\", NULL, 0x108032)"));
    }
}

TEST_F(ExportsTest, WideTextReachesMapiInTheAnsiCodePage)
{
    const WCHAR lone[] = {'a', 0xD83C, 'b', 0};
    const WCHAR reversed[] = {0xDFA4, 0xD83C, 0};
    for (const WideText &name : {WideText(OLESTR("Jürgen")), WideText(OLESTR("Γιώργος")), WideText(OLESTR("山田太郎")),
                                 WideText(OLESTR("🎤 mail")), WideText(lone), WideText(reversed)}) {
        Forget();
        EXPECT_EQ(OrlMapiConnectW(m_hConnection, OLESTR("NORVIK1"), OLESTR("vm"), name.c_str()), S_OK);
        EXPECT_THAT(Calls(), Contains("MAPILogonEx(0, \"" + InAnsi(name) + "\", NULL, 0x108032)"));
    }
}

// One line that an exception made: the export's name and its own line number.
std::string ExceptionLine(const std::vector<std::string> &lines, const std::string &name)
{
    for (const std::string &line : lines)
        if (line.find("Exception has occurred in " + name + " (OrlMapi32[") == 0)
            return line.substr(line.find('['));
    ADD_FAILURE() << "no exception line of " << name << " in " << testing::PrintToString(lines);
    return "";
}

TEST_F(ExportsTest, AnExceptionIsReportedUnderTheExportsNameWithALineOfItsOwn)
{
    const auto throwing = Does([] { throw std::runtime_error("from below"); });
    std::set<std::string> lines;
    const auto expect = [&](const char *name, const std::string &call, const std::function<HRESULT()> &action) {
        SCOPED_TRACE(name);
        m_mapi.script.Clear();
        m_mapi.script.Tell(call, throwing);
        Forget();
        EXPECT_EQ(action(), E_UNEXPECTED);
        lines.insert(ExceptionLine(m_trace.Texts(), name));
    };
    expect("OrlMapiConnectA", "MAPILogonEx", [&] { return OrlMapiConnectA(m_hConnection, "s", "m", "p"); });
    expect("OrlMapiConnectW", "MAPILogonEx",
           [&] { return OrlMapiConnectW(m_hConnection, OLESTR("s"), OLESTR("m"), OLESTR("p")); });
    m_mapi.script.Clear();
    Connect();
    OrlMailbox mailbox = 77;
    expect("OrlMapiConnectToMailboxA", "Session.OpenMsgStore",
           [&] { return OrlMapiConnectToMailboxA(m_hConnection, &mailbox, "alice"); });
    expect("OrlMapiConnectToMailboxW", "Session.OpenMsgStore",
           [&] { return OrlMapiConnectToMailboxW(m_hConnection, &mailbox, OLESTR("alice")); });
    EXPECT_EQ(mailbox, 77u);
    ExchangeServerNameA *nameA = nullptr;
    ExchangeServerNameW *nameW = nullptr;
    expect("OrlGetExchangeServerNameA", "Session.AdminServices",
           [&] { return OrlGetExchangeServerNameA(m_hConnection, &nameA, "p"); });
    expect("OrlGetExchangeServerNameW", "Session.AdminServices",
           [&] { return OrlGetExchangeServerNameW(m_hConnection, &nameW, OLESTR("p")); });
    ExchangeProfileA *profilesA = nullptr;
    ExchangeProfileW *profilesW = nullptr;
    ULONG count = 0;
    expect("OrlGetExchangeProfilesA", "MAPIAdminProfiles",
           [&] { return OrlGetExchangeProfilesA(m_hConnection, &profilesA, &count); });
    expect("OrlGetExchangeProfilesW", "MAPIAdminProfiles",
           [&] { return OrlGetExchangeProfilesW(m_hConnection, &profilesW, &count); });
    m_mapi.script.Clear();
    ASSERT_EQ(OrlMapiConnectToMailboxA(m_hConnection, &mailbox, "alice"), S_OK);
    expect("OrlMapiDisconnectFromMailbox", "Store(alice).StoreLogoff",
           [&] { return OrlMapiDisconnectFromMailbox(m_hConnection, mailbox); });
    expect("OrlMapiDisconnect", "Session.Logoff", [&] { return OrlMapiDisconnect(m_hConnection); });
    expect("OrlMapiFreeBuffer", "MAPIFreeBuffer", [&] { return OrlMapiFreeBuffer(nullptr); });
    EXPECT_EQ(lines.size(), 11u);
    m_mapi.script.Clear();
}

std::string g_exceptionIn;
void KeepException(const char *, const char *szFunction, int)
{
    g_exceptionIn = szFunction;
}
void ThrowOnce(const char *, int)
{
    SetOutputHooks(nullptr, nullptr);
    throw std::runtime_error("from the trace");
}

TEST_F(ExportsTest, AnExceptionWhileCreatingIsAPlainFailure)
{
    SetExceptionHooks(KeepException, nullptr);
    SetOutputHooks(ThrowOnce, nullptr);
    DWORD h = 77;
    EXPECT_EQ(OrlCreateConnection(&h, 0), E_FAIL);
    SetExceptionHooks(nullptr, nullptr);
    SetOutputHooks(nullptr, nullptr);
    EXPECT_EQ(g_exceptionIn, "OrlCreateConnection");
    EXPECT_EQ(h, 77u);
}

TEST_F(ExportsTest, TheErrorNameExportsIgnoreTheConnection)
{
    for (const DWORD h : {m_hConnection, DWORD{0}, DWORD{0xFFFFFFFF}}) {
        char narrow[64] = "x";
        WCHAR wide[64] = {'x'};
        OrlGetErrorTextA(h, static_cast<HRESULT>(0x8004010F), narrow, 64);
        OrlGetErrorTextW(h, static_cast<HRESULT>(0x80040111), wide, 64);
        EXPECT_STREQ(narrow, "MAPI_E_NOT_FOUND");
        EXPECT_EQ(WideText(wide), WideText(OLESTR("MAPI_E_LOGON_FAILED")));
    }
    EXPECT_THAT(m_mapi.recorder.Everything(), IsEmpty());
}

TEST_F(ExportsTest, AResultWithoutANameIsEmptyTextInBothFlavours)
{
    for (const ULONG hr : {0ul, 0x80041234ul, 0x8004010Cul, 0x80040603ul, 0x800C8004ul}) {
        SCOPED_TRACE(hr);
        char narrow[64] = "x";
        WCHAR wide[64] = {'x'};
        OrlGetErrorTextA(0, static_cast<HRESULT>(hr), narrow, 64);
        OrlGetErrorTextW(0, static_cast<HRESULT>(hr), wide, 64);
        EXPECT_STREQ(narrow, "");
        EXPECT_EQ(wide[0], 0);
    }
}

TEST_F(ExportsTest, TheNameOfAResultNeedsRoomForItsTerminator)
{
    char narrow[16] = {};
    WCHAR wide[16] = {};
    OrlGetErrorTextA(0, 1, narrow, 8); // "S_FALSE" and its zero
    OrlGetErrorTextW(0, 1, wide, 8);
    EXPECT_STREQ(narrow, "S_FALSE");
    EXPECT_EQ(WideText(wide), WideText(OLESTR("S_FALSE")));
    narrow[0] = 'x';
    wide[0] = 'x';
    OrlGetErrorTextA(0, 1, narrow, 7);
    OrlGetErrorTextW(0, 1, wide, 7);
    EXPECT_STREQ(narrow, "");
    EXPECT_EQ(wide[0], 0);
}

TEST_F(ExportsTest, TheNameOfAResultGoesNowhereWithoutABufferAndWithoutRoom)
{
    char narrow[4] = "abc";
    WCHAR wide[4] = {'a', 'b', 'c', 0};
    OrlGetErrorTextA(0, 1, narrow, 0);
    OrlGetErrorTextW(0, 1, wide, 0);
    EXPECT_STREQ(narrow, "abc");
    EXPECT_EQ(WideText(wide), WideText(OLESTR("abc")));
    OrlGetErrorTextA(0, 1, nullptr, 64);
    OrlGetErrorTextW(0, 1, nullptr, 64);
    EXPECT_THAT(Lines(), IsEmpty());
}

} // namespace
