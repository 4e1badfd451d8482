// Access lists. A private file is its owner's, the system's and the administrators', and takes nothing over from its
// folder.
#include "localmapi/storage/Error.h"
#include "localmapi/storage/Path.h"
#include "localmapi/storage/Rights.h"
#include <aclapi.h>
#include <memory>
#include <sddl.h>
#include <system_error>
#include <vector>
#include <windows.h>

namespace localmapi::storage
{

namespace
{

struct LocalFreer {
    void operator()(void *block) const { LocalFree(block); }
};
template <class Block> using Local = std::unique_ptr<Block, LocalFreer>;

[[noreturn]] void Fail(const std::string &path, const std::string &what, DWORD error)
{
    const Fault fault = error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS ? Fault::Collision
                        : error == ERROR_DISK_FULL                                  ? Fault::Full
                                                                                    : Fault::NoAccess;
    const std::error_code code(static_cast<int>(error), std::system_category());
    throw Error(fault, "'" + path + "' " + what + ": " + code.message() + ".");
}

std::wstring OwnSid()
{
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
        return {};
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::vector<TOKEN_USER> user(size / sizeof(TOKEN_USER) + 1);
    wchar_t *text = nullptr;
    const bool known = GetTokenInformation(token, TokenUser, user.data(), size, &size) &&
                       ConvertSidToStringSidW(user[0].User.Sid, &text);
    CloseHandle(token);
    const Local<wchar_t> owned(text);
    return known ? text : std::wstring();
}

// Of a file, or of a folder and what will be in it.
Local<void> PrivateRights(bool folder)
{
    const std::wstring who[] = {OwnSid(), L"SY", L"BA"};
    std::wstring rights = L"D:P";
    for (const std::wstring &sid : who)
        rights += (folder ? L"(A;OICI;FA;;;" : L"(A;;FA;;;") + sid + L")";
    void *made = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(rights.c_str(), SDDL_REVISION_1, &made, nullptr);
    return Local<void>(made);
}

Local<void> SidFrom(const std::string &text)
{
    void *sid = nullptr;
    ConvertStringSidToSidA(text.c_str(), &sid);
    return Local<void>(sid);
}

// The rights that a file's list gives, and none takes, to a group by its own name.
DWORD RightsOf(const std::string &path, PSID group) noexcept
{
    PACL list = nullptr;
    void *descriptor = nullptr;
    if (GetNamedSecurityInfoW(PathOf(path).c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                              nullptr, &descriptor) != ERROR_SUCCESS)
        return 0;
    const Local<void> owned(descriptor);
    if (!list)
        return FILE_ALL_ACCESS; // no list: everybody
    DWORD granted = 0, denied = 0;
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void *entry = nullptr;
        if (!GetAce(list, i, &entry))
            continue;
        const auto *ace = static_cast<ACCESS_ALLOWED_ACE *>(entry); // a denial has the same form
        if ((ace->Header.AceFlags & INHERIT_ONLY_ACE) || !EqualSid(const_cast<DWORD *>(&ace->SidStart), group))
            continue;
        if (ace->Header.AceType == ACCESS_DENIED_ACE_TYPE)
            denied |= ace->Mask & ~granted;
        else if (ace->Header.AceType == ACCESS_ALLOWED_ACE_TYPE)
            granted |= ace->Mask & ~denied;
    }
    return granted;
}

} // namespace

void MakePrivateFile(const std::string &path)
{
    const Local<void> rights = PrivateRights(false);
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, rights.get(), FALSE};
    const HANDLE file = CreateFileW(PathOf(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, &attributes, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        Fail(path, "can't be made", GetLastError());
    CloseHandle(file);
}

bool MakePrivateFolders(const std::string &folder)
{
    const Local<void> rights = PrivateRights(true);
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, rights.get(), FALSE};
    bool made = false;
    std::filesystem::path path;
    for (const std::filesystem::path &part : PathOf(folder)) {
        path /= part;
        made = CreateDirectoryW(path.c_str(), &attributes);
        const DWORD error = GetLastError();
        std::error_code none;
        if (!made && !std::filesystem::is_directory(path, none) && path.has_relative_path())
            Fail(Utf8Of(path), "can't be made", error);
    }
    return made;
}

Group::Group(const std::string &name) : m_name(name)
{
    const std::wstring wide = PathOf(name).wstring();
    DWORD sidSize = 0, domainSize = 0;
    SID_NAME_USE use;
    LookupAccountNameW(nullptr, wide.c_str(), nullptr, &sidSize, nullptr, &domainSize, &use);
    std::vector<unsigned char> sid(sidSize);
    std::wstring domain(domainSize, L'\0');
    char *text = nullptr;
    if (sidSize == 0 ||
        !LookupAccountNameW(nullptr, wide.c_str(), sid.data(), &sidSize, domain.data(), &domainSize, &use) ||
        !ConvertSidToStringSidA(sid.data(), &text))
        throw Error(Fault::NotFound, "There is no account or group " + name + ".");
    const Local<char> owned(text);
    m_id = text;
}

void Group::Admit(const std::string &path) const
{
    const std::wstring name = PathOf(path).wstring();
    PACL list = nullptr, longer = nullptr;
    void *descriptor = nullptr;
    DWORD error = GetNamedSecurityInfoW(name.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                        &list, nullptr, &descriptor);
    const Local<void> owned(descriptor), sid = SidFrom(m_id);
    EXPLICIT_ACCESSW access{};
    access.grfAccessPermissions = FILE_ALL_ACCESS & ~(WRITE_DAC | WRITE_OWNER);
    access.grfAccessMode = GRANT_ACCESS;
    access.grfInheritance = std::filesystem::is_directory(PathOf(path)) ? SUB_CONTAINERS_AND_OBJECTS_INHERIT : 0;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.ptstrName = static_cast<wchar_t *>(sid.get());
    if (error == ERROR_SUCCESS)
        error = SetEntriesInAclW(1, &access, list, &longer);
    const Local<ACL> ownedLonger(longer);
    if (error == ERROR_SUCCESS)
        error = SetNamedSecurityInfoW(const_cast<wchar_t *>(name.c_str()), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                      nullptr, nullptr, longer, nullptr);
    if (error != ERROR_SUCCESS)
        Fail(path, "can't be given to " + m_name, error);
}

bool Group::MayWriteIn(const std::string &folder) const
{
    const Local<void> sid = SidFrom(m_id);
    return sid && (RightsOf(folder, sid.get()) & FILE_ADD_FILE) != 0;
}

// Files that are made beside a site get its access list (ShareRights).
bool MayWrite(const std::string &) noexcept
{
    return true;
}

bool MayEverybodyRead(const std::string &path) noexcept
{
    // Everyone, authenticated users, users.
    for (const char *everybody : {"S-1-1-0", "S-1-5-11", "S-1-5-32-545"}) {
        const Local<void> sid = SidFrom(everybody);
        if (sid && (RightsOf(path, sid.get()) & FILE_READ_DATA))
            return true;
    }
    return false;
}

void ShareRights(const std::string &path)
{
    void *descriptor = nullptr;
    if (GetNamedSecurityInfoW(PathOf(path).c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                              nullptr, nullptr, &descriptor) != ERROR_SUCCESS)
        return;
    const Local<void> owned(descriptor);
    // As they are: SetNamedSecurityInfo would add what the folder hands down.
    for (const char *suffix : {"-wal", "-shm", "-reserve"})
        SetFileSecurityW(PathOf(path + suffix).c_str(), DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                         descriptor);
}

} // namespace localmapi::storage
