// IMsgServiceAdmin: the services of a profile, of which there is one kind.
#include "localmapi/provider/site/ServiceAdmin.h"
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropArray.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/site/NameMatch.h"
#include "localmapi/provider/site/ProfileSection.h"
#include "localmapi/provider/site/ProfileTags.h"
#include "localmapi/provider/table/MemoryTable.h"
#include "localmapi/storage/Guid.h"

namespace localmapi
{

namespace
{

// Dialogs are never shown, so the flags that allow them change nothing.
constexpr ULONG kDialogFlags = UI_SERVICE | SERVICE_UI_ALLOWED | UI_CURRENT_PROVIDER_FIRST;
constexpr char kDllName[] = "localmapi.dll";

storage::Bytes BytesOf(const storage::Guid &guid)
{
    return storage::Bytes(guid.begin(), guid.end());
}

// A provider of the service: the message store and the address book.
struct ProviderKind {
    LONG resourceType;
    const char *display;
    const MAPIUID *uid;
};
const ProviderKind kProviders[] = {{MAPI_STORE_PROVIDER, "Exchange Message Store", &kStoreProvider},
                                   {MAPI_AB_PROVIDER, "Exchange Global Address List", &kAddressBookProvider}};

class ServiceAdmin final : public ComObject<IMsgServiceAdmin>
{
  public:
    explicit ServiceAdmin(std::shared_ptr<Profile> profile) : m_profile(std::move(profile)) {}

    STDMETHODIMP GetLastError(HRESULT code, ULONG flags, LPMAPIERROR *error) override
    {
        return m_errors.GetLastError(code, flags, error);
    }
    STDMETHODIMP GetMsgServiceTable(ULONG flags, LPMAPITABLE *table) override;
    STDMETHODIMP CreateMsgService(LPTSTR service, LPTSTR displayName, ULONG_PTR, ULONG flags) override;
    STDMETHODIMP DeleteMsgService(LPMAPIUID uid) override;
    STDMETHODIMP CopyMsgService(LPMAPIUID, LPTSTR, LPCIID, LPCIID, LPVOID, ULONG_PTR, ULONG) override
    {
        return Unsupported("IMsgServiceAdmin::CopyMsgService");
    }
    STDMETHODIMP RenameMsgService(LPMAPIUID, ULONG, LPTSTR) override
    {
        return Unsupported("IMsgServiceAdmin::RenameMsgService");
    }
    STDMETHODIMP ConfigureMsgService(LPMAPIUID uid, ULONG_PTR, ULONG flags, ULONG count, LPSPropValue props) override;
    STDMETHODIMP OpenProfileSection(LPMAPIUID uid, LPCIID iid, ULONG flags, LPPROFSECT *section) override
    {
        return Run("IMsgServiceAdmin::OpenProfileSection",
                   [&] { return OpenSection(m_profile, uid, iid, flags, section); });
    }
    STDMETHODIMP MsgServiceTransportOrder(ULONG, LPMAPIUID, ULONG) override
    {
        return Unsupported("IMsgServiceAdmin::MsgServiceTransportOrder");
    }
    STDMETHODIMP AdminProviders(LPMAPIUID, ULONG, LPPROVIDERADMIN *admin) override
    {
        if (admin)
            *admin = nullptr;
        return Unsupported("IMsgServiceAdmin::AdminProviders");
    }
    STDMETHODIMP SetPrimaryIdentity(LPMAPIUID, ULONG) override
    {
        return Unsupported("IMsgServiceAdmin::SetPrimaryIdentity");
    }
    STDMETHODIMP GetProviderTable(ULONG flags, LPMAPITABLE *table) override;

  private:
    template <class Body> HRESULT Run(const char *method, Body &&body)
    {
        return Guarded(m_errors, method, std::forward<Body>(body));
    }
    HRESULT Unsupported(const char *method)
    {
        return Run(method, [&]() -> HRESULT { NoSupport(method); });
    }

