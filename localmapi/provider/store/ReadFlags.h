// The read flag, as IMessage::SetReadFlag and IMAPIFolder::SetReadFlags change it.
#pragma once
#include <cstdint>
#include <mapiutil.h>
#include <mapix.h>

namespace localmapi
{

// What the flags of IMessage::SetReadFlag and IMAPIFolder::SetReadFlags change in PR_MESSAGE_FLAGS. Throws Failure.
struct FlagChange {
    std::int32_t set = 0;
    std::int32_t clear = 0;
};
FlagChange ReadFlagChange(ULONG flags);

} // namespace localmapi
