#include "support/MapiDouble.h"

namespace mapi_double
{

void Double::Reset()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    script.Clear();
    recorder.Forget();
    // What an earlier test left is that one's failure.
    ForgetLiveObjects();
    ForgetLiveBlocks();
    ForgetBlockNumbers();
    ForgetRegistrations();
    TakeMisuses();
    const bool initialised = world.initialised;
    world = World();
    world.initialised = initialised;
}

void Double::ExpectNothingLeft() const
{
    EXPECT_THAT(LiveObjects(), testing::IsEmpty()) << "objects left";
    EXPECT_THAT(LiveBlocks(), testing::IsEmpty()) << "blocks left";
    EXPECT_THAT(Registrations(), testing::IsEmpty()) << "registrations left";
}

void Double::ExpectNoMisuse() const
{
    EXPECT_THAT(TakeMisuses(), testing::IsEmpty());
}

} // namespace mapi_double
