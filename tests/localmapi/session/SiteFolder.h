// A folder of a test's own with a site in it, found through LOCALMAPI_FILE.
#pragma once
#include "Environment.h"
#include "localmapi/storage/Directory.h"

#include <filesystem>
#include <optional>
#include <random>
#include <string>

namespace localmapi::test
{

class SiteFolder
{
  public:
    SiteFolder()
        : m_folder(std::filesystem::temp_directory_path() /
                   ("localmapi-test-" + std::to_string(std::random_device()())))
    {
        std::filesystem::create_directories(m_folder);
        const auto text = (m_folder / "site.db").u8string();
        const std::string file(text.begin(), text.end());
        storage::Directory(storage::Site::Create(file, "NORVIK1", "Norvik")).AddUser("alice", "Alice Archer");
        m_variable.emplace("LOCALMAPI_FILE", file);
    }
    SiteFolder(const SiteFolder &) = delete;
    SiteFolder &operator=(const SiteFolder &) = delete;
    ~SiteFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

  private:
    std::filesystem::path m_folder;
    std::optional<ScopedVariable> m_variable;
};

} // namespace localmapi::test
