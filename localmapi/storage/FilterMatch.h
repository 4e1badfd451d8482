// The conditions of filters on single values, for the evaluation in memory and for the one in SQL.
#pragma once
#include "localmapi/storage/Filter.h"
#include <string>
#include <string_view>

namespace localmapi::storage
{

// Whether an order, as of CompareValues, satisfies the relation.
bool Related(int order, Relation relation);
// Whether the value has the pattern where `match` asks for it; both as Folded() gives them.
bool Contains(std::string_view value, std::string_view pattern, Filter::Match match);
// Whether a word of the text begins there: at its start and after whatever is no letter or digit; all beyond ASCII
// counts as letters.
bool BeginsWord(std::string_view text, std::size_t at);
// The text in the form in which the filter compares it.
std::string Folded(const Filter &filter, std::string_view text);

} // namespace localmapi::storage
