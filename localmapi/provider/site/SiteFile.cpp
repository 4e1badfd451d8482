#include "localmapi/provider/site/SiteFile.h"

#include "platform/lifetime/Lasting.h"
#include "platform/locks/Mutex.h"
#include <map>

namespace localmapi
{

namespace
{
struct OpenSites {
    locks::Mutex lock;
    std::map<std::string, std::weak_ptr<storage::Site>> byPath GUARDED_BY(lock);
};
} // namespace

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
    auto &sites = lifetime::Lasting<OpenSites>();
    const locks::Hold hold(sites.lock);
    std::weak_ptr<storage::Site> &known = sites.byPath[path];
    if (auto site = known.lock(); site && site->IsInPlace())
        return site;
    auto site = std::make_shared<storage::Site>(storage::Site::Open(path));
    known = site;
    return site;
}

} // namespace localmapi
