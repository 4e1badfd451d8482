// A client of an IMAP server, as far as servers are measured by it: one connection to this machine, one command after
// the other. It looks for the end of an answer and copies it, nothing else. One thread at a time.
#pragma once
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace bench
{

struct ImapMessage {
    std::string flags; // "\\Seen \\Flagged", as they stand in the command
    std::string date;  // when it arrived, "22-Nov-2026 10:00:00 +0000"
    std::string text;
};

class ImapClient
{
  public:
    ImapClient(std::uint16_t port, const std::string &user); // logs in; this and all that follows: std::runtime_error
    ~ImapClient();
    ImapClient(const ImapClient &) = delete;
    ImapClient &operator=(const ImapClient &) = delete;

    // What the server answers, up to the line with its OK.
    std::string Command(const std::string &text);
    // The same of several commands that are sent together.
    std::string Commands(const std::vector<std::string> &texts);
    // All of them in one command.
    void Append(const std::string &mailbox, const std::vector<ImapMessage> &messages);

    void BeginIdle(); // returns when the server has begun to watch
    bool AwaitExists(std::chrono::milliseconds longest);
    void EndIdle();

  private:
    std::string NextTag() { return "t" + std::to_string(++m_tags) + " "; }
    void Send(const std::string &bytes) const;
    std::string Await(const std::string &tag);
    std::string ReadLine(); // with the literals in it, and without its end
    bool Fill(std::chrono::milliseconds longest);

    int m_socket = -1;
    std::string m_in;
    std::size_t m_at = 0; // of what was read, how much was taken
    std::uint64_t m_tags = 0;
    std::string m_idle;
};

} // namespace bench
