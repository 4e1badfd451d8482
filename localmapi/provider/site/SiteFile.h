// Where a site's file is, and the open sites of this process. For the subsystem and for the tool.
#pragma once
#include "localmapi/storage/Site.h"

#include <memory>
#include <optional>
#include <string>

namespace localmapi
{

// What the environment and the system's settings say, all in UTF-8; a file of its own for each system.
namespace places
{
// The environment's LOCALMAPI_FILE, when it is set and not empty.
std::optional<std::string> FromEnvironment();
// The environment's LOCALMAPI_BEHAVIOUR, when it is set and not empty.
std::optional<std::string> WantedBehaviour();
// The value "File" under "SOFTWARE\BRANE\LocalMapi", the user's before the machine's.
std::optional<std::string> FromSettings();
// A file in the user's own data folder, which need not be there.
std::string Default();
} // namespace places

// The site's file: LOCALMAPI_FILE, else the registry's, else the default one.
std::string FindSiteFile();

// The site in a file, one handle for all who use it at the same time; another one where another file has come to be
// there since. Throws storage::Error.
std::shared_ptr<storage::Site> OpenSite(const std::string &path);

} // namespace localmapi
