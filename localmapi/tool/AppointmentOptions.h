// What `localmapi appointment add` takes.
#pragma once
#include <optional>
#include <string>
#include <vector>

namespace localmapi::tool
{

struct Common;

struct AppointmentOptions {
    std::string user, start, end, subject, location, body, busy = "busy";
    std::string recur, week;
    std::optional<std::string> until;
    std::vector<std::string> on;
    unsigned every = 1, times = 0, day = 0, month = 0; // 0: not given
};

void AddAppointment(const Common &common, const AppointmentOptions &options);

} // namespace localmapi::tool
