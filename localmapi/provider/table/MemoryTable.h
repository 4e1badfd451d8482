// Tables whose rows are held in memory: profiles, message stores, services, recipients, attachments, address book
// containers. They answer every method of IMAPITable as a table over the storage does; only the rows' home differs.
// A table may be used by one thread at a time or by several: its methods are serialised.
#pragma once
#include "localmapi/provider/base/Behaviour.h"

#include <mapix.h>

#include <memory>
#include <vector>

namespace localmapi
{

class MemoryRowStore;

// The rows of a table to be. Rows are copied in; text may be narrow or wide and is read in either width. A row
// without PR_INSTANCE_KEY gets one that is its own.
class MemoryRows
{
  public:
    MemoryRows();
    MemoryRows(MemoryRows &&) noexcept;
    MemoryRows &operator=(MemoryRows &&) noexcept;
    ~MemoryRows();

    // MAPI_E_INVALID_PARAMETER for a value of an unknown type or with a bad pointer; values of type PT_ERROR and
    // PT_NULL count as properties that the row lacks.
    HRESULT Add(ULONG count, const SPropValue *values);

    std::unique_ptr<MemoryRowStore> Take();

  private:
    std::unique_ptr<MemoryRowStore> m_rows;
};

struct MemoryTableSettings {
    // The column set until SetColumns is called. QueryColumns(TBL_ALL_COLUMNS) answers these, then every other
    // property that some row has.
    std::vector<ULONG> columns = {};
    // Text columns of the initial column set are PT_UNICODE (the caller's MAPI_UNICODE), else PT_STRING8.
    bool unicode = false;
    // Attachment tables know no bookmarks of their own.
    bool bookmarks = true;
    // The session's that shows the table.
    BehaviourPtr behaviour = {};
};

// A new table with one reference, over rows that no longer change.
HRESULT CreateMemoryTable(MemoryRows rows, MemoryTableSettings settings, IMAPITable **table);

} // namespace localmapi
