// Keys of words, and which of them a filter's texts can be found by: the part that fits the fewest people is taken.
#include "localmapi/storage/NameIndex.h"
#include "localmapi/storage/FilterMatch.h"
#include "localmapi/storage/Streams.h"
#include "localmapi/storage/Text.h"
#include <algorithm>
#include <set>

namespace localmapi::storage
{

namespace
{

// Longer beginnings are cut to this; what they find is compared whole afterwards.
constexpr std::size_t kLongestKey = 48;

Bytes KeyOf(std::string_view text)
{
    text = text.substr(0, kLongestKey);
    return {text.begin(), text.end()};
}

// The least key that comes after all that begin with this one; empty where there is none.
Bytes Behind(Bytes key)
{
    while (!key.empty() && key.back() == 0xFF)
        key.pop_back();
    if (!key.empty())
        ++key.back();
    return key;
}

// People in whose texts a word begins so.
SqlText WordsLike(std::string_view folded)
{
    const Bytes key = KeyOf(folded);
    Bytes behind = Behind(key);
    SqlText sql;
    sql += "SELECT person FROM person_word WHERE key >= ";
    sql.Parameter(key);
    if (!behind.empty()) {
        sql += " AND key < ";
        sql.Parameter(std::move(behind));
    }
    return sql;
}

// People whose address, of either kind, is this.
SqlText AddressIs(const std::string &folded)
{
    SqlText sql;
    sql += "SELECT id FROM person WHERE smtp_key = ";
    sql.Parameter(folded);
    sql += " UNION ALL SELECT id FROM person WHERE dn_key = ";
    sql.Parameter(folded);
    return sql;
}

struct Found {
    SqlText sql;
    std::size_t length = 0; // of the text that is looked for: longer ones find fewer
};

std::optional<Found> FindBy(const Filter &filter);

std::optional<Found> FindByText(const Filter &filter)
{
    const auto *text = std::get_if<std::string>(&filter.value);
    const bool whole = filter.node == Filter::Node::Compare ? filter.relation == Relation::Equal
                                                            : filter.match == Filter::Match::Whole;
    const bool beginning =
        whole || (filter.node == Filter::Node::Content &&
                  (filter.match == Filter::Match::Prefix || filter.match == Filter::Match::WordPrefix));
    if (!text || text->empty() || !beginning || filter.ignoreNonSpace)
        return std::nullopt;
    const std::string folded = FoldCase(*text);
    switch (filter.tag) {
    case kDisplayName:
    case kAccount:
    case kSmtpAddress:
        return Found{WordsLike(folded), folded.size()};
    case kEmailAddress:
        return whole ? std::optional(Found{AddressIs(folded), folded.size()}) : std::nullopt;
    default:
        return std::nullopt;
    }
}

// Of several conditions that all must hold, the one that finds the fewest.
std::optional<Found> FindByBest(const std::vector<Filter> &children)
{
    std::optional<Found> best;
    for (const Filter &child : children)
        if (auto found = FindBy(child); found && (!best || found->length > best->length))
            best = std::move(found);
    return best;
}

std::optional<Found> FindByAny(const std::vector<Filter> &children)
{
    std::optional<Found> all;
    for (const Filter &child : children) {
        auto found = FindBy(child);
        if (!found)
            return std::nullopt;
        if (!all) {
            all = std::move(found);
        } else {
            all->sql += " UNION ALL ";
            all->sql.append(found->sql);
            all->length = std::min(all->length, found->length);
        }
    }
    return all;
}

std::optional<Found> FindBy(const Filter &filter)
{
    switch (filter.node) {
    case Filter::Node::And:
        return FindByBest(filter.children);
    case Filter::Node::Or:
        return FindByAny(filter.children);
    case Filter::Node::Content:
    case Filter::Node::Compare:
        return FindByText(filter);
    default:
        return std::nullopt;
    }
}

} // namespace

const char *const kNameIndexTables = R"(
CREATE TABLE person_word (
    key BLOB NOT NULL,
    person INTEGER NOT NULL REFERENCES person (id) ON DELETE CASCADE,
    PRIMARY KEY (key, person)
) WITHOUT ROWID;
)";

namespace
{

std::set<Bytes> KeysOf(std::initializer_list<std::string_view> texts)
{
    std::set<Bytes> keys;
    for (const std::string_view text : texts) {
        const std::string folded = FoldCase(text);
        for (std::size_t at = 0; at < folded.size(); ++at)
            if (BeginsWord(folded, at))
                keys.insert(KeyOf(std::string_view(folded).substr(at)));
    }
    return keys;
}

} // namespace

void IndexNames(Connection &connection, ObjectId person, std::initializer_list<std::string_view> texts)
{
    for (const Bytes &key : KeysOf(texts))
        connection.Prepare("INSERT OR IGNORE INTO person_word (key, person) VALUES (?, ?)").Bind(key, person).Run();
}

void IndexAnew(Connection &connection, ObjectId person)
{
    connection.Prepare("DELETE FROM person_word WHERE person = ?").Bind(person).Run();
    Statement find = connection.Prepare("SELECT name, IFNULL(alias, ''), smtp FROM person WHERE id = ?");
    if (find.Bind(person).Step())
        IndexNames(connection, person, {find.Text(0), find.Text(1), find.Text(2)});
}

void IndexEverybody(Connection &connection)
{
    Statement everybody = connection.Prepare("SELECT id, name, IFNULL(alias, ''), smtp FROM person");
    while (everybody.Step())
        IndexNames(connection, everybody.Integer(0), {everybody.Text(1), everybody.Text(2), everybody.Text(3)});
}

std::int64_t NamesChecksum(std::initializer_list<std::string_view> texts)
{
    std::int64_t sum = 0;
    for (const Bytes &key : KeysOf(texts))
        sum += ChecksumOf(key.data(), key.size());
    return sum;
}

std::optional<SqlText> PeopleFor(const Filter &filter)
{
    auto found = FindBy(filter);
    return found ? std::optional(std::move(found->sql)) : std::nullopt;
}

} // namespace localmapi::storage
