// Copies of a site's file, made and put back while others work with it.
#pragma once
#include "localmapi/storage/Site.h"

namespace localmapi::storage
{

// The whole site as of one moment, in one new file. Others read and write meanwhile. Collision where there is a file.
void Backup(const Site &site, const std::string &file, const CopyProgress &progress = {});

// The content of a copy takes the place of the site's, in one transaction: whoever has the site open goes on with it,
// and is told to read everything anew. Object and change numbers go on from the higher ones, so that none is used twice
// and nothing that was remembered fits. Writers wait until it is done. A copy of another site is Collision.
// Where there is no site at `path`, the copy becomes it. The copy itself is not changed; one of an older version is
// brought to this one on the way.
void Restore(const std::string &file, const std::string &path, const CopyProgress &progress = {});

} // namespace localmapi::storage
