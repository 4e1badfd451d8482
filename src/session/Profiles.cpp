// Profiles: making the one of a mailbox, listing them, and asking one for its server.
#include "ExchangeMapi.h"
#include "common/mapi/CountedOperation.h"
#include "common/mapi/MapiArguments.h"
#include "common/mapi/Restriction.h"
#include "common/text/Multibyte.h"
#include "session/CMAPIImpl.h"
#include "session/Profile.h"
#include <cstring>

namespace
{

constexpr char kExchangeService[] = "MSEMS";

// The identifier of the Exchange service that was just added to a profile.
HRESULT FindServiceUid(const Operation &op, IMsgServiceAdmin *pServiceAdmin, MAPIUID &uid)
{
    ComPtr<IMAPITable> table;
    HRESULT hr = Acquired(pServiceAdmin->GetMsgServiceTable(0, table.put()), table);
    if (FAILED(hr))
        return op.Failed("GetMsgServiceTable", "trying to obtain access to the message service table.", pServiceAdmin,
                         hr);

    const Restriction isExchange =
        Restriction::Content({PR_SERVICE_NAME_A, "PR_SERVICE_NAME"}, FL_FULLSTRING, kExchangeService);
    RowSet rows;
    hr = Acquired(HrQueryAllRows(table.get(), PropTags<PR_SERVICE_NAME_A, PR_SERVICE_UID>(), isExchange.Get(), nullptr,
                                 0, rows.put()),
                  rows);
    if (SUCCEEDED(hr)) {
        const SBinary *pUid = FirstBinary(rows.get(), 1);
        if (pUid && pUid->cb >= sizeof(MAPIUID))
            std::memcpy(&uid, pUid->lpb, sizeof(MAPIUID));
        else
            hr = MAPI_E_NOT_FOUND;
    }
    if (FAILED(hr))
        return op.Failed("HrQueryAllRows",
                         "trying to obtain the row that represents the Microsoft Exchange Server service provider.",
                         table.get(), hr);
    return hr;
}

HRESULT AddExchangeService(const Operation &op, IMsgServiceAdmin *pServiceAdmin, const tstring &szServer,
                           const tstring &szMailbox)
{
    HRESULT hr = pServiceAdmin->CreateMsgService(MapiIn(kExchangeService), MapiIn("Microsoft Exchange Server"), 0, 0);
    if (FAILED(hr))
        return op.Failed("CreateMsgService", "trying to add a message service to the current profile.", pServiceAdmin,
                         hr);
    MAPIUID uid = {};
    hr = FindServiceUid(op, pServiceAdmin, uid);
    if (FAILED(hr))
        return hr;

    SPropValue values[2] = {};
    values[0].ulPropTag = PR_PROFILE_UNRESOLVED_NAME;
    values[0].Value.lpszA = MapiIn(szMailbox);
    values[1].ulPropTag = PR_PROFILE_UNRESOLVED_SERVER;
    values[1].Value.lpszA = MapiIn(szServer);
    hr = pServiceAdmin->ConfigureMsgService(&uid, 0, 0, 2, values);
    if (FAILED(hr))
        return op.Failed("ConfigureMsgService", "trying to reconfigure the message service.", pServiceAdmin, hr);
    return hr;
}

HRESULT AdminProfiles(const Operation &op, ComPtr<IProfAdmin> &profAdmin)
{
    const HRESULT hr = Acquired(MAPIAdminProfiles(0, profAdmin.put()), profAdmin);
    return FAILED(hr) ? op.Failed("MAPIAdminProfiles", nullptr, hr) : hr;
}

// The services of the session's own profile, or of the profile named where nobody is logged on.
HRESULT AdminServices(const Operation &op, IMAPISession *pSession, const tstring &szProfile,
                      ComPtr<IMsgServiceAdmin> &serviceAdmin)
{
    constexpr char kSentence[] = "trying to access the message service administration object.";
    if (pSession) {
        const HRESULT hr = Acquired(pSession->AdminServices(0, serviceAdmin.put()), serviceAdmin);
        return FAILED(hr) ? op.Failed("AdminServices", kSentence, pSession, hr) : hr;
    }
    ComPtr<IProfAdmin> profAdmin;
    HRESULT hr = AdminProfiles(op, profAdmin);
    if (FAILED(hr))
        return hr;
    hr = Acquired(profAdmin->AdminServices(MapiIn(szProfile), MapiIn(""), 0, 0, serviceAdmin.put()), serviceAdmin);
    return FAILED(hr) ? op.Failed("AdminServices", kSentence, profAdmin.get(), hr) : hr;
}

} // namespace

HRESULT CMAPIImpl::CreateMailboxProfile(const tstring &szProfile)
{
    const Operation op("CMAPIImpl::CreateMailboxProfile", "szProfile: \"%s\"", szProfile.c_str());
    const tstring strMailbox = m_state.DefaultMailbox();
    const tstring strServer = m_state.Server();
    if (strMailbox.empty() || strServer.empty()) {
        // "in-order", and no function, as the contract has it.
        DebugOutputA(kTraceError, "[%d]: Need a default mailbox and server name in-order to create the profile \"%s\"",
                     __LINE__, szProfile.c_str());
        return E_INVALIDARG;
    }

    ComPtr<IProfAdmin> profAdmin;
    HRESULT hr = AdminProfiles(op, profAdmin);
    if (FAILED(hr))
        return hr;
    profAdmin->DeleteProfile(MapiIn(szProfile), 0);
    hr = profAdmin->CreateProfile(MapiIn(szProfile), MapiIn(""), 0, 0);
    // An account that may not create profiles may still administer the one that is there, as the contract has it.
    if (FAILED(hr) && hr != E_ACCESSDENIED)
        return op.Failed("CreateProfile", "trying to create a profile.", profAdmin.get(), hr);

    ComPtr<IMsgServiceAdmin> serviceAdmin;
    hr = Acquired(profAdmin->AdminServices(MapiIn(szProfile), MapiIn(""), 0, 0, serviceAdmin.put()), serviceAdmin);
    if (FAILED(hr))
        // The name of the next call, as the contract has it.
        return op.Failed("CreateMsgService",
                         "trying to access the message service administration object for making changes to the message "
                         "services in a profile.",
                         profAdmin.get(), hr);
    return AddExchangeService(op, serviceAdmin.get(), strServer, strMailbox);
}

