// What filters of messages are made of: listing and notifications tell voice mail, read and urgent messages by the same
// terms.
#pragma once
#include "common/mapi/Restriction.h"

inline constexpr char kUnifiedMessagingClass[] = "IPM.Note.Microsoft.Voicemail.UM";

inline constexpr Property kMessageClass{PR_MESSAGE_CLASS_A, "PR_MESSAGE_CLASS"};
inline constexpr Property kMessageFlags{PR_MESSAGE_FLAGS, "PR_MESSAGE_FLAGS"};
inline constexpr Property kImportance{PR_IMPORTANCE, "PR_IMPORTANCE"};

inline constexpr Constant kReadFlag{MSGFLAG_READ, "MSGFLAG_READ"};
inline constexpr Constant kHighImportance{IMPORTANCE_HIGH, "IMPORTANCE_HIGH"};
