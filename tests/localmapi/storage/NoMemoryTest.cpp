// Proves that memory may run out anywhere: each allocation of each step, ours and SQLite's, fails once and fails for
// good. The step is undone then and says why, and is done when there is memory again.
//
// storage_no_memory_test [--every N [--from K]] fails every N-th allocation of a step from the K-th on, 0 to N - 1; by
// itself not each one.
#include "Sweep.h"
#include "support/ControlledNew.h"
#include <iostream>
#include <new>
#include <sqlite3.h>

namespace localmapi::storage
{

namespace
{

sqlite3_mem_methods g_memory;

void InstallFailingMemory()
{
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &g_memory);
    static sqlite3_mem_methods methods = g_memory;
    methods.xMalloc = [](int size) { return controlled_new::NextFails() ? nullptr : g_memory.xMalloc(size); };
    methods.xRealloc = [](void *block, int size) {
        return controlled_new::NextFails() ? nullptr : g_memory.xRealloc(block, size);
    };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
}

// Which allocations fail: every so many.
std::size_t g_every = 17, g_from = 0;

class NoMemory : public testing::TestWithParam<bool>
{
};

TEST_P(NoMemory, WhereverItRunsOutTheStepIsUndoneOrDone)
{
    const Folder folder;
    const SweepResult result =
        SweepSteps(folder, {g_every, g_from, "no memory", [](std::size_t n, const std::function<void()> &step) {
                                const controlled_new::FailingTurn failing(n, GetParam());
                                step();
                                return failing.HasFailed();
                            }});
    EXPECT_GT(result.failures, 8500 / g_every); // there are some 14,000
    std::cout << result.failures << " failures, " << result.survived << " steps done without what they asked for\n";
}

// What a copy that fails leaves is nothing. And they are moved when a list of them grows.
static_assert(std::is_nothrow_move_constructible_v<Value> && std::is_nothrow_move_assignable_v<Value>);
TEST(NoMemoryForValues, CopiesFailWhole)
{
    const PropertyBag bag{{kSubject, std::string(100, 's')}, {kBody, std::string(100, 'b')}};
    const PropertyName name{Guid{1}, std::string(100, 'n')};
    for (std::size_t n = 1; n <= 3; ++n) {
        const controlled_new::FailingTurn failing(n, false);
        EXPECT_THROW(const PropertyBag copy(bag), std::bad_alloc);
    }
    {
        const controlled_new::FailingTurn failing(1, false);
        EXPECT_THROW(const PropertyName copy(name), std::bad_alloc);
    }
    EXPECT_EQ(*bag.get<std::string>(kSubject), std::string(100, 's'));
}

INSTANTIATE_TEST_SUITE_P(OnceAndForGood, NoMemory, testing::Values(false, true));

} // namespace

} // namespace localmapi::storage

int main(int argc, char **argv)
{
    localmapi::storage::InstallFailingMemory();
    testing::InitGoogleMock(&argc, argv);
    if (argc >= 3 && std::string(argv[1]) == "--every")
        localmapi::storage::g_every = std::stoul(argv[2]);
    if (argc == 5 && std::string(argv[3]) == "--from")
        localmapi::storage::g_from = std::stoul(argv[4]);
    return RUN_ALL_TESTS();
}
