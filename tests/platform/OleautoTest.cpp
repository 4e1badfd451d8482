// Proves automation texts, variants as text, variant dates, texts of GUIDs, and COM's counting on a thread.
#include "Text.h"
#include <cmath>
#include <gtest/gtest.h>
#include <oleauto.h>
#include <thread>

namespace
{
TEST(Bstr, KnowsItsLength)
{
    BSTR text = SysAllocString(OLESTR("text"));
    EXPECT_EQ(4u, SysStringLen(text));
    EXPECT_EQ(8u, SysStringByteLen(text));
    EXPECT_EQ(OLESTR("text"), WideText(text));
    SysFreeString(text);
    BSTR withZero = SysAllocStringLen(OLESTR("a\0b"), 3);
    EXPECT_EQ(3u, SysStringLen(withZero));
    EXPECT_EQ(0, withZero[3]);
    SysFreeString(withZero);
    BSTR bytes = SysAllocStringByteLen("abc", 3);
    EXPECT_EQ(3u, SysStringByteLen(bytes));
    EXPECT_EQ(1u, SysStringLen(bytes));
    SysFreeString(bytes);
    EXPECT_EQ(nullptr, SysAllocString(nullptr));
    EXPECT_EQ(0u, SysStringLen(nullptr));
    SysFreeString(nullptr);
}

VARIANT Variant(VARTYPE type)
{
    VARIANT value;
    VariantInit(&value);
    value.vt = type;
    return value;
}
std::string AsText(VARIANT value, USHORT flags = 0)
{
    VARIANT text = Variant(VT_EMPTY);
    const HRESULT result = VariantChangeType(&text, &value, flags, VT_BSTR);
    if (result != S_OK)
        return Formats("<%08lx>", result);
    std::string narrow;
    for (UINT i = 0; i < SysStringLen(text.bstrVal); ++i)
        narrow += static_cast<char>(text.bstrVal[i]);
    VariantClear(&text);
    EXPECT_EQ(VT_EMPTY, text.vt);
    return narrow;
}

std::string Number(double number, VARTYPE type = VT_R8)
{
    VARIANT value = Variant(type);
    value.dblVal = number;
    return AsText(value);
}
std::string Whole(LONG number, VARTYPE type)
{
    VARIANT value = Variant(type);
    value.lVal = number;
    return AsText(value);
}

TEST(Variant, OfAWholeNumberBecomesText)
{
    VARIANT small = Variant(VT_I2);
    small.iVal = -7;
    EXPECT_EQ("-7", AsText(small));
    EXPECT_EQ("-70000", Whole(-70000, VT_I4));
    EXPECT_EQ("4000000000", Whole(static_cast<LONG>(4000000000u), VT_UI4));
    EXPECT_EQ("-3", Whole(-3, VT_INT));
    EXPECT_EQ("3", Whole(3, VT_UINT));
}

TEST(Variant, OfARealNumberBecomesTextOf15Digits)
{
    const struct {
        double number;
        const char *text;
    } cases[] = {{1.5, "1.5"},
                 {0.1, "0.1"},
                 {1e15, "1E+15"},
                 {123456789012345678.0, "1.23456789012346E+17"},
                 {1e-5, "1E-05"},
                 {-2, "-2"},
                 {0, "0"},
                 {-0.0, "0"},
                 {1.0 / 3, "0.333333333333333"},
                 {1e300, "1E+300"},
                 {0.0001, "0.0001"}};
    for (const auto &example : cases)
        EXPECT_EQ(example.text, Number(example.number));
    VARIANT single = Variant(VT_R4);
    single.fltVal = 1.1f;
    EXPECT_EQ("1.1", AsText(single));
}

TEST(Variant, OfATruthBecomesItsNumberOrItsWord)
{
    VARIANT truth = Variant(VT_BOOL);
    truth.boolVal = VARIANT_TRUE;
    EXPECT_EQ("-1", AsText(truth));
    EXPECT_EQ("True", AsText(truth, 2));
    truth.boolVal = VARIANT_FALSE;
    EXPECT_EQ("0", AsText(truth));
    EXPECT_EQ("False", AsText(truth, 2));
}

TEST(Variant, OfADateBecomesThePartsThatItHas)
{
    EXPECT_EQ("1/1/2000 12:00:00 PM", Number(36526.5, VT_DATE));
    EXPECT_EQ("1/1/2000", Number(36526, VT_DATE));
    EXPECT_EQ("6:00:00 AM", Number(0.25, VT_DATE));
    EXPECT_EQ("12:00:00 AM", Number(0, VT_DATE));
    EXPECT_EQ("<80070057>", Number(3e6, VT_DATE));
}

TEST(Variant, WithoutATextFormIsRefused)
{
    EXPECT_EQ("", AsText(Variant(VT_EMPTY)));
    EXPECT_EQ("<80020005>", AsText(Variant(VT_NULL)));
    EXPECT_EQ("<80020005>", AsText(Variant(VT_ERROR)));
    EXPECT_EQ("<80020008>", AsText(Variant(77)));
}

TEST(Variant, OfTextIsCopiedAndMayBeItsOwnTarget)
{
    VARIANT text = Variant(VT_BSTR);
    text.bstrVal = SysAllocString(OLESTR("x"));
    EXPECT_EQ("x", AsText(text));
    EXPECT_EQ(S_OK, VariantChangeType(&text, &text, 0, VT_BSTR));
    EXPECT_EQ(OLESTR("x"), WideText(text.bstrVal));
    EXPECT_EQ(S_OK, VariantClear(&text));
    VARIANT number = Variant(VT_I4);
    number.lVal = 12;
    EXPECT_EQ(S_OK, VariantChangeType(&number, &number, 0, VT_BSTR));
    EXPECT_EQ(OLESTR("12"), WideText(number.bstrVal));
    VariantClear(&number);
}

std::string FromVariantTime(double date)
{
    SYSTEMTIME time;
    if (!VariantTimeToSystemTime(date, &time))
        return "<refused>";
    return Formats("%hu-%hu-%hu %02hu:%02hu:%02hu.%hu", time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute,
                   time.wSecond, time.wMilliseconds);
}

TEST(VariantTime, CountsDaysFromTheEndOf1899AndRoundsToSeconds)
{
    const struct {
        double date;
        const char *text;
    } cases[] = {
        {0, "1899-12-30 00:00:00.0"},
        {1, "1899-12-31 00:00:00.0"},
        {-1.25, "1899-12-29 06:00:00.0"},
        {-1.75, "1899-12-29 18:00:00.0"},
        {0.5, "1899-12-30 12:00:00.0"},
        {-0.5, "1899-12-30 12:00:00.0"},
        {36526.999999, "2000-1-2 00:00:00.0"},
        {36526.9999942, "2000-1-1 23:59:59.0"},
        {40000.123456789, "2009-7-6 02:57:47.0"},
        {40000 + 1.4999 / 86400, "2009-7-6 00:00:01.0"},
        {60, "1900-2-28 00:00:00.0"},
        {61, "1900-3-1 00:00:00.0"},
        {2958465.999, "9999-12-31 23:58:34.0"},
        {2958466, "<refused>"},
        {-657434, "100-1-1 00:00:00.0"},
        {-657434.99, "100-1-1 23:45:36.0"},
        {-657435, "<refused>"},
        {1e300, "<refused>"},
    };
    for (const auto &example : cases)
        EXPECT_EQ(example.text, FromVariantTime(example.date)) << example.date;
}

TEST(VariantTime, KnowsTheWeekday)
{
    SYSTEMTIME time;
    ASSERT_TRUE(VariantTimeToSystemTime(36526, &time));
    EXPECT_EQ(6, time.wDayOfWeek);
    ASSERT_TRUE(VariantTimeToSystemTime(-1, &time));
    EXPECT_EQ(5, time.wDayOfWeek);
}

double ToVariantTime(SYSTEMTIME time)
{
    double date = -9;
    const INT result = SystemTimeToVariantTime(&time, &date);
    return result ? date : NAN;
}

TEST(VariantTime, IsFoundFromASystemTime)
{
    EXPECT_DOUBLE_EQ(0, ToVariantTime({1899, 12, 0, 30, 0, 0, 0, 0}));
    EXPECT_DOUBLE_EQ(-1.25, ToVariantTime({1899, 12, 0, 29, 6, 0, 0, 0}));
    EXPECT_DOUBLE_EQ(-2.75, ToVariantTime({1899, 12, 0, 28, 18, 0, 0, 0}));
    EXPECT_DOUBLE_EQ(36585.5, ToVariantTime({2000, 2, 0, 29, 12, 0, 0, 500}));
    EXPECT_DOUBLE_EQ(2958465 + 86399.0 / 86400, ToVariantTime({9999, 12, 0, 31, 23, 59, 59, 0}));
    EXPECT_DOUBLE_EQ(-657434, ToVariantTime({100, 1, 0, 1, 0, 0, 0, 0}));
    EXPECT_DOUBLE_EQ(47119, ToVariantTime({29, 1, 0, 1, 0, 0, 0, 0}));
    EXPECT_DOUBLE_EQ(36161, ToVariantTime({99, 1, 0, 1, 0, 0, 0, 0}));
}

TEST(VariantTime, CountsOnPastTheEndOfAMonthOrDay)
{
    EXPECT_DOUBLE_EQ(36953, ToVariantTime({2001, 2, 0, 31, 0, 0, 0, 0}));
    EXPECT_DOUBLE_EQ(36525, ToVariantTime({2000, 1, 0, 0, 0, 0, 0, 0}));
    EXPECT_DOUBLE_EQ(36527, ToVariantTime({2000, 1, 0, 1, 24, 0, 0, 0}));
    EXPECT_TRUE(std::isnan(ToVariantTime({2001, 2, 0, 32, 0, 0, 0, 0})));
    EXPECT_TRUE(std::isnan(ToVariantTime({2000, 13, 0, 1, 0, 0, 0, 0})));
    EXPECT_TRUE(std::isnan(ToVariantTime({10000, 1, 0, 1, 0, 0, 0, 0})));
}

const GUID kGuid = {0x559D10B0, 0xA772, 0x11CD, {0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A}};
const OLECHAR *const kGuidText = OLESTR("{559D10B0-A772-11CD-9BC8-00AA002FC45A}");

TEST(Guid, BecomesTextAndIsReadFromIt)
{
    OLECHAR text[64];
    EXPECT_EQ(39, StringFromGUID2(kGuid, text, 64));
    EXPECT_EQ(kGuidText, WideText(text));
    EXPECT_EQ(39, StringFromGUID2(kGuid, text, 39));
    EXPECT_EQ(0, StringFromGUID2(kGuid, text, 38));
    GUID read{};
    EXPECT_EQ(S_OK, CLSIDFromString(kGuidText, &read));
    EXPECT_TRUE(IsEqualGUID(kGuid, read));
    read = {};
    EXPECT_EQ(S_OK, IIDFromString(OLESTR("{559d10b0-a772-11cd-9bc8-00aa002fc45a}"), &read));
    EXPECT_TRUE(IsEqualGUID(kGuid, read));
}

TEST(Guid, ThatIsNoneIsRefused)
{
    GUID read;
    EXPECT_EQ(CO_E_CLASSSTRING, CLSIDFromString(OLESTR("nonsense"), &read));
    EXPECT_EQ(CO_E_CLASSSTRING, CLSIDFromString(OLESTR("{0000}"), &read));
    EXPECT_EQ(E_INVALIDARG, IIDFromString(OLESTR("nonsense"), &read));
    EXPECT_EQ(CO_E_IIDSTRING, IIDFromString(OLESTR("{559D10B0-A772-11CD-9BC8-00AA002FC4xx}"), &read));
    read = kGuid;
    EXPECT_EQ(S_OK, CLSIDFromString(nullptr, &read));
    EXPECT_TRUE(IsEqualGUID(GUID{}, read));
}

TEST(Com, IsCountedOnEachThread)
{
    std::thread([] {
        EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        EXPECT_EQ(S_FALSE, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        EXPECT_EQ(RPC_E_CHANGED_MODE, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
        CoUninitialize();
        EXPECT_EQ(S_FALSE, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        CoUninitialize();
        CoUninitialize();
        EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
        CoUninitialize();
    }).join();
}

TEST(Com, GivesMemory)
{
    void *block = CoTaskMemAlloc(100);
    ASSERT_NE(nullptr, block);
    std::memset(block, 'x', 100);
    block = CoTaskMemRealloc(block, 200);
    EXPECT_EQ('x', static_cast<char *>(block)[99]);
    CoTaskMemFree(block);
    CoTaskMemFree(nullptr);
}
} // namespace
