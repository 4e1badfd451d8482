// Users, contacts and mailboxes: rows of the directory, and the folders that a new mailbox has.
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/NameIndex.h"
#include "localmapi/storage/Properties.h"
#include "localmapi/storage/Text.h"
#include <algorithm>

namespace localmapi::storage
{

namespace
{

constexpr Tag kObjectType = 0x0FFE0003;
constexpr Tag kDisplayType = 0x39000003;
constexpr Tag kContainerClass = 0x3613001F;
constexpr Tag kFolderType = 0x36010003;
constexpr std::int32_t kMailUser = 6, kFolderRoot = 0, kFolderGeneric = 1;

PropertyBag PersonBag(const std::string &name, const std::string &addressType, const std::string &address,
                      const std::string &smtp)
{
    return {{kDisplayName, name}, {kAddressType, addressType}, {kEmailAddress, address},
            {kSmtpAddress, smtp}, {kObjectType, kMailUser},    {kDisplayType, std::int32_t{0}}};
}

void RequireFree(Writer &writer, const char *column, const std::string &value)
{
    Statement find = writer->Prepare(std::string("SELECT 1 FROM person WHERE ") + column + " = ?");
    std::string key = FoldCase(value);
    find.Bind(key);
    if (find.Step())
        throw Error(Fault::Collision, "'" + value + "' is in the directory already.");
}

void RequireAddress(const std::string &smtp)
{
    if (!IsSmtpAddress(smtp))
        throw Error(Fault::Invalid, "'" + smtp + "' is no mail address.");
}

User UserFrom(const Statement &row)
{
    return {row.Integer(0), row.Text(1), row.Text(2), row.Text(3), row.Text(4), row.Integer(5) != 0, row.Integer(6)};
}

Contact ContactFrom(const Statement &row)
{
    return {row.Integer(0), row.Text(1), row.Text(2)};
}

constexpr char kSelectUser[] = "SELECT p.id, p.alias, p.name, p.smtp, p.dn, p.service, m.id "
                               "FROM person p JOIN mailbox m ON m.owner = p.id ";
constexpr char kSelectContact[] = "SELECT id, name, smtp FROM person WHERE alias IS NULL ";

std::optional<User> FindUser(const Site &site, const char *condition, const auto &value)
{
    Reader reader(site.GetDatabase());
    Statement find = reader->Prepare(std::string(kSelectUser) + condition);
    find.Bind(value);
    return find.Step() ? std::optional(UserFrom(find)) : std::nullopt;
}

ObjectId AddFolder(Writer &writer, ObjectId parent, const char *name, std::int32_t type, const char *containerClass)
{
    PropertyBag bag{{kDisplayName, std::string(name)}, {kFolderType, type}};
    if (*containerClass)
        bag.Set(kContainerClass, std::string(containerClass));
    return InsertFolder(writer, parent, bag);
}

ObjectId AddMailbox(Writer &writer, const User &user)
{
    PropertyBag bag{{kDisplayName, "Mailbox - " + user.name}};
    ObjectId id = InsertObject(writer, {ObjectKind::Mailbox}, bag);
    InsertProperties(writer, id, ObjectKind::Mailbox, bag);
    ObjectId root = AddFolder(writer, id, "Root", kFolderRoot, "");
    ObjectId subtree = AddFolder(writer, root, "Top of Information Store", kFolderGeneric, "");
    auto add = [&](const char *name, const char *containerClass) {
        return AddFolder(writer, subtree, name, kFolderGeneric, containerClass);
    };
    ObjectId inbox = add("Inbox", "IPF.Note");
    ObjectId outbox = add("Outbox", "IPF.Note");
    ObjectId sent = add("Sent Items", "IPF.Note");
    ObjectId deleted = add("Deleted Items", "IPF.Note");
    ObjectId calendar = add("Calendar", "IPF.Appointment");
    writer
        ->Prepare("INSERT INTO mailbox (id, owner, root, ipm_subtree, inbox, outbox, sent_items, deleted_items, "
                  "calendar) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .Bind(id, user.id, root, subtree, inbox, outbox, sent, deleted, calendar)
        .Run();
    return id;
}

std::string DomainOf(const std::string &organization)
{
    std::string domain;
    for (char c : FoldCase(organization))
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-')
            domain += c;
    return (domain.empty() ? "site" : domain) + ".example";
}

} // namespace

bool IsSmtpAddress(std::string_view text)
{
    const std::size_t at = text.find('@');
    return at != text.npos && at > 0 && at + 1 < text.size() && text.find('@', at + 1) == text.npos &&
           text.find_first_of(" \t\r\n") == text.npos;
}

User Directory::AddUser(const std::string &alias, const std::string &name, const std::string &smtp, bool service)
{
    if (alias.empty() || alias.find_first_of("/=@ \t\r\n") != alias.npos)
        throw Error(Fault::Invalid, "'" + alias +
                                        "' can't be an alias: it must not be empty nor hold blanks, '/', "
                                        "'=' or '@'.");
    if (!smtp.empty())
        RequireAddress(smtp);
    SiteInfo site = m_site.Info();
    User user;
    user.alias = alias;
    user.name = name.empty() ? alias : name;
    user.smtp = smtp.empty() ? FoldCase(alias) + "@" + DomainOf(site.organization) : smtp;
    user.dn = "/o=" + site.organization + "/ou=First Administrative Group/cn=Recipients/cn=" + alias;
    user.service = service;

    Writer writer(m_site.GetDatabase());
    RequireFree(writer, "alias_key", user.alias);
    RequireFree(writer, "smtp_key", user.smtp);
    PropertyBag bag = PersonBag(user.name, "EX", user.dn, user.smtp);
    bag.Set(kAccount, user.alias);
    user.id = InsertObject(writer, {ObjectKind::User}, bag);
    InsertProperties(writer, user.id, ObjectKind::User, bag);
    writer
        ->Prepare("INSERT INTO person (id, alias, alias_key, name, smtp, smtp_key, dn, dn_key, service) "
                  "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .Bind(user.id, user.alias, FoldCase(user.alias), user.name, user.smtp, FoldCase(user.smtp), user.dn,
              FoldCase(user.dn), user.service)
        .Run();
    IndexNames(*writer, user.id, {user.name, user.alias, user.smtp});
    user.mailbox = AddMailbox(writer, user);
    writer.Commit();
    return user;
}

Contact Directory::AddContact(const std::string &name, const std::string &smtp)
{
    if (name.empty())
        throw Error(Fault::Invalid, "A contact needs a name.");
    RequireAddress(smtp);
    Writer writer(m_site.GetDatabase());
    RequireFree(writer, "smtp_key", smtp);
    PropertyBag bag = PersonBag(name, "SMTP", smtp, smtp);
    Contact contact{InsertObject(writer, {ObjectKind::Contact}, bag), name, smtp};
    InsertProperties(writer, contact.id, ObjectKind::Contact, bag);
    writer->Prepare("INSERT INTO person (id, name, smtp, smtp_key) VALUES (?, ?, ?, ?)")
        .Bind(contact.id, name, smtp, FoldCase(smtp))
        .Run();
    IndexNames(*writer, contact.id, {name, smtp});
    writer.Commit();
    return contact;
}

std::vector<User> Directory::Users() const
{
    Reader reader(m_site.GetDatabase());
    Statement rows = reader->Prepare(std::string(kSelectUser) + "ORDER BY p.alias_key");
    std::vector<User> users;
    while (rows.Step())
        users.push_back(UserFrom(rows));
    return users;
}

std::vector<Contact> Directory::Contacts() const
{
    Reader reader(m_site.GetDatabase());
    Statement rows = reader->Prepare(std::string(kSelectContact) + "ORDER BY name COLLATE text_order, id");
    std::vector<Contact> contacts;
    while (rows.Step())
        contacts.push_back(ContactFrom(rows));
    return contacts;
}

std::optional<User> Directory::UserByAlias(const std::string &alias) const
{
    return FindUser(m_site, "WHERE p.alias_key = ?", FoldCase(alias));
}

std::optional<User> Directory::UserByDn(const std::string &dn) const
{
    return FindUser(m_site, "WHERE p.dn_key = ?", FoldCase(dn));
}

std::optional<User> Directory::UserBySmtp(const std::string &smtp) const
{
    return FindUser(m_site, "WHERE p.smtp_key = ?", FoldCase(smtp));
}

std::optional<User> Directory::GetUser(ObjectId id) const
{
    return FindUser(m_site, "WHERE p.id = ?", id);
}

std::optional<Contact> Directory::GetContact(ObjectId id) const
{
    Reader reader(m_site.GetDatabase());
    Statement find = reader->Prepare(std::string(kSelectContact) + "AND id = ?");
    find.Bind(id);
    return find.Step() ? std::optional(ContactFrom(find)) : std::nullopt;
}

Mailbox Directory::GetMailbox(ObjectId mailbox) const
{
    Reader reader(m_site.GetDatabase());
    Statement find = reader->Prepare("SELECT id, owner, root, ipm_subtree, inbox, outbox, sent_items, deleted_items, "
                                     "calendar FROM mailbox WHERE id = ?");
    find.Bind(mailbox);
    if (!find.Step())
        throw Error(Fault::NotFound, "There is no such mailbox.");
    return {find.Integer(0), find.Integer(1), find.Integer(2), find.Integer(3), find.Integer(4),
            find.Integer(5), find.Integer(6), find.Integer(7), find.Integer(8)};
}

std::optional<ObjectId> Directory::MailboxOf(ObjectId object) const
{
    Reader reader(m_site.GetDatabase());
    return MailboxOfObject(*reader, object);
}

std::optional<ObjectInfo> Directory::FindIn(ObjectId mailbox, ObjectId object) const
{
    Reader reader(m_site.GetDatabase());
    const std::optional<ObjectRow> row = FindObject(*reader, object);
    return row && MailboxOfObject(*reader, object) == mailbox ? std::optional(row->info) : std::nullopt;
}

bool Directory::MayOpen(ObjectId user, ObjectId mailbox) const
{
    Reader reader(m_site.GetDatabase());
    Statement find = reader->Prepare("SELECT 1 FROM person p, mailbox m WHERE p.id = ? AND m.id = ? "
                                     "AND (p.service OR m.owner = p.id)");
    find.Bind(user, mailbox);
    return find.Step();
}

} // namespace localmapi::storage
