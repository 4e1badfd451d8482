// Whoever shares a site shares its profiles, and so the names of what guards them.
#include "localmapi/provider/site/SiteFile.h"
#include "shared_names.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

std::size_t PlatformSharedNamesFile(char *path, std::size_t size)
{
    try {
        // One file, by whatever way it is reached.
        const std::unique_ptr<char, decltype(&std::free)> real(realpath(localmapi::FindSiteFile().c_str(), nullptr),
                                                               std::free);
        const std::size_t length = real ? std::strlen(real.get()) : 0;
        if (length == 0 || length >= size)
            return 0;
        std::memcpy(path, real.get(), length + 1);
        return length;
    } catch (const std::exception &) {
        return 0;
    }
}
