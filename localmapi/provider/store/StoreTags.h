// Tags of stores, folders and messages that the MAPI headers leave out. Values are the published ones.
#pragma once
#include <mapiutil.h>
#include <mapix.h>

namespace localmapi
{

inline constexpr ULONG kPrMailboxOwnerEntryId = PROP_TAG(PT_BINARY, 0x661B);
inline constexpr ULONG kPrMailboxOwnerName = PROP_TAG(PT_UNICODE, 0x661C);
inline constexpr ULONG kPrUserEntryId = PROP_TAG(PT_BINARY, 0x6619);
inline constexpr ULONG kPrUserName = PROP_TAG(PT_UNICODE, 0x661A);
inline constexpr ULONG kPrServer = PROP_TAG(PT_UNICODE, 0x6608);
inline constexpr ULONG kPrAppointmentEntryId = PROP_TAG(PT_BINARY, 0x36D0);
inline constexpr ULONG kPrAssociatedCount = PROP_TAG(PT_LONG, 0x3617);
inline constexpr ULONG kPrSmtpAddress = PROP_TAG(PT_UNICODE, 0x39FE);
inline constexpr ULONG kStoreUnicodeOk = 0x00040000;
// GetContentsTable: the messages that are deleted but not yet gone.
inline constexpr ULONG kShowSoftDeletes = 0x00000002;

// A list in the mailbox's own properties: "<message class>|<folder>" for each class with a folder of its own.
inline constexpr ULONG kReceiveFolders = PROP_TAG(PT_MV_UNICODE, 0x67F0);

} // namespace localmapi
