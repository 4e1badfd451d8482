#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/site/Profile.h"
#include "localmapi/provider/site/SiteFile.h"
#include "localmapi/tool/Tool.h"
#include "tools/common/CommandLine.h"
#include "tools/common/Text.h"
#include <algorithm>

namespace localmapi::tool
{

void addProfile(const Common &common, const std::string &name, const std::string &user, bool makeDefault)
{
    try {
        RequireProfileName(name);
    } catch (const localmapi::Failure &failure) {
        throw ::tool::Misuse(failure.text());
    }
    const auto site = std::make_shared<storage::Site>(openSite(common));
    if (storage::Profiles(*site).find(name))
        throw Failure("there is a profile " + name + " already");
    const storage::User owner = userNamed(*site, user);
    AddProfileFor(site, name, owner.alias, makeDefault);
    if (common.json)
        printJson({{"name", name}, {"user", owner.alias}, {"default", storage::Profiles(*site).find(name)->isDefault}});
    else
        printLine("added the profile " + name + " of " + owner.alias);
}

void listProfiles(const Common &common)
{
    const std::vector<storage::Profile> profiles = storage::Profiles(openSite(common, true)).list();
    nlohmann::ordered_json document = nlohmann::ordered_json::array();
    std::size_t width = 0;
    for (const storage::Profile &profile : profiles)
        width = std::max(width, ::tool::Columns(profile.name));
    for (const storage::Profile &profile : profiles) {
        if (common.json)
            document.push_back({{"name", profile.name}, {"default", profile.isDefault}});
        else
            printLine(profile.isDefault ? ::tool::Fit(profile.name, width) + "  (default)" : profile.name);
    }
    if (common.json)
        printJson(document);
}

void removeProfile(const Common &common, const std::string &name)
{
    storage::Profiles profiles(openSite(common));
    if (!profiles.find(name))
        throw Failure("there is no profile " + name);
    profiles.remove(name);
    if (common.json)
        printJson({{"removed", name}});
    else
        printLine("removed the profile " + name);
}

} // namespace localmapi::tool
