#include "localmapi/provider/table/QueryRows.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"

#include <vector>

namespace localmapi
{

namespace
{

// How many rows are asked for in one call: each one may have to look for its rows anew.
constexpr LONG kPage = 2000;

struct FreeRowsOnExit {
    SRowSet *rows = nullptr;
    ~FreeRowsOnExit() { FreeRows(rows); }
};

// Takes the rows out of a page that a table gave.
void MoveRows(SRowSet &page, std::vector<Block<SPropValue>> &values, std::vector<ULONG> &counts)
{
    for (ULONG i = 0; i < page.cRows; ++i) {
        counts.push_back(page.aRow[i].cValues);
        values.emplace_back(page.aRow[i].lpProps); // the page's until here: memory may end before
        page.aRow[i].lpProps = nullptr;
    }
}

} // namespace

HRESULT QueryAllRows(IMAPITable *table, SPropTagArray *columns, SRestriction *restriction, SSortOrderSet *sort,
                     LONG maximum, SRowSet **rows) noexcept
{
    return Guarded([&]() -> HRESULT {
        if (rows)
            *rows = nullptr;
        Require(table != nullptr && rows != nullptr && maximum >= 0, "HrQueryAllRows");
        HRESULT hr = S_OK;
        if (columns && FAILED(hr = table->SetColumns(columns, TBL_BATCH)))
            return hr;
        if (restriction && FAILED(hr = table->Restrict(restriction, TBL_BATCH)))
            return hr;
        if (sort && FAILED(hr = table->SortTable(sort, TBL_BATCH)))
            return hr;
        if (FAILED(hr = table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr)))
            return hr;
        std::vector<Block<SPropValue>> values;
        std::vector<ULONG> counts;
        for (;;) {
            FreeRowsOnExit page;
            if (FAILED(hr = table->QueryRows(kPage, 0, &page.rows)))
                return hr;
            if (!page.rows || page.rows->cRows == 0)
                break;
            if (maximum != 0 && values.size() + page.rows->cRows > static_cast<std::size_t>(maximum))
                return MAPI_E_TABLE_TOO_BIG;
            MoveRows(*page.rows, values, counts);
        }
        RowSetBuilder all(values.size());
        for (std::size_t i = 0; i < values.size(); ++i)
            all.Add(std::move(values[i]), counts[i]);
        *rows = all.Release();
        return S_OK;
    });
}

} // namespace localmapi
