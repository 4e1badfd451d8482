// The address book, its containers and its users.
#include "support/Memory.h"
#include "support/World.h"

namespace mapi_double
{

namespace
{

class FakeMailUser : public PropObject<IMailUser>
{
  public:
    explicit FakeMailUser(std::shared_ptr<PropsData> data) : PropObject("User", std::move(data)) {}

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IMailUser || riid == IID_IMAPIProp; }
};

class FakeContainer : public PropObject<IABContainer>
{
  public:
    explicit FakeContainer(std::shared_ptr<ContainerData> data) : PropObject("Container", data), m_data(std::move(data))
    {
    }

    STDMETHODIMP GetContentsTable(ULONG flags, LPMAPITABLE *table) override
    {
        Call call(*this, "GetContentsTable", {Hex(flags)});
        return GiveTable(call, m_data->contents, table);
    }
    STDMETHODIMP GetHierarchyTable(ULONG flags, LPMAPITABLE *table) override
    {
        Call call(*this, "GetHierarchyTable", {Hex(flags)});
        return GiveTable(call, m_data->hierarchy, table);
    }
    STDMETHODIMP OpenEntry(ULONG count, LPENTRYID id, LPCIID iid, ULONG flags, ULONG *type, LPUNKNOWN *object) override
    {
        Call call(*this, "OpenEntry", {EntryId(count, id), Interface(iid), Hex(flags)});
        return OpenEntryOf(call, count, id, m_data, type, object);
    }
    NOT_CALLED(SetSearchCriteria, (LPSRestriction, LPENTRYLIST, ULONG))
    NOT_CALLED(GetSearchCriteria, (ULONG, LPSRestriction *, LPENTRYLIST *, ULONG *))
    NOT_CALLED(CreateEntry, (ULONG, LPENTRYID, ULONG, LPMAPIPROP *))
    NOT_CALLED(CopyEntries, (LPENTRYLIST, ULONG, LPMAPIPROGRESS, ULONG))
    NOT_CALLED(DeleteEntries, (LPENTRYLIST, ULONG))
    NOT_CALLED(ResolveNames, (LPSPropTagArray, ULONG, LPADRLIST, LPFlagList))

  protected:
    bool IsOwnInterface(REFIID riid) const override
    {
        return riid == IID_IABContainer || riid == IID_IMAPIContainer || riid == IID_IMAPIProp;
    }

  private:
    static HRESULT GiveTable(Call &call, const std::shared_ptr<TableData> &data, LPMAPITABLE *table)
    {
        if (!data)
            return call.Return(MAPI_E_NO_SUPPORT);
        return call.Give(table, [&] { return NewTable(data); });
    }

    std::shared_ptr<ContainerData> m_data;
};

class FakeAddressBook : public PropObject<IAddrBook>
{
  public:
    FakeAddressBook() : PropObject("AddrBook", std::make_shared<PropsData>("")) {}

    STDMETHODIMP OpenEntry(ULONG count, LPENTRYID id, LPCIID iid, ULONG flags, ULONG *type, LPUNKNOWN *object) override
    {
        Call call(*this, "OpenEntry", {EntryId(count, id), Interface(iid), Hex(flags)});
        return OpenEntryOf(call, count, id, TheWorld().rootContainer, type, object);
    }
    // Each entry becomes the one user that its display name names, in an array of its own.
    STDMETHODIMP ResolveName(ULONG_PTR ui, ULONG flags, LPTSTR title, LPADRLIST list) override
    {
        Call call(*this, "ResolveName", {Hex(ui), Hex(flags), Quoted(title), AddressList(list)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        for (ULONG i = 0; !call.GivesNull() && i < list->cEntries; ++i)
            if (const HRESULT hr = ResolveEntry(list->aEntries[i]); FAILED(hr))
                return call.Return(hr);
        return call.Return(S_OK);
    }
    NOT_CALLED(CompareEntryIDs, (ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG, ULONG *))
    NOT_CALLED(Advise, (ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG *))
    NOT_CALLED(Unadvise, (ULONG))
    NOT_CALLED(CreateOneOff, (LPTSTR, LPTSTR, LPTSTR, ULONG, ULONG *, LPENTRYID *))
    NOT_CALLED(NewEntry, (ULONG_PTR, ULONG, ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG *, LPENTRYID *))
    NOT_CALLED(Address, (ULONG_PTR *, LPADRPARM, LPADRLIST *))
    NOT_CALLED(Details, (ULONG *, LPFNDISMISS, LPVOID, ULONG, LPENTRYID, LPFNBUTTON, LPVOID, LPTSTR, ULONG))
    NOT_CALLED(RecipOptions, (ULONG_PTR, ULONG, LPADRENTRY))
    NOT_CALLED(QueryDefaultRecipOpt, (LPTSTR, ULONG, ULONG *, LPSPropValue *))
    NOT_CALLED(GetPAB, (ULONG *, LPENTRYID *))
    NOT_CALLED(SetPAB, (ULONG, LPENTRYID))
    NOT_CALLED(GetDefaultDir, (ULONG *, LPENTRYID *))
    NOT_CALLED(SetDefaultDir, (ULONG, LPENTRYID))
    NOT_CALLED(GetSearchPath, (ULONG, LPSRowSet *))
    NOT_CALLED(SetSearchPath, (ULONG, LPSRowSet))
    NOT_CALLED(PrepareRecips, (ULONG, LPSPropTagArray, LPADRLIST))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IAddrBook || riid == IID_IMAPIProp; }

  private:
    static HRESULT ResolveEntry(ADRENTRY &entry)
    {
        const char *name = nullptr;
        Row kept;
        for (ULONG i = 0; i < entry.cValues; ++i) {
            if (entry.rgPropVals[i].ulPropTag == PR_DISPLAY_NAME_A)
                name = entry.rgPropVals[i].Value.lpszA;
            if (entry.rgPropVals[i].ulPropTag == PR_RECIPIENT_TYPE)
                kept.push_back(Long(PR_RECIPIENT_TYPE, entry.rgPropVals[i].Value.l));
        }
        const auto users = TheWorld().Resolve(name ? name : "");
        if (users.size() != 1)
            return users.empty() ? MAPI_E_NOT_FOUND : MAPI_E_AMBIGUOUS_RECIP;
        kept.insert(kept.end(), users[0]->props.begin(), users[0]->props.end());
        FreeBlock(entry.rgPropVals);
        entry.rgPropVals = NewProperties("resolved recipient", kept);
        entry.cValues = static_cast<ULONG>(kept.size());
        return S_OK;
    }
};

} // namespace

IAddrBook *NewAddressBook()
{
    return new FakeAddressBook;
}

IUnknown *UserData::Open()
{
    return new FakeMailUser(TheWorld().entries.at(entryId));
}

IUnknown *ContainerData::Open()
{
    return new FakeContainer(std::static_pointer_cast<ContainerData>(TheWorld().entries.at(entryId)));
}

} // namespace mapi_double
