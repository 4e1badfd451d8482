// localmapi info, purge, compact and user quota: what a site takes, and how it takes less.
#include "localmapi/storage/Compact.h"
#include "localmapi/storage/Purge.h"
#include "localmapi/storage/Sizes.h"
#include "localmapi/storage/Time.h"
#include "localmapi/tool/Tool.h"
#include "tools/common/CommandLine.h"
#include "tools/common/Interrupt.h"
#include "tools/common/Text.h"
#include <algorithm>
#include <charconv>
#include <cstdio>

namespace localmapi::tool
{

namespace
{

struct Unit {
    const char *name;
    std::int64_t bytes;
};
constexpr Unit kUnits[] = {{"KB", 1LL << 10}, {"MB", 1LL << 20}, {"GB", 1LL << 30}};
// MAPI tells it in KB, in 32 bits.
constexpr std::int64_t kLargestQuota = 0x7FFFFFFFLL << 10;

nlohmann::ordered_json AsJson(std::optional<std::int64_t> quota)
{
    return quota ? nlohmann::ordered_json(*quota) : nlohmann::ordered_json();
}

} // namespace

std::string SizeText(std::int64_t bytes)
{
    const Unit *unit = nullptr;
    for (const Unit &one : kUnits)
        if (bytes >= one.bytes)
            unit = &one;
    if (!unit)
        return std::to_string(bytes) + " bytes";
    char text[40];
    std::snprintf(text, sizeof text, "%.1f %s", static_cast<double>(bytes) / static_cast<double>(unit->bytes),
                  unit->name);
    return text;
}

std::optional<std::int64_t> SizeFrom(const std::string &text)
{
    if (text == "none")
        return std::nullopt;
    std::int64_t number = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    for (const Unit &unit : kUnits)
        if (error == std::errc() && std::string(rest, end) == unit.name && number > 0 &&
            number <= kLargestQuota / unit.bytes)
            return number * unit.bytes;
    throw ::tool::Misuse("'" + text + "' is no size: 500KB, 200MB, 2GB or none");
}

void SetUserQuota(const Common &common, const std::string &alias, const std::string &size)
{
    const std::optional<std::int64_t> quota = size.empty() ? std::nullopt : SizeFrom(size);
    const storage::Site site = OpenSite(common, size.empty());
    const storage::User user = UserNamed(site, alias);
    if (!size.empty())
        storage::SetQuota(site, user.mailbox, quota);
    const storage::MailboxSize there = storage::SizeOfMailbox(site, user.mailbox);
    if (common.json)
        PrintJson({{"user", user.alias}, {"bytes", there.bytes}, {"quota", AsJson(there.quota)}});
    else
        PrintLine(user.alias + " has " + SizeText(there.bytes) +
                  (there.quota ? " of " + SizeText(*there.quota) : ", without a limit"));
}

void ShowInfo(const Common &common)
{
    const storage::Site site = OpenSite(common, true);
    const storage::SiteInfo info = site.Info();
    const storage::FileSizes sizes = storage::SizesOfFile(site);
    const std::vector<storage::User> users = storage::Directory(site).Users();
    const std::vector<storage::MailboxSize> mailboxes = storage::MailboxSizes(site);
    const auto sizeOf = [&](const storage::User &user) {
        const auto found =
            std::lower_bound(mailboxes.begin(), mailboxes.end(), user.mailbox,
                             [](const storage::MailboxSize &one, storage::ObjectId id) { return one.mailbox < id; });
        return found != mailboxes.end() && found->mailbox == user.mailbox ? *found : storage::MailboxSize();
    };
    if (common.json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const storage::User &user : users) {
            const storage::MailboxSize size = sizeOf(user);
            list.push_back({{"user", user.alias},
                            {"messages", size.messages},
                            {"bytes", size.bytes},
                            {"quota", AsJson(size.quota)}});
        }
        PrintJson({{"file", site.Path()},
                   {"server", info.server},
                   {"organization", info.organization},
                   {"format", sizes.format},
                   {"bytes", sizes.file},
                   {"log", sizes.log},
                   {"free", sizes.free},
                   {"reserve", sizes.reserve},
                   {"mailboxes", std::move(list)}});
        return;
    }
    PrintLine(site.Path() + " (server " + info.server + ", organization " + info.organization + ", format " +
              std::to_string(sizes.format) + ")");
    PrintLine(SizeText(sizes.file) + ", of which " + SizeText(sizes.free) + " free; log " + SizeText(sizes.log) +
              ", reserve " + SizeText(sizes.reserve));
    std::size_t width = 0;
    for (const storage::User &user : users)
        width = std::max(width, ::tool::Columns(user.alias));
    for (const storage::User &user : users) {
        const storage::MailboxSize size = sizeOf(user);
        PrintLine(::tool::Fit(user.alias, width) + "  " + std::to_string(size.messages) + " messages, " +
                  SizeText(size.bytes) + (size.quota ? " of " + SizeText(*size.quota) : ""));
    }
}

void PurgeMessages(const Common &common, const PurgeOptions &options)
{
    if (options.days == 0 && !options.deletedOnly)
        throw ::tool::Misuse("--older-than 0 would remove everything; it goes with --deleted only");
    const storage::Site site = OpenSite(common, options.dryRun);
    storage::PurgeScope scope;
    if (!options.user.empty())
        scope.mailbox = UserNamed(site, options.user).mailbox;
    scope.deletedOnly = options.deletedOnly;
    constexpr std::int64_t kTicksPerDay = 24 * 60 * storage::kTicksPerMinute;
    scope.before = options.days ? storage::CurrentTime() - options.days * kTicksPerDay : INT64_MAX;
    const storage::Purged there = storage::CountToPurge(site, scope);
    storage::Purged done = there;
    bool stopped = false;
    if (!options.dryRun && there.messages) {
        Progress progress("messages", there.messages);
        ::tool::Interrupt interrupt;
        done = storage::Purge(site, scope, [&](const storage::Purged &now) {
            progress.At(now.messages);
            stopped = interrupt.Wait(std::chrono::milliseconds(0));
            return !stopped;
        });
    }
    if (common.json)
        PrintJson({{"messages", done.messages}, {"bytes", done.bytes}, {"dryRun", options.dryRun}});
    else
        PrintLine((options.dryRun ? "would remove " : "removed ") + std::to_string(done.messages) + " messages, " +
                  SizeText(static_cast<std::int64_t>(done.bytes)));
    if (stopped && done.messages < there.messages)
        throw Failure("stopped; what is left is as it was");
}

void CompactSite(const Common &common, std::int32_t longest)
{
    const storage::Site site = OpenSite(common);
    storage::Compacted done;
    {
        Progress progress("seconds at most", static_cast<std::uint64_t>(longest));
        ::tool::Interrupt interrupt;
        done = storage::Compact(site, longest ? std::optional(std::chrono::seconds(longest)) : std::nullopt,
                                [&](std::chrono::seconds since) {
                                    if (longest)
                                        progress.At(static_cast<std::uint64_t>(since.count()));
                                    return !interrupt.Wait(std::chrono::milliseconds(0));
                                });
    }
    if (common.json)
        PrintJson({{"before", done.before}, {"after", done.after}, {"done", done.isDone}});
    else
        PrintLine("compacted " + site.Path() + " from " + SizeText(done.before) + " to " + SizeText(done.after) +
                  (done.isDone ? "" : "; it shrinks once everybody has let go of what it was"));
}

} // namespace localmapi::tool
