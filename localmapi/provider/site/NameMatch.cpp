// How typed names find entries: filters over the directory, the strictest one first.
#include "localmapi/provider/site/NameMatch.h"
#include "localmapi/storage/Text.h"
#include "localmapi/storage/View.h"

namespace localmapi
{

namespace
{

using storage::Filter;

// The properties in which words are looked for.
constexpr storage::Tag kWordTags[] = {storage::kDisplayName, storage::kAccount, storage::kSmtpAddress};
// Those that name one entry only.
constexpr storage::Tag kUniqueTags[] = {storage::kAccount, storage::kSmtpAddress, storage::kEmailAddress};

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::vector<std::string_view> Words(std::string_view text)
{
    std::vector<std::string_view> words;
    while (!(text = Trimmed(text)).empty()) {
        std::size_t end = 0;
        while (end < text.size() && !IsBlank(text[end]))
            ++end;
        words.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return words;
}

// One of the properties has the text, without regard to case.
template <std::size_t Count> Filter AnyOf(const storage::Tag (&tags)[Count], Filter::Match match, std::string_view text)
{
    std::vector<Filter> nodes;
    for (const storage::Tag tag : tags)
        nodes.push_back(Filter::Content(tag, match, std::string(text), true));
    return Filter::Any(std::move(nodes));
}

std::vector<storage::ObjectId> Find(const storage::Site &site, Filter filter, std::size_t limit)
{
    const storage::View view(site, {storage::Container::Kind::Directory, 0}, std::move(filter));
    std::vector<storage::ObjectId> found;
    for (const storage::Row &row : view.Read(storage::Place::Beginning(), storage::Direction::Forward, limit, {}))
        found.push_back(row.id);
    return found;
}

} // namespace

std::string_view Trimmed(std::string_view text)
{
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

bool EqualIgnoringCase(std::string_view left, std::string_view right)
{
    return storage::FoldText(std::string(left), true, false) == storage::FoldText(std::string(right), true, false);
}

Filter AnrFilter(std::string_view query)
{
    query = Trimmed(query);
    if (!query.empty() && query.front() == '=') {
        query = Trimmed(query.substr(1));
        if (query.empty())
            return Filter::Any({});
        return Filter::Any({AnyOf(kUniqueTags, Filter::Match::Whole, query),
                            Filter::Content(storage::kDisplayName, Filter::Match::Whole, std::string(query), true)});
    }
    const std::vector<std::string_view> words = Words(query);
    if (words.empty())
        return Filter::Any({});
    std::vector<Filter> all;
    for (const std::string_view word : words)
        all.push_back(AnyOf(kWordTags, Filter::Match::WordPrefix, word));
    return Filter::All(std::move(all));
}

std::vector<storage::ObjectId> MatchesOf(const storage::Site &site, std::string_view name, std::size_t limit)
{
    name = Trimmed(name);
    const bool exactOnly = !name.empty() && name.front() == '=';
    const std::string_view text = exactOnly ? Trimmed(name.substr(1)) : name;
    if (text.empty())
        return {};
    auto found = Find(site, AnyOf(kUniqueTags, Filter::Match::Whole, text), limit);
    if (found.empty())
        found =
            Find(site, Filter::Content(storage::kDisplayName, Filter::Match::Whole, std::string(text), true), limit);
    if (found.empty() && !exactOnly)
        found = Find(site, AnrFilter(text), limit);
    return found;
}

} // namespace localmapi
