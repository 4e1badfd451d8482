// From a profile to a session: which profile is meant, and what a session needs of it.
#include "localmapi/provider/session/Logon.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/session/Process.h"
#include "localmapi/provider/session/Session.h"
#include "localmapi/provider/site/Mailboxes.h"
#include "localmapi/provider/site/ProfileAdmin.h"
#include "localmapi/provider/site/ProfileTags.h"
#include "localmapi/provider/site/SessionContext.h"
#include "localmapi/provider/site/SiteFile.h"
#include "localmapi/storage/Profiles.h"

#include <cstdio>

namespace localmapi
{

namespace
{

constexpr ULONG kLogonFlags = MAPI_LOGON_UI | MAPI_NEW_SESSION | MAPI_ALLOW_OTHERS | MAPI_EXPLICIT_PROFILE |
                              MAPI_EXTENDED | MAPI_USE_DEFAULT | MAPI_FORCE_DOWNLOAD | MAPI_SERVICE_UI_ALWAYS |
                              MAPI_NO_MAIL | MAPI_NT_SERVICE | MAPI_PASSWORD_UI | MAPI_TIMEOUT_SHORT | MAPI_UNICODE;

// The profile that the client means. Without a dialog to choose one, that is the one it names or the default one.
std::string ProfileName(const storage::Profiles &profiles, const TCHAR *name, ULONG flags)
{
    const std::string given = Utf8FromClient(name, flags);
    if (!(flags & MAPI_USE_DEFAULT) && !given.empty()) {
        const auto profile = profiles.Find(given);
        if (!profile)
            throw Failure(MAPI_E_LOGON_FAILED, "There is no profile \"" + given + "\".");
        return profile->name;
    }
    if (flags & MAPI_USE_DEFAULT)
        for (const storage::Profile &profile : profiles.List())
            if (profile.isDefault)
                return profile.name;
    throw Failure(MAPI_E_LOGON_FAILED, "No profile was named and there is no default one.");
}

std::string SectionText(const Profile &profile, ULONG tag)
{
    const auto section = profile.Section(GuidOf(kGlobalProfileSection));
    const std::string *text = section ? section->get<std::string>(StorageTag(tag)) : nullptr;
    return text ? *text : std::string();
}

// What the environment asks for, for tests. There is no session yet that could be asked what was wrong with it.
BehaviourPtr BehaviourOfTests()
{
    const auto wanted = places::WantedBehaviour();
    if (!wanted)
        return nullptr;
    try {
        return Behaviour::FromText(*wanted);
    } catch (const Failure &failure) {
        std::fprintf(stderr, "localmapi: %s\n", failure.what());
        throw;
    }
}

} // namespace

HRESULT Logon(const TCHAR *name, ULONG flags, IMAPISession **session) noexcept
{
    return Guarded([&]() -> HRESULT {
        Require(session != nullptr, "where the session goes");
        *session = nullptr;
        if (!IsInitialized())
            return MAPI_E_NOT_INITIALIZED;
        RequireFlags(flags, kLogonFlags);
        auto context = std::make_shared<SessionContext>();
        context->behaviour = BehaviourOfTests();
        std::shared_ptr<storage::Site> profileSite;
        try {
            profileSite = OpenSite(FindSiteFile());
        } catch (const storage::Error &error) {
            // Where there is no site there are no profiles.
            if (error.GetFault() == storage::Fault::NotFound)
                return MAPI_E_LOGON_FAILED;
            throw;
        }
        context->profile =
            std::make_shared<Profile>(profileSite, ProfileName(storage::Profiles(*profileSite), name, flags));
        context->profile->Keep();
        context->site = SiteOf(*context->profile);
        context->uid = context->site->Info().uid;
        const std::string server = SectionText(*context->profile, PR_PROFILE_HOME_SERVER);
        const std::string user = SectionText(*context->profile, PR_PROFILE_USER);
        if (context->profile->Services().empty() || server.empty() || user.empty())
            throw Failure(MAPI_E_UNCONFIGURED, "The profile's message service is not configured.");
        RequireServer(*context->site, server);
        const auto found = storage::Directory(*context->site).UserByDn(user);
        if (!found)
            throw Failure(MAPI_E_NOT_FOUND, "The profile's mailbox is not there.");
        context->user = *found;
        *session = MakeSession(context);
        return S_OK;
    });
}

HRESULT AdminProfiles(ULONG flags, IProfAdmin **admin) noexcept
{
    return Guarded([&]() -> HRESULT {
        Require(admin != nullptr, "where the profile administration goes");
        *admin = nullptr;
        if (!IsInitialized())
            return MAPI_E_NOT_INITIALIZED;
        RequireFlags(flags, MAPI_UNICODE);
        *admin = MakeProfileAdmin(OpenSite(FindSiteFile()));
        return S_OK;
    });
}

} // namespace localmapi
