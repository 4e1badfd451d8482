// Sites to measure on, made once and kept in the working folder, and a host's session on one.
#pragma once
#include "OrlMapi32.h"
#include <cstdint>
#include <string>

namespace bench
{

// A site whose user alice has so many messages of every kind in her Inbox. Kept between runs.
const std::string &SiteWith(std::uint64_t messages);

// A new site whose user alice has no messages; its path.
std::string MakeSite(const std::string &path);
// Gives a site that is complete its own name; what was set aside for it beside the file is made anew there.
void PutInPlace(const std::string &making, const std::string &path);

// A site whose user alice has one voice mail with a recording of this file's bytes.
std::string SiteWithRecording(const std::string &wav);

// A site whose user alice has an empty mailbox, and bob another one. Made anew.
std::string SiteForSending();

// A site with alice and this many others, user0 and so on. Kept between runs.
std::string SiteWithUsers(int users);

// Sends voice mails with this file as their recording until the time is over; prints how many, and the syncs of this
// process. The exit status.
int SendFor(const std::string &site, const std::string &file, int seconds);

class HostSession
{
  public:
    explicit HostSession(const std::string &site); // throws std::runtime_error
    ~HostSession();
    HostSession(const HostSession &) = delete;
    HostSession &operator=(const HostSession &) = delete;
    DWORD GetConnection() const { return m_connection; }
    OrlMailbox GetMailbox() const { return m_mailbox; }

  private:
    DWORD m_connection = 0;
    OrlMailbox m_mailbox = 0;
};

} // namespace bench
