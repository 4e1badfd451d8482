// What Exchange adds to Extended MAPI and the toolchain's MAPI headers leave out. Values are the published ones.
#pragma once
#include <mapix.h>
#include <windows.h>

#define MAPI_NO_CACHE ((ULONG)0x00000200)
#define MDB_ONLINE ((ULONG)0x00000100)
#define MAPI_NO_COINIT ((ULONG)0x00000008)

#ifndef MAPI_E_STORE_FULL
#define MAPI_E_STORE_FULL MAKE_MAPI_E(0x60C)
#endif

#define OPENSTORE_USE_ADMIN_PRIVILEGE ((ULONG)0x00000001)
#define OPENSTORE_HOME_LOGON ((ULONG)0x00000004)
#define OPENSTORE_TAKE_OWNERSHIP ((ULONG)0x00000008)

#define PR_PROFILE_HOME_SERVER PROP_TAG(PT_STRING8, 0x6602)
#define PR_PROFILE_USER PROP_TAG(PT_STRING8, 0x6603)
#define PR_PROFILE_UNRESOLVED_NAME PROP_TAG(PT_STRING8, 0x6607)
#define PR_PROFILE_UNRESOLVED_SERVER PROP_TAG(PT_STRING8, 0x6608)

#define PR_CREATOR_NAME_A PROP_TAG(PT_STRING8, 0x3FF8)
#define PR_CREATOR_NAME_W PROP_TAG(PT_UNICODE, 0x3FF8)
#define PR_SPLUS_FREE_BUSY_ENTRYID PROP_TAG(PT_BINARY, 0x6622)
#define PR_IPM_APPOINTMENT_ENTRYID PROP_TAG(PT_BINARY, 0x36D0)

// What mail clients keep about a message that was answered or forwarded.
#define PR_ICON_INDEX PROP_TAG(PT_LONG, 0x1080)
#define PR_LAST_VERB_EXECUTED PROP_TAG(PT_LONG, 0x1081)
#define PR_LAST_VERB_EXECUTION_TIME PROP_TAG(PT_SYSTIME, 0x1082)

#define PR_DISABLE_FULL_FIDELITY PROP_TAG(PT_BOOLEAN, 0x10F2)

// Voice properties of unified messaging, as this library writes and reads them.
#define PR_UM_DURATION PROP_TAG(PT_LONG, 0x6801)
#define PR_UM_TELEPHONE_NUMBER_A PROP_TAG(PT_STRING8, 0x6802)
#define PR_UM_SENDER_NAME_A PROP_TAG(PT_STRING8, 0x6803)
#define PR_UM_ATTACHMENT_ORDER_A PROP_TAG(PT_STRING8, 0x6805)
#define PR_UM_OFFSET PROP_TAG(PT_LONG, 0x6807)
#define PR_UM_MESSAGE_RECEIVED PROP_TAG(PT_LONG, 0x6808)

// 13 DB B0 C8 AA 05 10 1A 9B B0 00 AA 00 2F C4 5A: the global section of a profile.
extern "C" const MAPIUID kGlobalProfileSection;

DEFINE_GUID(IID_IExchangeManageStore, 0x559D10B0, 0xA772, 0x11CD, 0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A);

#undef INTERFACE
#define INTERFACE IExchangeManageStore
DECLARE_INTERFACE_(IExchangeManageStore, IUnknown)
{
    STDMETHOD(QueryInterface)(THIS_ REFIID riid, LPVOID * ppvObj) PURE;
    STDMETHOD_(ULONG, AddRef)(THIS) PURE;
    STDMETHOD_(ULONG, Release)(THIS) PURE;
    STDMETHOD(CreateStoreEntryID)
    (THIS_ LPSTR lpszMsgStoreDN, LPSTR lpszMailboxDN, ULONG ulFlags, ULONG * lpcbEntryID, LPENTRYID * lppEntryID) PURE;
    STDMETHOD(EntryIDFromSourceKey)
    (THIS_ ULONG cFolderKeySize, BYTE * lpFolderSourceKey, ULONG cMessageKeySize, BYTE * lpMessageSourceKey,
     ULONG * lpcbEntryID, LPENTRYID * lppEntryID) PURE;
    STDMETHOD(GetRights)
    (THIS_ ULONG cbUserEntryID, LPENTRYID lpUserEntryID, ULONG cbEntryID, LPENTRYID lpEntryID, ULONG * lpulRights) PURE;
    STDMETHOD(GetMailboxTable)(THIS_ LPSTR lpszServerName, LPMAPITABLE * lppTable, ULONG ulFlags) PURE;
    STDMETHOD(GetPublicFolderTable)(THIS_ LPSTR lpszServerName, LPMAPITABLE * lppTable, ULONG ulFlags) PURE;
};
