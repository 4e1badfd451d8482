// localmapi init, user, contact, backup, restore and upgrade: the site as a whole.
#include "localmapi/provider/site/SiteFile.h"
#include "localmapi/storage/Backup.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Rights.h"
#include "localmapi/storage/Sizes.h"
#include "localmapi/tool/Tool.h"
#include "tools/common/Text.h"
#include <algorithm>
#include <filesystem>
#include <optional>

namespace localmapi::tool
{

using storage::Directory;

std::string MakeSite(const Common &common, const std::string &server, const std::string &organization,
                     const std::string &group)
{
    std::string file = common.file.empty() ? FindSiteFile() : common.file;
    const std::string folder = storage::Utf8Of(std::filesystem::absolute(storage::PathOf(file)).parent_path());
    std::optional<storage::Group> others;
    if (!group.empty())
        others.emplace(group);
    const bool isOwnFolder = storage::MakePrivateFolders(folder);
    // Who may not make files there cannot write to the site: SQLite keeps some beside it.
    if (others && isOwnFolder)
        others->Admit(folder);
    else if (others && !others->MayWriteIn(folder))
        throw Failure("the group " + group + " may not write in " + folder + ", which using a site asks for");
    storage::Site::Create(file, server, organization);
    if (others)
        for (const std::string &one : {file, file + "-reserve"})
            if (std::filesystem::exists(storage::PathOf(one)))
                others->Admit(one);
    return file;
}

void InitSite(const Common &common, const std::string &server, const std::string &organization,
              const std::string &group)
{
    const std::string file = MakeSite(common, server, organization, group);
    const storage::SiteInfo info = OpenSite(common, true).Info();
    if (common.json)
        PrintJson({{"file", file}, {"server", info.server}, {"organization", info.organization}, {"group", group}});
    else
        PrintLine("made " + file + " (server " + info.server + ", organization " + info.organization + ")" +
                  (group.empty() ? "" : ", for the group " + group + " too"));
}

namespace
{

nlohmann::ordered_json AsJson(const storage::User &user)
{
    return {
        {"alias", user.alias}, {"name", user.name}, {"smtp", user.smtp}, {"dn", user.dn}, {"service", user.service}};
}

} // namespace

void AddUser(const Common &common, const UserOptions &options)
{
    const std::optional<std::int64_t> quota = options.quota.empty() ? std::nullopt : SizeFrom(options.quota);
    const storage::Site site = OpenSite(common);
    const storage::User user = Directory(site).AddUser(options.alias, options.name, options.smtp, options.service);
    if (quota)
        storage::SetQuota(site, user.mailbox, quota);
    if (common.json)
        PrintJson(AsJson(user));
    else
        PrintLine("added " + user.alias + " (" + user.name + ", " + user.smtp + ")" +
                  (user.service ? ", who may open every mailbox" : ""));
}

void ListUsers(const Common &common)
{
    const std::vector<storage::User> users = Directory(OpenSite(common, true)).Users();
    if (common.json) {
        nlohmann::ordered_json document = nlohmann::ordered_json::array();
        for (const storage::User &user : users)
            document.push_back(AsJson(user));
        PrintJson(document);
        return;
    }
    std::size_t alias = 0, name = 0;
    for (const storage::User &user : users) {
        alias = std::max(alias, ::tool::Columns(user.alias));
        name = std::max(name, ::tool::Columns(user.name));
    }
    for (const storage::User &user : users)
        PrintLine(::tool::Fit(user.alias, alias) + "  " + ::tool::Fit(user.name, name) + "  " + user.smtp +
                  (user.service ? "  (service)" : ""));
}

void AddContact(const Common &common, const std::string &name, const std::string &smtp)
{
    const storage::Contact contact = Directory(OpenSite(common)).AddContact(name, smtp);
    if (common.json)
        PrintJson({{"name", contact.name}, {"smtp", contact.smtp}});
    else
        PrintLine("added " + contact.name + " (" + contact.smtp + ")");
}

namespace
{

void PrintCopied(const Common &common, const std::string &from, const std::string &to, const char *done)
{
    if (common.json)
        PrintJson({{"from", from}, {"to", to}, {"bytes", std::filesystem::file_size(storage::PathOf(to))}});
    else
        PrintLine(done + (" " + to) + " from " + from);
}

} // namespace

void BackUpSite(const Common &common, const std::string &file)
{
    const storage::Site site = OpenSite(common, true);
    {
        Shown shown;
        storage::Backup(site, file, [&](std::uint64_t done, std::uint64_t total) { shown.At("pages", done, total); });
    }
    PrintCopied(common, site.Path(), file, "made");
}

void RestoreSite(const Common &common, const std::string &file)
{
    const std::string path = common.file.empty() ? FindSiteFile() : common.file;
    storage::MakePrivateFolders(storage::Utf8Of(std::filesystem::absolute(storage::PathOf(path)).parent_path()));
    {
        Shown shown;
        storage::Restore(file, path, [&](std::uint64_t done, std::uint64_t total) { shown.At("pages", done, total); });
    }
    PrintCopied(common, file, path, "restored");
}

void UpgradeSite(const Common &common, bool keepsOldCopy)
{
    const std::string path = common.file.empty() ? FindSiteFile() : common.file;
    storage::OpenOptions options;
    options.keepsOldCopy = keepsOldCopy;
    std::optional<storage::Site> site;
    {
        Shown shown;
        options.copying = [&](std::uint64_t done, std::uint64_t total) { shown.At("pages", done, total); };
        site = storage::Site::Open(path, options);
    }
    const auto &former = site->UpgradedFrom();
    if (common.json)
        PrintJson({{"file", site->Path()},
                   {"upgraded", former.has_value()},
                   {"copy", former && !former->copy.empty() ? nlohmann::ordered_json(former->copy) : nullptr}});
    else if (!former)
        PrintLine(site->Path() + " is of this version already");
    else
        PrintLine("upgraded " + site->Path() + " from format " + std::to_string(former->version) +
                  (former->copy.empty() ? "" : "; what it was is in " + former->copy));
}

} // namespace localmapi::tool
