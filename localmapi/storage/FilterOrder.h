// In which order the parts of a filter's list are asked.
#pragma once
#include "localmapi/storage/Filter.h"
#include "localmapi/storage/Objects.h"

namespace localmapi::storage
{

// The children of And or Or for rows of a kind. The answer is in most cases known before the last of them: what looks
// for most comes last, and of two alike the one that is less likely to decide.
std::vector<const Filter *> InOrderOfCost(const Filter &list, ObjectKind kind);

} // namespace localmapi::storage
