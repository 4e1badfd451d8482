// localmapi list: a folder's messages as lines or as JSON.
#include "localmapi/delivery/Tags.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/storage/Time.h"
#include "localmapi/storage/View.h"
#include "localmapi/tool/Tool.h"
#include "tools/common/JsonList.h"
#include "tools/common/Program.h"
#include "tools/common/Text.h"
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <optional>

namespace localmapi::tool
{

namespace
{

storage::ObjectId FolderNamed(const storage::Mailbox &mailbox, const std::string &name)
{
    const std::map<std::string, storage::ObjectId> folders = {{"inbox", mailbox.inbox},
                                                              {"outbox", mailbox.outbox},
                                                              {"sent", mailbox.sentItems},
                                                              {"deleted", mailbox.deletedItems},
                                                              {"calendar", mailbox.calendar}};
    return folders.at(name);
}

template <class T> T ValueOr(const storage::Value &value, T absent)
{
    const T *found = std::get_if<T>(&value);
    return found ? *found : absent;
}

} // namespace

void ListFolder(const Common &common, const std::string &alias, const std::string &folder)
{
    const storage::Site site = OpenSite(common, true);
    const storage::User user = UserNamed(site, alias);
    const storage::Mailbox mailbox = storage::Directory(site).GetMailbox(user.mailbox);
    const storage::View view(site, {storage::Container::Kind::Contents, FolderNamed(mailbox, folder)});
    const std::vector<storage::Tag> columns = {storage::kClientSubmitTime, storage::kMessageFlags, storage::kImportance,
                                               storage::kMessageSize,      delivery::kSenderName,  delivery::kSubject,
                                               storage::kMessageClass,     delivery::kSensitivity};
    constexpr std::size_t kPage = 1000;
    ::tool::JsonList document;
    const std::size_t width = static_cast<std::size_t>(std::max(60, ::tool::TerminalWidth()));
    storage::Place place = storage::Place::Beginning();
    std::uint64_t done = 0;
    std::optional<Progress> progress; // what is shown is progress enough
    if (common.json && !::tool::IsTerminal(1))
        progress.emplace("messages", view.Count());
    for (;;) {
        const std::vector<storage::Row> rows = view.Read(place, storage::Direction::Forward, kPage, columns);
        for (const storage::Row &row : rows) {
            const std::int64_t submitTime = ValueOr<std::int64_t>(row.values[0], 0);
            const std::string submitted = submitTime == 0 ? "" : IsoTime(submitTime);
            const bool read = (ValueOr<std::int32_t>(row.values[1], 0) & storage::kFlagRead) != 0;
            const bool urgent = ValueOr<std::int32_t>(row.values[2], 1) == 2;
            const bool isPrivate = ValueOr<std::int32_t>(row.values[7], 0) == 2;
            const std::int32_t size = ValueOr<std::int32_t>(row.values[3], 0);
            const std::string sender = ValueOr<std::string>(row.values[4], {});
            const std::string subject = ValueOr<std::string>(row.values[5], {});
            if (common.json) {
                const Bytes id = MakeEntryId(site.Info().uid, EntryKind::Message, row.id);
                document.Add({{"entryId", ::tool::ToHex(id.data(), id.size())},
                              {"class", ValueOr<std::string>(row.values[6], {})},
                              {"submitTime", submitted},
                              {"read", read},
                              {"urgent", urgent},
                              {"private", isPrivate},
                              {"size", size},
                              {"sender", sender},
                              {"subject", subject}});
                continue;
            }
            const std::string flags = {read ? 'R' : '-', urgent ? '!' : '-', isPrivate ? 'P' : '-'};
            std::string line = ::tool::Fit(submitted, 20) + ' ' + flags + ' ' + ::tool::Fit(sender, 18) + ' ';
            line += ::tool::Fit(subject, width - ::tool::Columns(line) - 1);
            line.erase(line.find_last_not_of(' ') + 1);
            PrintLine(line);
        }
        done += rows.size();
        if (progress)
            progress->At(done);
        if (rows.size() < kPage)
            break;
        place = rows.back().After();
    }
    progress.reset();
    if (common.json)
        document.End();
}

} // namespace localmapi::tool
