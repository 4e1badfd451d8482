// What passes the trace's filter, and how the settings get from the registry into the filter and back: at the first
// use, and again while the process runs.
#include "RegistryKey.h"
#include "ReplacedCalls.h"
#include "common/trace/DebugTrace.h"
#include <gtest/gtest.h>

namespace
{

constexpr const char *kName = "OrlMapi test of settings";
const std::string kLevel5("\5\0\0\0", 4);
const std::string kAllOnes(16, '\xff');

DWORD Value(DWORD id, DWORD level)
{
    return id << 16 | level;
}

class Settings : public testing::Test
{
  protected:
    Settings() { m_calls.StopTicks(1000000); }

    ReplacedCalls m_calls;
    RegistryKey m_key{kName};
    DebugTrace m_trace;
};

TEST_F(Settings, TheFirstUseMakesThemVisible)
{
    EXPECT_FALSE(m_key.Exists());
    m_trace.Init(nullptr, "host", kName);
    EXPECT_EQ(m_key.Text("Module Name"), "host    ");
    EXPECT_EQ(m_key.Level(), kLevel5);
    EXPECT_EQ(m_key.Map(), kAllOnes);
}

TEST_F(Settings, WhatTheAdministratorSetIsReadAndKept)
{
    m_key.SetLevel(7);
    std::vector<BYTE> map(16, 0);
    map[0x66 / 8] = 1 << 0x66 % 8;
    m_key.SetMap(map);
    m_trace.Init(nullptr, "host", kName);
    EXPECT_TRUE(m_trace.IsEnabled(Value(0x66, 7)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(0x66, 8)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(0x65, 1)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(0x67, 1)));
    EXPECT_EQ(m_key.Level(), std::string("\7\0\0\0", 4));
    EXPECT_EQ(m_key.Map(), std::string(map.begin(), map.end()));
}

TEST_F(Settings, TheDefaultLetsLevelFiveOfEveryClassPass)
{
    m_trace.Init(nullptr, "host", kName);
    for (DWORD id = 0; id < 128; ++id) {
        EXPECT_TRUE(m_trace.IsEnabled(Value(id, 5)));
        EXPECT_FALSE(m_trace.IsEnabled(Value(id, 6)));
    }
}

TEST_F(Settings, ALevelOfTwelveIsReadAsNine)
{
    m_key.SetLevel(12);
    m_trace.Init(nullptr, "host", kName);
    EXPECT_EQ(m_trace.Settings().Level(), 9u);
    EXPECT_TRUE(m_trace.IsEnabled(Value(1, 9)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(1, 10)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(1, 12)));
    EXPECT_EQ(m_key.Level(), std::string("\x9\0\0\0", 4));
}

TEST_F(Settings, LevelZeroLetsNothingPass)
{
    m_key.SetLevel(0);
    m_trace.Init(nullptr, "host", kName);
    EXPECT_FALSE(m_trace.IsEnabled(Value(1, 0)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(1, 0xFFFF)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(0xFFFF, 0)));
}

TEST_F(Settings, TheHighestLevelAndTheHighestClassPassByThemselves)
{
    m_key.SetLevel(1);
    m_key.SetMap(std::vector<BYTE>(16, 0));
    m_trace.Init(nullptr, "host", kName);
    EXPECT_TRUE(m_trace.IsEnabled(Value(0xFFFF, 1)));
    EXPECT_TRUE(m_trace.IsEnabled(Value(0xFFFF, 0xFFFF)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(0xFFFF, 2)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(3, 0xFFFF)));
}

TEST_F(Settings, EachClassHasItsBit)
{
    m_trace.Init(nullptr, "host", kName);
    for (DWORD id = 0; id < 128; ++id) {
        std::vector<BYTE> map(16, 0);
        map[id / 8] = static_cast<BYTE>(1 << id % 8);
        m_key.SetMap(map);
        m_trace.Settings().Read(m_key.Path());
        for (DWORD other = 0; other < 128; ++other)
            EXPECT_EQ(m_trace.IsEnabled(Value(other, 1)), other == id) << other;
    }
}

TEST_F(Settings, ClassesFrom128OnUseTheBitOfClassZero)
{
    std::vector<BYTE> map(16, 0);
    map[0] = 1;
    m_key.SetMap(map);
    m_trace.Init(nullptr, "host", kName);
    for (const DWORD id : {128u, 200u, 0xFFFEu})
        EXPECT_TRUE(m_trace.IsEnabled(Value(id, 1)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(127, 1)));
    map.assign(16, 0xFF);
    map[0] = 0xFE;
    m_key.SetMap(map);
    m_trace.Settings().Read(m_key.Path());
    for (const DWORD id : {128u, 200u, 0xFFFEu})
        EXPECT_FALSE(m_trace.IsEnabled(Value(id, 1)));
}

TEST_F(Settings, AChangeTakesEffectWhenThreeSecondsHavePassed)
{
    m_trace.Init(nullptr, "host", kName);
    m_key.SetMap(std::vector<BYTE>(16, 0));
    EXPECT_TRUE(m_trace.IsEnabled(Value(1, 1)));
    m_calls.Advance(3000);
    EXPECT_TRUE(m_trace.IsEnabled(Value(1, 1)));
    m_calls.Advance(1);
    EXPECT_FALSE(m_trace.IsEnabled(Value(1, 1)));
    m_key.SetMap(std::vector<BYTE>(16, 0xFF));
    m_calls.Advance(3000);
    EXPECT_FALSE(m_trace.IsEnabled(Value(1, 1)));
    m_calls.Advance(1);
    EXPECT_TRUE(m_trace.IsEnabled(Value(1, 1)));
}

TEST_F(Settings, ValuesThatAreMissingKeepWhatHolds)
{
    m_key.SetLevel(3);
    m_trace.Init(nullptr, "host", kName);
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, "SOFTWARE\\BRANE\\OrlMapi test of settings");
    m_calls.Advance(3001);
    EXPECT_TRUE(m_trace.IsEnabled(Value(1, 3)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(1, 4)));
    EXPECT_FALSE(m_key.Exists());
}

