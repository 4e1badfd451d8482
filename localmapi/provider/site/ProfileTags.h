// The sections of a profile and the properties in them.
#pragma once
#include "ExchangeMapi.h"
#include "localmapi/storage/Value.h"

namespace localmapi
{

// The one service there is, as clients ask for it.
inline constexpr char kServiceName[] = "MSEMS";
inline constexpr char kServiceDisplayName[] = "Microsoft Exchange Server";

// The home server's distinguished name.
#define PR_PROFILE_HOME_SERVER_DN PROP_TAG(PT_STRING8, 0x6612)
// A site file other than the one that holds the profile, UTF-8 in storage.
#define PR_PROFILE_SITE_FILE PROP_TAG(PT_STRING8, 0x6670)

// The section that every profile has; its PR_SEARCH_KEY is of this profile alone.
extern const MAPIUID kProfileInstance;

storage::Guid GuidOf(const MAPIUID &uid);

} // namespace localmapi