    const std::shared_ptr<Profile> m_profile;
    ErrorTexts m_errors;
};

STDMETHODIMP ServiceAdmin::GetMsgServiceTable(ULONG flags, LPMAPITABLE *table)
{
    return Run("IMsgServiceAdmin::GetMsgServiceTable", [&]() -> HRESULT {
        Require(table != nullptr, "where the table goes");
        *table = nullptr;
        RequireFlags(flags, MAPI_UNICODE);
        MemoryRows rows;
        for (const storage::Service &service : m_profile->Services()) {
            PropArray row(8);
            row.Binary(PR_SERVICE_UID, BytesOf(service.uid))
                .Text(PR_SERVICE_NAME_W, service.name)
                .Text(PR_DISPLAY_NAME_W, service.displayName)
                .Long(PR_RESOURCE_FLAGS, SERVICE_DEFAULT_STORE | SERVICE_SINGLE_COPY | SERVICE_PRIMARY_IDENTITY)
                .Text(PR_SERVICE_DLL_NAME_W, kDllName)
                .Text(PR_SERVICE_ENTRY_NAME, "ServiceEntry")
                .Binary(PR_INSTANCE_KEY, BytesOf(service.uid))
                .Long(PR_RESOURCE_TYPE, MAPI_PROFILE_PROVIDER);
            Check(rows.Add(row.Count(), row.Values()), "the row of a message service");
        }
        MemoryTableSettings settings;
        settings.columns = {PR_SERVICE_UID,    PR_SERVICE_NAME_W,     PR_DISPLAY_NAME_W,    PR_INSTANCE_KEY,
                            PR_RESOURCE_FLAGS, PR_SERVICE_DLL_NAME_W, PR_SERVICE_ENTRY_NAME};
        settings.unicode = (flags & MAPI_UNICODE) != 0;
        return CreateMemoryTable(std::move(rows), std::move(settings), table);
    });
}

STDMETHODIMP ServiceAdmin::GetProviderTable(ULONG flags, LPMAPITABLE *table)
{
    return Run("IMsgServiceAdmin::GetProviderTable", [&]() -> HRESULT {
        Require(table != nullptr, "where the table goes");
        *table = nullptr;
        RequireFlags(flags, MAPI_UNICODE);
        MemoryRows rows;
        for (const storage::Service &service : m_profile->Services())
            for (const ProviderKind &kind : kProviders) {
                // A provider's identifier within the profile: its service's, told apart by its kind.
                storage::Guid uid = service.uid;
                uid[15] = static_cast<std::uint8_t>(uid[15] ^ kind.resourceType);
                PropArray row(9);
                row.Binary(PR_PROVIDER_UID, BytesOf(uid))
                    .Binary(PR_INSTANCE_KEY, BytesOf(uid))
                    .Binary(PR_SERVICE_UID, BytesOf(service.uid))
                    .Text(PR_SERVICE_NAME_W, service.name)
                    .Text(PR_PROVIDER_DISPLAY_W, kind.display)
                    .Text(PR_DISPLAY_NAME_W, service.displayName)
                    .Text(PR_PROVIDER_DLL_NAME_W, kDllName)
                    .Long(PR_RESOURCE_TYPE, kind.resourceType)
                    .Long(PR_RESOURCE_FLAGS, kind.resourceType == MAPI_STORE_PROVIDER ? STATUS_DEFAULT_STORE : 0);
                Check(rows.Add(row.Count(), row.Values()), "the row of a provider");
            }
        MemoryTableSettings settings;
        settings.columns = {PR_PROVIDER_UID,   PR_INSTANCE_KEY,        PR_SERVICE_UID,
                            PR_SERVICE_NAME_W, PR_PROVIDER_DISPLAY_W,  PR_DISPLAY_NAME_W,
                            PR_RESOURCE_TYPE,  PR_PROVIDER_DLL_NAME_W, PR_RESOURCE_FLAGS};
        settings.unicode = (flags & MAPI_UNICODE) != 0;
        return CreateMemoryTable(std::move(rows), std::move(settings), table);
    });
}

STDMETHODIMP ServiceAdmin::CreateMsgService(LPTSTR service, LPTSTR displayName, ULONG_PTR, ULONG flags)
{
    return Run("IMsgServiceAdmin::CreateMsgService", [&]() -> HRESULT {
        Require(service != nullptr, "the name of the message service");
        RequireFlags(flags, kDialogFlags | MAPI_UNICODE);
        const std::string name = Utf8FromClient(service, flags);
        if (!EqualIgnoringCase(name, kServiceName))
            throw Failure(MAPI_E_NOT_FOUND, "There is no message service \"" + name + "\".");
        if (!m_profile->Services().empty())
            throw Failure(MAPI_E_NO_ACCESS, "The profile has this message service already.");
        const std::string shown = Utf8FromClient(displayName, flags);
        m_profile->AddService({storage::NewGuid(), kServiceName, shown.empty() ? kServiceDisplayName : shown});
        return S_OK;
    });
}

STDMETHODIMP ServiceAdmin::DeleteMsgService(LPMAPIUID uid)
{
    return Run("IMsgServiceAdmin::DeleteMsgService", [&]() -> HRESULT {
        Require(uid != nullptr, "the identifier of the message service");
        m_profile->RemoveService(GuidOf(*uid));
        ForgetService(*m_profile);
        return S_OK;
    });
}

STDMETHODIMP ServiceAdmin::ConfigureMsgService(LPMAPIUID uid, ULONG_PTR, ULONG flags, ULONG count, LPSPropValue props)
{
    return Run("IMsgServiceAdmin::ConfigureMsgService", [&]() -> HRESULT {
        Require(uid != nullptr, "the identifier of the message service");
        RequireFlags(flags, kDialogFlags | MAPI_UNICODE);
        m_profile->Service(GuidOf(*uid));
        const storage::PropertyBag given = BagFromProps(count, props);
        const auto global = m_profile->Section(GuidOf(kGlobalProfileSection));
        // What the client leaves out stays as it is.
        const auto text = [&](ULONG tag) -> std::string {
            const auto *value = given.get<std::string>(StorageTag(tag));
            if (!value && global)
                value = global->get<std::string>(StorageTag(tag));
            return value ? *value : std::string();
        };
        const std::string server = text(PR_PROFILE_UNRESOLVED_SERVER), mailbox = text(PR_PROFILE_UNRESOLVED_NAME);
        if (Trimmed(server).empty() || Trimmed(mailbox).empty())
            throw Failure(MAPI_E_UNCONFIGURED, "The message service needs the names of a server and of a mailbox.");
        ConfigureProfile(*m_profile, server, mailbox);
        return S_OK;
    });
}

} // namespace

IMsgServiceAdmin *MakeServiceAdmin(std::shared_ptr<Profile> profile)
{
    return MakeObject<ServiceAdmin>(std::move(profile)).release();
}

} // namespace localmapi
