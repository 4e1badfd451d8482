// An entry of a store, as callers name it: the store and the entry ID's bytes stay the caller's.
#pragma once
#include "session/OpenEntry.h"

struct StoreEntry {
    StoreEntry(IMsgStore *pStore, ULONG cb, const void *pBytes)
        : pIMsgStore(pStore), cbEntryID(cb), lpEntryID(static_cast<const BYTE *>(pBytes))
    {
    }
    StoreEntry(IMsgStore *pStore, const SBinary &bytes) : StoreEntry(pStore, bytes.cb, bytes.lpb) {}

    // For trace lines.
    tstring Text() const { return GetEntryIDString(cbEntryID, lpEntryID); }

    IMsgStore *pIMsgStore;
    ULONG cbEntryID;
    const BYTE *lpEntryID;
};
