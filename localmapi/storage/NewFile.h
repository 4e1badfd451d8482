// A file that is written beside the name that it is to have, and gets it when it is complete. Nothing is left of one
// that does not come to that, unless the process is killed.
#pragma once
#include <string>

namespace localmapi::storage
{

class NewFile
{
  public:
    explicit NewFile(const std::string &name);
    ~NewFile();
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    const std::string &Path() const { return m_path; } // where it is written
    void PutInPlace();                                 // Collision where there is one of that name

  private:
    const std::string m_name, m_path;
};

} // namespace localmapi::storage
