// What a site is from outside: its file, its names of named properties, its numbers.
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Staging.h"
#include <algorithm>

namespace localmapi::storage
{

Site Site::Create(const std::string &path, const std::string &server, const std::string &organization,
                  const OpenOptions &options)
{
    return Site(Database::Create(path, server, organization, options));
}

Site Site::Open(const std::string &path, const OpenOptions &options)
{
    Site site(Database::Open(path, options));
    if (!options.readOnly)
        try {
            RemoveForgotten(site.GetDatabase());
        } catch (const Error &) { // there will be another time
        }
    return site;
}

const std::string &Site::Path() const
{
    return m_database->Path();
}

const std::optional<Site::Former> &Site::UpgradedFrom() const
{
    return m_database->UpgradedFrom();
}

bool Site::IsInPlace() const noexcept
{
    return m_database->IsInPlace();
}

SiteInfo Site::Info() const
{
    Reader reader(GetDatabase());
    Statement row = reader->Prepare("SELECT server, organization, uid FROM site");
    row.Step();
    return {row.Text(0), row.Text(1), row.GetGuid(2)};
}

ChangeNumber Site::GetChangeNumber() const
{
    Reader reader(GetDatabase());
    return reader->Integer("SELECT change FROM site");
}

namespace
{

constexpr std::int64_t kFirstName = 0x8000, kLastName = 0xFFFE;

std::uint16_t FindName(Connection &connection, const PropertyName &name)
{
    if (auto number = std::get_if<std::int32_t>(&name.name)) {
        Statement find = connection.Prepare("SELECT id FROM named_property WHERE uid = ? AND number = ?");
        find.Bind(name.set, *number);
        return find.Step() ? static_cast<std::uint16_t>(find.Integer(0)) : 0;
    }
    Statement find = connection.Prepare("SELECT id FROM named_property WHERE uid = ? AND name = ?");
    find.Bind(name.set, std::get<std::string>(name.name));
    return find.Step() ? static_cast<std::uint16_t>(find.Integer(0)) : 0;
}

std::uint16_t MakeName(Connection &connection, const PropertyName &name)
{
    std::int64_t id =
        connection.Integer("SELECT IFNULL(max(id) + 1, " + std::to_string(kFirstName) + ") FROM named_property");
    if (id > kLastName)
        throw Error(Fault::TooBig, "The site has as many named properties as there can be.");
    Statement insert = connection.Prepare("INSERT INTO named_property (id, uid, number, name) VALUES (?, ?, ?, ?)");
    auto number = std::get_if<std::int32_t>(&name.name);
    auto text = std::get_if<std::string>(&name.name);
    insert
        .Bind(id, name.set, number ? std::optional(*number) : std::nullopt,
              text ? std::optional<std::string_view>(*text) : std::nullopt)
        .Run();
    return static_cast<std::uint16_t>(id);
}

PropertyName NameFrom(const Statement &row, int first)
{
    PropertyName name{row.GetGuid(first), {}};
    if (row.IsNull(first + 1))
        name.name = row.Text(first + 2);
    else
        name.name = row.Integer32(first + 1);
    return name;
}

} // namespace

std::vector<std::uint16_t> Names::Ids(const std::vector<PropertyName> &names, bool make)
{
    std::vector<std::uint16_t> ids;
    {
        Reader reader(m_site.GetDatabase());
        for (const PropertyName &name : names)
            ids.push_back(FindName(*reader, name));
    }
    if (!make || std::find(ids.begin(), ids.end(), 0) == ids.end())
        return ids;
    Writer writer(m_site.GetDatabase());
    for (std::size_t i = 0; i < ids.size(); ++i)
        if (ids[i] == 0 && (ids[i] = FindName(*writer, names[i])) == 0)
            ids[i] = MakeName(*writer, names[i]);
    writer.Commit();
    return ids;
}

std::vector<std::optional<PropertyName>> Names::NamesOf(const std::vector<std::uint16_t> &ids) const
{
    Reader reader(m_site.GetDatabase());
    Statement find = reader->Prepare("SELECT uid, number, name FROM named_property WHERE id = ?");
    std::vector<std::optional<PropertyName>> names;
    for (std::uint16_t id : ids) {
        find.Bind(std::int64_t{id});
        names.push_back(find.Step() ? std::optional(NameFrom(find, 0)) : std::nullopt);
        find.Rewind();
    }
    return names;
}

std::vector<std::pair<std::uint16_t, PropertyName>> Names::All() const
{
    Reader reader(m_site.GetDatabase());
    Statement rows = reader->Prepare("SELECT id, uid, number, name FROM named_property ORDER BY id");
    std::vector<std::pair<std::uint16_t, PropertyName>> all;
    while (rows.Step())
        all.emplace_back(static_cast<std::uint16_t>(rows.Integer(0)), NameFrom(rows, 1));
    return all;
}

} // namespace localmapi::storage
