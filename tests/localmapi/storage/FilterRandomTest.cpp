// Proves that a filter means the same in the file as in memory, whatever it is made of: random filters over random
// rows of all types.
#include "FilterColumns.h"
#include <random>
#include <sstream>

namespace localmapi::storage
{

namespace
{

std::string Written(const Filter &filter)
{
    std::ostringstream text;
    text << "{" << static_cast<int>(filter.node) << std::hex << " tag " << filter.tag << " other " << filter.otherTag
         << " relation " << static_cast<int>(filter.relation) << " value " << testing::PrintToString(filter.value)
         << " match " << static_cast<int>(filter.match) << filter.ignoreCase << filter.ignoreNonSpace << " mask "
         << filter.mask << filter.zero << " size " << filter.size << filter.wide;
    for (const Filter &child : filter.children)
        text << " " << Written(child);
    text << "}";
    return text.str();
}

class RandomFilters : public SiteTest
{
  protected:
    std::mt19937 m_random{20240607};
    int Pick(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }

    std::string AnyText()
    {
        static const char *const kTexts[] = {"", "a", "A", "ab", "\xc3\xa4", "\xc3\x84", "b a", "FAXmaker"};
        return kTexts[Pick(8)];
    }
    Value AnySingle(Tag tag)
    {
        switch (TagType(tag)) {
        case Type::Int16:
            return static_cast<std::int16_t>(Pick(4) - 1);
        case Type::Int32:
            return static_cast<std::int32_t>(Pick(4) - 1);
        case Type::Double:
            return Pick(4) ? Pick(4) / 2.0 : std::numeric_limits<double>::quiet_NaN();
        case Type::Text:
            return AnyText();
        case Type::Binary:
            return Bytes(static_cast<std::size_t>(Pick(3)), static_cast<std::uint8_t>(Pick(2)));
        case Type::Uid:
            return Guid{static_cast<std::uint8_t>(Pick(3))};
        default:
            return std::int64_t{Pick(3)};
        }
    }
    Value AnyValue(Tag tag)
    {
        if (!IsMultiple(tag))
            return AnySingle(tag);
        if (TagType(tag) == Type::Int32)
            return std::vector<std::int32_t>(static_cast<std::size_t>(Pick(3)), Pick(3));
        if (TagType(tag) == Type::Binary)
            return std::vector<Bytes>(static_cast<std::size_t>(Pick(3)), Bytes{1});
        return std::vector<std::string>(static_cast<std::size_t>(Pick(3)), AnyText());
    }
    static constexpr Tag kTags[] = {kNumber,
                                    kOther,
                                    kData,
                                    kNote,
                                    kReal,
                                    kNumbers,
                                    kShort,
                                    kUid,
                                    kWhen,
                                    kBlobs,
                                    kKeywords,
                                    kBody,
                                    kMessageClass,
                                    kImportance,
                                    kMessageFlags,
                                    kClientSubmitTime,
                                    kMessageDeliveryTime};
    Tag AnyTag() { return kTags[Pick(std::size(kTags))]; }

    PropertyBag AnyRow()
    {
        PropertyBag bag;
        for (Tag tag : kTags)
            if (Pick(2))
                bag.Set(tag, tag == kMessageFlags ? Value(std::int32_t{Pick(4)}) : AnyValue(tag));
        if (Pick(6) == 0)
            bag.Set(kBody, std::string(10000, 'A') + AnyText());
        return bag;
    }

    Filter AnyLeaf()
    {
        Tag tag = AnyTag();
        Relation relation = kRelations[Pick(6)];
        switch (Pick(7)) {
        case 0:
            return Filter::Exists(tag);
        case 1:
            return Filter::ByteSize(tag, relation, static_cast<std::uint64_t>(Pick(6)), Pick(2) != 0);
        case 2:
            return Filter::Bits(Pick(2) ? kMessageFlags : kNumber, static_cast<std::uint32_t>(Pick(4)), Pick(2) != 0);
        case 3: {
            constexpr Tag kPairs[][2] = {{kNumber, kOther}, {kNumber, kMessageFlags},   {kImportance, kMessageFlags},
                                         {kNote, kBody},    {kWhen, kClientSubmitTime}, {kNote, kMessageClass}};
            auto &pair = kPairs[Pick(6)];
            return Filter::CompareProperties(pair[0], relation, pair[1]);
        }
        case 4:
        case 5:
            if (TagType(tag) == Type::Text || TagType(tag) == Type::Binary)
                return Filter::Content(tag, static_cast<M>(Pick(4)), AnySingle(tag), Pick(2) != 0, Pick(2) != 0);
            [[fallthrough]];
        default:
            return Filter::Compare(tag, relation, AnySingle(tag));
        }
    }
    Filter AnyFilter(int depth)
    {
        if (depth == 0 || Pick(3) == 0)
            return AnyLeaf();
        if (Pick(4) == 0)
            return Filter::Negate(AnyFilter(depth - 1));
        std::vector<Filter> children;
        for (int i = Pick(4); i > 0; --i)
            children.push_back(AnyFilter(depth - 1));
        return Pick(2) ? Filter::All(std::move(children)) : Filter::Any(std::move(children));
    }
};

TEST_F(RandomFilters, MeanTheSameInTheFileAsInMemory)
{
    std::vector<NewMessage> messages;
    for (int i = 0; i < 150; ++i)
        messages.push_back({m_box.inbox, {{AnyRow(), {}}, {}, {}}});
    std::vector<ObjectId> ids = m_objects.CreateMessages(messages);
    std::vector<PropertyBag> rows;
    for (ObjectId id : ids)
        rows.push_back(m_objects.ReadUpTo(id, UINT64_MAX));
    for (int round = 0; round < 1200; ++round) {
        Filter one = AnyFilter(round < 400 ? 0 : 4);
        std::vector<ObjectId> expected;
        for (std::size_t i = 0; i < ids.size(); ++i)
            if (Matches(one, rows[i]))
                expected.push_back(ids[i]);
        View indexed(m_site, Inbox(), one), sorted(m_site, Inbox(), one, {{kObjectId}});
        std::vector<ObjectId> inOrder, byTime;
        for (const Row &found : sorted.Read(Place::Beginning(), Direction::Forward, 1000, {}))
            inOrder.push_back(found.id);
        for (const Row &found : indexed.Read(Place::Beginning(), Direction::Forward, 1000, {}))
            byTime.push_back(found.id);
        std::sort(byTime.begin(), byTime.end());
        ASSERT_EQ(inOrder, expected) << "round " << round << ": " << Written(one);
        ASSERT_EQ(byTime, expected) << "round " << round << ": " << Written(one);
        ASSERT_EQ(indexed.Count(), expected.size()) << "round " << round << ": " << Written(one);
    }
}

} // namespace

} // namespace localmapi::storage
