#include "Commands.h"
#include "Failure.h"
#include "Output.h"
#include "common/CommandLine.h"
#include <charconv>

void ListProfiles(const Common &common)
{
    const Connection connection;
    Result<ExchangeProfileW> profiles;
    ULONG count = 0;
    Check(OrlGetExchangeProfilesW(connection.Handle(), profiles.put(), &count), "listing the profiles");
    nlohmann::ordered_json document = nlohmann::ordered_json::array();
    for (ULONG i = 0; i < count; ++i) {
        const std::string name = tool::ToUtf8(profiles[i].pszDisplayName);
        if (common.json)
            document.push_back({{"name", name}});
        else
            PrintLine(name);
    }
    if (common.json)
        PrintJson(document);
}

void ShowServerName(const Common &common, const std::string &profile)
{
    Connection connection;
    // Without a profile's name the question is about the session, which then has to be logged on.
    if (profile.empty())
        connection.LogOn(common.logon);
    const std::string asked = profile.empty() ? common.logon.profile : profile;
    Result<ExchangeServerNameW> server;
    Check(OrlGetExchangeServerNameW(connection.Handle(), server.put(), tool::ToWide(asked).c_str()),
          "reading the server of " + (asked.empty() ? std::string("the default profile") : "the profile " + asked));
    const std::string homeServer = tool::ToUtf8(server->pszHomeServer);
    const std::string user = tool::ToUtf8(server->pszProfileUser);
    if (common.json) {
        PrintJson({{"server", homeServer}, {"user", user}, {"matched", server->bProfileMatched != 0}});
        return;
    }
    PrintLine("server   " + homeServer);
    PrintLine("user     " + user);
    PrintLine(std::string("matched  ") + (server->bProfileMatched ? "yes" : "no"));
}

void ExplainError(const Common &common, const std::string &code)
{
    std::string_view digits = code;
    const bool hexadecimal = digits.starts_with("0x") || digits.starts_with("0X");
    if (hexadecimal)
        digits.remove_prefix(2);
    // A sign is for decimal numbers.
    const bool wrongSign = hexadecimal && digits.starts_with('-');
    long long number = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), number, hexadecimal ? 16 : 10);
    if (wrongSign || error != std::errc() || end != digits.data() + digits.size() || number < INT32_MIN ||
        number > UINT32_MAX)
        throw tool::Misuse("\"" + code +
                           "\" is not a result code: 0x and hexadecimal digits, or a decimal number, of 32 bits");
    const auto hr = static_cast<HRESULT>(static_cast<std::uint32_t>(number));
    const std::string name = NameOf(hr);
    if (common.json)
        PrintJson({{"code", Describe(hr).substr(0, 10)}, {"name", name}});
    else
        PrintLine(name.empty() ? Describe(hr) + " has no name" : Describe(hr));
}
