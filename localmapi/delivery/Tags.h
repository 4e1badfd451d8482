// The properties that a delivered message has, by their published numbers; text under the wide type.
#pragma once
#include "localmapi/storage/Tags.h"

namespace localmapi::delivery
{

using storage::Tag;

constexpr Tag kPriority = 0x00260003;
constexpr Tag kSensitivity = 0x00360003;
constexpr Tag kSubject = 0x0037001F;
constexpr Tag kConversationTopic = 0x0070001F;
constexpr Tag kNormalizedSubject = 0x0E1D001F;
constexpr Tag kBody = 0x1000001F;
constexpr Tag kSearchKey = 0x300B0102;
constexpr Tag kCreatorName = 0x3FF8001F;
constexpr Tag kMessageToMe = 0x0057000B;

constexpr Tag kSenderName = 0x0C1A001F;
constexpr Tag kSenderAddressType = 0x0C1E001F;
constexpr Tag kSenderAddress = 0x0C1F001F;
constexpr Tag kSenderSearchKey = 0x0C1D0102;
constexpr Tag kRepresentedName = 0x0042001F;
constexpr Tag kRepresentedAddressType = 0x0064001F;
constexpr Tag kRepresentedAddress = 0x0065001F;
constexpr Tag kRepresentedSearchKey = 0x003B0102;

constexpr Tag kReceivedByName = 0x0040001F;
constexpr Tag kReceivedByAddressType = 0x0075001F;
constexpr Tag kReceivedByAddress = 0x0076001F;
constexpr Tag kReceivedForName = 0x0044001F;
constexpr Tag kReceivedForAddressType = 0x0077001F;
constexpr Tag kReceivedForAddress = 0x0078001F;

constexpr Tag kRecipientType = 0x0C150003;
constexpr Tag kResponsibility = 0x0E0F000B;

constexpr Tag kVoiceSeconds = 0x68010003;
constexpr Tag kVoiceNumber = 0x6802001F;
constexpr Tag kVoiceName = 0x6803001F;
constexpr Tag kVoiceAttachmentOrder = 0x6805001F;
constexpr Tag kVoiceOffset = 0x68070003;
constexpr Tag kVoiceReceived = 0x68080003;

constexpr Tag kAttachData = 0x37010102;
constexpr Tag kAttachExtension = 0x3703001F;
constexpr Tag kAttachFilename = 0x3704001F;
constexpr Tag kAttachMethod = 0x37050003;
constexpr Tag kAttachLongFilename = 0x3707001F;
constexpr Tag kRenderingPosition = 0x370B0003;
constexpr Tag kAttachMimeTag = 0x370E001F;

} // namespace localmapi::delivery
