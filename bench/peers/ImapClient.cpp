// The socket and the looking for the ends of answers; what waits is a poll with a limit.
#include "ImapClient.h"
#include <arpa/inet.h>
#include <charconv>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace bench
{

namespace
{

constexpr std::chrono::minutes kPatience{10};

// "... {123}": that many bytes follow the line.
std::optional<std::size_t> LiteralAfter(const std::string &line)
{
    const std::size_t open = line.rfind('{');
    if (line.empty() || line.back() != '}' || open == line.npos)
        return std::nullopt;
    std::size_t size = 0;
    const char *end = line.data() + line.size() - 1;
    const auto [stop, error] = std::from_chars(line.data() + open + 1, end, size);
    return error == std::errc() && stop == end ? std::optional(size) : std::nullopt;
}

} // namespace

ImapClient::ImapClient(std::uint16_t port, const std::string &user) : m_socket(socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int yes = 1;
    setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    try {
        if (connect(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
            throw std::runtime_error("nobody answers at port " + std::to_string(port));
        ReadLine();
        Command("LOGIN " + user + " secret");
    } catch (...) {
        close(m_socket);
        throw;
    }
}

ImapClient::~ImapClient()
{
    close(m_socket);
}

std::string ImapClient::Command(const std::string &text)
{
    const std::string tag = NextTag();
    Send(tag + text + "\r\n");
    return Await(tag);
}

std::string ImapClient::Commands(const std::vector<std::string> &texts)
{
    std::string sent, answer;
    std::vector<std::string> tags;
    for (const std::string &text : texts) {
        tags.push_back(NextTag());
        sent += tags.back() + text + "\r\n";
    }
    Send(sent);
    for (const std::string &tag : tags)
        answer += Await(tag);
    return answer;
}

void ImapClient::Append(const std::string &mailbox, const std::vector<ImapMessage> &messages)
{
    const std::string tag = NextTag();
    std::string sent = tag + "APPEND " + mailbox;
    for (const ImapMessage &message : messages)
        sent += " (" + message.flags + ") \"" + message.date + "\" {" + std::to_string(message.text.size()) + "+}\r\n" +
                message.text;
    Send(sent + "\r\n");
    Await(tag);
}

void ImapClient::BeginIdle()
{
    m_idle = NextTag();
    Send(m_idle + "IDLE\r\n");
    while (ReadLine().front() != '+') {
    }
}

bool ImapClient::AwaitExists(std::chrono::milliseconds longest)
{
    for (;;) {
        if (m_in.find("\r\n", m_at) == m_in.npos && !Fill(longest))
            return false;
        if (ReadLine().ends_with(" EXISTS"))
            return true;
    }
}

void ImapClient::EndIdle()
{
    Send("DONE\r\n");
    Await(m_idle);
}

void ImapClient::Send(const std::string &bytes) const
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = send(m_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            throw std::runtime_error("the server takes no more");
        sent += static_cast<std::size_t>(count);
    }
}

std::string ImapClient::Await(const std::string &tag)
{
    std::string answer;
    for (;;) {
        const std::string line = ReadLine();
        if (line.starts_with(tag + "OK"))
            return answer;
        if (line.starts_with(tag))
            throw std::runtime_error("the server answers: " + line);
        answer += line + "\n";
    }
}

std::string ImapClient::ReadLine()
{
    std::string line;
    for (;;) {
        std::size_t end;
        while ((end = m_in.find("\r\n", m_at)) == m_in.npos)
            if (!Fill(kPatience))
                throw std::runtime_error("the server is silent");
        line.append(m_in, m_at, end - m_at);
        m_at = end + 2;
        const auto literal = LiteralAfter(line);
        if (!literal)
            return line;
        while (m_in.size() - m_at < *literal)
            if (!Fill(kPatience))
                throw std::runtime_error("the server is silent");
        line += "\n";
        line.append(m_in, m_at, *literal);
        m_at += *literal;
    }
}

bool ImapClient::Fill(std::chrono::milliseconds longest)
{
    m_in.erase(0, std::exchange(m_at, 0));
    pollfd readable{m_socket, POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(longest.count())) <= 0)
        return false;
    // A server that writes its answer in pieces would wait for the kernel's late acknowledgement of the first.
    const int yes = 1;
    setsockopt(m_socket, IPPROTO_TCP, TCP_QUICKACK, &yes, sizeof yes);
    char bytes[65536];
    const ssize_t count = recv(m_socket, bytes, sizeof bytes, 0);
    if (count <= 0)
        throw std::runtime_error("the server has gone away");
    m_in.append(bytes, static_cast<std::size_t>(count));
    return true;
}

} // namespace bench
