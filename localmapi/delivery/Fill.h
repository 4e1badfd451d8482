// Many messages at once, for trials and benchmarks.
#pragma once
#include "localmapi/storage/Directory.h"
#include <cstdint>
#include <functional>

namespace localmapi::delivery
{

struct Mix {
    bool voicemail = true;
    bool mail = true;
    bool fax = true;
};

// Puts `count` messages into the user's Inbox, kinds in turn, a transaction a batch. What comes out is the same for the
// same arguments but for the times, which end at `last` and go back a minute a message: 2 in 5 read, 1 in 4 urgent, 1
// in 20 private. Voice mails have no recording. `progress` hears how many are done after every batch.
void Fill(storage::Site site, const storage::User &user, std::uint64_t count, Mix mix, std::int64_t last,
          const std::function<void(std::uint64_t)> &progress = {});

} // namespace localmapi::delivery
