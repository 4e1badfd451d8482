// What was written to be sent and never was: a program that ends between saving a message and submitting it leaves the
// message in an Outbox, where nobody comes back for it. Any thread.
#pragma once
#include "localmapi/storage/Objects.h"

namespace localmapi::storage
{

struct Unsent {
    std::string user; // the alias of the one whose Outbox it lies in
    ObjectId message = 0;
    std::int64_t saved = 0;
    std::string subject;
};

// By user and age.
std::vector<Unsent> UnsentMessages(Site site);

} // namespace localmapi::storage
