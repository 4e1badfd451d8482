#include "localmapi/tool/Tool.h"
#include "localmapi/provider/site/SiteFile.h"
#include "localmapi/storage/Time.h"
#include "tools/common/Program.h"
#include <chrono>
#include <cstdio>
#include <system_error>

namespace localmapi::tool
{

storage::Site OpenSite(const Common &common, bool readOnly)
{
    storage::OpenOptions options;
    options.readOnly = readOnly;
    return storage::Site::Open(common.file.empty() ? FindSiteFile() : common.file, options);
}

storage::Site OpenSiteForOneChange(const Common &common)
{
    storage::OpenOptions options;
    options.leavesShortLog = true;
    return storage::Site::Open(common.file.empty() ? FindSiteFile() : common.file, options);
}

storage::User UserNamed(const storage::Site &site, const std::string &alias)
{
    if (auto user = storage::Directory(site).UserByAlias(alias))
        return *user;
    throw Failure("there is no user " + alias);
}

std::string FileError(const std::string &file, const std::exception &error)
{
    const auto *system = dynamic_cast<const std::system_error *>(&error);
    return file + ": " + (system ? system->code().message() : std::string(error.what()));
}

void PrintLine(const std::string &line)
{
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
}

void PrintJson(const nlohmann::ordered_json &document)
{
    PrintLine(document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

std::string IsoTime(std::int64_t ticks)
{
    using namespace std::chrono;
    const auto time = storage::kFirstDay + floor<seconds>(storage::Ticks(ticks));
    const year_month_day date(floor<days>(time));
    const hh_mm_ss clock(time - floor<days>(time));
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

namespace
{

std::int64_t Milliseconds()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

Progress::Progress(std::string unit, std::uint64_t total)
    : m_unit(std::move(unit)), m_total(total), m_started(Milliseconds())
{
}

Progress::~Progress()
{
    if (m_shown)
        std::fputs("\r\033[K", stderr);
}

void Progress::At(std::uint64_t done)
{
    if (!::tool::IsTerminal(2) || Milliseconds() - m_started < 1000)
        return;
    m_shown = true;
    std::fprintf(stderr, "\r%llu of %llu %s", static_cast<unsigned long long>(done),
                 static_cast<unsigned long long>(m_total), m_unit.c_str());
}

} // namespace localmapi::tool