TEST_F(Settings, ValuesOfAnotherTypeOrSizeKeepWhatHolds)
{
    m_trace.Init(nullptr, "host", kName);
    m_key.Set("Filter Level", REG_SZ, "abc", 4);
    m_key.SetMap(std::vector<BYTE>(15, 0));
    m_calls.Advance(3001);
    EXPECT_TRUE(m_trace.IsEnabled(Value(1, 5)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(1, 6)));
    m_key.SetMap(std::vector<BYTE>(32, 0));
    m_calls.Advance(3001);
    EXPECT_TRUE(m_trace.IsEnabled(Value(1, 5)));
}

TEST_F(Settings, InitialisationHappensOnce)
{
    m_trace.Init(nullptr, "first", kName);
    const RegistryKey other("OrlMapi test of another name");
    m_trace.Init(nullptr, "second", "OrlMapi test of another name");
    EXPECT_FALSE(other.Exists());
    EXPECT_EQ(m_key.Text("Module Name"), "first   ");
}

TEST_F(Settings, ALongNameIsCutToEightCharacters)
{
    m_trace.Init(nullptr, "voicemailserver", kName);
    EXPECT_EQ(m_key.Text("Module Name"), "voicemai");
}

TEST(SettingsNames, WithoutARegistryNameTheKeyHasTheModulesWholeName)
{
    const RegistryKey key("OrlMapi test module");
    DebugTrace trace;
    trace.Init(nullptr, "OrlMapi test module", nullptr);
    EXPECT_STREQ(trace.KeyPath(), "SOFTWARE\\BRANE\\OrlMapi test module\\Debug");
    EXPECT_EQ(key.Text("Module Name"), "OrlMapi ");
}

TEST(SettingsNames, WithoutAnyNameThatOfTheProgramIsTaken)
{
    const RegistryKey key("trace_settings_test");
    DebugTrace trace;
    EXPECT_STREQ(trace.KeyPath(), "");
    EXPECT_TRUE(trace.IsEnabled(Value(1, 5)));
    EXPECT_STREQ(trace.KeyPath(), "SOFTWARE\\BRANE\\trace_settings_test\\Debug");
    EXPECT_EQ(key.Text("Module Name"), "trace_se");
}

TEST(SettingsNames, AnEmptyOrUnreadableNameIsUnknown)
{
    const RegistryKey key("Unknown ");
    DebugTrace empty;
    empty.Init(nullptr, "", nullptr);
    EXPECT_STREQ(empty.KeyPath(), "SOFTWARE\\BRANE\\Unknown \\Debug");
    DebugTrace bad;
    bad.Init(nullptr, reinterpret_cast<const char *>(0x10), nullptr);
    EXPECT_STREQ(bad.KeyPath(), "SOFTWARE\\BRANE\\Unknown \\Debug");
    EXPECT_EQ(key.Text("Module Name"), "Unknown ");
}

TEST(SettingsNames, AKeyPathHasAtMost260CharactersWithItsEnd)
{
    const std::string name(400, 'k');
    const RegistryKey key(name.substr(0, 259 - 15));
    DebugTrace trace;
    trace.Init(nullptr, "host", name.c_str());
    EXPECT_EQ(std::string(trace.KeyPath()), ("SOFTWARE\\BRANE\\" + name).substr(0, 259));
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, trace.KeyPath());
}

TEST_F(Settings, NamesOfClassesAreWrittenUnderTheirNumbers)
{
    m_trace.Init(nullptr, "host", kName);
    const char *const names[] = {"nine", "ten", "sixteen less one"};
    m_trace.SetIdNames(9, 2, names);
    m_trace.SetIdNames(0x66, 1, names + 2);
    EXPECT_EQ(m_key.Text("ID 09 Name"), "nine");
    EXPECT_EQ(m_key.Text("ID 0a Name"), "ten");
    EXPECT_EQ(m_key.Text("ID 66 Name"), "sixteen less one");
    EXPECT_EQ(m_key.Text("ID 0b Name"), "absent");
}

TEST_F(Settings, NamesOfClassesMakeTheKeyWhereItIsMissing)
{
    m_trace.Init(nullptr, "host", kName);
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, "SOFTWARE\\BRANE\\OrlMapi test of settings");
    const char *const names[] = {"nine"};
    m_trace.SetIdNames(9, 1, names);
    EXPECT_EQ(m_key.Text("ID 09 Name"), "nine");
}

TEST_F(Settings, APinnedFilterHoldsUntilItIsReleased)
{
    m_trace.Init(nullptr, "host", kName);
    m_trace.Settings().Pin(9, {});
    m_calls.Advance(3001);
    EXPECT_FALSE(m_trace.IsEnabled(Value(1, 5)));
    EXPECT_TRUE(m_trace.IsEnabled(Value(0xFFFF, 9)));
    m_trace.Settings().Release(m_trace.KeyPath());
    EXPECT_TRUE(m_trace.IsEnabled(Value(1, 5)));
    EXPECT_FALSE(m_trace.IsEnabled(Value(1, 6)));
}

} // namespace
