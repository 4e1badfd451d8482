// From a client's restriction tree and sort order to the storage's filter and sort keys. Nothing of the client's is
// kept; every pointer, type and relation is checked.
#pragma once
#include "localmapi/provider/table/TableSchema.h"

#include <mapix.h>

namespace localmapi
{

// How deep a restriction tree may be, and how many nodes it may have; more is MAPI_E_TOO_COMPLEX.
inline constexpr int kRestrictionDepthLimit = 64;
inline constexpr ULONG kRestrictionNodeLimit = 4096;
inline constexpr ULONG kSortKeyLimit = 16;

// Throws Failure: MAPI_E_TOO_COMPLEX for what can not be had (types that differ, regular expressions, too deep trees),
// MAPI_E_INVALID_PARAMETER for null pointers and for codes that mean nothing.
storage::Filter TranslateRestriction(const SRestriction &restriction, const TableSchema &schema);

// Throws Failure: MAPI_E_TOO_COMPLEX for categories, duplicates, too many keys and types that have no order,
// MAPI_E_INVALID_PARAMETER for an order set that makes no sense.
std::vector<storage::SortKey> TranslateSort(const SSortOrderSet &order, const TableSchema &schema);

} // namespace localmapi
