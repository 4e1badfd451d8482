#include "localmapi/storage/NewFile.h"
#include "localmapi/storage/Error.h"
#include "localmapi/storage/FileSystem.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Rights.h"
#include <random>

namespace localmapi::storage
{

void RequireFreeName(const std::string &name)
{
    std::error_code none;
    for (const std::string &there : {name, name + "-wal"})
        if (std::filesystem::exists(PathOf(there), none))
            throw Error(Fault::Collision, "'" + there + "' is there already.");
}

NewFile::NewFile(const std::string &name)
    : m_name(name), m_path(name + ".new-" + std::to_string(std::random_device{}()))
{
    MakePrivateFile(m_path);
}

NewFile::~NewFile()
{
    std::error_code ignored;
    for (const char *suffix : {"", "-journal", "-wal", "-shm", "-reserve"})
        std::filesystem::remove(PathOf(m_path + suffix), ignored);
}

void NewFile::PutInPlace()
{
    RequireFreeName(m_name);
    storage::PutInPlace(m_path, m_name);
}

} // namespace localmapi::storage
