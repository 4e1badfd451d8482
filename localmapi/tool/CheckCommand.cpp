// localmapi check: what is wrong with a site, and what was mended.
#include "localmapi/storage/Check.h"
#include "localmapi/storage/Rights.h"
#include "localmapi/tool/Tool.h"
#include <algorithm>

namespace localmapi::tool
{

namespace
{

struct Report {
    std::vector<storage::Finding> findings;
    std::vector<std::string> warnings;

    std::size_t Damaged() const
    {
        return static_cast<std::size_t>(std::count_if(
            findings.begin(), findings.end(), [](const storage::Finding &finding) { return !finding.repaired; }));
    }
};

void PrintAsJson(const Report &report)
{
    nlohmann::ordered_json findings = nlohmann::ordered_json::array();
    for (const storage::Finding &finding : report.findings)
        findings.push_back({{"text", finding.text}, {"repaired", finding.repaired}});
    PrintJson({{"ok", report.Damaged() == 0}, {"findings", std::move(findings)}, {"warnings", report.warnings}});
}

void Print(const Report &report)
{
    for (const storage::Finding &finding : report.findings)
        PrintLine((finding.repaired ? "repaired: " : "damaged: ") + finding.text);
    if (report.findings.empty())
        PrintLine("nothing is damaged");
    for (const std::string &warning : report.warnings)
        PrintLine("warning: " + warning);
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
    if (common.json)
        PrintAsJson(report);
    else
        Print(report);
    if (report.Damaged() > 0)
        throw Failure(std::to_string(report.Damaged()) +
                      (repair ? " findings could not be repaired" : " findings; --repair mends what can be mended"));
}

} // namespace localmapi::tool
