#include "messages/listing/ListingFilter.h"
#include "common/mapi/MessageTerms.h"
#include "messages/listing/FaxSettings.h"
#include <ExchangeMapi.h>
#include <optional>

namespace
{

constexpr char kOwnVoiceMessageClass[] = "IPM.Norvik.VoiceMessage";

constexpr Property kCreatorName{PR_CREATOR_NAME_A, "PR_CREATOR_NAME"};
constexpr Property kSenderAddress{PR_SENDER_EMAIL_ADDRESS_A, "PR_SENDER_EMAIL_ADDRESS"};

// Faxes of every server named, read and unread, and of the fax product's own domain.
Restriction FaxesOfServers(std::span<const tstring> faxServers)
{
    std::vector<Restriction> origins;
    for (const tstring &server : faxServers)
        origins.push_back(Contains(kCreatorName, server));
    origins.push_back(Contains(kSenderAddress, FaxDomainSuffix));
    return Any(origins);
}

// Until a message of the fax product has been seen: creator name and sender address are compared with the same text,
// as the contract has it.
Restriction FaxesByKnowledge(const FaxKnowledge &fax)
{
    if (fax.bServerSeen)
        return Any({StartsWith(kCreatorName, fax.strCreatorName), Contains(kSenderAddress, FaxDomainSuffix)});
    return Any({Is(kCreatorName, fax.strCreatorName), Is(kSenderAddress, fax.strCreatorName)});
}

std::optional<Restriction> FaxOrigin(const ListingFlags &flags, std::span<const tstring> faxServers,
                                     const FaxKnowledge &fax)
{
    if (flags.bSummary && flags.bFax)
        return FaxesOfServers(faxServers);
    if (flags.bFax)
        return FaxesByKnowledge(fax);
    const bool somethingToExclude = !fax.strCreatorName.empty() || (fax.bServerSeen && *FaxDomainSuffix != '\0');
    if (somethingToExclude)
        return Not(FaxesByKnowledge(fax));
    return std::nullopt;
}

} // namespace

Restriction ListingFilter(const ListingFlags &flags, std::span<const tstring> faxServers, const FaxKnowledge &fax)
{
    std::vector<Restriction> conditions;
    conditions.push_back(IsNot(kMessageClass, kOwnVoiceMessageClass));
    conditions.push_back(flags.bUM ? Is(kMessageClass, kUnifiedMessagingClass)
                                   : IsNot(kMessageClass, kUnifiedMessagingClass));
    if (!(flags.bSummary && flags.bFax))
        conditions.push_back(flags.bRead ? BitsSet(kMessageFlags, kReadFlag) : BitsClear(kMessageFlags, kReadFlag));
    conditions.push_back(flags.bPriority ? Is(kImportance, kHighImportance) : IsNot(kImportance, kHighImportance));
    if (auto origin = FaxOrigin(flags, faxServers, fax))
        conditions.push_back(*origin);
    return All(conditions);
}