HRESULT CMAPIImpl::GetAvailableProfiles(std::vector<Profile> &profiles)
{
    CountedOperation op(m_lOpenObjects, "CMAPIImpl::GetAvailableProfiles");
    op.ShowCounter(kAtEntry, kAtExit);
    profiles.clear();
    if (!IsMapiInitialised()) {
        // Without a colon, as the contract has it.
        op.Error("Error MAPI has not been initialised.");
        return E_UNEXPECTED;
    }

    ComPtr<IProfAdmin> profAdmin;
    HRESULT hr = AdminProfiles(op, profAdmin);
    if (FAILED(hr))
        return hr;
    const ScopedCount countedAdmin(m_lOpenObjects);

    ComPtr<IMAPITable> table;
    hr = Acquired(profAdmin->GetProfileTable(0, table.put()), table);
    if (FAILED(hr))
        return op.Failed("GetProfileTable", "trying to obtain access to the profile table.", profAdmin.get(), hr);
    const ScopedCount countedTable(m_lOpenObjects);

    RowSet rows;
    hr = Acquired(HrQueryAllRows(table.get(), PropTags<PR_DISPLAY_NAME_A>(), nullptr, nullptr, 0, rows.put()), rows);
    if (FAILED(hr))
        return op.Failed("HrQueryAllRows", "trying to retrieve all the profiles.", table.get(), hr);
    const ScopedCount countedRows(m_lOpenObjects);

    for (ULONG i = 0; i < rows->cRows; ++i) {
        const SRow &row = rows.get()->aRow[i];
        const char *szName = row.cValues ? TextOf(row.lpProps[0]) : nullptr;
        Profile &profile = profiles.emplace_back();
        if (szName)
            profile.strDisplayName = szName;
        // A name without class and line number, as the contract has it.
        DebugOutputA(kTraceCall, "GetAvailableProfiles - profile is \"%s\"", profile.strDisplayName.c_str());
    }
    return hr;
}

HRESULT CMAPIImpl::GetExchangeServerName(tstring &strServer, const tstring &szProfile, tstring &strUser, bool &bMatched)
{
    // Without quotes, as the contract has it.
    const Operation op("CMAPIImpl::GetExchangeServerName", "szProfile: %s", szProfile.c_str());
    strServer.clear();
    strUser.clear();
    bMatched = false;
    if (!IsMapiInitialised()) {
        // Without a colon, as the contract has it.
        op.Error("Error MAPI has not been initialised.");
        return E_UNEXPECTED;
    }

    const ComPtr<IMAPISession> session = m_state.MapiSession();
    ComPtr<IMsgServiceAdmin> serviceAdmin;
    HRESULT hr = AdminServices(op, session.get(), szProfile, serviceAdmin);
    if (FAILED(hr))
        return hr;
    const ScopedCount countedAdmin(m_lOpenObjects);

    ComPtr<IProfSect> section;
    hr = Acquired(serviceAdmin->OpenProfileSection(MapiIn(&kGlobalProfileSection), nullptr, 0, section.put()), section);
    if (FAILED(hr))
        return op.Failed("OpenProfileSection", "trying to open the global section of the profile.", serviceAdmin.get(),
                         hr);
    const ScopedCount countedSection(m_lOpenObjects);

    ULONG cValues = 0;
    MapiBuffer<SPropValue> values;
    hr = Acquired(section->GetProps(PropTags<PR_PROFILE_HOME_SERVER, PR_PROFILE_NAME_A, PR_PROFILE_UNRESOLVED_NAME>(),
                                    0, &cValues, values.put()),
                  values);
    if (FAILED(hr))
        return op.Failed("GetProps", "trying to retrieve the properties of the global section of the profile.",
                         section.get(), hr);

    for (ULONG i = 0; i < cValues; ++i) {
        const SPropValue &value = values.get()[i];
        const char *szText = TextOf(value);
        if (!szText) // an error in its place
            continue;
        switch (value.ulPropTag) {
        case PR_PROFILE_HOME_SERVER:
            strServer = szText;
            // A name without class and line number, here and twice below, as the contract has it.
            DebugOutputA(kTraceCall, "GetExchangeServerName - profile home server is \"%s\"", strServer.c_str());
            break;
        case PR_PROFILE_NAME_A:
            DebugOutputA(kTraceCall, "GetExchangeServerName - profile name is \"%s\"", szText);
            if (EqualIgnoringCase(szText, szProfile.c_str()))
                bMatched = true;
            break;
        case PR_PROFILE_UNRESOLVED_NAME:
        case PR_PROFILE_USER:
            strUser = szText;
            DebugOutputA(kTraceCall, "GetExchangeServerName - profile user or unresolved name is \"%s\"",
                         strUser.c_str());
            break;
        default:
            break;
        }
    }
    return hr;
}
