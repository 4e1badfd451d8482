// Users, contacts and mailboxes: rows of the directory, and the folders that a new mailbox has.
#include "localmapi/storage/Directory.h"
#include "localmapi/storage/Database.h"
#include "localmapi/storage/Objects.h"
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

PropertyBag personBag(const std::string &name, const std::string &addressType, const std::string &address,
                      const std::string &smtp)
{
    return {{kDisplayName, name}, {kAddressType, addressType}, {kEmailAddress, address},
            {kSmtpAddress, smtp}, {kObjectType, kMailUser},    {kDisplayType, std::int32_t{0}}};
}

void requireFree(Writer &writer, const char *column, const std::string &value)
{
    Statement find = writer->prepare(std::string("SELECT 1 FROM person WHERE ") + column + " = ?");
    std::string key = foldCase(value);
    find.bind(key);
    if (find.step())
        throw Error(Fault::Collision, "'" + value + "' is in the directory already.");
}

void requireAddress(const std::string &smtp)
{
    if (!isSmtpAddress(smtp))
        throw Error(Fault::Invalid, "'" + smtp + "' is no mail address.");
}

User userFrom(const Statement &row)
{
    return {row.integer(0), row.text(1), row.text(2), row.text(3), row.text(4), row.integer(5) != 0, row.integer(6)};
}

Contact contactFrom(const Statement &row)
{
    return {row.integer(0), row.text(1), row.text(2)};
}

constexpr char kSelectUser[] = "SELECT p.id, p.alias, p.name, p.smtp, p.dn, p.service, m.id "
                               "FROM person p JOIN mailbox m ON m.owner = p.id ";
constexpr char kSelectContact[] = "SELECT id, name, smtp FROM person WHERE alias IS NULL ";

std::optional<User> findUser(const Site &site, const char *condition, const auto &value)
{
    Reader reader(site.database());
    Statement find = reader->prepare(std::string(kSelectUser) + condition);
    find.bind(value);
    return find.step() ? std::optional(userFrom(find)) : std::nullopt;
}

ObjectId addFolder(Writer &writer, ObjectId parent, const char *name, std::int32_t type, const char *containerClass)
{
    PropertyBag bag{{kDisplayName, std::string(name)}, {kFolderType, type}};
    if (*containerClass)
        bag.set(kContainerClass, std::string(containerClass));
    return insertFolder(writer, parent, bag);
}

ObjectId addMailbox(Writer &writer, const User &user)
{
    PropertyBag bag{{kDisplayName, "Mailbox - " + user.name}};
    ObjectId id = insertObject(writer, {ObjectKind::Mailbox}, bag);
    insertProperties(writer, id, ObjectKind::Mailbox, bag);
    ObjectId root = addFolder(writer, id, "Root", kFolderRoot, "");
    ObjectId subtree = addFolder(writer, root, "Top of Information Store", kFolderGeneric, "");
    auto add = [&](const char *name, const char *containerClass) {
        return addFolder(writer, subtree, name, kFolderGeneric, containerClass);
    };
    ObjectId inbox = add("Inbox", "IPF.Note");
    ObjectId outbox = add("Outbox", "IPF.Note");
    ObjectId sent = add("Sent Items", "IPF.Note");
    ObjectId deleted = add("Deleted Items", "IPF.Note");
    ObjectId calendar = add("Calendar", "IPF.Appointment");
    writer->prepare("INSERT INTO mailbox VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(id, user.id, root, subtree, inbox, outbox, sent, deleted, calendar)
        .run();
    return id;
}

std::string domainOf(const std::string &organization)
{
    std::string domain;
    for (char c : foldCase(organization))
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-')
            domain += c;
    return (domain.empty() ? "site" : domain) + ".example";
}

} // namespace

bool isSmtpAddress(std::string_view text)
{
    const std::size_t at = text.find('@');
    return at != text.npos && at > 0 && at + 1 < text.size() && text.find('@', at + 1) == text.npos &&
           text.find_first_of(" \t\r\n") == text.npos;
}

