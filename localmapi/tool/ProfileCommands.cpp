#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/site/Profile.h"
#include "localmapi/provider/site/SiteFile.h"
#include "localmapi/tool/Tool.h"
#include "tools/common/CommandLine.h"
#include "tools/common/Text.h"
#include <algorithm>

namespace localmapi::tool
{

void AddProfile(const Common &common, const std::string &name, const std::string &user, bool makeDefault)
{
    try {
        RequireProfileName(name);
    } catch (const localmapi::Failure &failure) {
        throw ::tool::Misuse(failure.Text());
    }
    const auto site = std::make_shared<storage::Site>(OpenSite(common));
    if (storage::Profiles(*site).Find(name))
        throw Failure("there is a profile " + name + " already");
    const storage::User owner = UserNamed(*site, user);
    AddProfileFor(site, name, owner.alias, makeDefault);
    if (common.json)
        PrintJson({{"name", name}, {"user", owner.alias}, {"default", storage::Profiles(*site).Find(name)->isDefault}});
    else
        PrintLine("added the profile " + name + " of " + owner.alias);
}

void ListProfiles(const Common &common)
{
    const std::vector<storage::Profile> profiles = storage::Profiles(OpenSite(common, true)).List();
    nlohmann::ordered_json document = nlohmann::ordered_json::array();
    std::size_t width = 0;
    for (const storage::Profile &profile : profiles)
        width = std::max(width, ::tool::Columns(profile.name));
    for (const storage::Profile &profile : profiles) {
        if (common.json)
            document.push_back({{"name", profile.name}, {"default", profile.isDefault}});
        else
            PrintLine(profile.isDefault ? ::tool::Fit(profile.name, width) + "  (default)" : profile.name);
    }
    if (common.json)
        PrintJson(document);
}

void RemoveProfile(const Common &common, const std::string &name)
{
    storage::Profiles profiles(OpenSite(common));
    if (!profiles.Find(name))
        throw Failure("there is no profile " + name);
    profiles.Remove(name);
    if (common.json)
        PrintJson({{"removed", name}});
    else
        PrintLine("removed the profile " + name);
}

} // namespace localmapi::tool
