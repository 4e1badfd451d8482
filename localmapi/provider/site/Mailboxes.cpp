#include "localmapi/provider/site/Mailboxes.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/site/NameMatch.h"
#include "localmapi/storage/Text.h"

namespace localmapi
{

namespace
{

constexpr std::string_view kServersContainer = "/cn=configuration/cn=servers/cn=";
constexpr std::string_view kPrivateStore = "/cn=microsoft private mdb";

std::string Folded(std::string_view text)
{
    return storage::FoldText(std::string(text), true, false);
}

[[noreturn]] void NoServer(std::string_view name)
{
    throw Failure(MAPI_E_NETWORK_ERROR, "There is no server \"" + std::string(name) + "\" in this site.");
}

[[noreturn]] void NoMailbox(std::string_view name)
{
    throw Failure(MAPI_E_NOT_FOUND, "There is no mailbox \"" + std::string(name) + "\" on this server.");
}

} // namespace

std::string ServerDn(const storage::SiteInfo &info)
{
    return "/o=" + info.organization + "/ou=First Administrative Group/cn=Configuration/cn=Servers/cn=" + info.server;
}

void RequireServer(const storage::Site &site, std::string_view name)
{
    std::string server = Folded(Trimmed(name));
    const std::size_t container = server.find(kServersContainer);
    if (container != std::string::npos) {
        server.erase(0, container + kServersContainer.size());
        if (server.size() > kPrivateStore.size() && server.ends_with(kPrivateStore))
            server.erase(server.size() - kPrivateStore.size());
    }
    if (!server.empty() && server != Folded(site.Info().server))
        NoServer(name);
}

storage::User ResolveMailboxDn(const storage::Site &site, std::string_view serverDn, std::string_view mailboxDn)
{
    if (Folded(serverDn).find(kServersContainer) == std::string::npos)
        NoServer(serverDn);
    RequireServer(site, serverDn);
    const auto user = storage::Directory(site).UserByDn(std::string(mailboxDn));
    if (!user)
        NoMailbox(mailboxDn);
    return *user;
}

storage::User ResolveUserName(const storage::Site &site, std::string_view name)
{
    const storage::Directory directory(site);
    // Contacts have no mailbox: a name that fits one user and any number of contacts means the user.
    std::vector<storage::User> users;
    for (const storage::ObjectId id : MatchesOf(site, name, 100))
        if (auto user = directory.GetUser(id))
            users.push_back(std::move(*user));
    if (users.empty())
        NoMailbox(name);
    if (users.size() > 1)
        throw Failure(MAPI_E_AMBIGUOUS_RECIP, "The mailbox name \"" + std::string(name) + "\" fits several users.");
    return users.front();
}

} // namespace localmapi
