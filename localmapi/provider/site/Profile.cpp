// A profile in the file and as it was kept. Whether it is still the same one is seen by the key of its own section, so
// that a new profile under an old name is not taken for it.
#include "localmapi/provider/site/Profile.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/site/Mailboxes.h"
#include "localmapi/provider/site/NameMatch.h"
#include "localmapi/provider/site/ProfileTags.h"
#include "localmapi/provider/site/SiteFile.h"
#include "localmapi/storage/Guid.h"

#include <algorithm>
#include <cstring>

namespace localmapi
{

const MAPIUID kProfileInstance = {{0x85, 0x03, 0x02, 0x00, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

namespace
{

const storage::Guid kInstanceSection = GuidOf(kProfileInstance);
const storage::Guid kGlobalSection = GuidOf(kGlobalProfileSection);
constexpr storage::Tag kInstanceKey = PR_SEARCH_KEY;

storage::Tag Tag(ULONG tag)
{
    return StorageTag(tag);
}

[[noreturn]] void NoProfile(const std::string &name)
{
    throw Failure(MAPI_E_NOT_FOUND, "There is no profile \"" + name + "\".");
}

} // namespace

storage::Guid GuidOf(const MAPIUID &uid)
{
    storage::Guid guid;
    std::memcpy(guid.data(), uid.ab, guid.size());
    return guid;
}

Profile::Profile(std::shared_ptr<storage::Site> site, const std::string &name) : m_site(std::move(site))
{
    const auto stored = Stored().Find(name);
    if (!stored)
        NoProfile(name);
    m_name = stored->name;
    const storage::PropertyBag section = Stored().Section(m_name, kInstanceSection);
    if (const storage::Value *key = section.Find(kInstanceKey))
        m_instance = *key;
}

bool Profile::IsThisOne(const std::string &name) const
{
    const storage::PropertyBag section = Stored().Section(name, kInstanceSection);
    const storage::Value *key = section.Find(kInstanceKey);
    return key ? m_instance == *key : !m_instance;
}

bool Profile::IsStored() const
{
    if (Stored().Find(m_name) && IsThisOne(m_name))
        return true;
    if (m_instance)
        for (const storage::Profile &other : Stored().List())
            if (IsThisOne(other.name)) {
                m_name = other.name;
                return true;
            }
    if (!m_kept)
        NoProfile(m_name);
    return false;
}

void Profile::Keep()
{
    const locks::Hold hold(m_lock);
    if (m_kept || !IsStored())
        return;
    Kept kept;
    kept.services = Stored().Services(m_name);
    kept.sections[kGlobalSection] = StoredSection(kGlobalSection);
    kept.sections[kInstanceSection] = StoredSection(kInstanceSection);
    for (const storage::Service &service : kept.services)
        kept.sections[service.uid] = StoredSection(service.uid);
    m_kept = std::move(kept);
}

std::string Profile::Name() const
{
    const locks::Hold hold(m_lock);
    IsStored();
    return m_name;
}

std::vector<storage::Service> Profile::Services() const
{
    const locks::Hold hold(m_lock);
    return IsStored() ? Stored().Services(m_name) : m_kept->services;
}

storage::Service Profile::Service(const storage::Guid &uid) const
{
    for (const storage::Service &service : Services())
        if (service.uid == uid)
            return service;
    throw Failure(MAPI_E_NOT_FOUND, "The profile has no message service with this identifier.");
}

void Profile::AddService(const storage::Service &service)
{
    const locks::Hold hold(m_lock);
    if (IsStored())
        Stored().AddService(m_name, service);
    else
        m_kept->services.push_back(service);
}

void Profile::RemoveService(const storage::Guid &uid)
{
    Service(uid);
    const locks::Hold hold(m_lock);
    if (IsStored()) {
        Stored().RemoveService(m_name, uid);
    } else {
        std::erase_if(m_kept->services, [&](const storage::Service &service) { return service.uid == uid; });
        m_kept->sections.erase(uid);
    }
}

storage::PropertyBag Profile::StoredSection(const storage::Guid &uid) const
{
    storage::PropertyBag bag = Stored().Section(m_name, uid);
    if (uid == kGlobalSection)
        bag.Set(Tag(PR_PROFILE_NAME), m_name);
    return bag;
}

std::optional<storage::PropertyBag> Profile::Section(const storage::Guid &uid) const
{
    const locks::Hold hold(m_lock);
    storage::PropertyBag bag;
    if (IsStored()) {
        bag = StoredSection(uid);
    } else if (const auto found = m_kept->sections.find(uid); found != m_kept->sections.end()) {
        bag = found->second;
    }
    if (bag.empty())
        return std::nullopt;
    return bag;
}

void Profile::ChangeSection(const storage::Guid &uid, const storage::PropertyBag &set,
                            const std::vector<storage::Tag> &remove)
{
    const locks::Hold hold(m_lock);
    if (IsStored()) {
        Stored().ChangeSection(m_name, uid, set, remove);
        return;
    }
    storage::PropertyBag &bag = m_kept->sections[uid];
    for (const storage::Tag tag : remove)
        bag.Erase(tag);
    for (const storage::Property &property : set)
        bag.Set(property.tag, property.value);
}

void RequireProfileName(const std::string &name)
{
    Require(!Trimmed(name).empty(), "an empty profile name");
    if (WideFromUtf8(name).size() > cchProfileNameMax)
        throw Failure(MAPI_E_STRING_TOO_LONG, "A profile's name has at most 64 characters.");
}

void MakeProfile(const storage::Site &site, const std::string &name)
{
    storage::Profiles profiles(site);
    try {
        profiles.Create(name);
    } catch (const storage::Error &error) {
        if (error.GetFault() == storage::Fault::Collision)
            throw Failure(MAPI_E_NO_ACCESS, "There is a profile \"" + name + "\" already.");
        throw;
    }
    const storage::Guid key = storage::NewGuid();
    profiles.ChangeSection(name, kInstanceSection, {{kInstanceKey, storage::Bytes(key.begin(), key.end())}});
}

void ConfigureProfile(Profile &profile, const std::string &server, const std::string &mailbox)
{
    const auto site = SiteOf(profile);
    RequireServer(*site, server);
    const storage::User user = ResolveUserName(*site, mailbox);
    const storage::SiteInfo info = site->Info();
    profile.ChangeSection(kGlobalSection, {{Tag(PR_PROFILE_UNRESOLVED_NAME), mailbox},
                                           {Tag(PR_PROFILE_UNRESOLVED_SERVER), server},
                                           {Tag(PR_PROFILE_HOME_SERVER), info.server},
                                           {Tag(PR_PROFILE_HOME_SERVER_DN), ServerDn(info)},
                                           {Tag(PR_PROFILE_USER), user.dn}});
}

void ForgetService(Profile &profile)
{
    profile.ChangeSection(kGlobalSection, {},
                          {Tag(PR_PROFILE_UNRESOLVED_NAME), Tag(PR_PROFILE_UNRESOLVED_SERVER),
                           Tag(PR_PROFILE_HOME_SERVER), Tag(PR_PROFILE_HOME_SERVER_DN), Tag(PR_PROFILE_USER)});
}

void AddProfileFor(const std::shared_ptr<storage::Site> &site, const std::string &name, const std::string &mailbox,
                   bool makeDefault)
{
    ResolveUserName(*site, mailbox);
    MakeProfile(*site, name);
    storage::Profiles profiles(*site);
    try {
        Profile profile(site, name);
        profile.AddService({storage::NewGuid(), kServiceName, kServiceDisplayName});
        ConfigureProfile(profile, site->Info().server, mailbox);
        if (makeDefault)
            profiles.SetDefault(name);
    } catch (...) {
        profiles.Remove(name);
        throw;
    }
}

std::shared_ptr<storage::Site> SiteOf(const Profile &profile)
{
    const auto section = profile.Section(kGlobalSection);
    const std::string *path = section ? section->get<std::string>(Tag(PR_PROFILE_SITE_FILE)) : nullptr;
    if (!path || path->empty() || *path == profile.GetSite()->Path())
        return profile.GetSite();
    return OpenSite(*path);
}

} // namespace localmapi
