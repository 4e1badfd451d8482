#include "localmapi/provider/site/SiteFile.h"
#include "localmapi/storage/Check.h"
#include "localmapi/tool/Tool.h"
#include "tools/common/Text.h"
#include <algorithm>

namespace localmapi::tool
{

using storage::Directory;

void initSite(const Common &common, const std::string &server, const std::string &organization)
{
    const std::string file = common.file.empty() ? FindSiteFile() : common.file;
    places::MakeFolderOf(file);
    const storage::SiteInfo info = storage::Site::create(file, server, organization).info();
    if (common.json)
        printJson({{"file", file}, {"server", info.server}, {"organization", info.organization}});
    else
        printLine("made " + file + " (server " + info.server + ", organization " + info.organization + ")");
}

namespace
{

nlohmann::ordered_json asJson(const storage::User &user)
{
    return {
        {"alias", user.alias}, {"name", user.name}, {"smtp", user.smtp}, {"dn", user.dn}, {"service", user.service}};
}

} // namespace

void addUser(const Common &common, const UserOptions &options)
{
    const storage::User user =
        Directory(openSite(common)).addUser(options.alias, options.name, options.smtp, options.service);
    if (common.json)
        printJson(asJson(user));
    else
        printLine("added " + user.alias + " (" + user.name + ", " + user.smtp + ")" +
                  (user.service ? ", who may open every mailbox" : ""));
}

void listUsers(const Common &common)
{
    const std::vector<storage::User> users = Directory(openSite(common, true)).users();
    if (common.json) {
        nlohmann::ordered_json document = nlohmann::ordered_json::array();
        for (const storage::User &user : users)
            document.push_back(asJson(user));
        printJson(document);
        return;
    }
    std::size_t alias = 0, name = 0;
    for (const storage::User &user : users) {
        alias = std::max(alias, ::tool::Columns(user.alias));
        name = std::max(name, ::tool::Columns(user.name));
    }
    for (const storage::User &user : users)
        printLine(::tool::Fit(user.alias, alias) + "  " + ::tool::Fit(user.name, name) + "  " + user.smtp +
                  (user.service ? "  (service)" : ""));
}

void addContact(const Common &common, const std::string &name, const std::string &smtp)
{
    const storage::Contact contact = Directory(openSite(common)).addContact(name, smtp);
    if (common.json)
        printJson({{"name", contact.name}, {"smtp", contact.smtp}});
    else
        printLine("added " + contact.name + " (" + contact.smtp + ")");
}

void checkSite(const Common &common, bool repair)
{
    std::vector<storage::Finding> findings;
    {
        Progress progress("checks", storage::kCheckSteps);
        findings = storage::check(openSite(common, !repair), repair, [&](std::uint64_t done) { progress.at(done); });
    }
    const auto open = std::count_if(findings.begin(), findings.end(),
                                    [](const storage::Finding &finding) { return !finding.repaired; });
    if (common.json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const storage::Finding &finding : findings)
            list.push_back({{"text", finding.text}, {"repaired", finding.repaired}});
        printJson({{"ok", open == 0}, {"findings", std::move(list)}});
    } else {
        for (const storage::Finding &finding : findings)
            printLine((finding.repaired ? "repaired: " : "damaged: ") + finding.text);
        if (findings.empty())
            printLine("nothing is damaged");
    }
    if (open > 0)
        throw Failure(std::to_string(open) +
                      (repair ? " findings could not be repaired" : " findings; --repair mends what can be mended"));
}

} // namespace localmapi::tool
