// Running, running again, and shrinking.
#include "Run.h"
#include <algorithm>

namespace mapitest
{

namespace
{

// Text, where the operation showed that something is wrong.
std::optional<std::string> Perform(World &world, const Operation &operation)
{
    try {
        operation.kind->perform(world, operation);
        world.Follow();
        world.LookAtClosed();
    } catch (const PassedOver &) {
        world.Follow();
    } catch (const Deviation &deviation) {
        return deviation.what();
    }
    return {};
}

// At the end every folder is as the model has it, and every sink was told everything.
std::optional<std::string> Conclude(World &world)
{
    try {
        for (auto &[name, table] : world.tables)
            if (table.sink)
                world.AwaitNotices(table);
        if (!world.sessions[kService].IsOn())
            world.LogOn(kService);
        for (const auto &[name, folder] : world.model.folders)
            world.Bind(name, kService);
    } catch (const Deviation &deviation) {
        return std::string("at the end: ") + deviation.what();
    }
    return {};
}

} // namespace

std::optional<Failure> RunSeed(const std::string &folder, std::uint64_t seed, std::uint32_t operations,
                               std::uint64_t &performed)
{
    World world(folder);
    Random random(seed);
    std::vector<Operation> history;
    for (std::uint32_t index = 0; index < operations; ++index, ++performed) {
        history.push_back(Generate(world, random, index));
        if (const auto wrong = Perform(world, history.back()))
            return Failure{*wrong, std::move(history)};
    }
    if (const auto wrong = Conclude(world))
        return Failure{*wrong, std::move(history)};
    return {};
}

std::optional<std::string> Replay(const std::string &folder, const std::vector<Operation> &history)
{
    // What was told late when first run would be so again; here it must not take for ever.
    World world(folder, std::chrono::seconds(2));
    for (const Operation &operation : history)
        if (const auto wrong = Perform(world, operation))
            return wrong;
    return Conclude(world);
}

Failure Shrink(const std::string &folder, Failure failure)
{
    // What a shorter history shows may be worded otherwise; that something is wrong is enough.
    const auto shows = [&](const std::vector<Operation> &history) {
        const auto wrong = Replay(folder, history);
        if (wrong) {
            failure.what = *wrong;
            failure.history = history;
        }
        return wrong.has_value();
    };
    if (!shows(std::vector<Operation>(failure.history)))
        return failure;
    for (std::size_t piece = failure.history.size() / 2; piece > 0;) {
        bool shorter = false;
        for (std::size_t at = 0; at < failure.history.size();) {
            auto history = failure.history;
            const auto begin = history.begin() + static_cast<std::ptrdiff_t>(at);
            history.erase(begin, begin + static_cast<std::ptrdiff_t>(std::min(piece, history.size() - at)));
            if (!history.empty() && shows(history))
                shorter = true;
            else
                at += piece;
        }
        if (piece > 1 || !shorter)
            piece /= 2;
    }
    return failure;
}

} // namespace mapitest
