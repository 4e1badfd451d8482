// The people of a site: users, each with a mailbox, and contacts, who have an address elsewhere. As objects they have
// properties (see Tags.h), so an address book table is a View of Kind::Directory.
#pragma once
#include "localmapi/storage/Objects.h"

namespace localmapi::storage
{

struct Mailbox {
    ObjectId id = 0; // the store itself; its own properties lie here
    ObjectId owner = 0;
    ObjectId root = 0, ipmSubtree = 0, inbox = 0, outbox = 0, sentItems = 0, deletedItems = 0, calendar = 0;
};

struct User {
    ObjectId id = 0;
    std::string alias, name, smtp;
    std::string dn;       // "/o=<Org>/ou=First Administrative Group/cn=Recipients/cn=<alias>"
    bool service = false; // a service account may open every mailbox
    ObjectId mailbox = 0;
};

struct Contact {
    ObjectId id = 0;
    std::string name, smtp;
};

// One '@' with something on either side, and no blanks.
bool IsSmtpAddress(std::string_view text);

class Directory
{
  public:
    explicit Directory(Site site) : m_site(std::move(site)) {}

    // An empty SMTP address becomes alias@<organization>.example in lower case. Collision on a known alias or address,
    // Invalid for what is no alias or no address.
    User AddUser(const std::string &alias, const std::string &name, const std::string &smtp = {}, bool service = false);
    Contact AddContact(const std::string &name, const std::string &smtp);

    std::vector<User> Users() const;       // by alias
    std::vector<Contact> Contacts() const; // by name
    // Aliases, distinguished names and addresses are compared without regard to case.
    std::optional<User> UserByAlias(const std::string &alias) const;
    std::optional<User> UserByDn(const std::string &dn) const;
    std::optional<User> UserBySmtp(const std::string &smtp) const;
    std::optional<User> GetUser(ObjectId id) const;
    std::optional<Contact> GetContact(ObjectId id) const;

    Mailbox GetMailbox(ObjectId mailbox) const; // NotFound
    // The mailbox that a folder, message, ... lies in; nothing for an object that lies in none.
    std::optional<ObjectId> MailboxOf(ObjectId object) const;
    // What an object is, where it lies in that mailbox.
    std::optional<ObjectInfo> FindIn(ObjectId mailbox, ObjectId object) const;
    // The owner, and every service account.
    bool MayOpen(ObjectId user, ObjectId mailbox) const;

  private:
    Site m_site;
};

} // namespace localmapi::storage
