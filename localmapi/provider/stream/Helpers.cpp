#include "localmapi/provider/stream/Helpers.h"
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/stream/FileBytes.h"
#include "localmapi/provider/stream/Stream.h"

#include <limits>
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

HRESULT GetOneProp(IMAPIProp *object, ULONG tag, SPropValue **value) noexcept
{
    return Guarded([&]() -> HRESULT {
        if (value)
            *value = nullptr;
        Require(object != nullptr && value != nullptr, "HrGetOneProp");
        SPropTagArray tags = {1, {tag}};
        ULONG count = 0;
        Block<SPropValue> values;
        const HRESULT hr = object->GetProps(&tags, 0, &count, values.put());
        if (FAILED(hr))
            return hr;
        if (!values || count != 1)
            return MAPI_E_NOT_FOUND;
        if (PROP_TYPE(values->ulPropTag) == PT_ERROR)
            return values->Value.err;
        *value = values.release();
        return S_OK;
    });
}

HRESULT OpenFileStream(ULONG flags, const TCHAR *name, const TCHAR *prefix, IStream **stream) noexcept
{
    // How others may open the file meanwhile is left to them.
    constexpr ULONG kShareModes = 0x70;
    return Guarded([&]() -> HRESULT {
        if (stream)
            *stream = nullptr;
        Require(stream != nullptr && name != nullptr && *name != 0, "OpenStreamOnFile");
        if (flags & ~kShareModes || prefix)
            NoSupport("files that are written");
        StreamSettings settings;
        settings.content = OpenFileBytes(name);
        *stream = MakeStream(std::move(settings)).release();
        return S_OK;
    });
}

SPropValue *FindProp(SPropValue *values, ULONG count, ULONG tag) noexcept
{
    if (!values || PROP_TYPE(tag) == PT_ERROR)
        return nullptr;
    const bool anyType = PROP_TYPE(tag) == PT_UNSPECIFIED;
    for (ULONG i = 0; i < count; ++i)
        if (values[i].ulPropTag == tag || (anyType && PROP_ID(values[i].ulPropTag) == PROP_ID(tag)))
            return &values[i];
    return nullptr;
}

} // namespace localmapi
