#include "localmapi/provider/site/SiteFile.h"

#include <map>
#include <mutex>

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
    static std::mutex lock;
    static std::map<std::string, std::weak_ptr<storage::Site>> open;
    std::lock_guard hold(lock);
    if (auto site = open[path].lock())
        return site;
    auto site = std::make_shared<storage::Site>(storage::Site::Open(path));
    open[path] = site;
    return site;
}

} // namespace localmapi
