#include "support/Sweep.h"
#include "support/Com.h"
#include "support/Print.h"
#include <cstdlib>
#include <gtest/gtest.h>

namespace mapi_double
{

std::string Round::Text() const
{
    return Number(at) + (onwards ? " onwards " : " once ") + Hex(static_cast<ULONG>(hr));
}

int Sweep(const std::function<void()> &prepare, const std::function<void()> &operation,
          const std::function<void(const Round &)> &check, const std::vector<HRESULT> &codes)
{
    prepare();
    TheScript().FailAt(0, S_OK, false);
    operation();
    const int calls = TheScript().FallibleCalls();
    TheScript().StopFailing();

    const char *only = std::getenv("ORL_SWEEP_ROUND");
    for (const HRESULT hr : codes)
        for (const bool onwards : {false, true})
            for (int at = 1; at <= calls; ++at) {
                Round round;
                round.at = at;
                round.onwards = onwards;
                round.hr = hr;
                if (only && round.Text() != only)
                    continue;
                prepare();
                TheScript().FailAt(at, hr, onwards);
                operation();
                TheScript().StopFailing();
                if (TheScript().Failed().empty()) {
                    ADD_FAILURE() << "ORL_SWEEP_ROUND=\"" << round.Text() << "\" failed nothing";
                    continue;
                }
                round.call = TheScript().Failed().front();
                SCOPED_TRACE("ORL_SWEEP_ROUND=\"" + round.Text() + "\" failed " + round.call.Text());
                check(round);
            }
    return calls;
}

} // namespace mapi_double
