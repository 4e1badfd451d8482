// One profile as sessions and administration objects share it. A session's profile may be deleted, renamed or even
// made anew under its name while the session lives: what the session needs of it was kept at logon and serves from
// then on. For any thread. Functions throw Failure or storage::Error.
#pragma once
#include "localmapi/storage/Profiles.h"

#include "platform/locks/Mutex.h"
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace localmapi
{

class Profile
{
  public:
    // MAPI_E_NOT_FOUND when there is no such profile.
    Profile(std::shared_ptr<storage::Site> site, const std::string &name);

    // From here on the profile answers even when it is deleted.
    void Keep();

    std::string Name() const;
    std::vector<storage::Service> Services() const;
    // The service's section too. MAPI_E_NOT_FOUND.
    storage::Service Service(const storage::Guid &uid) const;
    void AddService(const storage::Service &service);
    void RemoveService(const storage::Guid &uid);

    // Nothing where there is no such section. The global section is always there and knows the profile's name.
    std::optional<storage::PropertyBag> Section(const storage::Guid &uid) const;
    void ChangeSection(const storage::Guid &uid, const storage::PropertyBag &set,
                       const std::vector<storage::Tag> &remove = {});

    const std::shared_ptr<storage::Site> &GetSite() const { return m_site; }

  private:
    struct Kept {
        std::vector<storage::Service> services;
        std::map<storage::Guid, storage::PropertyBag> sections;
    };

    storage::Profiles Stored() const { return storage::Profiles(*m_site); }
    // Whether the profile is still in the file; follows it to a new name. Throws when it is gone and was not kept.
    bool IsStored() const REQUIRES(m_lock);
    bool IsThisOne(const std::string &name) const;
    storage::PropertyBag StoredSection(const storage::Guid &uid) const REQUIRES(m_lock);

    std::shared_ptr<storage::Site> m_site;
    std::optional<storage::Value> m_instance;
    mutable locks::Mutex m_lock;
    mutable std::string m_name GUARDED_BY(m_lock);
    mutable std::optional<Kept> m_kept GUARDED_BY(m_lock);
};

// MAPI_E_INVALID_PARAMETER for a blank name, MAPI_E_STRING_TOO_LONG for one that MAPI has no room for.
void RequireProfileName(const std::string &name);

// A new profile without services. MAPI_E_NO_ACCESS when there is one of that name.
void MakeProfile(const storage::Site &site, const std::string &name);

// Sets up the service of `profile` for a mailbox, as IMsgServiceAdmin::ConfigureMsgService does: the names as a person
// gave them, resolved in the site that the profile names or is in.
void ConfigureProfile(Profile &profile, const std::string &server, const std::string &mailbox);

// Takes out of the profile's global section what ConfigureProfile put there.
void ForgetService(Profile &profile);

// A profile ready to log on with, for the tool. What can't be configured is removed again.
void AddProfileFor(const std::shared_ptr<storage::Site> &site, const std::string &name, const std::string &mailbox,
                   bool makeDefault);

// The site that a profile works in: the one its global section names, else the one that it lies in.
std::shared_ptr<storage::Site> SiteOf(const Profile &profile);

} // namespace localmapi
