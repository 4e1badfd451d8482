// Submission: who sends, who receives, what arrives where, and the report to the sender about those who can't be
// reached. Nothing is written here; the caller has it done in one transaction.
#pragma once
#include "localmapi/provider/store/StoreContext.h"

#include <set>

namespace localmapi
{

// A message as it is submitted.
struct Outgoing {
    storage::ObjectId folder = 0;                 // that it lies in, or would
    storage::PropertyBag properties;              // those of SubmissionTags() that it has
    std::vector<storage::PropertyBag> recipients; // in order
};

// The properties that decide how a message travels.
const std::vector<storage::Tag> &SubmissionTags();

// Where the message goes, from the mailbox that it is sent from. Throws Failure: MAPI_E_NO_RECIPIENTS, MAPI_E_NO_ACCESS
// where the user may not write to the folder for the sent copy or send for whom the message says, and what is wrong
// with the folder's entry ID.
// Recipients whose mailboxes are `full` are among those who can't be reached.
std::vector<storage::Destination> Route(const StoreContext &store, const Outgoing &message,
                                        const std::set<storage::ObjectId> &full = {});

} // namespace localmapi
