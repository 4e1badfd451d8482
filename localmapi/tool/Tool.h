// What the tool's commands share: their options, the site they work on, how they print and fail.
#pragma once
#include "localmapi/storage/Directory.h"
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace localmapi::tool
{

// Exit status 1: it could not be done.
class Failure : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

struct Common {
    std::string file; // --file; empty: as every MAPI client finds it
    bool json = false;
};

storage::Site OpenSite(const Common &common, bool readOnly = false);
// For a command that makes one small change: it takes no more syncs than that needs.
storage::Site OpenSiteForOneChange(const Common &common);
storage::User UserNamed(const storage::Site &site, const std::string &alias); // Failure where there is none

// "hello.wav: No such file or directory"
std::string FileError(const std::string &file, const std::exception &error);

// "817 bytes", "24.1 MB"
std::string SizeText(std::int64_t bytes);
// Of "500KB", "200MB" or "2GB"; nothing for "none". Misuse for anything else.
std::optional<std::int64_t> SizeFrom(const std::string &text);

// "2026-11-21T08:15:30Z" of a stored time, in whatever year.
std::string IsoTime(std::int64_t ticks);

void PrintLine(const std::string &line);
void PrintJson(const nlohmann::ordered_json &document);

// On a terminal, for what takes longer than a second: "12000 of 1000000 messages", written over itself.
class Progress
{
  public:
    Progress(std::string unit, std::uint64_t total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    void At(std::uint64_t done);

  private:
    std::string m_unit;
    std::uint64_t m_total;
    std::int64_t m_started;
    bool m_shown = false;
};

// Of work that tells by itself of what it is, and how much.
class Shown
{
  public:
    void At(const std::string &unit, std::uint64_t done, std::uint64_t total)
    {
        if (!m_progress || m_unit != unit) {
            m_progress.emplace(unit, total);
            m_unit = unit;
        }
        m_progress->At(done);
    }

  private:
    std::string m_unit;
    std::optional<Progress> m_progress;
};

struct UserOptions {
    std::string alias, name, smtp, quota;
    bool service = false;
};

struct PurgeOptions {
    std::string user; // empty: everybody
    bool deletedOnly = false, dryRun = false;
    std::int32_t days = 0;
};

struct DeliverOptions {
    std::string to, from, subject, body, bodyFile, wav, number, name, creator;
    std::vector<std::string> attachments;
    std::int32_t seconds = -1; // -1: as the recording tells
    bool urgent = false, isPrivate = false;
};

struct FillOptions {
    std::string user;
    std::uint64_t count = 0;
    std::vector<std::string> mix;
};

// group: who may use the site beside its owner; empty: nobody.
// Makes a site, in a folder for this account or also for the group where one is named; where it was made.
std::string MakeSite(const Common &common, const std::string &server, const std::string &organization,
                     const std::string &group);
void MakeSample(const Common &common);
void InitSite(const Common &common, const std::string &server, const std::string &organization,
              const std::string &group);
void AddUser(const Common &common, const UserOptions &options);
void ListUsers(const Common &common);
void AddContact(const Common &common, const std::string &name, const std::string &smtp);
void CheckSite(const Common &common, bool repair);
void UpgradeSite(const Common &common, bool keepsOldCopy);
void BackUpSite(const Common &common, const std::string &file);
void RestoreSite(const Common &common, const std::string &file);

// size: "200MB", "none"; empty: tells what it is.
void SetUserQuota(const Common &common, const std::string &alias, const std::string &size);
void ShowInfo(const Common &common);
// How long others may have to wait at most; 0: however long it takes.
void CompactSite(const Common &common, std::int32_t longest);
void PurgeMessages(const Common &common, const PurgeOptions &options);

void AddProfile(const Common &common, const std::string &name, const std::string &user, bool makeDefault);
void ListProfiles(const Common &common);
void RemoveProfile(const Common &common, const std::string &name);

void DeliverVoicemail(const Common &common, const DeliverOptions &options);
void DeliverMail(const Common &common, const DeliverOptions &options);
void DeliverFax(const Common &common, const DeliverOptions &options);
void FillMailbox(const Common &common, const FillOptions &options);
void ListFolder(const Common &common, const std::string &user, const std::string &folder);

// Windows: the default mail client. Elsewhere there is none, and they say so.
void RegisterMailClient(const Common &common);
void UnregisterMailClient(const Common &common);

} // namespace localmapi::tool
