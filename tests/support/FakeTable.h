// Tables: rows as programmed, with columns, a cursor and bookmarks.
#pragma once
#include "support/Com.h"
#include "support/Values.h"
#include <functional>
#include <memory>
#include <optional>

namespace mapi_double
{

struct TableData {
    explicit TableData(std::string nameOf) : name(std::move(nameOf)) {}
    std::string name;
    std::vector<Row> rows;
    bool raw = false; // rows are given as they are, whatever columns were asked for
    // Which rows a restriction leaves; all of them where this is not set: the test says what the table holds.
    std::function<std::vector<Row>(const std::vector<Row> &, const SRestriction *)> select;
    std::optional<ULONG> claimedCount; // what GetRowCount says, where that is not the number of rows
    ULONG mostPerQuery = 0xFFFFFFFF;   // QueryRows gives no more than this at a time
};

IMAPITable *NewTable(std::shared_ptr<TableData> data);

} // namespace mapi_double
