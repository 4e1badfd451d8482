// Who may read a site. The rights of its file are all the protection that it has: a logon needs no password.
#pragma once
#include <string>

namespace localmapi::storage
{

// An empty new file that its owner alone may read and write, whatever the process gives new files. Collision; NoAccess.
void MakePrivateFile(const std::string &path);

// The folders of a path that are missing, each for its owner alone. True where the last one was among them.
bool MakePrivateFolders(const std::string &folder);

// A group of users, on Windows also an account, whom a file or a folder is given to.
class Group
{
  public:
    explicit Group(const std::string &name); // NotFound
    // They may read and write it as its owner may; in a folder, also what is made there later. NoAccess where this user
    // may not give it to them.
    void Admit(const std::string &path) const;
    // Whether they may make files in a folder.
    bool MayWriteIn(const std::string &folder) const;

  private:
    std::string m_name;
    std::string m_id; // the number, or the security identifier in its text form
};

// Whether this account may write to a file, and what is made beside it, with its mode, is not in the way of its owner.
// Where the mode says nothing of that: true.
bool MayWrite(const std::string &path) noexcept;

// Whether every user of the system may read a file. False where that can't be told.
bool MayEverybodyRead(const std::string &path) noexcept;

// Gives what SQLite has made beside a file the file's own rights, where SQLite does not do so itself.
void ShareRights(const std::string &path);

} // namespace localmapi::storage
