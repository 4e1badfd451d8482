// Profiles, their services and their sections, which are objects like others.
#include "localmapi/storage/Profiles.h"
#include "localmapi/storage/Objects.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Text.h"

namespace localmapi::storage
{

namespace
{

std::int64_t findProfile(Connection &connection, const std::string &name)
{
    Statement find = connection.prepare("SELECT id FROM profile WHERE name_key = ?");
    std::string key = foldCase(name);
    find.bind(key);
    return find.step() ? find.integer(0) : 0;
}

std::int64_t getProfile(Connection &connection, const std::string &name)
{
    std::int64_t id = findProfile(connection, name);
    if (!id)
        throw Error(Fault::NotFound, "There is no profile '" + name + "'.");
    return id;
}

void requireFreeName(Connection &connection, const std::string &name, std::int64_t self)
{
    if (name.empty())
        throw Error(Fault::Invalid, "A profile needs a name.");
    std::int64_t other = findProfile(connection, name);
    if (other && other != self)
        throw Error(Fault::Collision, "There is a profile '" + name + "' already.");
}

ObjectId findSection(Connection &connection, std::int64_t profile, const Guid &uid)
{
    Statement find = connection.prepare("SELECT object FROM section WHERE profile = ? AND uid = ?");
    find.bind(profile, uid);
    return find.step() ? find.integer(0) : 0;
}

// Takes a profile's sections away, all or that of one service; first what refers to the objects.
void removeSections(Writer &writer, std::int64_t profile, const std::optional<Guid> &uid)
{
    std::vector<ObjectId> objects;
    Statement rows = writer->prepare("DELETE FROM section WHERE profile = ?1 AND (?2 IS NULL OR uid = ?2) "
                                     "RETURNING object");
    rows.bind(profile, uid);
    while (rows.step())
        objects.push_back(rows.integer(0));
    for (ObjectId object : objects)
        writer->prepare("DELETE FROM object WHERE id = ?").bind(object).run();
}

} // namespace

std::vector<Profile> Profiles::list() const
{
    Reader reader(m_site.database());
    Statement rows = reader->prepare("SELECT name, is_default FROM profile ORDER BY name_key");
    std::vector<Profile> profiles;
    while (rows.step())
        profiles.push_back({rows.text(0), rows.integer(1) != 0});
    return profiles;
}

std::optional<Profile> Profiles::find(const std::string &name) const
{
    Reader reader(m_site.database());
    Statement row = reader->prepare("SELECT name, is_default FROM profile WHERE name_key = ?");
    std::string key = foldCase(name);
    row.bind(key);
    return row.step() ? std::optional(Profile{row.text(0), row.integer(1) != 0}) : std::nullopt;
}

void Profiles::create(const std::string &name)
{
    Writer writer(m_site.database());
    requireFreeName(*writer, name, 0);
    writer
        ->prepare("INSERT INTO profile (name, name_key, is_default) "
                  "VALUES (?, ?, NOT EXISTS (SELECT 1 FROM profile))")
        .bind(name, foldCase(name))
        .run();
    writer.commit();
}

void Profiles::remove(const std::string &name)
{
    Writer writer(m_site.database());
    std::int64_t id = getProfile(*writer, name);
    removeSections(writer, id, {});
    writer->prepare("DELETE FROM profile WHERE id = ?").bind(id).run();
    writer.commit();
}

void Profiles::rename(const std::string &name, const std::string &newName)
{
    Writer writer(m_site.database());
    std::int64_t id = getProfile(*writer, name);
    requireFreeName(*writer, newName, id);
    writer->prepare("UPDATE profile SET name = ?, name_key = ? WHERE id = ?")
        .bind(newName, foldCase(newName), id)
        .run();
    writer.commit();
}

void Profiles::setDefault(const std::string &name)
{
    Writer writer(m_site.database());
    std::int64_t id = name.empty() ? 0 : getProfile(*writer, name);
    writer->prepare("UPDATE profile SET is_default = (id = ?)").bind(id).run();
    writer.commit();
}

std::vector<Service> Profiles::services(const std::string &profile) const
{
    Reader reader(m_site.database());
    Statement rows = reader->prepare("SELECT uid, name, display_name FROM service WHERE profile = ? ORDER BY id");
    rows.bind(getProfile(*reader, profile));
    std::vector<Service> services;
    while (rows.step())
        services.push_back({rows.guid(0), rows.text(1), rows.text(2)});
    return services;
}

void Profiles::addService(const std::string &profile, const Service &service)
{
    Writer writer(m_site.database());
    std::int64_t id = getProfile(*writer, profile);
    writer->prepare("INSERT INTO service (profile, uid, name, display_name) VALUES (?, ?, ?, ?)")
        .bind(id, service.uid, service.name, service.displayName)
        .run();
    writer.commit();
}

void Profiles::removeService(const std::string &profile, const Guid &uid)
{
    Writer writer(m_site.database());
    std::int64_t id = getProfile(*writer, profile);
    writer->prepare("DELETE FROM service WHERE profile = ? AND uid = ?").bind(id, uid).run();
    if (writer->changes() == 0)
        throw Error(Fault::NotFound, "The profile '" + profile + "' has no such service.");
    removeSections(writer, id, uid);
    writer.commit();
}

PropertyBag Profiles::section(const std::string &profile, const Guid &uid) const
{
    Reader reader(m_site.database());
    ObjectId object = findSection(*reader, getProfile(*reader, profile), uid);
    return object ? readProperties(*reader, object, std::uint64_t(-1)) : PropertyBag();
}

void Profiles::changeSection(const std::string &profile, const Guid &uid, const PropertyBag &set,
                             const std::vector<Tag> &remove)
{
    Writer writer(m_site.database());
    std::int64_t id = getProfile(*writer, profile);
    ObjectId object = findSection(*writer, id, uid);
    if (!object) {
        object = insertObject(writer, {ObjectKind::ProfileSection}, {});
        writer->prepare("INSERT INTO section (profile, uid, object) VALUES (?, ?, ?)").bind(id, uid, object).run();
    }
    applyChanges(writer, object, ObjectKind::ProfileSection, {set, remove});
    writer.commit();
}

} // namespace localmapi::storage
