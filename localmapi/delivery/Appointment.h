// Appointments as they lie in a calendar folder, with the named properties by which calendars find them.
#pragma once
#include "localmapi/delivery/RecurrenceRule.h"
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Objects.h"

namespace localmapi::delivery
{

enum class BusyStatus { Free, Tentative, Busy, OutOfOffice };

struct Appointment {
    std::string subject, location, body;
    BusyStatus busy = BusyStatus::Busy;
    std::int64_t start = 0; // UTC; of a recurring one its first occurrence
    std::int64_t end = 0;

    // Of a recurring one: the rule, and the first occurrence's day and minute of the day in local time.
    std::optional<RecurrenceRule> rule;
    Day first;
    unsigned startMinute = 0;
};

// The message for a folder of this site; names that the site does not know yet are made.
storage::MessageChanges Compose(storage::Site site, const Appointment &appointment, const storage::User &owner);

} // namespace localmapi::delivery
