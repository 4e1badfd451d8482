// Profiles belong to an account: its security identifier is in the name, so that every session of it, a service's too,
// has the same mutex, and in the rights, so that it does not matter which of its processes runs elevated.
#include "common/base/SystemCalls.h"
#include "session/ProfileTurn.h"
#include <memory>
#include <sddl.h>
#include <string>
#include <vector>

namespace
{

struct LocalFreer {
    void operator()(void *pBlock) const { LocalFree(pBlock); }
};
struct HandleCloser {
    void operator()(HANDLE hToken) const { CloseHandle(hToken); }
};

// Empty, with the last error, where the system does not say.
std::string AccountSid()
{
    HANDLE hOpened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &hOpened))
        return {};
    const std::unique_ptr<void, HandleCloser> token(hOpened);
    DWORD dwSize = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &dwSize);
    std::vector<TOKEN_USER> user(dwSize / sizeof(TOKEN_USER) + 1);
    if (!GetTokenInformation(token.get(), TokenUser, user.data(), dwSize, &dwSize))
        return {};
    char *szOpened = nullptr;
    if (!ConvertSidToStringSidA(user[0].User.Sid, &szOpened))
        return {};
    const std::unique_ptr<char, LocalFreer> text(szOpened);
    return text.get();
}

} // namespace

HANDLE OpenProfileMutex()
{
    const std::string strSid = AccountSid();
    if (strSid.empty())
        return nullptr;
    // All rights for the account and for the system, none for anybody else.
    const std::string strRights = "D:P(A;;GA;;;" + strSid + ")(A;;GA;;;SY)";
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, FALSE};
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(strRights.c_str(), SDDL_REVISION_1,
                                                              &attributes.lpSecurityDescriptor, nullptr))
        return nullptr;
    const std::unique_ptr<void, LocalFreer> descriptor(attributes.lpSecurityDescriptor);
    return SystemCalls().CreateMutexA(&attributes, FALSE, ("Global\\OrlMapi32.MAPIImpl." + strSid).c_str());
}
