// Text as it is compared: by Unicode simple case folding, with or without its accents. Bytes that are not UTF-8 count
// as characters of their own.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace localmapi::storage
{

// The order of text: folded form first, code points where that is equal. Only equal texts compare equal.
int CompareText(std::string_view left, std::string_view right);

// The form that names are looked up by.
std::string FoldCase(std::string_view text);
std::string FoldText(std::string_view text, bool ignoreCase, bool ignoreNonSpace);

// The bytes that the text takes in UTF-16, without a terminator.
std::uint64_t Utf16Size(std::string_view text);

} // namespace localmapi::storage