User Directory::addUser(const std::string &alias, const std::string &name, const std::string &smtp, bool service)
{
    if (alias.empty() || alias.find_first_of("/=@ \t\r\n") != alias.npos)
        throw Error(Fault::Invalid, "'" + alias +
                                        "' can't be an alias: it must not be empty nor hold blanks, '/', "
                                        "'=' or '@'.");
    if (!smtp.empty())
        requireAddress(smtp);
    SiteInfo site = m_site.info();
    User user;
    user.alias = alias;
    user.name = name.empty() ? alias : name;
    user.smtp = smtp.empty() ? foldCase(alias) + "@" + domainOf(site.organization) : smtp;
    user.dn = "/o=" + site.organization + "/ou=First Administrative Group/cn=Recipients/cn=" + alias;
    user.service = service;

    Writer writer(m_site.database());
    requireFree(writer, "alias_key", user.alias);
    requireFree(writer, "smtp_key", user.smtp);
    PropertyBag bag = personBag(user.name, "EX", user.dn, user.smtp);
    bag.set(kAccount, user.alias);
    user.id = insertObject(writer, {ObjectKind::User}, bag);
    insertProperties(writer, user.id, ObjectKind::User, bag);
    writer
        ->prepare("INSERT INTO person (id, alias, alias_key, name, smtp, smtp_key, dn, dn_key, service) "
                  "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(user.id, user.alias, foldCase(user.alias), user.name, user.smtp, foldCase(user.smtp), user.dn,
              foldCase(user.dn), user.service)
        .run();
    user.mailbox = addMailbox(writer, user);
    writer.commit();
    return user;
}

Contact Directory::addContact(const std::string &name, const std::string &smtp)
{
    if (name.empty())
        throw Error(Fault::Invalid, "A contact needs a name.");
    requireAddress(smtp);
    Writer writer(m_site.database());
    requireFree(writer, "smtp_key", smtp);
    PropertyBag bag = personBag(name, "SMTP", smtp, smtp);
    Contact contact{insertObject(writer, {ObjectKind::Contact}, bag), name, smtp};
    insertProperties(writer, contact.id, ObjectKind::Contact, bag);
    writer->prepare("INSERT INTO person (id, name, smtp, smtp_key) VALUES (?, ?, ?, ?)")
        .bind(contact.id, name, smtp, foldCase(smtp))
        .run();
    writer.commit();
    return contact;
}

std::vector<User> Directory::users() const
{
    Reader reader(m_site.database());
    Statement rows = reader->prepare(std::string(kSelectUser) + "ORDER BY p.alias_key");
    std::vector<User> users;
    while (rows.step())
        users.push_back(userFrom(rows));
    return users;
}

std::vector<Contact> Directory::contacts() const
{
    Reader reader(m_site.database());
    Statement rows = reader->prepare(std::string(kSelectContact) + "ORDER BY name COLLATE text_order, id");
    std::vector<Contact> contacts;
    while (rows.step())
        contacts.push_back(contactFrom(rows));
    return contacts;
}

std::optional<User> Directory::userByAlias(const std::string &alias) const
{
    return findUser(m_site, "WHERE p.alias_key = ?", foldCase(alias));
}

std::optional<User> Directory::userByDn(const std::string &dn) const
{
    return findUser(m_site, "WHERE p.dn_key = ?", foldCase(dn));
}

std::optional<User> Directory::userBySmtp(const std::string &smtp) const
{
    return findUser(m_site, "WHERE p.smtp_key = ?", foldCase(smtp));
}

std::optional<User> Directory::user(ObjectId id) const
{
    return findUser(m_site, "WHERE p.id = ?", id);
}

std::optional<Contact> Directory::contact(ObjectId id) const
{
    Reader reader(m_site.database());
    Statement find = reader->prepare(std::string(kSelectContact) + "AND id = ?");
    find.bind(id);
    return find.step() ? std::optional(contactFrom(find)) : std::nullopt;
}

Mailbox Directory::mailbox(ObjectId mailbox) const
{
    Reader reader(m_site.database());
    Statement find = reader->prepare("SELECT id, owner, root, ipm_subtree, inbox, outbox, sent_items, deleted_items, "
                                     "calendar FROM mailbox WHERE id = ?");
    find.bind(mailbox);
    if (!find.step())
        throw Error(Fault::NotFound, "There is no such mailbox.");
    return {find.integer(0), find.integer(1), find.integer(2), find.integer(3), find.integer(4),
            find.integer(5), find.integer(6), find.integer(7), find.integer(8)};
}

std::optional<ObjectId> Directory::mailboxOf(ObjectId object) const
{
    Reader reader(m_site.database());
    Statement find = reader->prepare("WITH RECURSIVE up (id, parent, kind) AS ("
                                     "SELECT id, parent, kind FROM object WHERE id = ? UNION ALL "
                                     "SELECT o.id, o.parent, o.kind FROM up JOIN object o ON o.id = up.parent) "
                                     "SELECT id FROM up WHERE kind = 1");
    find.bind(object);
    return find.step() ? std::optional(find.integer(0)) : std::nullopt;
}

bool Directory::mayOpen(ObjectId user, ObjectId mailbox) const
{
    Reader reader(m_site.database());
    Statement find = reader->prepare("SELECT 1 FROM person p, mailbox m WHERE p.id = ? AND m.id = ? "
                                     "AND (p.service OR m.owner = p.id)");
    find.bind(user, mailbox);
    return find.step();
}

} // namespace localmapi::storage
