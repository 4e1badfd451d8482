// The folder that new messages arrive in, and the shaping of its contents tables. A failing step is reported under the
// operation's name, and its HRESULT is given back.
#pragma once
#include "common/mapi/Restriction.h"
#include "session/OpenCounted.h"

// Counted in the session's open-object counter while it is held, and held together with its entry ID.
struct ReceiveFolder {
    Counted<IMAPIFolder> folder;
    OwnedEntryID entryID;

    IMAPIFolder *get() const { return folder.get(); }
};
HRESULT OpenReceiveFolder(const CountedOperation &operation, IMsgStore *pIMsgStore, ReceiveFolder &inbox);

HRESULT GetFolderTable(const Operation &operation, IMAPIFolder *pFolder, ComPtr<IMAPITable> &table);
HRESULT SetTableColumns(const Operation &operation, IMAPITable *pTable, LPSPropTagArray pTags);
HRESULT FilterTable(const Operation &operation, IMAPITable *pTable, const Restriction &filter);
HRESULT SortOldestFirst(const Operation &operation, IMAPITable *pTable);
