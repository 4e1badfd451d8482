// Profiles and the server behind one.
#include "api/Frame.h"
#include "api/ResultBlock.h"
#include "api/TextFlavour.h"
#include "session/Profile.h"

namespace
{

constexpr int kFirstLine = 2000;

template <class Flavour>
HRESULT GetExchangeServerName(const Here &here, DWORD hConnection, typename Flavour::ExchangeServerName **ppServerName,
                              const typename Flavour::Char *szProfile)
{
    return WithSession(here, hConnection, [&](CMAPIImpl &session) {
        tstring strServer, strUser;
        bool bMatched = false;
        const HRESULT hr = session.GetExchangeServerName(strServer, Flavour::In(szProfile), strUser, bMatched);
        if (FAILED(hr))
            return hr;
        ResultBlock<typename Flavour::ExchangeServerName> block(here, 1);
        if (block.Failed())
            return block.Result();
        block[0].bProfileMatched = bMatched;
        block[0].pszHomeServer = block.template Text<Flavour>(strServer);
        block[0].pszProfileUser = block.template Text<Flavour>(strUser);
        if (block.Failed())
            return block.Result();
        *ppServerName = block.Release();
        return hr;
    });
}

// Where there is no room for a name, the profiles before it are still given, with the failure.
template <class Flavour>
HRESULT GetExchangeProfiles(const Here &here, DWORD hConnection, typename Flavour::ExchangeProfile **ppProfiles,
                            ULONG *pcProfiles)
{
    *pcProfiles = 0;
    return WithSession(here, hConnection, [&](CMAPIImpl &session) {
        std::vector<Profile> profiles;
        const HRESULT hr = session.GetAvailableProfiles(profiles);
        if (FAILED(hr) || profiles.empty())
            return hr;
        ResultBlock<typename Flavour::ExchangeProfile> block(here, profiles.size());
        if (block.Failed())
            return block.Result();
        ULONG cFilled = 0;
        for (const Profile &profile : profiles) {
            block[cFilled].bFlag = profile.bFlag;
            block[cFilled].pszDisplayName = block.template Text<Flavour>(profile.strDisplayName);
            if (block.Failed())
                break;
            ++cFilled;
        }
        *pcProfiles = cFilled;
        *ppProfiles = block.Release();
        return FAILED(block.Result()) ? block.Result() : hr;
    });
}

} // namespace

HRESULT ORLAPI OrlGetExchangeServerNameA(DWORD hConnection, ExchangeServerNameA **ppServerName, LPCSTR szProfile)
{
    return GetExchangeServerName<Narrow>(ORL_HERE("OrlGetExchangeServerNameA"), hConnection, ppServerName, szProfile);
}

HRESULT ORLAPI OrlGetExchangeServerNameW(DWORD hConnection, ExchangeServerNameW **ppServerName, LPCWSTR szProfile)
{
    return GetExchangeServerName<Wide>(ORL_HERE("OrlGetExchangeServerNameW"), hConnection, ppServerName, szProfile);
}

HRESULT ORLAPI OrlGetExchangeProfilesA(DWORD hConnection, ExchangeProfileA **ppProfiles, ULONG *pcProfiles)
{
    return GetExchangeProfiles<Narrow>(ORL_HERE("OrlGetExchangeProfilesA"), hConnection, ppProfiles, pcProfiles);
}

HRESULT ORLAPI OrlGetExchangeProfilesW(DWORD hConnection, ExchangeProfileW **ppProfiles, ULONG *pcProfiles)
{
    return GetExchangeProfiles<Wide>(ORL_HERE("OrlGetExchangeProfilesW"), hConnection, ppProfiles, pcProfiles);
}
