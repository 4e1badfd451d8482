// The properties that the library asks for are those of these numbers: the conversation tests see them by name only.
#include "ExchangeMapi.h"
#include <gtest/gtest.h>

namespace
{

struct Numbered {
    const char *name;
    ULONG tag;
    ULONG number;
};
#define NUMBERED(tag, number)                                                                                          \
    Numbered                                                                                                           \
    {                                                                                                                  \
#tag, tag, number                                                                                              \
    }

TEST(PropertyTags, HaveTheirNumbers)
{
    const Numbered tags[] = {
        NUMBERED(PR_ENTRYID, 0x0FFF0102),
        NUMBERED(PR_DEFAULT_STORE, 0x3400000B),
        NUMBERED(PR_SERVICE_NAME_A, 0x3D09001E),
        NUMBERED(PR_SERVICE_UID, 0x3D0C0102),
        NUMBERED(PR_PROFILE_UNRESOLVED_NAME, 0x6607001E),
        NUMBERED(PR_PROFILE_UNRESOLVED_SERVER, 0x6608001E),
        NUMBERED(PR_PROFILE_HOME_SERVER, 0x6602001E),
        NUMBERED(PR_PROFILE_USER, 0x6603001E),
        NUMBERED(PR_PROFILE_NAME_A, 0x3D12001E),
        NUMBERED(PR_DISPLAY_NAME_A, 0x3001001E),
        NUMBERED(PR_RECIPIENT_TYPE, 0x0C150003),
        NUMBERED(PR_DISPLAY_TYPE, 0x39000003),
        NUMBERED(PR_ANR_A, 0x360C001E),
        NUMBERED(PR_ADDRTYPE_A, 0x3002001E),
        NUMBERED(PR_EMAIL_ADDRESS_A, 0x3003001E),
        NUMBERED(PR_IMPORTANCE, 0x00170003),
        NUMBERED(PR_SENSITIVITY, 0x00360003),
        NUMBERED(PR_MESSAGE_FLAGS, 0x0E070003),
        NUMBERED(PR_PARENT_ENTRYID, 0x0E090102),
        NUMBERED(PR_IPM_WASTEBASKET_ENTRYID, 0x35E30102),
        NUMBERED(PR_SPLUS_FREE_BUSY_ENTRYID, 0x66220102),
        NUMBERED(PR_BODY_A, 0x1000001E),
        NUMBERED(PR_SUBJECT_A, 0x0037001E),
        NUMBERED(PR_ATTACH_SIZE, 0x0E200003),
        NUMBERED(PR_ATTACH_NUM, 0x0E210003),
        NUMBERED(PR_ATTACH_METHOD, 0x37050003),
        NUMBERED(PR_ATTACH_FILENAME_A, 0x3704001E),
        NUMBERED(PR_ATTACH_LONG_FILENAME_A, 0x3707001E),
        NUMBERED(PR_ATTACH_PATHNAME_A, 0x3708001E),
        NUMBERED(PR_ATTACH_LONG_PATHNAME_A, 0x370D001E),
        NUMBERED(PR_ATTACH_MIME_TAG_A, 0x370E001E),
        NUMBERED(PR_ATTACH_DATA_BIN, 0x37010102),
        NUMBERED(PR_ATTACH_DATA_OBJ, 0x3701000D),
        NUMBERED(PR_IPM_OUTBOX_ENTRYID, 0x35E20102),
        NUMBERED(PR_IPM_SENTMAIL_ENTRYID, 0x35E40102),
        NUMBERED(PR_SENTMAIL_ENTRYID, 0x0E0A0102),
        NUMBERED(PR_SENDER_EMAIL_ADDRESS_A, 0x0C1F001E),
        NUMBERED(PR_RENDERING_POSITION, 0x370B0003),
        NUMBERED(PR_ICON_INDEX, 0x10800003),
        NUMBERED(PR_LAST_VERB_EXECUTED, 0x10810003),
        NUMBERED(PR_LAST_VERB_EXECUTION_TIME, 0x10820040),
        NUMBERED(PR_LAST_MODIFICATION_TIME, 0x30080040),
        NUMBERED(PR_DISABLE_FULL_FIDELITY, 0x10F2000B),
    };
    for (const Numbered &tag : tags)
        EXPECT_EQ(tag.tag, tag.number) << tag.name;
}

} // namespace
