// Properties of types of their own, and a mailbox to put them in.
#pragma once
#include "Mailbox.h"

namespace localmapi::test
{

inline constexpr ULONG kNarrow = PROP_TAG(PT_STRING8, 0x6A20);
inline constexpr ULONG kWide = PROP_TAG(PT_UNICODE, 0x6A20);
inline constexpr ULONG kNumber = PROP_TAG(PT_LONG, 0x6A21);
inline constexpr ULONG kBytes = PROP_TAG(PT_BINARY, 0x6A22);

class InAMailbox : public testing::Test
{
  protected:
    LiveCountsAreZeroAtTheEnd m_counts;
    Mailbox m_mailbox;
};

} // namespace localmapi::test
