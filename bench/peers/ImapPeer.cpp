// An IMAP server with the messages of a site: what filters ask for are flags and keywords there, the cheapest that it
// has.
#include "ImapClient.h"
#include "MailText.h"
#include "Peer.h"
#include "Watching.h"
#include <charconv>
#include <future>
#include <sstream>
#include <stdexcept>

namespace bench
{

namespace
{

constexpr std::size_t kBatch = 500;
const std::string kUrgentVoice = "UNSEEN FLAGGED KEYWORD " + std::string(kVoicemailKeyword);
// The header's fields that a listing shows; both servers keep them beside the messages.
const std::string kFields =
    "(UID FLAGS INTERNALDATE RFC822.SIZE ENVELOPE BODY.PEEK[HEADER.FIELDS (X-CallingTelephoneNumber "
    "X-VoiceMessageDuration X-VoiceMessageSenderName)])";

// The numbers behind a word: "* SEARCH 3 5 8".
std::vector<std::uint64_t> NumbersAfter(const std::string &answer, const std::string &word)
{
    const std::size_t at = answer.find(word);
    std::vector<std::uint64_t> numbers;
    if (at == answer.npos)
        return numbers;
    std::istringstream words(answer.substr(at + word.size(), answer.find('\n', at) - at - word.size()));
    for (std::uint64_t number; words >> number;)
        numbers.push_back(number);
    return numbers;
}

std::size_t Occurrences(const std::string &text, const std::string &word)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(word); at != text.npos; at = text.find(word, at + word.size()))
        ++count;
    return count;
}

void MakeInbox(ImapClient &client)
{
    try {
        client.Command("CREATE INBOX");
    } catch (const std::runtime_error &) {
        // It is there.
    }
}

class ImapSender final : public Sender
{
  public:
    ImapSender(std::uint16_t port, int number) : m_client(port, "r" + std::to_string(number))
    {
        MakeInbox(m_client);
        m_messages = {LongMessage(kRecording)};
    }
    void Send() override { m_client.Append("INBOX", m_messages); }

  private:
    ImapClient m_client;
    std::vector<ImapMessage> m_messages;
};

class ImapPeer final : public Peer
{
  public:
    ImapPeer(std::uint16_t port, std::uint64_t messages)
        : m_port(port), m_mailbox("INBOX.m" + std::to_string(messages)), m_client(port, "alice"), m_watching(port, "w"),
          m_sending(port, "w")
    {
        MakeInbox(m_client);
        MakeInbox(m_watching);
        if (Held() != messages)
            FillFrom(SiteOfPeers(messages));
        m_client.Command("SELECT " + m_mailbox);
        m_watching.Command("SELECT INBOX");
        const auto unread = NumbersAfter(m_client.Command("UID SEARCH UNSEEN UNFLAGGED"), "* SEARCH");
        if (unread.empty())
            throw std::runtime_error("there is no unread message");
        m_marked = unread.front();
    }

    void Nothing() override { m_client.Command("NOOP"); }

    VoiceCounts Count() override
    {
        const std::string counted = "SEARCH RETURN (COUNT) KEYWORD " + std::string(kVoicemailKeyword);
        const std::string answer =
            m_client.Commands({counted + " UNSEEN", counted + " UNSEEN FLAGGED", counted + " SEEN"});
        std::uint64_t counts[3] = {};
        std::size_t at = 0;
        for (std::uint64_t &count : counts) {
            at = answer.find("COUNT ", at);
            if (at == answer.npos)
                throw std::runtime_error("the server does not count: " + answer);
            at += 6;
            std::from_chars(answer.data() + at, answer.data() + answer.size(), count);
        }
        return {counts[0], counts[1], counts[2]};
    }

    std::size_t Page(Order order) override
    {
        const bool sort = order == Order::Sent;
        auto found = NumbersAfter(m_client.Command((sort ? "UID SORT (DATE) UTF-8 " : "UID SEARCH ") + kUrgentVoice),
                                  sort ? "* SORT" : "* SEARCH");
        found.resize(std::min(found.size(), kPage));
        std::string set;
        for (const std::uint64_t one : found)
            set += (set.empty() ? "" : ",") + std::to_string(one);
        return Rows(m_client.Command("UID FETCH " + set + " " + kFields));
    }

    std::size_t Headers() override
    {
        return Rows(m_client.Command("FETCH 1:" + std::to_string(kHeaders) + " " + kFields));
    }

    void Mark(bool read) override
    {
        m_client.Command("UID STORE " + std::to_string(m_marked) + (read ? " +" : " -") + "FLAGS (\\Seen)");
    }

    std::unique_ptr<Sender> NewSender(int number) override { return std::make_unique<ImapSender>(m_port, number); }

    std::int64_t Notice() override
    {
        m_watching.BeginIdle();
        const std::int64_t called = Nanoseconds();
        std::future<void> sent = std::async(std::launch::async, [&] { m_sending.Append("INBOX", {LongMessage(0)}); });
        const bool heard = m_watching.AwaitExists(std::chrono::minutes(2));
        const std::int64_t when = Nanoseconds();
        sent.get();
        m_watching.EndIdle();
        if (!heard)
            throw std::runtime_error("nobody was told of a message");
        return when - called;
    }

  private:
    static std::size_t Rows(const std::string &answer) { return Occurrences(answer, " FETCH ("); }

    // 0 also where there is no such mailbox.
    std::uint64_t Held()
    {
        try {
            const auto held = NumbersAfter(m_client.Command("STATUS " + m_mailbox + " (MESSAGES)"), "(MESSAGES ");
            return held.empty() ? 0 : held.front();
        } catch (const std::runtime_error &) {
            return 0;
        }
    }

    void FillFrom(const std::string &site)
    {
        try {
            m_client.Command("DELETE " + m_mailbox);
        } catch (const std::runtime_error &) {
            // There was none.
        }
        m_client.Command("CREATE " + m_mailbox);
        ReadMail(site, kBatch, [&](const std::vector<ImapMessage> &batch) { m_client.Append(m_mailbox, batch); });
    }

    const std::uint16_t m_port;
    const std::string m_mailbox;
    ImapClient m_client, m_watching, m_sending;
    std::uint64_t m_marked = 0;
};

} // namespace

std::unique_ptr<Peer> MakeImapPeer(std::uint16_t port, std::uint64_t messages)
{
    return std::make_unique<ImapPeer>(port, messages);
}

} // namespace bench
