// Profiles, their services and their sections, which are objects like others.
#include "localmapi/storage/Profiles.h"
#include "localmapi/storage/Objects.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Text.h"

namespace localmapi::storage
{

namespace
{

std::int64_t FindProfile(Connection &connection, const std::string &name)
{
    Statement find = connection.Prepare("SELECT id FROM profile WHERE name_key = ?");
    std::string key = FoldCase(name);
    find.Bind(key);
    return find.Step() ? find.Integer(0) : 0;
}

std::int64_t GetProfile(Connection &connection, const std::string &name)
{
    std::int64_t id = FindProfile(connection, name);
    if (!id)
        throw Error(Fault::NotFound, "There is no profile '" + name + "'.");
    return id;
}

void RequireFreeName(Connection &connection, const std::string &name, std::int64_t self)
{
    if (name.empty())
        throw Error(Fault::Invalid, "A profile needs a name.");
    std::int64_t other = FindProfile(connection, name);
    if (other && other != self)
        throw Error(Fault::Collision, "There is a profile '" + name + "' already.");
}

ObjectId FindSection(Connection &connection, std::int64_t profile, const Guid &uid)
{
    Statement find = connection.Prepare("SELECT object FROM section WHERE profile = ? AND uid = ?");
    find.Bind(profile, uid);
    return find.Step() ? find.Integer(0) : 0;
}

// Takes a profile's sections away, all or that of one service; first what refers to the objects.
void RemoveSections(Writer &writer, std::int64_t profile, const std::optional<Guid> &uid)
{
    std::vector<ObjectId> objects;
    Statement rows = writer->Prepare("DELETE FROM section WHERE profile = ?1 AND (?2 IS NULL OR uid = ?2) "
                                     "RETURNING object");
    rows.Bind(profile, uid);
    while (rows.Step())
        objects.push_back(rows.Integer(0));
    for (ObjectId object : objects)
        writer->Prepare("DELETE FROM object WHERE id = ?").Bind(object).Run();
}

template <class Work> void Write(const Site &site, Work work, Room room = Room::IsMade)
{
    const auto write = [&] {
        Writer writer(site.GetDatabase(), Share::WithOthers, References::Checked, room);
        work(writer);
        writer.Commit();
    };
    if (room == Room::IsMade)
        EvenOnAFullDisk(site.GetDatabase(), write);
    else
        write();
}

} // namespace

std::vector<Profile> Profiles::List() const
{
    Reader reader(m_site.GetDatabase());
    Statement rows = reader->Prepare("SELECT name, is_default FROM profile ORDER BY name_key");
    std::vector<Profile> profiles;
    while (rows.Step())
        profiles.push_back({rows.Text(0), rows.Integer(1) != 0});
    return profiles;
}

std::optional<Profile> Profiles::Find(const std::string &name) const
{
    Reader reader(m_site.GetDatabase());
    Statement row = reader->Prepare("SELECT name, is_default FROM profile WHERE name_key = ?");
    std::string key = FoldCase(name);
    row.Bind(key);
    return row.Step() ? std::optional(Profile{row.Text(0), row.Integer(1) != 0}) : std::nullopt;
}

void Profiles::Create(const std::string &name)
{
    Write(m_site, [&](Writer &writer) {
        RequireFreeName(*writer, name, 0);
        writer
            ->Prepare("INSERT INTO profile (name, name_key, is_default) "
                      "VALUES (?, ?, NOT EXISTS (SELECT 1 FROM profile))")
            .Bind(name, FoldCase(name))
            .Run();
    });
}

void Profiles::Remove(const std::string &name)
{
    Write(m_site, [&](Writer &writer) {
        std::int64_t id = GetProfile(*writer, name);
        RemoveSections(writer, id, {});
        writer->Prepare("DELETE FROM profile WHERE id = ?").Bind(id).Run();
    });
}

void Profiles::Rename(const std::string &name, const std::string &newName)
{
    Write(m_site, [&](Writer &writer) {
        std::int64_t id = GetProfile(*writer, name);
        RequireFreeName(*writer, newName, id);
        writer->Prepare("UPDATE profile SET name = ?, name_key = ? WHERE id = ?")
            .Bind(newName, FoldCase(newName), id)
            .Run();
    });
}

void Profiles::SetDefault(const std::string &name)
{
    Write(m_site, [&](Writer &writer) {
        std::int64_t id = name.empty() ? 0 : GetProfile(*writer, name);
        writer->Prepare("UPDATE profile SET is_default = (id = ?)").Bind(id).Run();
    });
}

std::vector<Service> Profiles::Services(const std::string &profile) const
{
    Reader reader(m_site.GetDatabase());
    Statement rows = reader->Prepare("SELECT uid, name, display_name FROM service WHERE profile = ? ORDER BY id");
    rows.Bind(GetProfile(*reader, profile));
    std::vector<Service> services;
    while (rows.Step())
        services.push_back({rows.GetGuid(0), rows.Text(1), rows.Text(2)});
    return services;
}

void Profiles::AddService(const std::string &profile, const Service &service)
{
    Write(m_site, [&](Writer &writer) {
        std::int64_t id = GetProfile(*writer, profile);
        writer->Prepare("INSERT INTO service (profile, uid, name, display_name) VALUES (?, ?, ?, ?)")
            .Bind(id, service.uid, service.name, service.displayName)
            .Run();
    });
}

void Profiles::RemoveService(const std::string &profile, const Guid &uid)
{
    Write(m_site, [&](Writer &writer) {
        std::int64_t id = GetProfile(*writer, profile);
        writer->Prepare("DELETE FROM service WHERE profile = ? AND uid = ?").Bind(id, uid).Run();
        if (writer->ChangedRows() == 0)
            throw Error(Fault::NotFound, "The profile '" + profile + "' has no such service.");
        RemoveSections(writer, id, uid);
    });
}

PropertyBag Profiles::Section(const std::string &profile, const Guid &uid) const
{
    Reader reader(m_site.GetDatabase());
    ObjectId object = FindSection(*reader, GetProfile(*reader, profile), uid);
    return object ? ReadProperties(*reader, object, std::uint64_t(-1)) : PropertyBag();
}

void Profiles::ChangeSection(const std::string &profile, const Guid &uid, const PropertyBag &set,
                             const std::vector<Tag> &remove)
{
    // What is set aside for logons is not for data.
    constexpr std::uint64_t kMostForLogon = 64 << 10;
    const auto change = [&](Writer &writer) {
        std::int64_t id = GetProfile(*writer, profile);
        ObjectId object = FindSection(*writer, id, uid);
        if (!object) {
            object = InsertObject(writer, {ObjectKind::ProfileSection}, {});
            writer->Prepare("INSERT INTO section (profile, uid, object) VALUES (?, ?, ?)").Bind(id, uid, object).Run();
        }
        ApplyChanges(writer, object, ObjectKind::ProfileSection, {set, remove});
    };
    Write(m_site, change, ByteSize(set) > kMostForLogon ? Room::IsNeeded : Room::IsMade);
}

} // namespace localmapi::storage
