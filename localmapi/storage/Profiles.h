// Profiles: names under which a client logs on, each with services and with sections of properties. Names are compared
// without regard to case.
#pragma once
#include "localmapi/storage/Site.h"

namespace localmapi::storage
{

struct Profile {
    std::string name;
    bool isDefault = false;
};

struct Service {
    Guid uid{};
    std::string name; // of the service, e.g. "MSEMS"
    std::string displayName;
};

class Profiles
{
  public:
    explicit Profiles(Site site) : m_site(std::move(site)) {}

    std::vector<Profile> List() const; // by name
    std::optional<Profile> Find(const std::string &name) const;
    void Create(const std::string &name); // Collision; the first one of a site becomes the default
    void Remove(const std::string &name); // NotFound
    void Rename(const std::string &name, const std::string &newName);
    void SetDefault(const std::string &name); // NotFound; empty: none

    std::vector<Service> Services(const std::string &profile) const;     // in order of their making
    void AddService(const std::string &profile, const Service &service); // Collision on a known uid
    void RemoveService(const std::string &profile, const Guid &uid);     // its section too

    // The properties of a section; a section is there as soon as it has one.
    PropertyBag Section(const std::string &profile, const Guid &uid) const;
    void ChangeSection(const std::string &profile, const Guid &uid, const PropertyBag &set,
                       const std::vector<Tag> &remove = {});

  private:
    Site m_site;
};

} // namespace localmapi::storage
