// Properties of every type go into the storage's values and come back, in either width of text; what a client can get
// wrong is refused.
#include "localmapi/provider/property/PropertyConvert.h"
#include "SiteFixture.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/Text.h"

#include <gtest/gtest.h>

#include <functional>

using namespace localmapi;
using namespace localmapi::test;
using storage::Value;

namespace
{

constexpr ULONG kId = 0x6A01;

HRESULT CodeOf(const std::function<void()> &action)
{
    try {
        action();
        return S_OK;
    } catch (const Failure &failure) {
        return failure.Code();
    }
}

// A value that is written for a client and read back from it.
Value RoundTrip(ULONG type, const Value &value)
{
    auto root = NewRoot<SPropValue>();
    EXPECT_TRUE(FillProp(*root.get(), PROP_TAG(type, kId), value, root.get())) << HexText(type);
    EXPECT_EQ(root->ulPropTag, PROP_TAG(type, kId));
    return ValueFromProp(*root.get());
}

struct Sample {
    ULONG type;
    Value value;
};

std::vector<Sample> Samples()
{
    using namespace storage;
    const Guid guid = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const std::string text = "Text";
    return {
        {PT_I2, std::int16_t{-2}},
        {PT_LONG, std::int32_t{-70000}},
        {PT_R4, 1.5f},
        {PT_DOUBLE, 2.25},
        {PT_APPTIME, 45000.5},
        {PT_CURRENCY, std::int64_t{-123456789012}},
        {PT_BOOLEAN, true},
        {PT_BOOLEAN, false},
        {PT_I8, std::int64_t{0x123456789ABCDEF}},
        {PT_SYSTIME, std::int64_t{0x1DA0000123456789}},
        {PT_STRING8, text},
        {PT_UNICODE, std::string("Zo\xC3\xAB \xE6\x9D\xB1 \xF0\x9F\x93\x9E")},
        {PT_UNICODE, std::string()},
        {PT_CLSID, guid},
        {PT_BINARY, storage::Bytes{0, 1, 255}},
        {PT_BINARY, storage::Bytes{}},
        {PT_MV_I2, std::vector<std::int16_t>{1, -1}},
        {PT_MV_LONG, std::vector<std::int32_t>{1, -1, 70000}},
        {PT_MV_R4, std::vector<float>{1.5f}},
        {PT_MV_DOUBLE, std::vector<double>{1.5, 2.5}},
        {PT_MV_APPTIME, std::vector<double>{1.5, 2.5}},
        {PT_MV_CURRENCY, std::vector<std::int64_t>{-1, 1}},
        {PT_MV_I8, std::vector<std::int64_t>{-1, 1}},
        {PT_MV_SYSTIME, std::vector<std::int64_t>{1, 0x1DA0000123456789}},
        {PT_MV_STRING8, std::vector<std::string>{"a", "", "c"}},
        {PT_MV_UNICODE, std::vector<std::string>{"\xE6\x9D\xB1", ""}},
        {PT_MV_CLSID, std::vector<Guid>{guid, Guid{}}},
        {PT_MV_BINARY, std::vector<storage::Bytes>{{1, 2}, {}}},
        {PT_MV_LONG, std::vector<std::int32_t>{}},
    };
}

TEST(Properties, EveryTypeComesBack)
{
    const LONG before = LiveBlocks();
    for (const Sample &sample : Samples())
        EXPECT_EQ(RoundTrip(sample.type, sample.value), sample.value) << HexText(sample.type);
    EXPECT_EQ(LiveBlocks(), before);
}

TEST(Properties, TextIsOneValueInTwoWidths)
{
    auto root = NewRoot<SPropValue>(2);
    const Value value = std::string("Zo\xC3\xAB");
    ASSERT_TRUE(FillProp(root[0], PROP_TAG(PT_STRING8, kId), value, root.get()));
    ASSERT_TRUE(FillProp(root[1], PROP_TAG(PT_UNICODE, kId), value, root.get()));
    EXPECT_EQ(ValueFromProp(root[0]), value);
    EXPECT_EQ(ValueFromProp(root[1]), value);
    EXPECT_EQ(StorageTag(PROP_TAG(PT_STRING8, kId)), StorageTag(PROP_TAG(PT_UNICODE, kId)));
    EXPECT_EQ(StorageTag(PROP_TAG(PT_MV_STRING8 | MV_INSTANCE, kId)), PROP_TAG(PT_MV_UNICODE, kId));
    EXPECT_EQ(ClientTag(PROP_TAG(PT_MV_UNICODE, kId), false), PROP_TAG(PT_MV_STRING8, kId));
    EXPECT_EQ(ClientTag(PROP_TAG(PT_LONG, kId), true), PROP_TAG(PT_LONG, kId));
}

TEST(Properties, NullPointersAreRefused)
{
    for (const ULONG type :
         {PT_STRING8, PT_UNICODE, PT_CLSID, PT_BINARY, PT_MV_I2, PT_MV_LONG, PT_MV_R4, PT_MV_DOUBLE, PT_MV_CURRENCY,
          PT_MV_APPTIME, PT_MV_SYSTIME, PT_MV_STRING8, PT_MV_BINARY, PT_MV_UNICODE, PT_MV_CLSID, PT_MV_I8}) {
        SPropValue prop{};
        prop.ulPropTag = PROP_TAG(type, kId);
        prop.Value.MVl.cValues = 1;
        prop.Value.MVl.lpl = nullptr;
        if (type == PT_STRING8 || type == PT_UNICODE || type == PT_CLSID)
            prop.Value.lpszA = nullptr;
        EXPECT_CODE(CodeOf([&] { ValueFromProp(prop); }), MAPI_E_INVALID_PARAMETER) << HexText(type);
    }
    SBinary emptyBytes{1, nullptr};
    LPSTR emptyText = nullptr;
    SPropValue prop{};
    prop.ulPropTag = PROP_TAG(PT_MV_BINARY, kId);
    prop.Value.MVbin = {1, &emptyBytes};
    EXPECT_CODE(CodeOf([&] { ValueFromProp(prop); }), MAPI_E_INVALID_PARAMETER);
    prop.ulPropTag = PROP_TAG(PT_MV_STRING8, kId);
    prop.Value.MVszA = {1, &emptyText};
    EXPECT_CODE(CodeOf([&] { ValueFromProp(prop); }), MAPI_E_INVALID_PARAMETER);
}

TEST(Properties, TypesThatAreNoneAreRefused)
{
    for (const ULONG type : {ULONG{0}, ULONG{99}, ULONG{PT_OBJECT}, ULONG{MV_FLAG | PT_BOOLEAN}, ULONG{MV_FLAG}}) {
        SPropValue prop{};
        prop.ulPropTag = PROP_TAG(type, kId);
        EXPECT_CODE(CodeOf([&] { ValueFromProp(prop); }), MAPI_E_INVALID_TYPE) << HexText(type);
        EXPECT_FALSE(IsValueType(type)) << HexText(type);
    }
    EXPECT_FALSE(IsValueType(PT_NULL));
    EXPECT_FALSE(IsValueType(PT_ERROR));
    for (const Sample &sample : Samples())
        EXPECT_TRUE(IsValueType(sample.type)) << HexText(sample.type);
}

TEST(Properties, WhatIsNotThereIsAnError)
{
    auto root = NewRoot<SPropValue>();
    EXPECT_FALSE(FillProp(*root.get(), PROP_TAG(PT_LONG, kId), Value{}, root.get()));
    EXPECT_EQ(root->ulPropTag, PROP_TAG(PT_ERROR, kId));
    EXPECT_CODE(root->Value.err, MAPI_E_NOT_FOUND);
    EXPECT_FALSE(FillProp(*root.get(), PROP_TAG(PT_LONG, kId), Value{std::string("x")}, root.get()));
    EXPECT_CODE(root->Value.err, MAPI_E_NOT_FOUND);
}

TEST(Properties, WhatIsTooLongIsToBeHadAsAStream)
{
    auto root = NewRoot<SPropValue>();
    EXPECT_FALSE(FillProp(*root.get(), PROP_TAG(PT_UNICODE, kId), Value{storage::StoredStream{1, 99999}}, root.get()));
    EXPECT_EQ(root->ulPropTag, PROP_TAG(PT_ERROR, kId));
    EXPECT_CODE(root->Value.err, MAPI_E_NOT_ENOUGH_MEMORY);
}

TEST(Properties, ErrorsAndNullsInAnArrayAreLeftOut)
{
    SPropValue props[3] = {};
    props[0].ulPropTag = PROP_TAG(PT_ERROR, kId);
    props[1].ulPropTag = PR_NULL;
    props[2].ulPropTag = PROP_TAG(PT_LONG, kId + 1);
    props[2].Value.l = 5;
    const storage::PropertyBag bag = BagFromProps(3, props);
    EXPECT_EQ(bag.size(), 1u);
    EXPECT_NE(bag.Find(PROP_TAG(PT_LONG, kId + 1)), nullptr);
    EXPECT_CODE(CodeOf([] { BagFromProps(1, nullptr); }), MAPI_E_INVALID_PARAMETER);
}

class GetPropsOfABag : public testing::Test
{
  protected:
    HRESULT Get(const std::vector<ULONG> &tags, ULONG flags = 0)
    {
        std::vector<ULONG> array = {static_cast<ULONG>(tags.size())};
        array.insert(array.end(), tags.begin(), tags.end());
        return Get(reinterpret_cast<SPropTagArray *>(array.data()), flags);
    }
    HRESULT Get(SPropTagArray *tags, ULONG flags)
    {
        try {
            return GiveProps(m_bag, tags, flags, &m_count, m_values.put());
        } catch (const Failure &failure) {
            return failure.Code();
        }
    }

