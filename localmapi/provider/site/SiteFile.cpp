#include "localmapi/provider/site/SiteFile.h"

#include "platform/locks/Mutex.h"
#include <map>

namespace localmapi
{

std::string FindSiteFile()
{
    if (auto path = places::FromEnvironment())
        return *path;
    if (auto path = places::FromSettings())
        return *path;
    return places::Default();
}

std::shared_ptr<storage::Site> OpenSite(const std::string &path)
{
    static locks::Mutex lock;
    static std::map<std::string, std::weak_ptr<storage::Site>> open;
    const locks::Hold hold(lock);
    if (auto site = open[path].lock())
        return site;
    auto site = std::make_shared<storage::Site>(storage::Site::Open(path));
    open[path] = site;
    return site;
}

} // namespace localmapi
