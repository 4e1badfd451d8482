// New files that appear under their names whole or not at all.
#pragma once
#include <string>

namespace localmapi::storage
{

// Collision where there is a file of that name, or the log of one.
void RequireFreeName(const std::string &name);

// For its owner alone. Written beside the name that it is to have, and gets it when it is complete. Nothing is left of
// one that does not come to that, unless the process is killed.
class NewFile
{
  public:
    explicit NewFile(const std::string &name);
    ~NewFile();
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    const std::string &Path() const { return m_path; } // where it is written
    void PutInPlace();                                 // Collision, as RequireFreeName

  private:
    const std::string m_name, m_path;
};

} // namespace localmapi::storage
