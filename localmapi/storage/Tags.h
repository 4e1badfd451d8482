// The tags that the storage layer keeps itself. They are read, filtered and sorted like any other property; whoever
// writes an object need not give them, and those marked "kept" are ignored when given.
#pragma once
#include "localmapi/storage/Value.h"

namespace localmapi::storage
{

// Every object
constexpr Tag kObjectId = 0x674A0014;             // kept: its id
constexpr Tag kParentId = 0x67490014;             // kept: the object it lies in
constexpr Tag kChangeNumber = 0x67A40014;         // kept: the change that last wrote it
constexpr Tag kCreationTime = 0x30070040;         // now, unless given when the object is created
constexpr Tag kLastModificationTime = 0x30080040; // kept: when it was last written

// Messages
constexpr Tag kMessageClass = 0x001A001F;
constexpr Tag kImportance = 0x00170003;
constexpr Tag kClientSubmitTime = 0x00390040;
constexpr Tag kMessageDeliveryTime = 0x0E060040;
constexpr Tag kMessageFlags = 0x0E070003;   // given, with kFlagHasAttachments kept
constexpr Tag kMessageSize = 0x0E080003;    // kept: properties, recipients and attachments; at most 0x7FFFFFFF
constexpr Tag kHasAttachments = 0x0E1B000B; // kept
constexpr std::int32_t kFlagRead = 0x01;
constexpr std::int32_t kFlagHasAttachments = 0x10;
constexpr std::int32_t kFlagAssociated = 0x40; // such messages are in the folder's associated contents only

// Attachments and recipients
constexpr Tag kAttachNumber = 0x0E210003;       // kept: given beside the properties
constexpr Tag kAttachSize = 0x0E200003;         // kept
constexpr Tag kRowId = 0x30000003;              // kept: a recipient's place in the list
constexpr std::uint16_t kAttachDataId = 0x3701; // an attachment's data: bytes, or what it holds as an object

// Mailboxes: kMessageSize, of all their messages, and
constexpr Tag kReceiveQuota = 0x666A0003; // kept: PR_PROHIBIT_RECEIVE_QUOTA, what it may hold, in KB; nothing: no limit

// Folders
constexpr Tag kDisplayName = 0x3001001F;
constexpr Tag kContentCount = 0x36020003;     // kept
constexpr Tag kContentUnread = 0x36030003;    // kept
constexpr Tag kAssociatedCount = 0x36170003;  // kept
constexpr Tag kSubfolders = 0x360A000B;       // kept: whether it has any
constexpr Tag kFolderChildCount = 0x66380003; // kept
constexpr Tag kFolderDepth = 0x30050003;      // kept, in Kind::FoldersDeep views only: 1 for a direct subfolder

// Users and contacts, as written by Directory
constexpr Tag kAddressType = 0x3002001F;  // "EX" or "SMTP"
constexpr Tag kEmailAddress = 0x3003001F; // the distinguished name of a user, the SMTP address of a contact
constexpr Tag kAccount = 0x3A00001F;      // a user's alias
constexpr Tag kSmtpAddress = 0x39FE001F;

} // namespace localmapi::storage
