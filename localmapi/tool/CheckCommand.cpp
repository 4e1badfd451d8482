// localmapi check: what is wrong with a site, what was mended, and what was left unsent.
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/storage/Check.h"
#include "localmapi/storage/Rights.h"
#include "localmapi/storage/SqliteVersion.h"
#include "localmapi/storage/Unsent.h"
#include "localmapi/tool/Tool.h"
#include "tools/common/Text.h"
#include <algorithm>

namespace localmapi::tool
{

namespace
{

constexpr std::size_t kMostLines = 100; // of unsent messages

struct Report {
    std::vector<storage::Finding> findings;
    std::vector<std::string> warnings;
    std::vector<storage::Unsent> unsent;
    storage::Guid site{};

    std::string EntryIdOf(const storage::Unsent &message) const
    {
        const Bytes id = MakeEntryId(site, EntryKind::Message, message.message);
        return ::tool::ToHex(id.data(), id.size());
    }
    std::size_t Damaged() const
    {
        return static_cast<std::size_t>(std::count_if(
            findings.begin(), findings.end(), [](const storage::Finding &finding) { return !finding.repaired; }));
    }
};

void PrintAsJson(const Report &report)
{
    nlohmann::ordered_json findings = nlohmann::ordered_json::array(), unsent = findings;
    for (const storage::Finding &finding : report.findings)
        findings.push_back({{"text", finding.text}, {"repaired", finding.repaired}});
    for (const storage::Unsent &message : report.unsent)
        unsent.push_back({{"user", message.user},
                          {"entryId", report.EntryIdOf(message)},
                          {"saved", IsoTime(message.saved)},
                          {"subject", message.subject}});
    PrintJson({{"ok", report.Damaged() == 0},
               {"findings", std::move(findings)},
               {"warnings", report.warnings},
               {"sqlite", storage::SqliteVersion()},
               {"unsent", std::move(unsent)}});
}

void Print(const Report &report)
{
    PrintLine("checked by localmapi " LOCALMAPI_VERSION " with SQLite " + storage::SqliteVersion());
    for (const storage::Finding &finding : report.findings)
        PrintLine((finding.repaired ? "repaired: " : "damaged: ") + finding.text);
    if (report.findings.empty())
        PrintLine("nothing is damaged");
    for (const std::string &warning : report.warnings)
        PrintLine("warning: " + warning);
    if (report.unsent.empty())
        return;
    const std::size_t shown = std::min(report.unsent.size(), kMostLines);
    for (std::size_t i = 0; i < shown; ++i) {
        const storage::Unsent &message = report.unsent[i];
        PrintLine("unsent: " + message.user + ", saved " + IsoTime(message.saved) + ": " +
                  ::tool::Clean(message.subject) + "\n  " + report.EntryIdOf(message));
    }
    if (shown < report.unsent.size())
        PrintLine("and " + std::to_string(report.unsent.size() - shown) + " more");
    PrintLine("These were saved in an Outbox and not submitted, perhaps by a program that was stopped. If no program\n"
              "works on them any more, send them anew; 'orlmapi delete USER ENTRYID' takes one away.");
}

} // namespace

void CheckSite(const Common &common, bool repair)
{
    const storage::Site site = OpenSite(common, !repair);
    Report report;
    {
        Shown shown;
        report.findings = storage::Check(site, repair, [&](const char *unit, std::uint64_t done, std::uint64_t total) {
            shown.At(unit, done, total);
        });
    }
    if (storage::MayEverybodyRead(site.Path()))
        report.warnings.push_back("Every user of this system may read " + site.Path() +
                                  ", and with it every mailbox: a logon needs no password.");
    // A damaged file may not answer.
    if (report.Damaged() == 0) {
        report.site = site.Info().uid;
        report.unsent = storage::UnsentMessages(site);
    }
    if (common.json)
        PrintAsJson(report);
    else
        Print(report);
    if (report.Damaged() > 0)
        throw Failure(std::to_string(report.Damaged()) +
                      (repair ? " findings could not be repaired" : " findings; --repair mends what can be mended"));
}

} // namespace localmapi::tool
