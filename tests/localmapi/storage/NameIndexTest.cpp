// Proves that names are found by an index, the same ones as without it, at a cost that does not grow with the people.
#include "Fixture.h"
#include <random>
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

// The steps of SQLite's machine on connections that are opened while this lives.
class StepCounter
{
  public:
    StepCounter() { sqlite3_auto_extension(Entry()); }
    ~StepCounter() { sqlite3_cancel_auto_extension(Entry()); }
    StepCounter(const StepCounter &) = delete;
    StepCounter &operator=(const StepCounter &) = delete;
    static std::uint64_t During(const std::function<void()> &work)
    {
        const std::uint64_t before = s_steps;
        work();
        return s_steps - before;
    }

  private:
    using EntryPoint = void (*)();
    static int Prepare(sqlite3 *connection, char **, const void *)
    {
        sqlite3_progress_handler(
            connection, 1,
            [](void *) {
                ++s_steps;
                return 0;
            },
            nullptr);
        return SQLITE_OK;
    }
    static EntryPoint Entry() { return reinterpret_cast<EntryPoint>(&Prepare); }
    static inline std::uint64_t s_steps = 0;
};

Filter AnyOf(std::initializer_list<Tag> tags, Filter::Match match, const std::string &text)
{
    std::vector<Filter> nodes;
    for (const Tag tag : tags)
        nodes.push_back(Filter::Content(tag, match, text, true));
    return Filter::Any(std::move(nodes));
}

Filter WordsOf(const std::string &first, const std::string &second)
{
    return Filter::All({AnyOf({kDisplayName, kAccount, kSmtpAddress}, Filter::Match::WordPrefix, first),
                        AnyOf({kDisplayName, kAccount, kSmtpAddress}, Filter::Match::WordPrefix, second)});
}

std::vector<ObjectId> Found(const Site &site, const Filter &filter)
{
    std::vector<ObjectId> found;
    for (const Row &row :
         View(site, {Container::Kind::Directory}, filter).Read(Place::Beginning(), kForward, 100000, {}))
        found.push_back(row.id);
    return found;
}

// The same filter as everybody is asked it.
std::vector<ObjectId> FoundAmongAll(const Site &site, const Filter &filter)
{
    return Found(site, Filter::Any({filter, Filter::Negate(Filter::All({}))}));
}

using NameIndexTest = SiteTest;

TEST_F(NameIndexTest, ALookupCostsTheSameAmongManyPeople)
{
    const StepCounter counter;
    const Site site = Site::Open(m_site.Path());
    Directory directory(site);
    const auto add = [&](int from, int to) {
        for (int i = from; i < to; ++i)
            directory.AddContact("Nora Nobody" + std::to_string(i), "n" + std::to_string(i) + "@elsewhere.example");
    };
    const std::vector<Filter> lookups = {
        AnyOf({kAccount, kSmtpAddress, kEmailAddress}, Filter::Match::Whole, "alice"),
        AnyOf({kAccount, kSmtpAddress, kEmailAddress}, Filter::Match::Whole, m_alice.dn),
        Filter::Content(kDisplayName, Filter::Match::Whole, m_alice.name, true), WordsOf("alice", "a"),
        WordsOf("n", "nobody17")};
    std::vector<std::uint64_t> few;
    const auto costs = [&] {
        std::vector<std::uint64_t> steps;
        for (const Filter &one : lookups)
            steps.push_back(StepCounter::During([&] { EXPECT_EQ(Found(site, one).size(), 1u); }));
        return steps;
    };
    add(17, 18);
    few = costs();
    const std::uint64_t all = StepCounter::During([&] { FoundAmongAll(site, lookups.front()); });
    add(300, 800);
    const std::vector<std::uint64_t> many = costs();
    for (std::size_t i = 0; i < lookups.size(); ++i)
        EXPECT_LE(many[i], few[i] + few[i] / 4) << i;
    // What is counted does tell.
    EXPECT_GE(StepCounter::During([&] { FoundAmongAll(site, lookups.front()); }), 50 * all);
}

TEST_F(NameIndexTest, FindsWhatAskingEverybodyFinds)
{
    std::mt19937 random(20261122);
    const std::string pieces[] = {"a",
                                  "Ab",
                                  "abc",
                                  "\xc3\x84",
                                  "\xc3\xa4",
                                  "\xe2\x84\xaa",
                                  "k",
                                  "K",
                                  " ",
                                  "-",
                                  "'",
                                  "(",
                                  "\xff",
                                  "\x80",
                                  "zz",
                                  "0",
                                  "Vandermonde",
                                  ".",
                                  "longer than what is kept of a beginning, by some characters"};
    const auto text = [&](std::size_t most) {
        std::string made;
        for (std::size_t n = random() % most + 1; n > 0; --n)
            made += pieces[random() % std::size(pieces)];
        return made;
    };
    Directory directory(m_site);
    for (int i = 0; i < 300; ++i)
        directory.AddContact(text(6), "c" + std::to_string(i) + "." + std::to_string(random() % 7) + "@x.example");
    int notEmpty = 0;
    for (int round = 0; round < 400; ++round) {
        const auto match = static_cast<Filter::Match>(random() % 4);
        const Tag tags[] = {kDisplayName, kAccount, kSmtpAddress, kEmailAddress};
        const auto leaf = [&] {
            const Tag tag = tags[random() % std::size(tags)];
            const std::string wanted = random() % 3 ? text(3) : "c" + std::to_string(random() % 300);
            return random() % 8 ? Filter::Content(tag, match, wanted, random() % 2 == 0, random() % 5 == 0)
                                : Filter::Compare(tag, static_cast<Relation>(random() % 6), wanted);
        };
        const Filter both = Filter::All({leaf(), leaf()}), either = Filter::Any({leaf(), leaf()});
        for (const Filter &filter :
             {leaf(), both, either, Filter::All({either, leaf()}), Filter::Any({both, leaf()})}) {
            const auto found = Found(m_site, filter);
            EXPECT_EQ(found, FoundAmongAll(m_site, filter)) << "round " << round;
            notEmpty += !found.empty();
        }
    }
    EXPECT_GT(notEmpty, 200);
}

TEST_F(NameIndexTest, AFileThatHadNoneHasOneOnceItIsOpened)
{
    Directory(m_site).AddContact("Dora Doe", "dora@elsewhere.example");
    const std::string path = m_folder.File("old.db");
    std::filesystem::copy_file(PathOf(m_site.Path()), PathOf(path));
    if (std::filesystem::exists(PathOf(m_site.Path() + "-wal")))
        std::filesystem::copy_file(PathOf(m_site.Path() + "-wal"), PathOf(path + "-wal"));
    MakeOlder(path, 4);
    const Site site = Site::Open(path);
    EXPECT_EQ(Found(site, WordsOf("doe", "do")).size(), 1u);
    EXPECT_EQ(Found(site, WordsOf("alice", "a")), std::vector{m_alice.id});
    EXPECT_TRUE(Check(site, false).empty());
}

} // namespace

} // namespace localmapi::storage
