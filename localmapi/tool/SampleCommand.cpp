// localmapi sample: a whole site with one command, to try things with.
#include "localmapi/delivery/Fill.h"
#include "localmapi/provider/site/Profile.h"
#include "localmapi/storage/Time.h"
#include "localmapi/tool/Tool.h"
#include <memory>

namespace localmapi::tool
{

namespace
{

constexpr char kServer[] = "NORVIK1", kOrganization[] = "Norvik", kProfile[] = "Voicemail";
constexpr std::uint64_t kMessages = 60;

} // namespace

void MakeSample(const Common &common)
{
    const std::string file = MakeSite(common, kServer, kOrganization, "");
    const auto site = std::make_shared<storage::Site>(OpenSite(common));
    storage::Directory directory(*site);
    const storage::User alice = directory.AddUser("alice", "Alice Archer", "", false);
    const storage::User bob = directory.AddUser("bob", "Bob Baker", "", false);
    const storage::User service = directory.AddUser("vm", "Voicemail Service", "", true);
    AddProfileFor(site, kProfile, service.alias, true);
    delivery::Fill(*site, alice, kMessages, {}, storage::CurrentTime());
    if (common.json)
        PrintJson({{"file", file},
                   {"server", kServer},
                   {"organization", kOrganization},
                   {"users", {alice.alias, bob.alias}},
                   {"service", service.alias},
                   {"profile", kProfile},
                   {"messages", kMessages}});
    else
        PrintLine("made " + file + " with the users " + alice.alias + " and " + bob.alias + ", the service account " +
                  service.alias + ", its profile " + kProfile + " and " + std::to_string(kMessages) + " messages for " +
                  alice.alias + "\nTry: orlmapi list " + alice.alias + " --um");
}

} // namespace localmapi::tool
