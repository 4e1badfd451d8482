// What the rows of a table have beyond what is stored with them, so that such properties can be columns, be restricted
// by and sorted by like any other.
#pragma once
#include "localmapi/provider/base/Behaviour.h"
#include "localmapi/storage/View.h"
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace localmapi
{

// A property of a row that is made of stored ones.
struct DerivedColumn {
    storage::Tag tag = 0;
    // What it is made of; a table sorted by it is sorted by the first of these.
    std::vector<storage::Tag> from;
    std::function<storage::Value(std::span<const storage::Value> from)> make;
    // The condition that it equals a value: And of nothing is true, Or of nothing false.
    std::function<storage::Filter(const storage::Value &value)> equals;
};

struct TableSchema {
    // The column set until SetColumns is called, in storage tags.
    std::vector<storage::Tag> columns;
    // What QueryColumns(TBL_ALL_COLUMNS) names beside these, the constants and the derived ones.
    std::vector<storage::Tag> furtherColumns;
    // Text columns of the initial column set are PT_UNICODE (the caller's MAPI_UNICODE), else PT_STRING8.
    bool unicode = false;
    // The same in every row.
    storage::PropertyBag constants;
    std::vector<DerivedColumn> derived;
    // What a restriction PR_ANR == text means; without it such a one is MAPI_E_TOO_COMPLEX.
    std::function<storage::Filter(const std::string &text)> anr;
    // Restrictions on recipients and attachments of the rows can be had.
    bool subObjects = false;
    bool bookmarks = true;
    // The session's that shows the table.
    BehaviourPtr behaviour = {};
};

} // namespace localmapi
