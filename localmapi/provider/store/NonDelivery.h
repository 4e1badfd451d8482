// The report that the sender of a message gets about recipients who could not be reached.
#pragma once
#include "localmapi/provider/store/Addressing.h"

namespace localmapi
{

struct Undelivered {
    const storage::PropertyBag &message; // what is known of the message: class, subject, search key
    const std::vector<Addressee> &unreached;
    const storage::PropertyBag &sender; // his address book entry
    std::int64_t time = 0;
};

// The report, with one attachment in which the message is to lie.
storage::MessageChanges NonDeliveryReport(const Undelivered &undelivered);

} // namespace localmapi
