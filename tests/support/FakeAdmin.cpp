// The administration of profiles and of a profile's services, and a profile's section.
#include "support/Memory.h"
#include "support/World.h"

namespace mapi_double
{

namespace
{

class FakeProfSect : public PropObject<IProfSect>
{
  public:
    explicit FakeProfSect(std::shared_ptr<PropsData> data) : PropObject("ProfSect", std::move(data)) {}

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IProfSect || riid == IID_IMAPIProp; }
};

class FakeServiceAdmin : public ComObject<IMsgServiceAdmin>
{
  public:
    explicit FakeServiceAdmin(const std::string &profile) : ComObject("ServiceAdmin", profile) {}

    STDMETHODIMP GetLastError(HRESULT hr, ULONG flags, LPMAPIERROR *error) override
    {
        return GiveLastError(*this, hr, flags, error);
    }
    STDMETHODIMP GetMsgServiceTable(ULONG flags, LPMAPITABLE *table) override
    {
        Call call(*this, "GetMsgServiceTable", {Hex(flags)});
        return call.Give(table, [] { return NewTable(TheWorld().services); });
    }
    STDMETHODIMP CreateMsgService(LPTSTR service, LPTSTR displayName, ULONG_PTR ui, ULONG flags) override
    {
        Call call(*this, "CreateMsgService", {Quoted(service), Quoted(displayName), Hex(ui), Hex(flags)});
        return call.Return(S_OK);
    }
    STDMETHODIMP ConfigureMsgService(LPMAPIUID uid, ULONG_PTR ui, ULONG flags, ULONG count,
                                     LPSPropValue values) override
    {
        Call call(*this, "ConfigureMsgService", {Uid(uid), Hex(ui), Hex(flags), Properties(count, values)});
        return call.Return(S_OK);
    }
    STDMETHODIMP OpenProfileSection(LPMAPIUID uid, LPCIID iid, ULONG flags, LPPROFSECT *section) override
    {
        Call call(*this, "OpenProfileSection", {Uid(uid), Interface(iid), Hex(flags)});
        return call.Give(section, [] { return new FakeProfSect(TheWorld().globalSection); });
    }
    NOT_CALLED(DeleteMsgService, (LPMAPIUID))
    NOT_CALLED(CopyMsgService, (LPMAPIUID, LPTSTR, LPCIID, LPCIID, LPVOID, ULONG_PTR, ULONG))
    NOT_CALLED(RenameMsgService, (LPMAPIUID, ULONG, LPTSTR))
    NOT_CALLED(MsgServiceTransportOrder, (ULONG, LPMAPIUID, ULONG))
    NOT_CALLED(AdminProviders, (LPMAPIUID, ULONG, LPPROVIDERADMIN *))
    NOT_CALLED(SetPrimaryIdentity, (LPMAPIUID, ULONG))
    NOT_CALLED(GetProviderTable, (ULONG, LPMAPITABLE *))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IMsgServiceAdmin; }
};

class FakeProfAdmin : public ComObject<IProfAdmin>
{
  public:
    FakeProfAdmin() : ComObject("ProfAdmin", "") {}

    STDMETHODIMP GetLastError(HRESULT hr, ULONG flags, LPMAPIERROR *error) override
    {
        return GiveLastError(*this, hr, flags, error);
    }
    STDMETHODIMP GetProfileTable(ULONG flags, LPMAPITABLE *table) override
    {
        Call call(*this, "GetProfileTable", {Hex(flags)});
        return call.Give(table, [] { return NewTable(TheWorld().profiles); });
    }
    STDMETHODIMP CreateProfile(LPTSTR name, LPTSTR password, ULONG_PTR ui, ULONG flags) override
    {
        Call call(*this, "CreateProfile", {Quoted(name), Quoted(password), Hex(ui), Hex(flags)});
        return call.Return(S_OK);
    }
    STDMETHODIMP DeleteProfile(LPTSTR name, ULONG flags) override
    {
        Call call(*this, "DeleteProfile", {Quoted(name), Hex(flags)});
        return call.Return(S_OK);
    }
    STDMETHODIMP AdminServices(LPTSTR name, LPTSTR password, ULONG_PTR ui, ULONG flags, LPSERVICEADMIN *admin) override
    {
        Call call(*this, "AdminServices", {Quoted(name), Quoted(password), Hex(ui), Hex(flags)});
        return call.Give(admin, [&] { return NewServiceAdmin(name ? name : ""); });
    }
    NOT_CALLED(ChangeProfilePassword, (LPTSTR, LPTSTR, LPTSTR, ULONG))
    NOT_CALLED(CopyProfile, (LPTSTR, LPTSTR, LPTSTR, ULONG_PTR, ULONG))
    NOT_CALLED(RenameProfile, (LPTSTR, LPTSTR, LPTSTR, ULONG_PTR, ULONG))
    NOT_CALLED(SetDefaultProfile, (LPTSTR, ULONG))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IProfAdmin; }
};

} // namespace

IMsgServiceAdmin *NewServiceAdmin(const std::string &profile)
{
    return new FakeServiceAdmin(profile);
}

IProfAdmin *NewProfAdmin()
{
    return new FakeProfAdmin;
}

} // namespace mapi_double
