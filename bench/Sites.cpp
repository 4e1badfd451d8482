// Sites are filled under another name and take their own when they are complete; a host's session on one.
#include "Sites.h"
#include "localmapi/delivery/Compose.h"
#include "localmapi/delivery/Fill.h"
#include "localmapi/storage/Profiles.h"
#include "localmapi/storage/Time.h"
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>

namespace bench
{

namespace
{

namespace storage = localmapi::storage;

storage::User NewSite(const std::string &path)
{
    for (const char *suffix : {"", "-wal", "-shm", "-reserve"})
        std::filesystem::remove(path + suffix);
    storage::Site site = storage::Site::Create(path, "NORVIK1", "Norvik");
    storage::Directory directory(site);
    directory.AddUser("vm", "Voicemail Service", "", true);
    return directory.AddUser("alice", "Alice Archer");
}

void Require(HRESULT hr, const char *what)
{
    if (hr < 0) {
        char text[64] = "";
        OrlGetErrorTextA(0, hr, text, sizeof text);
        throw std::runtime_error(std::string(what) + ": " + text);
    }
}

} // namespace

const std::string &SiteWith(std::uint64_t messages)
{
    static std::map<std::uint64_t, std::string> sites;
    std::string &path = sites[messages];
    if (!path.empty())
        return path;
    path = "site-" + std::to_string(messages) + ".db";
    if (std::filesystem::exists(path))
        return path;
    std::fprintf(stderr, "making %s\n", path.c_str());
    const std::string making = path + ".new";
    {
        const storage::User alice = NewSite(making);
        localmapi::delivery::Fill(storage::Site::Open(making), alice, messages, {}, localmapi::storage::CurrentTime());
    }
    PutInPlace(making, path);
    return path;
}

void PutInPlace(const std::string &making, const std::string &path)
{
    std::filesystem::rename(making, path);
    std::filesystem::remove(making + "-reserve");
}

std::string MakeSite(const std::string &path)
{
    NewSite(path);
    return path;
}

std::string SiteWithRecording(const std::string &wav)
{
    const std::string path = "site-recording.db";
    const storage::User alice = NewSite(path);
    storage::Site site = storage::Site::Open(path);
    localmapi::delivery::Voicemail voicemail;
    voicemail.number = "+15550100";
    storage::MessageChanges message = Compose(voicemail, alice, localmapi::storage::CurrentTime());
    localmapi::delivery::Attach(message, wav, "audio/wav");
    storage::Objects(site).CreateMessage(storage::Directory(site).GetMailbox(alice.mailbox).inbox, message);
    return path;
}

std::string SiteForSending()
{
    const std::string path = "site-sending.db";
    NewSite(path);
    storage::Directory(storage::Site::Open(path)).AddUser("bob", "Bob Baker");
    return path;
}

std::string SiteWithUsers(int users)
{
    const std::string path = "site-users-" + std::to_string(users) + ".db";
    if (std::filesystem::exists(path))
        return path;
    std::fprintf(stderr, "making %s\n", path.c_str());
    const std::string making = path + ".new";
    NewSite(making);
    {
        storage::Directory directory(storage::Site::Open(making));
        for (int i = 0; i < users; ++i)
            directory.AddUser("user" + std::to_string(i), "User Number " + std::to_string(i));
    }
    PutInPlace(making, path);
    return path;
}

HostSession::HostSession(const std::string &site)
{
    setenv("LOCALMAPI_FILE", std::filesystem::absolute(site).c_str(), 1);
    Require(OrlCreateConnection(&m_connection, 0), "creating a connection");
    Require(OrlMapiConnectA(m_connection, "NORVIK1", "vm", ""), "logging on");
    Require(OrlMapiConnectToMailboxA(m_connection, &m_mailbox, "alice"), "opening the mailbox");
}

HostSession::~HostSession()
{
    OrlMapiDisconnectFromMailbox(m_connection, m_mailbox);
    OrlMapiDisconnect(m_connection);
    OrlCloseConnection(&m_connection);
}

} // namespace bench
