// Proves that a filter means the same in the file as in memory, whatever it is made of: random filters over random
// rows of all types.
#include "FilterColumns.h"
#include <random>
#include <sstream>

namespace localmapi::storage
{

namespace
{

std::string written(const Filter &filter)
{
    std::ostringstream text;
    text << "{" << static_cast<int>(filter.node) << std::hex << " tag " << filter.tag << " other " << filter.otherTag
         << " relation " << static_cast<int>(filter.relation) << " value " << testing::PrintToString(filter.value)
         << " match " << static_cast<int>(filter.match) << filter.ignoreCase << filter.ignoreNonSpace << " mask "
         << filter.mask << filter.zero << " size " << filter.size << filter.wide;
    for (const Filter &child : filter.children)
        text << " " << written(child);
    text << "}";
    return text.str();
}

class RandomFilters : public SiteTest
{
  protected:
    std::mt19937 random{20240607};
    int pick(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }

    std::string text()
    {
        static const char *const kTexts[] = {"", "a", "A", "ab", "\xc3\xa4", "\xc3\x84", "b a", "FAXmaker"};
        return kTexts[pick(8)];
    }
    Value single(Tag tag)
    {
        switch (TagType(tag)) {
        case Type::Int16:
            return static_cast<std::int16_t>(pick(4) - 1);
        case Type::Int32:
            return static_cast<std::int32_t>(pick(4) - 1);
        case Type::Double:
            return pick(4) ? pick(4) / 2.0 : std::numeric_limits<double>::quiet_NaN();
        case Type::Text:
            return text();
        case Type::Binary:
            return Bytes(static_cast<std::size_t>(pick(3)), static_cast<std::uint8_t>(pick(2)));
        case Type::Uid:
            return Guid{static_cast<std::uint8_t>(pick(3))};
        default:
            return std::int64_t{pick(3)};
        }
    }
    Value value(Tag tag)
    {
        if (!IsMultiple(tag))
            return single(tag);
        if (TagType(tag) == Type::Int32)
            return std::vector<std::int32_t>(static_cast<std::size_t>(pick(3)), pick(3));
        if (TagType(tag) == Type::Binary)
            return std::vector<Bytes>(static_cast<std::size_t>(pick(3)), Bytes{1});
        return std::vector<std::string>(static_cast<std::size_t>(pick(3)), text());
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
    Tag anyTag() { return kTags[pick(std::size(kTags))]; }

    PropertyBag row()
    {
        PropertyBag bag;
        for (Tag tag : kTags)
            if (pick(2))
                bag.Set(tag, tag == kMessageFlags ? Value(std::int32_t{pick(4)}) : value(tag));
        if (pick(6) == 0)
            bag.Set(kBody, std::string(10000, 'A') + text());
        return bag;
    }

    Filter leaf()
    {
        Tag tag = anyTag();
        Relation relation = kRelations[pick(6)];
        switch (pick(7)) {
        case 0:
            return Filter::Exists(tag);
        case 1:
            return Filter::ByteSize(tag, relation, static_cast<std::uint64_t>(pick(6)), pick(2) != 0);
        case 2:
            return Filter::Bits(pick(2) ? kMessageFlags : kNumber, static_cast<std::uint32_t>(pick(4)), pick(2) != 0);
        case 3: {
            constexpr Tag kPairs[][2] = {{kNumber, kOther}, {kNumber, kMessageFlags},   {kImportance, kMessageFlags},
                                         {kNote, kBody},    {kWhen, kClientSubmitTime}, {kNote, kMessageClass}};
            auto &pair = kPairs[pick(6)];
            return Filter::CompareProperties(pair[0], relation, pair[1]);
        }
        case 4:
        case 5:
            if (TagType(tag) == Type::Text || TagType(tag) == Type::Binary)
                return Filter::Content(tag, static_cast<M>(pick(4)), single(tag), pick(2) != 0, pick(2) != 0);
            [[fallthrough]];
        default:
            return Filter::Compare(tag, relation, single(tag));
        }
    }
    Filter filter(int depth)
    {
        if (depth == 0 || pick(3) == 0)
            return leaf();
        if (pick(4) == 0)
            return Filter::Negate(filter(depth - 1));
        std::vector<Filter> children;
        for (int i = pick(4); i > 0; --i)
            children.push_back(filter(depth - 1));
        return pick(2) ? Filter::All(std::move(children)) : Filter::Any(std::move(children));
    }
};

TEST_F(RandomFilters, MeanTheSameInTheFileAsInMemory)
{
    std::vector<NewMessage> messages;
    for (int i = 0; i < 150; ++i)
        messages.push_back({box.inbox, {{row(), {}}, {}, {}}});
    std::vector<ObjectId> ids = objects.CreateMessages(messages);
    std::vector<PropertyBag> rows;
    for (ObjectId id : ids)
        rows.push_back(objects.ReadUpTo(id, UINT64_MAX));
    for (int round = 0; round < 1200; ++round) {
        Filter one = filter(round < 400 ? 0 : 4);
        std::vector<ObjectId> expected;
        for (std::size_t i = 0; i < ids.size(); ++i)
            if (Matches(one, rows[i]))
                expected.push_back(ids[i]);
        View indexed(site, inbox(), one), sorted(site, inbox(), one, {{kObjectId}});
        std::vector<ObjectId> inOrder, byTime;
        for (const Row &found : sorted.Read(Place::Beginning(), Direction::Forward, 1000, {}))
            inOrder.push_back(found.id);
        for (const Row &found : indexed.Read(Place::Beginning(), Direction::Forward, 1000, {}))
            byTime.push_back(found.id);
        std::sort(byTime.begin(), byTime.end());
        ASSERT_EQ(inOrder, expected) << "round " << round << ": " << written(one);
        ASSERT_EQ(byTime, expected) << "round " << round << ": " << written(one);
        ASSERT_EQ(indexed.Count(), expected.size()) << "round " << round << ": " << written(one);
    }
}

} // namespace

} // namespace localmapi::storage
