// A site: one file that holds directory, profiles and mailboxes. A Site is a light handle that is copied freely; any
// thread may use it, and several processes may have the same file open.
#pragma once
#include "localmapi/storage/Error.h"
#include "localmapi/storage/Value.h"
#include <functional>
#include <optional>

namespace localmapi::storage
{

class Database;

struct SiteInfo {
    std::string server;       // the server's name
    std::string organization; // the first part of every distinguished name
    Guid uid{};               // made with the file
};

// Hears how many pages of how many are copied.
using CopyProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

struct OpenOptions {
    bool readOnly = false;
    int busyTimeoutMs = 30000; // how long a writer waits for another one, in this process or another
    // Of a file of an older version, before it is brought to this one: see UpgradedFrom.
    bool keepsOldCopy = true;
    CopyProgress copying = {};
    // For a process that writes little: at its end it leaves a short log as it is, to whoever opens the site next,
    // where the last one otherwise writes it back, which takes syncs of its own.
    bool leavesShortLog = false;
};

class Site
{
  public:
    // Paths are UTF-8 on every system. create: Collision when the file is there.
    static Site Create(const std::string &path, const std::string &server, const std::string &organization,
                       const OpenOptions &options = {});
    static Site Open(const std::string &path, const OpenOptions &options = {});

    const std::string &Path() const;
    // The version that the file was of when it was opened, where that was an older one, and where a copy of it is that
    // can be opened by programs of that version: the file's name with ".format-" and the version, and a number where
    // that name was taken. Empty where none was to be kept.
    struct Former {
        std::int64_t version = 0;
        std::string copy;
    };
    const std::optional<Former> &UpgradedFrom() const;
    // Whether its path still names this file. Where it does not, every reading and writing throws Replaced, and what
    // was being written then is not to be found in the file that is there now.
    bool IsInPlace() const noexcept;
    SiteInfo Info() const;
    ChangeNumber GetChangeNumber() const; // of the last change; grows with every one

    Database &GetDatabase() const { return *m_database; } // for this layer only

  private:
    explicit Site(std::shared_ptr<Database> database) : m_database(std::move(database)) {}
    std::shared_ptr<Database> m_database;
};

// Named properties: one numbering for the whole site, from 0x8000 up.
struct PropertyName {
    Guid set{};
    std::variant<std::int32_t, std::string, NeverHeld> name; // number or text
    bool operator==(const PropertyName &) const = default;
};

class Names
{
  public:
    explicit Names(Site site) : m_site(std::move(site)) {}
    // The ids of names, in order; 0 for one that is unknown and not to be made.
    std::vector<std::uint16_t> Ids(const std::vector<PropertyName> &names, bool make);
    // The names of ids, in order; nothing where an id is not one of ours.
    std::vector<std::optional<PropertyName>> NamesOf(const std::vector<std::uint16_t> &ids) const;
    // Every name there is, with its id.
    std::vector<std::pair<std::uint16_t, PropertyName>> All() const;

  private:
    Site m_site;
};

} // namespace localmapi::storage
