#include "session/ReceiveFolder.h"

HRESULT OpenReceiveFolder(const CountedOperation &operation, IMsgStore *pIMsgStore, ReceiveFolder &inbox)
{
    OwnedEntryID &entryID = inbox.entryID;
    const HRESULT hr = Acquired(pIMsgStore->GetReceiveFolder(nullptr, 0, &entryID.cb, entryID.pEntryID.put(), nullptr),
                                entryID.pEntryID);
    if (FAILED(hr))
        return operation.Failed("GetReceiveFolder", "trying to obtain the ID for the receive folder.", pIMsgStore, hr);
    return OpenCounted(operation, {pIMsgStore, entryID.cb, entryID.pEntryID.get()}, &IID_IMAPIFolder, MAPI_BEST_ACCESS,
                       "trying to access and open the receive folder.", inbox.folder);
}

HRESULT GetFolderTable(const Operation &operation, IMAPIFolder *pFolder, ComPtr<IMAPITable> &table)
{
    const HRESULT hr = Acquired(pFolder->GetContentsTable(0, table.put()), table);
    if (FAILED(hr)) {
        table.reset();
        return operation.Failed("GetContentsTable", "trying to retrieve the contents table for the receive folder.",
                                pFolder, hr);
    }
    return hr;
}

HRESULT SetTableColumns(const Operation &operation, IMAPITable *pTable, LPSPropTagArray pTags)
{
    const HRESULT hr = pTable->SetColumns(pTags, 0);
    if (FAILED(hr))
        return operation.Failed("SetColumns", "trying to set the column data set for the table.", pTable, hr);
    return hr;
}

HRESULT FilterTable(const Operation &operation, IMAPITable *pTable, const Restriction &filter)
{
    const HRESULT hr = pTable->Restrict(filter.Get(), 0);
    if (FAILED(hr))
        return operation.Failed("Restrict", "trying to specify the restrictions/filter for the table.", pTable, hr);
    return hr;
}

HRESULT SortOldestFirst(const Operation &operation, IMAPITable *pTable)
{
    SizedSSortOrderSet(1, oldestFirst) = {1, 0, 0, {{PR_CLIENT_SUBMIT_TIME, TABLE_SORT_ASCEND}}};
    const HRESULT hr = pTable->SortTable(reinterpret_cast<LPSSortOrderSet>(&oldestFirst), 0);
    if (FAILED(hr))
        return operation.Failed("SortTable", "trying to sort the table in ascending order.", pTable, hr);
    return hr;
}
