// IProfAdmin: making, copying, renaming and deleting profiles. What can not be copied whole is removed again.
#include "localmapi/provider/site/ProfileAdmin.h"
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropArray.h"
#include "localmapi/provider/property/PropertyConvert.h"
#include "localmapi/provider/site/Profile.h"
#include "localmapi/provider/site/ProfileTags.h"
#include "localmapi/provider/site/ServiceAdmin.h"
#include "localmapi/provider/table/MemoryTable.h"
#include "localmapi/storage/Guid.h"

namespace localmapi
{

namespace
{

class ProfileAdmin final : public ComObject<IProfAdmin>
{
  public:
    explicit ProfileAdmin(std::shared_ptr<storage::Site> site) : m_site(std::move(site)) {}

    STDMETHODIMP GetLastError(HRESULT code, ULONG flags, LPMAPIERROR *error) override
    {
        return m_errors.GetLastError(code, flags, error);
    }
    STDMETHODIMP GetProfileTable(ULONG flags, LPMAPITABLE *table) override;
    STDMETHODIMP CreateProfile(LPTSTR name, LPTSTR password, ULONG_PTR, ULONG flags) override;
    STDMETHODIMP DeleteProfile(LPTSTR name, ULONG flags) override;
    STDMETHODIMP ChangeProfilePassword(LPTSTR, LPTSTR, LPTSTR, ULONG) override
    {
        return Run("IProfAdmin::ChangeProfilePassword",
                   [&]() -> HRESULT { NoSupport("IProfAdmin::ChangeProfilePassword: profiles have no passwords"); });
    }
    STDMETHODIMP CopyProfile(LPTSTR oldName, LPTSTR oldPassword, LPTSTR newName, ULONG_PTR, ULONG flags) override;
    STDMETHODIMP RenameProfile(LPTSTR oldName, LPTSTR oldPassword, LPTSTR newName, ULONG_PTR, ULONG flags) override;
    STDMETHODIMP SetDefaultProfile(LPTSTR name, ULONG flags) override;
    STDMETHODIMP AdminServices(LPTSTR name, LPTSTR password, ULONG_PTR, ULONG flags, LPSERVICEADMIN *admin) override;

  private:
    template <class Body> HRESULT Run(const char *method, Body &&body)
    {
        return Guarded(m_errors, method, std::forward<Body>(body));
    }

