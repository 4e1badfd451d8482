// Proves that a view is read in order from every place in both directions, that places survive whatever happens to
// the rows.
#include "Fixture.h"
#include <random>

namespace localmapi::storage
{

namespace
{

constexpr Tag kNumber = MakeTag(0x6001, Type::Int32);

class Views : public SiteTest
{
  protected:
    // Messages "0" to "n-1", submitted in that order, in several facets.
    std::vector<ObjectId> AddNumbered(int n)
    {
        std::vector<NewMessage> messages;
        for (int i = 0; i < n; ++i)
            messages.push_back(
                {m_box.inbox, MakeMessage(std::to_string(i), {{kClientSubmitTime, std::int64_t{1000 + i}},
                                                              {kMessageFlags, std::int32_t{i % 2}},
                                                              {kImportance, std::int32_t{i % 3}},
                                                              {kNumber, std::int32_t{-i}}})});
        return m_objects.CreateMessages(messages);
    }
    Subjects Read(const View &view, const Place &from, Direction direction, std::size_t n) const
    {
        return SubjectsOf(view.Read(from, direction, n, {kSubject}));
    }
    static Subjects Numbers(int first, int end)
    {
        Subjects names;
        for (int i = first; i < end; ++i)
            names.push_back(std::to_string(i));
        return names;
    }
    // The same order found by an index walk and by sorting.
    std::vector<View> BothWays(const Filter &filter = {}) const
    {
        return {View(m_site, Inbox(), filter, {{kClientSubmitTime}}), View(m_site, Inbox(), filter, {{kNumber, true}}),
                View(m_site, Inbox(), filter, {{kClientSubmitTime}, {kSubject}})};
    }
};

TEST_F(Views, OfNoRowsAreEmptyEverywhere)
{
    for (const View &view : BothWays()) {
        EXPECT_EQ(view.Count(), 0u);
        for (const Place &place : {Place::Beginning(), Place::end()})
            for (Direction direction : {kForward, kBackward})
                EXPECT_TRUE(view.Read(place, direction, 10, {}).empty());
        EXPECT_EQ(view.Move(Place::Beginning(), 5).rows, 0);
        EXPECT_EQ(view.Move(Place::end(), -5).rows, 0);
        EXPECT_EQ(view.CountBefore(Place::end()), 0u);
        EXPECT_FALSE(view.Find(Place::Beginning(), kForward, {}));
    }
}

TEST_F(Views, ArePagedForwardsAndBackwardsFromEveryPlace)
{
    AddNumbered(7);
    for (const View &view : BothWays()) {
        EXPECT_EQ(view.Count(), 7u);
        for (std::size_t page : {1u, 2u, 3u, 6u, 7u, 8u}) {
            Subjects forward, backward;
            for (Place at = Place::Beginning();;) {
                std::vector<Row> rows = view.Read(at, kForward, page, {kSubject});
                if (rows.empty())
                    break;
                EXPECT_LE(rows.size(), page);
                Subjects names = SubjectsOf(rows);
                forward.insert(forward.end(), names.begin(), names.end());
                at = rows.back().After();
            }
            for (Place at = Place::end();;) {
                std::vector<Row> rows = view.Read(at, kBackward, page, {kSubject});
                if (rows.empty())
                    break;
                Subjects names = SubjectsOf(rows);
                backward.insert(backward.begin(), names.begin(), names.end());
                at = rows.front().Before();
            }
            EXPECT_EQ(forward, Numbers(0, 7)) << page;
            EXPECT_EQ(backward, Numbers(0, 7)) << page;
        }
        EXPECT_TRUE(view.Read(Place::Beginning(), kBackward, 5, {}).empty());
        EXPECT_TRUE(view.Read(Place::end(), kForward, 5, {}).empty());
        EXPECT_TRUE(view.Read(Place::Beginning(), kForward, 0, {}).empty());
    }
}

TEST_F(Views, KnowThePlacesBesideEveryRow)
{
    AddNumbered(5);
    for (const View &view : BothWays()) {
        std::vector<Row> rows = view.Read(Place::Beginning(), kForward, 5, {});
        for (int i = 0; i < 5; ++i) {
            const Row &row = rows[static_cast<std::size_t>(i)];
            EXPECT_EQ(view.CountBefore(row.Before()), static_cast<std::uint64_t>(i));
            EXPECT_EQ(view.CountBefore(row.After()), static_cast<std::uint64_t>(i + 1));
            EXPECT_EQ(Read(view, row.Before(), kForward, 9), Numbers(i, 5));
            EXPECT_EQ(Read(view, row.After(), kForward, 9), Numbers(i + 1, 5));
            EXPECT_EQ(Read(view, row.Before(), kBackward, 9), Numbers(0, i));
            EXPECT_EQ(Read(view, row.After(), kBackward, 9), Numbers(0, i + 1));
            EXPECT_TRUE(view.Holds(row.Before()));
            EXPECT_TRUE(view.Holds(row.After()));
        }
    }
}

TEST_F(Views, MoveByRowsAndSayHowFarTheyGot)
{
    AddNumbered(5);
    for (const View &view : BothWays()) {
        struct {
            Place from;
            std::int64_t rows, moved;
            std::uint64_t lands;
        } cases[] = {
            {Place::Beginning(), 3, 3, 3},      {Place::Beginning(), 5, 5, 5},  {Place::Beginning(), 6, 5, 5},
            {Place::Beginning(), 0, 0, 0},      {Place::Beginning(), -1, 0, 0}, {Place::end(), -2, -2, 3},
            {Place::end(), -5, -5, 0},          {Place::end(), -6, -5, 0},      {Place::end(), 1, 0, 5},
            {view.PlaceAt(2), 2, 2, 4},         {view.PlaceAt(2), -1, -1, 1},   {view.PlaceAt(2), INT64_MAX, 3, 5},
            {view.PlaceAt(2), INT64_MIN, -2, 0}};
        for (const auto &one : cases) {
            Moved moved = view.Move(one.from, one.rows);
            EXPECT_EQ(moved.rows, one.moved) << one.rows;
            EXPECT_EQ(view.CountBefore(moved.place), one.lands) << one.rows;
        }
    }
}

TEST_F(Views, FindTheNextAndTheLastRowFromAPlace)
{
    AddNumbered(9);
    Filter third = Filter::Compare(kImportance, Relation::Equal, std::int32_t{0}); // 0, 3, 6
    for (const View &view : BothWays()) {
        auto found = [&](const Place &from, Direction direction) {
            std::optional<Row> row = view.Find(from, direction, third, {kSubject});
            return row ? std::get<std::string>(row->values[0]) : "(none)";
        };
        EXPECT_EQ(found(Place::Beginning(), kForward), "0");
        EXPECT_EQ(found(view.PlaceAt(1), kForward), "3");
        EXPECT_EQ(found(view.PlaceAt(3), kForward), "3");
        EXPECT_EQ(found(view.PlaceAt(7), kForward), "(none)");
        EXPECT_EQ(found(Place::end(), kBackward), "6");
        EXPECT_EQ(found(view.PlaceAt(6), kBackward), "3"); // starts at the row before the place
        EXPECT_EQ(found(Place::Beginning(), kBackward), "(none)");
        std::optional<Row> byId = view.Find(
            Place::Beginning(), kForward,
            Filter::Compare(kObjectId, Relation::Equal, view.Read(view.PlaceAt(4), kForward, 1, {}).at(0).id));
        EXPECT_EQ(view.CountBefore(byId.value().Before()), 4u);
    }
}

TEST_F(Views, PlacesStayGoodWhileRowsComeAndGo)
{
    std::vector<ObjectId> ids = AddNumbered(10);
    for (const View &view :
         {View(m_site, Inbox(), {}, {{kClientSubmitTime}}), View(m_site, Inbox(), {}, {{kSubject}})}) {
        std::vector<Row> page = view.Read(Place::Beginning(), kForward, 4, {kSubject});
        Place next = view.Read(page.back().After(), kForward, 1, {}).at(0).Before(); // before "4"
        // Rows before and after the place come and go, the row beside it too.
        ObjectId early = Add("35", {{kClientSubmitTime, std::int64_t{1}}});
        m_objects.RemoveMessages({ids[2], ids[7]});
        EXPECT_TRUE(view.Holds(next));
        EXPECT_EQ(Read(view, next, kForward, 2), (Subjects{"4", "5"}));
        m_objects.RemoveMessages({ids[4]});
        EXPECT_FALSE(view.Holds(next));
        EXPECT_EQ(Read(view, next, kForward, 2), (Subjects{"5", "6"}));
        EXPECT_EQ(Read(view, next, kBackward, 1).size(), 1u);
        m_objects.RemoveMessages({early});
        EXPECT_EQ(Read(view, next, kBackward, 1), (Subjects{"3"}));
        ids[4] = Add("4", {{kClientSubmitTime, std::int64_t{1004}}, {kNumber, std::int32_t{-4}}});
        ids[2] = Add("2", {{kClientSubmitTime, std::int64_t{1002}}});
        ids[7] = Add("7", {{kClientSubmitTime, std::int64_t{1007}}});
    }
}

TEST_F(Views, RowsThatLeaveTheFilterAreGoneAndThoseThatMoveAreNotHeld)
{
    std::vector<ObjectId> ids = AddNumbered(4);
    View unread(m_site, Inbox(), Filter::Bits(kMessageFlags, kFlagRead, true));
    EXPECT_EQ(SubjectsIn(unread), (Subjects{"0", "2"}));
    Place before2 = unread.Read(Place::end(), kBackward, 1, {}).at(0).Before();
    m_objects.SetRead({ids[2]}, true);
    EXPECT_FALSE(unread.Holds(before2));
    EXPECT_EQ(unread.Count(), 1u);
    m_objects.SetRead({ids[2], ids[1]}, false);
    EXPECT_TRUE(unread.Holds(before2));
    EXPECT_EQ(SubjectsIn(unread), (Subjects{"0", "1", "2"}));
    MessageChanges later;
    later.properties.set.Set(kClientSubmitTime, std::int64_t{999});
    m_objects.ChangeMessage(ids[2], later);
    EXPECT_FALSE(unread.Holds(before2));
    EXPECT_EQ(SubjectsIn(unread), (Subjects{"2", "0", "1"}));
}

TEST_F(Views, WithoutATimeComeFirstAndEqualTimesKeepTheOrderOfArrival)
{
    Add("a", {{kClientSubmitTime, std::int64_t{5}}, {kImportance, std::int32_t{2}}});
    Add("b");
    Add("c", {{kClientSubmitTime, std::int64_t{5}}});
    Add("d", {{kClientSubmitTime, std::int64_t{-5}}});
    Add("e", {{kImportance, std::int32_t{1}}});
    Subjects up{"b", "e", "d", "a", "c"}, down(up.rbegin(), up.rend());
    EXPECT_EQ(SubjectsIn(View(m_site, Inbox())), up);
    EXPECT_EQ(SubjectsIn(View(m_site, Inbox(), {}, {{kClientSubmitTime, true}})), down);
    View view(m_site, Inbox());
    std::vector<Row> rows = view.Read(Place::Beginning(), kForward, 9, {kSubject, kClientSubmitTime});
    EXPECT_TRUE(IsAbsent(rows[0].values[1]));
    EXPECT_EQ(Read(view, rows[1].After(), kForward, 9), (Subjects{"d", "a", "c"}));
    EXPECT_EQ(Read(view, rows[1].Before(), kBackward, 9), (Subjects{"b"}));
}

TEST_F(Views, SortByEveryKeyUpAndDown)
{
    constexpr Tag kTexts = kKeywords, kBlob = MakeTag(0x6003, Type::Binary);
    struct {
        const char *subject;
        std::int32_t number;
        Value list;
        Bytes blob;
    } rows[] = {{"b", 2, std::vector<std::string>{"x"}, {1}},
                {"A", 2, std::vector<std::string>{"x", "y"}, {1, 0}},
                {"a", 1, std::vector<std::string>{}, {}},
                {"\xc3\xa4", 3, std::vector<std::string>{"W", "z"}, {2}},
                {"B", 1, Value(), {0xff}}};
    for (const auto &row : rows) {
        PropertyBag bag{{kNumber, row.number}, {kBlob, row.blob}};
        if (!IsAbsent(row.list))
            bag.Set(kTexts, row.list);
        Add(row.subject, bag);
    }
    auto sorted = [&](std::vector<SortKey> keys) { return SubjectsIn(View(m_site, Inbox(), {}, std::move(keys))); };
    EXPECT_EQ(sorted({{kSubject}}), (Subjects{"A", "a", "B", "b", "\xc3\xa4"}));
    EXPECT_EQ(sorted({{kSubject, true}}), (Subjects{"\xc3\xa4", "b", "B", "a", "A"}));
    EXPECT_EQ(sorted({{kNumber}, {kSubject, true}}), (Subjects{"B", "a", "b", "A", "\xc3\xa4"}));
    EXPECT_EQ(sorted({{kTexts}}), (Subjects{"B", "a", "\xc3\xa4", "b", "A"})); // shorter before longer
    EXPECT_EQ(sorted({{kTexts, true}}), (Subjects{"A", "b", "\xc3\xa4", "a", "B"}));
    EXPECT_EQ(sorted({{kBlob}}), (Subjects{"a", "b", "A", "\xc3\xa4", "B"}));
    EXPECT_EQ(sorted({{kMessageClass}}), (Subjects{"b", "A", "a", "\xc3\xa4", "B"}));
    EXPECT_EQ(FaultOf([&] { sorted({{MakeTag(0x6003, Type::Boolean) | kMultiple}}); }), Fault::Invalid);
}

// All orders and places at once, against an order found in memory.
TEST_F(Views, AgreeWithAnOrderFoundInMemoryWhateverTheKeys)
{
    std::mt19937 random{7};
    auto pick = [&](unsigned n) { return static_cast<int>(random() % n); };
    std::vector<NewMessage> messages;
    static const char *const kTexts[] = {"a", "A", "b", ""};
    for (int i = 0; i < 60; ++i) {
        PropertyBag bag{{kMessageFlags, std::int32_t{pick(4)}}};
        if (pick(4))
            bag.Set(kClientSubmitTime, std::int64_t{pick(5)});
        if (pick(4))
            bag.Set(kNumber, std::int32_t{pick(4)});
        if (pick(4))
            bag.Set(kSubject, std::string(kTexts[pick(4)]));
        if (pick(4))
            bag.Set(kKeywords, std::vector<std::string>(static_cast<std::size_t>(pick(3)), kTexts[pick(4)]));
        messages.push_back({m_box.inbox, {{bag, {}}, {}, {}}});
    }
    std::vector<ObjectId> ids = m_objects.CreateMessages(messages);
    constexpr Tag kTags[] = {kClientSubmitTime, kMessageDeliveryTime, kNumber, kSubject, kKeywords, kMessageFlags};
    for (int round = 0; round < 60; ++round) {
        std::vector<SortKey> sort;
        for (int keys = 1 + pick(3); keys > 0; --keys)
            sort.push_back({kTags[pick(std::size(kTags))], pick(2) != 0});
        Filter filter = pick(2) ? Filter{} : Filter::Bits(kMessageFlags, kFlagRead, pick(2) != 0);
        std::vector<std::pair<ObjectId, PropertyBag>> expected;
        for (ObjectId id : ids)
            if (PropertyBag bag = m_objects.Read(id); Matches(filter, bag))
                expected.emplace_back(id, std::move(bag));
        std::sort(expected.begin(), expected.end(), [&](const auto &left, const auto &right) {
            for (const SortKey &key : sort) {
                const Value *l = left.second.Find(key.tag), *r = right.second.Find(key.tag);
                if (int order = CompareValues(l ? *l : Value(), r ? *r : Value()))
                    return key.descending ? order > 0 : order < 0;
            }
            return sort.front().descending ? left.first > right.first : left.first < right.first;
        });
        View view(m_site, Inbox(), filter, sort);
        std::vector<Row> rows = view.Read(Place::Beginning(), kForward, 100, {});
        ASSERT_EQ(rows.size(), expected.size()) << round;
        for (std::size_t i = 0; i < rows.size(); ++i)
            ASSERT_EQ(rows[i].id, expected[i].first) << round << " row " << i;
        for (std::size_t i = 0; i < rows.size(); i += 7) {
            ASSERT_EQ(view.CountBefore(rows[i].Before()), i) << round;
            ASSERT_EQ(view.CountBefore(rows[i].After()), i + 1) << round;
            std::vector<Row> back = view.Read(rows[i].Before(), kBackward, 3, {});
            ASSERT_EQ(back.size(), std::min<std::size_t>(i, 3)) << round;
            for (std::size_t j = 0; j < back.size(); ++j)
                ASSERT_EQ(back[back.size() - 1 - j].id, rows[i - 1 - j].id) << round;
            ASSERT_TRUE(view.Holds(rows[i].Before())) << round;
        }
    }
}

TEST_F(Views, CountsFollowEveryKindOfChange)
{
    std::vector<ObjectId> ids = AddNumbered(12);
    View view(m_site, Inbox(), Filter::Content(kSubject, Filter::Match::Prefix, std::string("1")));
    View other(m_site, Inbox(), Filter::Content(kSubject, Filter::Match::Prefix, std::string("2")));
    auto expectCount = [&](std::uint64_t count, std::uint64_t others) {
        for (int again = 0; again < 2; ++again) {
            EXPECT_EQ(view.Count(), count);
            EXPECT_EQ(other.Count(), others);
        }
    };
    expectCount(3, 1); // "1", "10", "11"; "2"
    MessageChanges changes;
    changes.properties.set.Set(kSubject, std::string("1 too"));
    m_objects.ChangeMessage(ids[2], changes);
    expectCount(4, 0);
    m_objects.SetRead({ids[1], ids[2]}, true);
    expectCount(4, 0);
    m_objects.RemoveMessages({ids[10]});
    expectCount(3, 0);
    ObjectId moved = m_objects.MoveMessages({ids[11]}, m_box.outbox).front();
    expectCount(2, 0);
    m_objects.CopyMessages({moved}, m_box.inbox);
    expectCount(3, 0);
    m_objects.SetAllRead(m_box.inbox, true);
    expectCount(3, 0);
    Site elsewhere = Site::Open(m_site.Path()); // as another process would
    Objects(elsewhere).CreateMessage(m_box.inbox, MakeMessage("2 too", {{kMessageFlags, kFlagRead}}));
    expectCount(3, 1);
    m_objects.RemoveAllMessages(m_box.inbox);
    expectCount(0, 0);
}

TEST_F(Views, OfManyKindsOfMessagesMergeThemAll)
{
    std::vector<NewMessage> messages;
    for (int i = 0; i < 700; ++i)
        messages.push_back(
            {m_box.inbox, MakeMessage(std::to_string(i), {{kMessageClass, "IPM.Note." + std::to_string(i * 37 % 700)},
                                                          {kClientSubmitTime, std::int64_t{i}}})});
    m_objects.CreateMessages(messages);
    View view(m_site, Inbox());
    EXPECT_EQ(Read(view, Place::Beginning(), kForward, 1000), Numbers(0, 700));
    EXPECT_EQ(Read(view, view.PlaceAt(350), kBackward, 3), Numbers(347, 350));
    View some(m_site, Inbox(), Filter::Content(kMessageClass, Filter::Match::Substring, std::string("NOTE.1"), true));
    EXPECT_EQ(some.Count(), 111u);
    ExpectSound();
}

} // namespace

} // namespace localmapi::storage
