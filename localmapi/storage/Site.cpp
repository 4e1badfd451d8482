// What a site is from outside: its file, its names of named properties, its numbers.
#include "localmapi/storage/Database.h"
#include <algorithm>

namespace localmapi::storage
{

Site Site::create(const std::string &path, const std::string &server, const std::string &organization,
                  const OpenOptions &options)
{
    return Site(Database::create(path, server, organization, options));
}

Site Site::open(const std::string &path, const OpenOptions &options)
{
    return Site(Database::open(path, options));
}

const std::string &Site::path() const
{
    return m_database->path();
}

SiteInfo Site::info() const
{
    Reader reader(database());
    Statement row = reader->prepare("SELECT server, organization, uid FROM site");
    row.step();
    return {row.text(0), row.text(1), row.guid(2)};
}

ChangeNumber Site::changeNumber() const
{
    Reader reader(database());
    return reader->integer("SELECT change FROM site");
}

namespace
{

constexpr std::int64_t kFirstName = 0x8000, kLastName = 0xFFFE;

std::uint16_t findName(Connection &connection, const PropertyName &name)
{
    if (auto number = std::get_if<std::int32_t>(&name.name)) {
        Statement find = connection.prepare("SELECT id FROM named_property WHERE uid = ? AND number = ?");
        find.bind(name.set, *number);
        return find.step() ? static_cast<std::uint16_t>(find.integer(0)) : 0;
    }
    Statement find = connection.prepare("SELECT id FROM named_property WHERE uid = ? AND name = ?");
    find.bind(name.set, std::get<std::string>(name.name));
    return find.step() ? static_cast<std::uint16_t>(find.integer(0)) : 0;
}

std::uint16_t makeName(Connection &connection, const PropertyName &name)
{
    std::int64_t id =
        connection.integer("SELECT IFNULL(max(id) + 1, " + std::to_string(kFirstName) + ") FROM named_property");
    if (id > kLastName)
        throw Error(Fault::TooBig, "The site has as many named properties as there can be.");
    Statement insert = connection.prepare("INSERT INTO named_property (id, uid, number, name) VALUES (?, ?, ?, ?)");
    auto number = std::get_if<std::int32_t>(&name.name);
    auto text = std::get_if<std::string>(&name.name);
    insert
        .bind(id, name.set, number ? std::optional(*number) : std::nullopt,
              text ? std::optional<std::string_view>(*text) : std::nullopt)
        .run();
    return static_cast<std::uint16_t>(id);
}

PropertyName nameFrom(const Statement &row, int first)
{
    PropertyName name{row.guid(first), {}};
    if (row.isNull(first + 1))
        name.name = row.text(first + 2);
    else
        name.name = row.integer32(first + 1);
    return name;
}

} // namespace

std::vector<std::uint16_t> Names::ids(const std::vector<PropertyName> &names, bool make)
{
    std::vector<std::uint16_t> ids;
    {
        Reader reader(m_site.database());
        for (const PropertyName &name : names)
            ids.push_back(findName(*reader, name));
    }
    if (!make || std::find(ids.begin(), ids.end(), 0) == ids.end())
        return ids;
    Writer writer(m_site.database());
    for (std::size_t i = 0; i < ids.size(); ++i)
        if (ids[i] == 0 && (ids[i] = findName(*writer, names[i])) == 0)
            ids[i] = makeName(*writer, names[i]);
    writer.commit();
    return ids;
}

std::vector<std::optional<PropertyName>> Names::names(const std::vector<std::uint16_t> &ids) const
{
    Reader reader(m_site.database());
    Statement find = reader->prepare("SELECT uid, number, name FROM named_property WHERE id = ?");
    std::vector<std::optional<PropertyName>> names;
    for (std::uint16_t id : ids) {
        find.bind(std::int64_t{id});
        names.push_back(find.step() ? std::optional(nameFrom(find, 0)) : std::nullopt);
        find.rewind();
    }
    return names;
}

std::vector<std::pair<std::uint16_t, PropertyName>> Names::all() const
{
    Reader reader(m_site.database());
    Statement rows = reader->prepare("SELECT id, uid, number, name FROM named_property ORDER BY id");
    std::vector<std::pair<std::uint16_t, PropertyName>> all;
    while (rows.step())
        all.emplace_back(static_cast<std::uint16_t>(rows.integer(0)), nameFrom(rows, 1));
    return all;
}

} // namespace localmapi::storage
