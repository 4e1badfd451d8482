// Proves that values of every type and size come back as they were set, and that bags keep one value an id.
#include "Fixture.h"
#include "localmapi/storage/Text.h"
#include <cmath>
#include <limits>

namespace localmapi::storage
{

namespace
{

constexpr Tag ListTag(std::uint16_t id, Type type)
{
    return MakeTag(id, type) | kMultiple;
}

PropertyBag EveryType()
{
    return {
        {MakeTag(0x6000, Type::Int16), std::int16_t{-32768}},
        {MakeTag(0x6001, Type::Int32), std::numeric_limits<std::int32_t>::min()},
        {MakeTag(0x6002, Type::Float), 1.5f},
        {MakeTag(0x6003, Type::Double), -0.1},
        {MakeTag(0x6004, Type::Currency), std::numeric_limits<std::int64_t>::min()},
        {MakeTag(0x6005, Type::AppTime), 38000.25},
        {MakeTag(0x6006, Type::ErrorCode), std::int32_t(0x8004010F)},
        {MakeTag(0x6007, Type::Boolean), true},
        {MakeTag(0x6008, Type::Int64), std::numeric_limits<std::int64_t>::max()},
        {MakeTag(0x6009, Type::Text), std::string("caf\xc3\xa9 \xf0\x9f\x93\x9e")},
        {MakeTag(0x600A, Type::Time), std::int64_t{133000000000000000}},
        {MakeTag(0x600B, Type::Uid), Guid{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 255}},
        {MakeTag(0x600C, Type::Binary), Bytes{0, 1, 255}},
        {MakeTag(0x600D, Type::Text), std::string("with\0zero", 9)},
        {MakeTag(0x600E, Type::Text), std::string()},
        {MakeTag(0x600F, Type::Binary), Bytes()},
        {MakeTag(0x6010, Type::Boolean), false},
        {MakeTag(0x6011, Type::Object), Bytes{7}},
        {ListTag(0x6020, Type::Int16), std::vector<std::int16_t>{1, -1}},
        {ListTag(0x6021, Type::Int32), std::vector<std::int32_t>{1, -1, 70000}},
        {ListTag(0x6022, Type::Float), std::vector<float>{0.25f}},
        {ListTag(0x6023, Type::Double), std::vector<double>{0.1, -2}},
        {ListTag(0x6024, Type::Currency), std::vector<std::int64_t>{-5}},
        {ListTag(0x6025, Type::AppTime), std::vector<double>{1}},
        {ListTag(0x6028, Type::Int64), std::vector<std::int64_t>{}},
        {ListTag(0x6029, Type::Text), std::vector<std::string>{"", "a", "\xc3\xa4"}},
        {ListTag(0x602A, Type::Time), std::vector<std::int64_t>{1, 2}},
        {ListTag(0x602B, Type::Uid), std::vector<Guid>{Guid{1}, Guid{2}}},
        {ListTag(0x602C, Type::Binary), std::vector<Bytes>{{}, {1, 2}}},
    };
}

class Values : public SiteTest
{
};

TEST_F(Values, OfEveryTypeComeBackAsTheyWereSet)
{
    ObjectId id = Add("all", EveryType());
    PropertyBag read = m_objects.Read(id);
    for (const Property &property : EveryType()) {
        const Value *value = read.Find(property.tag);
        ASSERT_TRUE(value) << std::hex << property.tag;
        EXPECT_EQ(*value, property.value) << std::hex << property.tag;
    }
}

TEST_F(Values, ThatAreNoNumbersStayNoNumbersAndComeAfterAllNumbers)
{
    constexpr Tag kDouble = MakeTag(0x6003, Type::Double), kFloat = MakeTag(0x6002, Type::Float);
    double nan = std::numeric_limits<double>::quiet_NaN();
    ObjectId id = Add("nan", {{kDouble, nan}, {kFloat, std::numeric_limits<float>::quiet_NaN()}});
    Add("big", {{kDouble, 1e300}});
    Add("infinite", {{kDouble, std::numeric_limits<double>::infinity()}});
    PropertyBag read = m_objects.Read(id);
    EXPECT_TRUE(std::isnan(*read.get<double>(kDouble)));
    EXPECT_TRUE(std::isnan(*read.get<float>(kFloat)));
    View sorted(m_site, Inbox(), {}, {{kDouble}});
    EXPECT_EQ(SubjectsIn(sorted), (std::vector<std::string>{"big", "infinite", "nan"}));
}

TEST_F(Values, OfEveryLengthAroundTheLimitsComeBackWhole)
{
    for (std::size_t length :
         {0u, 1u, 8191u, 8192u, 8193u, 32767u, 32768u, 32769u, 262143u, 262144u, 262145u, 600000u}) {
        Bytes bytes(length);
        for (std::size_t i = 0; i < length; ++i)
            bytes[i] = static_cast<std::uint8_t>(i * 7 >> 3);
        std::string text(bytes.begin(), bytes.end());
        for (char &c : text)
            c = static_cast<char>('a' + (c & 15));
        ObjectId id = Add("long", {{kAttachData, bytes}, {kBody, text}});
        PropertyBag whole = m_objects.ReadUpTo(id, 1 << 20);
        EXPECT_EQ(*whole.get<Bytes>(kAttachData), bytes) << length;
        EXPECT_EQ(*whole.get<std::string>(kBody), text) << length;
        PropertyBag limited = m_objects.Read(id);
        auto stream = limited.get<StoredStream>(kBody);
        EXPECT_EQ(stream != nullptr, length > 32768) << length;
        if (stream) {
            EXPECT_EQ(stream->size, length);
            std::string read(length, ' ');
            EXPECT_EQ(m_objects.OpenStream(*stream)->Read(0, read.data(), length), length);
            EXPECT_EQ(read, text) << length;
        }
    }
    ExpectSound();
}

TEST_F(Values, SetToAnotherTypeTakeThePlaceOfTheOldOnes)
{
    constexpr Tag kNumber = MakeTag(0x6001, Type::Int32), kText = MakeTag(0x6001, Type::Text);
    ObjectId id = Add("m", {{kNumber, std::int32_t{5}}});
    MessageChanges changes;
    changes.properties.set.Set(kText, std::string("five"));
    m_objects.ChangeMessage(id, changes);
    PropertyBag read = m_objects.Read(id);
    EXPECT_FALSE(read.Find(kNumber));
    EXPECT_EQ(*read.get<std::string>(kText), "five");
    changes = {};
    changes.properties.remove = {kNumber};
    m_objects.ChangeMessage(id, changes);
    EXPECT_FALSE(m_objects.Read(id).FindId(0x6001));
}

TEST(Bags, KeepOneValueAnIdInTheOrderOfIds)
{
    PropertyBag bag;
    bag.Set(MakeTag(0x20, Type::Text), std::string("b"));
    bag.Set(MakeTag(0x10, Type::Int32), std::int32_t{1});
    bag.Set(MakeTag(0x20, Type::Int32), std::int32_t{2});
    EXPECT_EQ(bag.size(), 2u);
    EXPECT_EQ(bag.begin()->tag, MakeTag(0x10, Type::Int32));
    EXPECT_FALSE(bag.Find(MakeTag(0x20, Type::Text)));
    EXPECT_EQ(*bag.get<std::int32_t>(MakeTag(0x20, Type::Int32)), 2);
    EXPECT_TRUE(bag.Erase(MakeTag(0x20, Type::Text)));
    EXPECT_FALSE(bag.Erase(MakeTag(0x20, Type::Text)));
    EXPECT_FALSE(bag.FindId(0x20));
}

TEST(Bags, RefuseValuesOfAnotherType)
{
    PropertyBag bag;
    EXPECT_EQ(FaultOf([&] { bag.Set(kSubject, std::int32_t{1}); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { bag.Set(kSensitivity, std::string("x")); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { bag.Set(kKeywords, std::string("x")); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { bag.Set(kSubject, Value()); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([&] { bag.Set(MakeTag(1, Type::Boolean) | kMultiple, true); }), Fault::Invalid);
    EXPECT_TRUE(bag.empty());
}

TEST(Sizes, AreThoseOfTheBytesWithoutTerminators)
{
    EXPECT_EQ(ByteSize(std::string("caf\xc3\xa9")), 5u);
    EXPECT_EQ(ByteSize(Bytes(3)), 3u);
    EXPECT_EQ(ByteSize(std::int32_t{0}), 4u);
    EXPECT_EQ(ByteSize(true), 2u);
    EXPECT_EQ(ByteSize(std::vector<std::string>{"a", "bc"}), 3u);
    EXPECT_EQ(ByteSize(std::vector<std::int16_t>{1, 2}), 4u);
    EXPECT_EQ(ByteSize(Guid{}), 16u);
}

TEST(Text, FoldsCaseByUnicode)
{
    struct {
        const char *text, *folded;
    } cases[] = {{"ABC xyz", "abc xyz"},
                 {"\xc3\x84\xc3\x96\xc3\x9c", "\xc3\xa4\xc3\xb6\xc3\xbc"}, // Latin
                 {"\xce\xa3\xce\xaf\xcf\x82", "\xcf\x83\xce\xaf\xcf\x83"}, // Greek: both sigmas alike
                 {"\xd0\x96", "\xd0\xb6"},                                 // Cyrillic
                 {"\xe1\xba\x9e", "\xc3\x9f"},                             // capital sharp s
                 {"\xc3\x9f", "\xc3\x9f"},                                 // has no simple folding
                 {"\xc4\xb0", "\xc4\xb0"},                                 // dotted capital I neither
                 {"\xf0\x90\x90\x80", "\xf0\x90\x90\xa8"},                 // beyond 16 bits
                 {"\xe6\x97\xa5\xe6\x9c\xac", "\xe6\x97\xa5\xe6\x9c\xac"}, // no case
                 {"\xff"
                  "A\xc3",
                  "\xff"
                  "a\xc3"}, // broken UTF-8 stays
                 {"\xed\xa0\x80"
                  "A",
                  "\xed\xa0\x80"
                  "a"}, // a lone surrogate too
                 {"", ""}};
    for (const auto &one : cases)
        EXPECT_EQ(FoldCase(one.text), one.folded);
}

TEST(Text, LosesItsAccentsWhereTheyDoNotCount)
{
    EXPECT_EQ(FoldText("\xc3\x89\xc3\xa0\xc5\x82", false, true), "Ea\xc5\x82"); // a stroke is no mark
    EXPECT_EQ(FoldText("e\xcc\x81", false, true), "e");                         // a mark of its own
    EXPECT_EQ(FoldText("\xe1\xbb\x87", false, true), "e");                      // two marks
    EXPECT_EQ(FoldText("\xc3\x89", true, true), "e");
    EXPECT_EQ(FoldText("\xce\xac", false, true), "\xce\xb1");
}

TEST(Text, IsOrderedByFoldedFormFirstAndOnlyEqualTextIsEqual)
{
    const char *ordered[] = {"",    "\x01", "a b",      "AB",       "Ab",           "ab",
                             "abc", "b",    "\xc3\x84", "\xc3\xa4", "\xef\xbf\xbd", "\xf0\x9f\x93\x9e",
                             "\xff"};
    for (std::size_t i = 0; i < std::size(ordered); ++i)
        for (std::size_t j = 0; j < std::size(ordered); ++j) {
            int order = CompareText(ordered[i], ordered[j]);
            EXPECT_EQ(order < 0, i < j) << ordered[i] << " " << ordered[j];
            EXPECT_EQ(order == 0, i == j) << ordered[i] << " " << ordered[j];
        }
}

} // namespace

} // namespace localmapi::storage
