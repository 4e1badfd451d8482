// The MAPI session.
#include "support/Memory.h"
#include "support/World.h"

namespace mapi_double
{

namespace
{

class FakeSession : public ComObject<IMAPISession>
{
  public:
    FakeSession() : ComObject("Session", "") {}

    STDMETHODIMP GetLastError(HRESULT hr, ULONG flags, LPMAPIERROR *error) override
    {
        return GiveLastError(*this, hr, flags, error);
    }
    STDMETHODIMP GetMsgStoresTable(ULONG flags, LPMAPITABLE *table) override
    {
        Call call(*this, "GetMsgStoresTable", {Hex(flags)});
        return call.Give(table, [] { return NewTable(TheWorld().stores); });
    }
    STDMETHODIMP OpenMsgStore(ULONG_PTR ui, ULONG count, LPENTRYID id, LPCIID iid, ULONG flags, LPMDB *store) override
    {
        Call call(*this, "OpenMsgStore", {Hex(ui), EntryId(count, id), Interface(iid), Hex(flags)});
        const auto entry = TheWorld().entries.find(Bytes(id, count));
        const auto data =
            entry == TheWorld().entries.end() ? nullptr : std::dynamic_pointer_cast<StoreData>(entry->second);
        if (!data)
            return call.Return(MAPI_E_NOT_FOUND);
        return call.Give(store, [&] { return NewStore(data); });
    }
    STDMETHODIMP OpenAddressBook(ULONG_PTR ui, LPCIID iid, ULONG flags, LPADRBOOK *book) override
    {
        Call call(*this, "OpenAddressBook", {Hex(ui), Interface(iid), Hex(flags)});
        return call.Give(book, [] { return NewAddressBook(); });
    }
    STDMETHODIMP AdminServices(ULONG flags, LPSERVICEADMIN *admin) override
    {
        Call call(*this, "AdminServices", {Hex(flags)});
        return call.Give(admin, [] { return NewServiceAdmin("session"); });
    }
    STDMETHODIMP Logoff(ULONG_PTR ui, ULONG flags, ULONG reserved) override
    {
        Call call(*this, "Logoff", {Hex(ui), Hex(flags), Hex(reserved)});
        return call.Return(S_OK);
    }
    NOT_CALLED(OpenProfileSection, (LPMAPIUID, LPCIID, ULONG, LPPROFSECT *))
    NOT_CALLED(GetStatusTable, (ULONG, LPMAPITABLE *))
    NOT_CALLED(OpenEntry, (ULONG, LPENTRYID, LPCIID, ULONG, ULONG *, LPUNKNOWN *))
    NOT_CALLED(CompareEntryIDs, (ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG, ULONG *))
    NOT_CALLED(Advise, (ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG *))
    NOT_CALLED(Unadvise, (ULONG))
    NOT_CALLED(MessageOptions, (ULONG_PTR, ULONG, LPTSTR, LPMESSAGE))
    NOT_CALLED(QueryDefaultMessageOpt, (LPTSTR, ULONG, ULONG *, LPSPropValue *))
    NOT_CALLED(EnumAdrTypes, (ULONG, ULONG *, LPTSTR **))
    NOT_CALLED(QueryIdentity, (ULONG *, LPENTRYID *))
    NOT_CALLED(SetDefaultStore, (ULONG, ULONG, LPENTRYID))
    NOT_CALLED(ShowForm, (ULONG_PTR, LPMDB, LPMAPIFOLDER, LPCIID, ULONG, LPMESSAGE, ULONG, ULONG, ULONG, ULONG, LPSTR))
    NOT_CALLED(PrepareForm, (LPCIID, LPMESSAGE, ULONG *))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IMAPISession; }
};

} // namespace

IMAPISession *NewSession()
{
    return new FakeSession;
}

} // namespace mapi_double
