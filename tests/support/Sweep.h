// Failing every fallible MAPI call and allocation of an operation, one after the other.
#pragma once
#include "support/Script.h"
#include <functional>
#include <mapix.h>

namespace mapi_double
{

struct Round {
    int at = 0;           // the fallible call that fails, counted from 1
    bool onwards = false; // and all after it
    HRESULT hr = S_OK;
    Record call;              // the first one that failed
    std::string Text() const; // as ORL_SWEEP_ROUND takes it: "3 once 0x80004005"
};

// Whether the failing call is an OpenEntry that is tried again without MAPI_NO_CACHE, so that the operation succeeds.
inline bool IsAskedAgain(const Round &round)
{
    return round.hr == MAPI_E_UNKNOWN_FLAGS && round.call.method == "OpenEntry" && !round.onwards;
}

inline constexpr HRESULT kUsualFailures[] = {E_FAIL, E_OUTOFMEMORY, MAPI_E_NOT_FOUND, MAPI_E_NETWORK_ERROR};

// Runs `operation` once with nothing failing, then, for each k up to the number of its fallible calls, with the k-th
// failing, once and from there on, with each of `codes`; calls `check` after each. A failing check says which round it
// was; ORL_SWEEP_ROUND in the environment runs that round alone. `prepare` comes before each run and its calls do
// not count. Gives the number of fallible calls of the first run.
int Sweep(const std::function<void()> &prepare, const std::function<void()> &operation,
          const std::function<void(const Round &)> &check,
          const std::vector<HRESULT> &codes = {std::begin(kUsualFailures), std::end(kUsualFailures)});

} // namespace mapi_double