    const std::shared_ptr<storage::Site> m_site;
    ErrorTexts m_errors;
};

// The name of a profile that is to be there.
std::string KnownName(const storage::Profiles &profiles, const TCHAR *name, ULONG flags)
{
    Require(name != nullptr, "the profile's name");
    const std::string text = Utf8FromClient(name, flags);
    const auto profile = profiles.Find(text);
    if (!profile)
        throw Failure(MAPI_E_NOT_FOUND, "There is no profile \"" + text + "\".");
    return profile->name;
}

// The name of a profile to be made.
std::string NewName(const TCHAR *name, ULONG flags)
{
    Require(name != nullptr, "the profile's name");
    std::string text = Utf8FromClient(name, flags);
    RequireProfileName(text);
    return text;
}

STDMETHODIMP ProfileAdmin::GetProfileTable(ULONG flags, LPMAPITABLE *table)
{
    return Run("IProfAdmin::GetProfileTable", [&]() -> HRESULT {
        Require(table != nullptr, "where the table goes");
        *table = nullptr;
        RequireFlags(flags, MAPI_UNICODE);
        MemoryRows rows;
        for (const storage::Profile &profile : storage::Profiles(*m_site).List()) {
            PropArray row(3);
            row.Text(PR_DISPLAY_NAME_W, profile.name)
                .Boolean(PR_DEFAULT_PROFILE, profile.isDefault)
                .Binary(PR_INSTANCE_KEY, profile.name.data(), profile.name.size());
            Check(rows.Add(row.Count(), row.Values()), "the row of a profile");
        }
        MemoryTableSettings settings;
        settings.columns = {PR_DISPLAY_NAME_W, PR_DEFAULT_PROFILE};
        settings.unicode = (flags & MAPI_UNICODE) != 0;
        return CreateMemoryTable(std::move(rows), std::move(settings), table);
    });
}

STDMETHODIMP ProfileAdmin::CreateProfile(LPTSTR name, LPTSTR, ULONG_PTR, ULONG flags)
{
    return Run("IProfAdmin::CreateProfile", [&]() -> HRESULT {
        RequireFlags(flags, MAPI_DEFAULT_SERVICES | MAPI_DIALOG | MAPI_UNICODE);
        const std::string text = NewName(name, flags);
        MakeProfile(*m_site, text);
        if (flags & MAPI_DEFAULT_SERVICES)
            Profile(m_site, text).AddService({storage::NewGuid(), kServiceName, kServiceDisplayName});
        return S_OK;
    });
}

STDMETHODIMP ProfileAdmin::DeleteProfile(LPTSTR name, ULONG flags)
{
    return Run("IProfAdmin::DeleteProfile", [&]() -> HRESULT {
        RequireFlags(flags, MAPI_UNICODE);
        storage::Profiles profiles(*m_site);
        profiles.Remove(KnownName(profiles, name, flags));
        return S_OK;
    });
}

STDMETHODIMP ProfileAdmin::CopyProfile(LPTSTR oldName, LPTSTR, LPTSTR newName, ULONG_PTR, ULONG flags)
{
    return Run("IProfAdmin::CopyProfile", [&]() -> HRESULT {
        RequireFlags(flags, MAPI_DIALOG | MAPI_UNICODE);
        storage::Profiles profiles(*m_site);
        const std::string from = KnownName(profiles, oldName, flags), to = NewName(newName, flags);
        MakeProfile(*m_site, to);
        try {
            const Profile source(m_site, from);
            Profile copy(m_site, to);
            const auto copySection = [&](const storage::Guid &fromUid, const storage::Guid &toUid) {
                if (auto section = source.Section(fromUid)) {
                    section->Erase(StorageTag(PR_PROFILE_NAME));
                    copy.ChangeSection(toUid, *section);
                }
            };
            copySection(GuidOf(kGlobalProfileSection), GuidOf(kGlobalProfileSection));
            for (const storage::Service &service : source.Services()) {
                const storage::Guid uid = storage::NewGuid();
                copy.AddService({uid, service.name, service.displayName});
                copySection(service.uid, uid);
            }
        } catch (...) {
            profiles.Remove(to);
            throw;
        }
        return S_OK;
    });
}

STDMETHODIMP ProfileAdmin::RenameProfile(LPTSTR oldName, LPTSTR, LPTSTR newName, ULONG_PTR, ULONG flags)
{
    return Run("IProfAdmin::RenameProfile", [&]() -> HRESULT {
        RequireFlags(flags, MAPI_DIALOG | MAPI_UNICODE);
        storage::Profiles profiles(*m_site);
        const std::string from = KnownName(profiles, oldName, flags), to = NewName(newName, flags);
        const auto other = profiles.Find(to);
        if (other && other->name != from)
            throw Failure(MAPI_E_NO_ACCESS, "There is a profile \"" + to + "\" already.");
        profiles.Rename(from, to);
        return S_OK;
    });
}

STDMETHODIMP ProfileAdmin::SetDefaultProfile(LPTSTR name, ULONG flags)
{
    return Run("IProfAdmin::SetDefaultProfile", [&]() -> HRESULT {
        RequireFlags(flags, MAPI_UNICODE);
        storage::Profiles profiles(*m_site);
        // Null or empty: there is to be no default profile.
        profiles.SetDefault(Utf8FromClient(name, flags).empty() ? std::string() : KnownName(profiles, name, flags));
        return S_OK;
    });
}

STDMETHODIMP ProfileAdmin::AdminServices(LPTSTR name, LPTSTR, ULONG_PTR, ULONG flags, LPSERVICEADMIN *admin)
{
    return Run("IProfAdmin::AdminServices", [&]() -> HRESULT {
        Require(admin != nullptr, "where the service administration goes");
        *admin = nullptr;
        RequireFlags(flags, MAPI_DIALOG | MAPI_UNICODE);
        const std::string known = KnownName(storage::Profiles(*m_site), name, flags);
        *admin = MakeServiceAdmin(std::make_shared<Profile>(m_site, known));
        return S_OK;
    });
}

} // namespace

IProfAdmin *MakeProfileAdmin(std::shared_ptr<storage::Site> site)
{
    return MakeObject<ProfileAdmin>(std::move(site)).release();
}

} // namespace localmapi
