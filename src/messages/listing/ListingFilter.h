// Which messages of the Inbox a listing shows.
#pragma once
#include "common/mapi/Restriction.h"
#include "common/text/tstring.h"
#include <span>

struct ListingFlags {
    bool bRead = false;
    bool bPriority = false;
    bool bFax = false;
    bool bSummary = false;
    bool bUM = false;
};

// What is known of the fax product when the filter is built.
struct FaxKnowledge {
    tstring strCreatorName;
    bool bServerSeen = false;
};

// The filter and, in its description, the text under which it is traced. Every listing is split by priority, by read
// state (except a summary of faxes), by unified-messaging class and by fax origin; the voicemail server's own
// messages never appear. The fax servers' names matter to a summary of faxes only.
Restriction ListingFilter(const ListingFlags &flags, std::span<const tstring> faxServers, const FaxKnowledge &fax);