    storage::PropertyBag m_bag = {{PROP_TAG(PT_UNICODE, kId), std::string("text")},
                                  {PROP_TAG(PT_LONG, kId + 1), std::int32_t{5}}};
    ULONG m_count = 0;
    Block<SPropValue> m_values;
};

TEST_F(GetPropsOfABag, TheAnswerHasTheOrderOfTheQuestion)
{
    EXPECT_CODE(Get({PROP_TAG(PT_LONG, kId + 1), PROP_TAG(PT_STRING8, kId), PROP_TAG(PT_UNICODE, kId)}), S_OK);
    ASSERT_EQ(m_count, 3u);
    EXPECT_EQ(m_values[0].Value.l, 5);
    EXPECT_STREQ(m_values[1].Value.lpszA, "text");
    EXPECT_EQ(WideText(m_values[2].Value.lpszW), OLESTR("text"));
}

TEST_F(GetPropsOfABag, WhatIsMissingIsAnErrorAndAWarning)
{
    EXPECT_CODE(Get({PROP_TAG(PT_LONG, 0x6AFF), PROP_TAG(PT_LONG, kId + 1)}), MAPI_W_ERRORS_RETURNED);
    ASSERT_EQ(m_count, 2u);
    EXPECT_EQ(m_values[0].ulPropTag, PROP_TAG(PT_ERROR, 0x6AFF));
    EXPECT_EQ(m_values[1].Value.l, 5);
    EXPECT_CODE(Get({PROP_TAG(PT_LONG, kId)}), MAPI_W_ERRORS_RETURNED);
}

TEST_F(GetPropsOfABag, AnOpenTypeIsAnsweredByTheValues)
{
    EXPECT_CODE(Get({PROP_TAG(PT_UNSPECIFIED, kId), PROP_TAG(PT_UNSPECIFIED, kId + 1)}), S_OK);
    EXPECT_EQ(m_values[0].ulPropTag, PROP_TAG(PT_STRING8, kId));
    EXPECT_EQ(m_values[1].ulPropTag, PROP_TAG(PT_LONG, kId + 1));
    EXPECT_CODE(Get({PROP_TAG(PT_UNSPECIFIED, kId)}, MAPI_UNICODE), S_OK);
    EXPECT_EQ(m_values[0].ulPropTag, PROP_TAG(PT_UNICODE, kId));
}

TEST_F(GetPropsOfABag, NoTagsMeansAll)
{
    EXPECT_CODE(Get(nullptr, 0), S_OK);
    ASSERT_EQ(m_count, 2u);
    EXPECT_EQ(m_values[0].ulPropTag, PROP_TAG(PT_STRING8, kId));
    EXPECT_CODE(Get(nullptr, MAPI_UNICODE), S_OK);
    EXPECT_EQ(m_values[0].ulPropTag, PROP_TAG(PT_UNICODE, kId));
}

TEST_F(GetPropsOfABag, BadArgumentsAreRefused)
{
    EXPECT_CODE(Get(std::vector<ULONG>{}), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(Get(nullptr, 0x1000), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(CodeOf([&] { GiveProps(m_bag, nullptr, 0, nullptr, m_values.put()); }), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(CodeOf([&] { GiveProps(m_bag, nullptr, 0, &m_count, nullptr); }), MAPI_E_INVALID_PARAMETER);
}

TEST_F(GetPropsOfABag, TheListNamesEachProperty)
{
    Block<SPropTagArray> tags;
    EXPECT_CODE(GivePropList(m_bag, MAPI_UNICODE, tags.put()), S_OK);
    ASSERT_EQ(tags->cValues, 2u);
    EXPECT_EQ(tags->aulPropTag[0], PROP_TAG(PT_UNICODE, kId));
    EXPECT_EQ(tags->aulPropTag[1], PROP_TAG(PT_LONG, kId + 1));
}

} // namespace
