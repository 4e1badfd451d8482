// Proves what each kind of condition means, rule by rule, in the file and in memory.
#include "FilterColumns.h"
#include "localmapi/storage/FilterOrder.h"

namespace localmapi::storage
{

namespace
{

class Filters : public SiteTest
{
  protected:
    // Whether a message of these properties is in a view with this filter; in memory the answer must be the same.
    bool Holds(const Filter &filter, const PropertyBag &row)
    {
        ObjectId id = Add("row", row);
        View view(m_site, Inbox(), filter);
        bool inFile = view.Count() == 1;
        EXPECT_EQ(view.Read(Place::Beginning(), Direction::Forward, 2, {}).size(), inFile ? 1u : 0u);
        EXPECT_EQ(Matches(filter, m_objects.ReadUpTo(id, UINT64_MAX)), inFile);
        m_objects.RemoveMessages({id});
        return inFile;
    }
};

TEST_F(Filters, RelationsCompareTheValueWithTheConstant)
{
    struct {
        std::int32_t value;
        bool holds[6]; // against 5, in the order of kRelations
    } cases[] = {{4, {true, true, false, false, false, true}},
                 {5, {false, true, false, true, true, false}},
                 {6, {false, false, true, true, false, true}},
                 {-1, {true, true, false, false, false, true}}};
    for (const auto &one : cases)
        for (std::size_t i = 0; i < 6; ++i)
            EXPECT_EQ(Holds(Filter::Compare(kNumber, kRelations[i], std::int32_t{5}), {{kNumber, one.value}}),
                      one.holds[i])
                << one.value << " relation " << i;
}

TEST_F(Filters, APropertyThatARowLacksIsLessThanEveryValue)
{
    bool expected[] = {true, true, false, false, false, true};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(Holds(Filter::Compare(kNumber, kRelations[i], INT32_MIN), {}), expected[i]) << i;
        EXPECT_EQ(Holds(Filter::Compare(kNote, kRelations[i], std::string()), {}), expected[i]) << i;
        EXPECT_EQ(Holds(Filter::Compare(kClientSubmitTime, kRelations[i], std::int64_t{0}), {}), expected[i]) << i;
        EXPECT_EQ(Holds(Filter::Compare(kImportance, kRelations[i], std::int32_t{0}), {}), expected[i]) << i;
        EXPECT_EQ(Holds(Filter::Compare(kNumbers, kRelations[i], std::int32_t{0}), {}), expected[i]) << i;
        EXPECT_EQ(Holds(Filter::ByteSize(kNote, kRelations[i], 0), {}), expected[i]) << i;
    }
}

TEST_F(Filters, ContentAndBitsOfAPropertyThatARowLacksAreFalseAndNotFollowsFromItsChild)
{
    Filter content = Filter::Content(kNote, M::Substring, std::string());
    EXPECT_FALSE(Holds(content, {}));
    EXPECT_TRUE(Holds(Filter::Negate(content), {}));
    for (bool zero : {true, false}) {
        EXPECT_FALSE(Holds(Filter::Bits(kNumber, 1, zero), {}));
        EXPECT_FALSE(Holds(Filter::Bits(kImportance, 1, zero), {}));
        EXPECT_TRUE(Holds(Filter::Negate(Filter::Bits(kNumber, 1, zero)), {}));
    }
    EXPECT_FALSE(Holds(Filter::Negate(Filter::Compare(kNumber, Relation::Less, std::int32_t{0})), {}));
}

TEST_F(Filters, AndOfNothingIsTrueAndOrOfNothingIsFalse)
{
    EXPECT_TRUE(Holds(Filter::All({}), {}));
    EXPECT_FALSE(Holds(Filter::Any({}), {}));
    Filter yes = Filter::Exists(kNumber), no = Filter::Exists(kOther);
    PropertyBag row{{kNumber, std::int32_t{1}}};
    EXPECT_TRUE(Holds(Filter::All({yes, yes}), row));
    EXPECT_FALSE(Holds(Filter::All({yes, no}), row));
    EXPECT_TRUE(Holds(Filter::Any({no, yes}), row));
    EXPECT_FALSE(Holds(Filter::Any({no, no}), row));
    EXPECT_TRUE(Holds(Filter::Negate(Filter::Any({})), row));
}

TEST_F(Filters, ExistsAsksForTheExactTag)
{
    EXPECT_TRUE(Holds(Filter::Exists(kNumber), {{kNumber, std::int32_t{0}}}));
    EXPECT_FALSE(Holds(Filter::Exists(MakeTag(0x6001, Type::Text)), {{kNumber, std::int32_t{0}}}));
    EXPECT_TRUE(Holds(Filter::Exists(kMessageSize), {}));
    EXPECT_TRUE(Holds(Filter::Exists(kMessageFlags), {}));
    EXPECT_FALSE(Holds(Filter::Exists(kImportance), {}));
    EXPECT_TRUE(Holds(Filter::Exists(kImportance), {{kImportance, std::int32_t{0}}}));
    EXPECT_FALSE(Holds(Filter::Exists(kClientSubmitTime), {}));
    EXPECT_TRUE(Holds(Filter::Exists(kClientSubmitTime), {{kClientSubmitTime, std::int64_t{0}}}));
}

TEST_F(Filters, TextRelationsFollowTheOrderOfSorting)
{
    auto note = [](const char *text) { return PropertyBag{{kNote, std::string(text)}}; };
    Filter lessThanM = Filter::Compare(kNote, Relation::Less, std::string("m"));
    EXPECT_TRUE(Holds(lessThanM, note("L")));
    EXPECT_TRUE(Holds(lessThanM, note("l")));
    EXPECT_FALSE(Holds(lessThanM, note("N")));
    EXPECT_TRUE(Holds(lessThanM, note("M"))); // equal but for case: by code points
    Filter isM = Filter::Compare(kNote, Relation::Equal, std::string("m"));
    EXPECT_TRUE(Holds(isM, note("m")));
    EXPECT_FALSE(Holds(isM, note("M")));
}

TEST_F(Filters, ContentMatchesWholeSubstringPrefixAndWords)
{
    struct {
        M match;
        const char *value, *pattern;
        bool holds;
    } cases[] = {{M::Whole, "abc", "abc", true},
                 {M::Whole, "abc", "ab", false},
                 {M::Whole, "", "", true},
                 {M::Substring, "xabcx", "abc", true},
                 {M::Substring, "xabx", "abc", false},
                 {M::Substring, "abc", "", true},
                 {M::Prefix, "abcx", "abc", true},
                 {M::Prefix, "xabc", "abc", false},
                 {M::Prefix, "abc", "ABC", false},
                 {M::WordPrefix, "Alice Archer", "Arch", true},
                 {M::WordPrefix, "Alice Archer", "lice", false},
                 {M::WordPrefix, "alice.archer@x", "archer", true},
                 {M::WordPrefix, "archarch arch", "arch", true},
                 {M::WordPrefix, "o\xc3\xa9tat", "tat", false}};
    for (const auto &one : cases)
        EXPECT_EQ(Holds(Filter::Content(kNote, one.match, std::string(one.pattern)), {{kNote, std::string(one.value)}}),
                  one.holds)
            << one.value << " " << one.pattern;
}

TEST_F(Filters, ContentIgnoresCaseAndAccentsWhenToldTo)
{
    PropertyBag row{{kNote, std::string("R\xc3\xa9sum\xc3\x89")}};
    auto content = [](const char *pattern, bool noCase, bool noAccents) {
        return Filter::Content(kNote, M::Whole, std::string(pattern), noCase, noAccents);
    };
    EXPECT_TRUE(Holds(content("r\xc3\x89SUM\xc3\xa9", true, false), row));
    EXPECT_FALSE(Holds(content("resume", true, false), row));
    EXPECT_TRUE(Holds(content("ResumE", false, true), row));
    EXPECT_FALSE(Holds(content("resume", false, true), row));
    EXPECT_TRUE(Holds(content("RESUME", true, true), row));
}

TEST_F(Filters, BinaryContentIsBytesAndIgnoresNoCase)
{
    PropertyBag row{{kData, Bytes{'A', 0, 'B', 0}}};
    EXPECT_TRUE(Holds(Filter::Content(kData, M::Substring, Bytes{0, 'B'}), row));
    EXPECT_TRUE(Holds(Filter::Content(kData, M::Prefix, Bytes{'A', 0}, true), row));
    EXPECT_FALSE(Holds(Filter::Content(kData, M::Prefix, Bytes{'a', 0}, true), row));
    EXPECT_TRUE(Holds(Filter::Content(kData, M::Whole, Bytes{'A', 0, 'B', 0}), row));
}

TEST_F(Filters, BitsAskForAnyOrForNone)
{
    EXPECT_TRUE(Holds(Filter::Bits(kNumber, 6, false), {{kNumber, std::int32_t{4}}}));
    EXPECT_FALSE(Holds(Filter::Bits(kNumber, 6, true), {{kNumber, std::int32_t{4}}}));
    EXPECT_TRUE(Holds(Filter::Bits(kNumber, 6, true), {{kNumber, std::int32_t{9}}}));
    EXPECT_TRUE(Holds(Filter::Bits(kNumber, 0x80000000, false), {{kNumber, std::int32_t{-1}}}));
    EXPECT_TRUE(Holds(Filter::Bits(kMessageFlags, 1, true), {}));
    EXPECT_TRUE(Holds(Filter::Bits(kMessageFlags, 1, false), {{kMessageFlags, kFlagRead}}));
}

TEST_F(Filters, SizeCountsBytesWithoutATerminator)
{
    PropertyBag row{{kNote, std::string("a\xc3\xa9\xf0\x9f\x93\x9e")},
                    {kData, Bytes(7)},
                    {kBody, std::string(20000, 'x')},
                    {kKeywords, std::vector<std::string>{"ab", "\xc3\xa9"}}};
    auto size = [](Tag tag, std::uint64_t bytes, bool wide = false) {
        return Filter::ByteSize(tag, Relation::Equal, bytes, wide);
    };
    EXPECT_TRUE(Holds(size(kNote, 7), row));
    EXPECT_TRUE(Holds(size(kNote, 8, true), row)); // 1 + 1 + 2 units
    EXPECT_TRUE(Holds(size(kData, 7), row));
    EXPECT_TRUE(Holds(size(kData, 7, true), row));
    EXPECT_TRUE(Holds(size(kBody, 20000), row)); // lies in a stream
    EXPECT_TRUE(Holds(size(kBody, 40000, true), row));
    EXPECT_TRUE(Holds(size(kKeywords, 4), row));
    EXPECT_TRUE(Holds(size(kKeywords, 6, true), row));
    EXPECT_TRUE(Holds(size(kMessageFlags, 4), row));
}

TEST_F(Filters, AListSatisfiesAConditionIfOneOfItsValuesDoes)
{
    PropertyBag row{{kNumbers, std::vector<std::int32_t>{1, 5, 9}},
                    {kKeywords, std::vector<std::string>{"Red", "gr\xc3\xbcn"}},
                    {kBlobs, std::vector<Bytes>{{1, 2}, {3}}}};
    EXPECT_TRUE(Holds(Filter::Compare(kNumbers, Relation::Equal, std::int32_t{5}), row));
    EXPECT_FALSE(Holds(Filter::Compare(kNumbers, Relation::Equal, std::int32_t{4}), row));
    EXPECT_TRUE(Holds(Filter::Compare(kNumbers, Relation::Greater, std::int32_t{8}), row));
    EXPECT_TRUE(Holds(Filter::Compare(kNumbers, Relation::NotEqual, std::int32_t{5}), row));
    EXPECT_TRUE(Holds(Filter::Compare(kKeywords, Relation::Equal, std::string("Red")), row));
    EXPECT_TRUE(Holds(Filter::Content(kKeywords, M::Prefix, std::string("GR"), true), row));
    EXPECT_FALSE(Holds(Filter::Content(kKeywords, M::Whole, std::string("green"), true), row));
    EXPECT_TRUE(Holds(Filter::Content(kBlobs, M::Whole, Bytes{3}), row));
    PropertyBag empty{{kNumbers, std::vector<std::int32_t>{}}};
    EXPECT_TRUE(Holds(Filter::Exists(kNumbers), empty));
    EXPECT_FALSE(Holds(Filter::Compare(kNumbers, Relation::NotEqual, std::int32_t{5}), empty));
}

TEST_F(Filters, TwoPropertiesAreComparedWithAbsentOnesLeast)
{
    auto both = [](std::optional<std::int32_t> left, std::optional<std::int32_t> right) {
        PropertyBag bag;
        if (left)
            bag.Set(kNumber, *left);
        if (right)
            bag.Set(kOther, *right);
        return bag;
    };
    struct {
        PropertyBag row;
        int order;
    } cases[] = {{both(1, 2), -1},  {both(2, 2), 0},  {both(3, 2), 1},
                 {both({}, 2), -1}, {both(3, {}), 1}, {both({}, {}), 0}};
    for (const auto &one : cases)
        for (std::size_t i = 0; i < 6; ++i) {
            bool expected[] = {one.order<0, one.order <= 0, one.order> 0, one.order >= 0, one.order == 0,
                               one.order != 0};
            EXPECT_EQ(Holds(Filter::CompareProperties(kNumber, kRelations[i], kOther), one.row), expected[i]) << i;
        }
}

TEST_F(Filters, SubobjectsAreMatchedOneByOne)
{
    constexpr Tag kAddress = 0x3003001F;
    MessageChanges content = MakeMessage("m");
    content.recipients =
        std::vector<PropertyBag>{{{kAddress, std::string("a@x.example")}, {kDisplayName, std::string("Ann")}},
                                 {{kAddress, std::string("b@x.example")}, {kDisplayName, std::string("Bob")}}};
    content.attachments = {{3, false, {{{kAttachName, std::string("voice.wav")}}, {}}, nullptr}};
    m_objects.CreateMessage(m_box.inbox, content);
    Add("none");
    auto counted = [&](Filter filter) { return View(m_site, Inbox(), std::move(filter)).Count(); };
    auto address = [](const char *text) { return Filter::Compare(kAddress, Relation::Equal, std::string(text)); };
    auto name = [](const char *text) { return Filter::Compare(kDisplayName, Relation::Equal, std::string(text)); };
    EXPECT_EQ(counted(Filter::AnyRecipient(address("b@x.example"))), 1u);
    EXPECT_EQ(counted(Filter::AnyRecipient(Filter::All({address("b@x.example"), name("Ann")}))), 0u);
    EXPECT_EQ(counted(Filter::All({Filter::AnyRecipient(address("b@x.example")), Filter::AnyRecipient(name("Ann"))})),
              1u);
    EXPECT_EQ(counted(Filter::Negate(Filter::AnyRecipient(Filter::All({})))), 1u);
    EXPECT_EQ(counted(Filter::AnyAttachment(Filter::Compare(kAttachNumber, Relation::Equal, std::int32_t{3}))), 1u);
    EXPECT_EQ(counted(Filter::AnyAttachment(Filter::Content(kAttachName, M::Substring, std::string("WAV"), true))), 1u);
    EXPECT_EQ(counted(Filter::AnyAttachment(Filter::Exists(kSubject))), 0u);
}

TEST_F(Filters, ThatMixTypesAreRefusedWhenTheyAreMade)
{
    EXPECT_EQ(FaultOf([] { Filter::Compare(kNumber, Relation::Equal, std::string("5")); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([] { Filter::CompareProperties(kNumber, Relation::Equal, kNote); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([] { Filter::Content(kNumber, M::Whole, std::int32_t{5}); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([] { Filter::Content(kNote, M::Whole, Bytes{5}); }), Fault::Invalid);
    EXPECT_EQ(FaultOf([] { Filter::Bits(kNote, 1, true); }), Fault::Invalid);
}

TEST_F(Filters, OfThousandsOfConditionsAndOfManyLevelsWork)
{
    Add("m", {{kNumber, std::int32_t{2999}}});
    Filter wide = Filter::Any({});
    for (std::int32_t i = 0; i < 3000; ++i)
        wide.children.push_back(Filter::Compare(kNumber, Relation::Equal, i));
    EXPECT_EQ(View(m_site, Inbox(), wide).Count(), 1u);
    Filter deep = Filter::Compare(kNumber, Relation::Equal, std::int32_t{2999});
    for (int i = 0; i < 8; ++i)
        deep = i % 2 ? Filter::All({Filter::Negate(std::move(deep)), Filter::Exists(kNumber)})
                     : Filter::Any({Filter::Negate(std::move(deep)), Filter::Exists(kOther)});
    EXPECT_EQ(View(m_site, Inbox(), deep).Count(), 1u);
}

TEST_F(Filters, AreAnsweredToTheDeepestLevelThatIsAccepted)
{
    Add("m", {{kNumber, std::int32_t{1}}});
    auto never = [] { return Filter::Exists(kOther); };
    auto negated = [](Filter inner) { return Filter::Negate(std::move(inner)); };
    auto inOr = [&](Filter inner) { return Filter::Any({never(), std::move(inner), never()}); };
    auto inAnd = [](Filter inner) { return Filter::All({std::move(inner), Filter::Exists(kNumber)}); };
    auto compared = [](Filter inner) {
        return Filter::All({Filter::CompareProperties(kNote, Relation::Equal, kBody), std::move(inner)});
    };
    for (const std::function<Filter(Filter)> &nest :
         std::vector<std::function<Filter(Filter)>>{negated, inOr, inAnd, compared}) {
        Filter filter = Filter::Content(kBody, M::Substring, std::string());
        int levels = 0;
        while (!FaultOf([&] { View(m_site, Inbox(), filter); })) {
            EXPECT_NO_THROW(View(m_site, Inbox(), filter).Count()) << levels;
            filter = nest(std::move(filter));
            ++levels;
        }
        EXPECT_GE(levels, 9);
    }
}

TEST_F(Filters, ThatAreTooDeepAreRefused)
{
    Filter deep = Filter::Exists(kNumber);
    for (int i = 0; i < 1000; ++i)
        deep = Filter::Negate(std::move(deep));
    EXPECT_EQ(FaultOf([&] { View(m_site, Inbox(), deep); }), Fault::TooComplex);
}

TEST_F(Filters, MayBe28LevelsDeepAndNo29)
{
    const auto nested = [](int levels) {
        Filter filter = Filter::Exists(kNumber);
        for (int i = 1; i < levels; ++i)
            filter = Filter::Negate(std::move(filter));
        return filter;
    };
    for (const int levels : {27, 28})
        EXPECT_NO_THROW(View(m_site, Inbox(), nested(levels)).Count()) << levels;
    EXPECT_EQ(FaultOf([&] { View(m_site, Inbox(), nested(29)); }), Fault::TooComplex);
}

std::vector<Tag> OrderOf(const Filter &list)
{
    std::vector<Tag> tags;
    for (const Filter *part : InOrderOfCost(list, ObjectKind::Message))
        tags.push_back(part->children.empty() ? part->tag : part->children.front().tag);
    return tags;
}

// It changes nothing but the time that an answer takes.
TEST(FilterOrder, AsksFirstWhatIsAtHandAndLastWhatLooksForMost)
{
    const Filter column = Filter::Bits(kMessageFlags, 1, true);
    const Filter one = Filter::Compare(kNumber, Relation::Equal, 5);
    const Filter two = Filter::All({Filter::Exists(kNote), Filter::Exists(kOther)});
    const Filter alsoTwo = Filter::CompareProperties(kOther, Relation::Equal, kNumber);
    const Filter many = Filter::AnyRecipient(Filter::Exists(kData));
    const std::vector<Tag> order = {kMessageFlags, kNumber, kNote, kOther, kData};
    EXPECT_EQ(OrderOf(Filter::Any({many, two, alsoTwo, one, column})), order);
    EXPECT_EQ(OrderOf(Filter::All({many, two, alsoTwo, one, column})), order);
    EXPECT_EQ(OrderOf(Filter::Any({Filter::Negate(two), Filter::Negate(one)})), (std::vector<Tag>{kNumber, 0}));
}

TEST(FilterOrder, AsksFirstWhatIsLikelyToDecide)
{
    const Filter lax = Filter::Compare(kWhen, Relation::LessOrEqual, std::int64_t{5});
    const Filter strict = Filter::Compare(kNumber, Relation::GreaterOrEqual, 5);
    EXPECT_EQ(OrderOf(Filter::All({lax, strict})), (std::vector<Tag>{kNumber, kWhen}));
    EXPECT_EQ(OrderOf(Filter::Any({strict, lax})), (std::vector<Tag>{kWhen, kNumber}));
    EXPECT_EQ(OrderOf(Filter::All({strict, Filter::Exists(kOther)})), (std::vector<Tag>{kNumber, kOther}))
        << "as they were given";
}

} // namespace

} // namespace localmapi::storage
