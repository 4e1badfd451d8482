// What LOCALMAPI_BEHAVIOUR may say, and the counting of calls.
#include "localmapi/provider/base/Behaviour.h"
#include "localmapi/provider/base/ErrorText.h"

#include <charconv>
#include <chrono>
#include <set>
#include <string>
#include <thread>

namespace localmapi
{

namespace
{

constexpr std::int64_t kMostRows = 1'000'000;
constexpr std::int64_t kMostCalls = 1'000'000'000;
constexpr std::int64_t kSlowest = 60'000;

[[noreturn]] void Refuse(std::string_view part, const char *why)
{
    throw Failure(MAPI_E_BAD_VALUE, "LOCALMAPI_BEHAVIOUR: \"" + std::string(part) + "\" " + why + ".");
}

// A whole number from 1 to `most`, without a sign or a blank; 0 for anything else.
std::int64_t NumberIn(std::string_view text, std::int64_t most)
{
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number >= 1 && number <= most ? number : 0;
}

[[noreturn]] void ThrowDropped()
{
    throw Failure(MAPI_E_NETWORK_ERROR, "The session was dropped; it takes a new logon.");
}

} // namespace

BehaviourPtr Behaviour::FromText(std::string_view text)
{
    BehaviourPtr behaviour(new Behaviour);
    std::set<std::string_view> names;
    for (;;) {
        const std::size_t comma = text.find(',');
        const std::string_view part = text.substr(0, comma);
        behaviour->Set(part);
        if (!names.insert(part.substr(0, part.find('='))).second)
            Refuse(part, "is there twice");
        if (comma == std::string_view::npos)
            return behaviour;
        text.remove_prefix(comma + 1);
    }
}

void Behaviour::Set(std::string_view part)
{
    const std::size_t equals = part.find('=');
    const std::string_view name = part.substr(0, equals);
    const std::string_view value = equals == std::string_view::npos ? std::string_view() : part.substr(equals + 1);
    if (name == "cut") {
        if (value != "255" && value != "510")
            Refuse(part, "is neither cut=255 nor cut=510");
        m_cut = value == "255" ? 255 : 510;
    } else if (name == "rows") {
        m_rows = NumberIn(value, kMostRows);
        if (!m_rows)
            Refuse(part, "is no number of rows from 1 to 1000000");
    } else if (name == "drop") {
        m_drop = NumberIn(value, kMostCalls);
        if (!m_drop)
            Refuse(part, "is no number of calls from 1 to 1000000000");
    } else if (name == "slow") {
        m_slow = NumberIn(value, kSlowest);
        if (!m_slow)
            Refuse(part, "is no number of milliseconds from 1 to 60000");
    } else {
        Refuse(part, "is none of cut=, rows=, drop= and slow=");
    }
}

void Behaviour::OnSessionCall()
{
    if (++m_calls > m_drop)
        ThrowDropped();
}

void Behaviour::OnObjectCall()
{
    OnSessionCall();
    if (m_slow)
        std::this_thread::sleep_for(std::chrono::milliseconds(m_slow));
}

void Behaviour::RequireConnected() const
{
    if (m_calls > m_drop)
        ThrowDropped();
}

} // namespace localmapi
