// What is asked of a store of messages, so that several can be measured side by side. Each holds the same messages in
// one Inbox. One thread at a time, senders aside.
#pragma once
#include <cstdint>
#include <memory>
#include <string>

namespace bench
{

// Of the voice mails in the Inbox.
struct VoiceCounts {
    std::uint64_t unread = 0, unreadUrgent = 0, read = 0;
    bool operator==(const VoiceCounts &) const = default;
};

// How a page is come by, where there are several ways.
enum class Order {
    Sent,   // by the time of sending
    Arrived // in the order of arrival, which an IMAP server has for nothing
};

// One client who puts messages with 200 KB into a mailbox of his own; a thread of his own may call it.
class Sender
{
  public:
    virtual ~Sender() = default;
    virtual void Send() = 0; // returns when it is durable
};

// Everything throws std::runtime_error.
class Peer
{
  public:
    virtual ~Peer() = default;
    virtual void Nothing() = 0; // what a question costs by itself
    virtual VoiceCounts Count() = 0;
    virtual std::size_t Page(Order order) = 0; // of 10 unread urgent voice mails; how many came
    virtual std::size_t Headers() = 0;         // of 1,000 messages; how many came
    virtual void Mark(bool read) = 0;          // always the same message
    virtual std::unique_ptr<Sender> NewSender(int number) = 0;
    virtual std::int64_t Notice() = 0; // from asking for a short message's sending until who watches the mailbox hears
};

constexpr int kSenders = 16;
constexpr std::size_t kPage = 10, kHeaders = 1000, kRecording = 200 * 1024;

// localmapi through the library's exports, on a site in the working folder with so many messages, made anew.
std::unique_ptr<Peer> MakeOurs(std::uint64_t messages);
// An IMAP server on this machine, which is given the messages of that site unless it has as many.
std::unique_ptr<Peer> MakeImapPeer(std::uint16_t port, std::uint64_t messages);

std::string SiteOfPeers(std::uint64_t messages);
// What the second process does: "orlmapi_peers --send SITE".
int SendWhenTold(const std::string &site);

} // namespace bench
