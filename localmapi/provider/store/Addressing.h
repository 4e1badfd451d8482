// From what stands in a message's recipients and senders to the people of the site.
#pragma once
#include "localmapi/provider/store/StoreContext.h"

namespace localmapi
{

// Who a recipient turns out to be.
struct Addressee {
    // The recipient with what the directory knows of him in the places that were empty.
    storage::PropertyBag recipient;
    std::optional<storage::User> user; // who has a mailbox here
    // Why nobody was found: a sentence for the sender, and the code of MAPI's non-delivery reports.
    std::string reason;
    LONG diagnosis = MAPI_DIAG_NO_DIAGNOSTIC;
};

// By entry ID, else by address, else by name.
Addressee FindAddressee(const StoreContext &store, const storage::PropertyBag &recipient);

// The five properties by which a message names somebody.
struct PartyTags {
    storage::Tag name, addressType, address, entryId, searchKey;
};
inline constexpr PartyTags kSender = {PR_SENDER_NAME_W, PR_SENDER_ADDRTYPE_W, PR_SENDER_EMAIL_ADDRESS_W,
                                      PR_SENDER_ENTRYID, PR_SENDER_SEARCH_KEY};
inline constexpr PartyTags kRepresented = {PR_SENT_REPRESENTING_NAME_W, PR_SENT_REPRESENTING_ADDRTYPE_W,
                                           PR_SENT_REPRESENTING_EMAIL_ADDRESS_W, PR_SENT_REPRESENTING_ENTRYID,
                                           PR_SENT_REPRESENTING_SEARCH_KEY};
inline constexpr PartyTags kReceivedBy = {PR_RECEIVED_BY_NAME_W, PR_RECEIVED_BY_ADDRTYPE_W,
                                          PR_RECEIVED_BY_EMAIL_ADDRESS_W, PR_RECEIVED_BY_ENTRYID,
                                          PR_RECEIVED_BY_SEARCH_KEY};
inline constexpr PartyTags kReceivedFor = {PR_RCVD_REPRESENTING_NAME_W, PR_RCVD_REPRESENTING_ADDRTYPE_W,
                                           PR_RCVD_REPRESENTING_EMAIL_ADDRESS_W, PR_RCVD_REPRESENTING_ENTRYID,
                                           PR_RCVD_REPRESENTING_SEARCH_KEY};

// Writes what an address book entry says under the tags; what it lacks is left out.
void SetParty(storage::PropertyBag &bag, const PartyTags &tags, const storage::PropertyBag &entry);
// The party as a recipient has it.
storage::PropertyBag RecipientFrom(const storage::PropertyBag &bag, const PartyTags &tags);

} // namespace localmapi
