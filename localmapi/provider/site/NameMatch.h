// How a name that a person typed finds entries of the directory.
#pragma once
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Filter.h"

#include <string>
#include <string_view>
#include <vector>

namespace localmapi
{

std::string_view Trimmed(std::string_view text);
bool EqualIgnoringCase(std::string_view left, std::string_view right);

// PR_ANR: each word of the query begins a word of the display name, the alias or the address. "=text" asks for equal
// text. An empty query fits nothing.
storage::Filter AnrFilter(std::string_view query);

// The directory's entries that a name stands for, users and contacts: those whose alias, address or distinguished name
// it is, else those whose display name it is, else those that AnrFilter finds ("=text": not these). At most `limit`.
std::vector<storage::ObjectId> MatchesOf(const storage::Site &site, std::string_view name, std::size_t limit = 2);

} // namespace localmapi
