// The root container, the global address list, and recipients as objects.
#include "localmapi/provider/addressbook/AddressBook.h"
#include "localmapi/provider/addressbook/AddressEntries.h"
#include "localmapi/provider/addressbook/Recipients.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/provider/property/PropArray.h"
#include "localmapi/provider/property/PropObject.h"
#include "localmapi/provider/table/MemoryTable.h"
#include "localmapi/provider/table/ViewTable.h"

namespace localmapi
{

namespace
{

constexpr ULONG kCacheFlags = MAPI_NO_CACHE | 0x4000 /* MAPI_CACHE_ONLY */ | 0x80 /* MAPI_GAL_ONLY */;

class MailUser final : public PropObject<IMailUser>
{
  public:
    MailUser(Session session, storage::PropertyBag properties)
        : m_session(std::move(session)), m_properties(std::move(properties))
    {
    }

  protected:
    void Enter() override { m_session->OnCall(); }
    storage::PropertyBag Load() override { return m_properties; }

  private:
    const Session m_session;
    const storage::PropertyBag m_properties;
};

class Container final : public PropObject<IABContainer>
{
  public:
    Container(Session session, bool root) : m_session(std::move(session)), m_root(root) {}

    STDMETHODIMP GetContentsTable(ULONG flags, LPMAPITABLE *table) override
    {
        return Run("IMAPIContainer::GetContentsTable", [&]() -> HRESULT {
            Require(table != nullptr, "where the table goes");
            *table = nullptr;
            RequireFlags(flags, MAPI_UNICODE | MAPI_DEFERRED_ERRORS);
            return Contents(flags, table);
        });
    }
    STDMETHODIMP GetHierarchyTable(ULONG flags, LPMAPITABLE *table) override
    {
        return Run("IMAPIContainer::GetHierarchyTable", [&]() -> HRESULT {
            Require(table != nullptr, "where the table goes");
            *table = nullptr;
            RequireFlags(flags, MAPI_UNICODE | MAPI_DEFERRED_ERRORS | CONVENIENT_DEPTH);
            return Hierarchy(flags, table);
        });
    }
    STDMETHODIMP OpenEntry(ULONG size, LPENTRYID entry, LPCIID iid, ULONG flags, ULONG *type,
                           LPUNKNOWN *object) override
    {
        return Run("IMAPIContainer::OpenEntry",
                   [&] { return OpenAddressEntry(m_session, size, entry, iid, flags, type, object); });
    }
    STDMETHODIMP SetSearchCriteria(LPSRestriction, LPENTRYLIST, ULONG) override
    {
        return Unsupported("IMAPIContainer::SetSearchCriteria");
    }
    STDMETHODIMP GetSearchCriteria(ULONG, LPSRestriction *, LPENTRYLIST *, ULONG *) override
    {
        return Unsupported("IMAPIContainer::GetSearchCriteria");
    }
    STDMETHODIMP CreateEntry(ULONG, LPENTRYID, ULONG, LPMAPIPROP *) override
    {
        return Unsupported("IABContainer::CreateEntry");
    }
    STDMETHODIMP CopyEntries(LPENTRYLIST, ULONG, LPMAPIPROGRESS, ULONG) override
    {
        return Unsupported("IABContainer::CopyEntries");
    }
    STDMETHODIMP DeleteEntries(LPENTRYLIST, ULONG) override { return Unsupported("IABContainer::DeleteEntries"); }
    STDMETHODIMP ResolveNames(LPSPropTagArray tags, ULONG flags, LPADRLIST list, LPFlagList resolved) override;

  protected:
    void Enter() override { m_session->OnCall(); }
    storage::PropertyBag Load() override
    {
        return m_root ? RootContainerProperties(m_session->uid) : GlobalListProperties(m_session->uid);
    }
    HRESULT Open(ULONG tag, const IID &iid, ULONG options, ULONG, IUnknown **object) override
    {
        const bool contents = PROP_ID(tag) == PROP_ID(PR_CONTAINER_CONTENTS);
        if (!contents && PROP_ID(tag) != PROP_ID(PR_CONTAINER_HIERARCHY))
            return MAPI_E_NOT_FOUND;
        if (!Implements<IMAPITable>(&iid))
            return MAPI_E_INTERFACE_NOT_SUPPORTED;
        IMAPITable *table = nullptr;
        const HRESULT hr = contents ? Contents(options, &table) : Hierarchy(options, &table);
        *object = table;
        return hr;
    }

  private:
    HRESULT Contents(ULONG flags, IMAPITable **table)
    {
        RequireLoggedOn(m_session);
        if (m_root)
            NoSupport("the contents of the root container: recipients are in the global address list");
        TableSchema schema = DirectorySchema(m_session->uid, (flags & MAPI_UNICODE) != 0);
        schema.behaviour = m_session->behaviour;
        return CreateViewTable(*m_session->site, {storage::Container::Kind::Directory, 0}, std::move(schema), table);
    }
    HRESULT Hierarchy(ULONG flags, IMAPITable **table)
    {
        RequireLoggedOn(m_session);
        if (!m_root)
            NoSupport("containers in the global address list");
        const storage::PropertyBag properties = GlobalListProperties(m_session->uid);
        PropArray row(properties.size());
        for (const storage::Property &property : properties)
            row.Value(property.tag, property.value);
        MemoryRows rows;
        Check(rows.Add(row.Count(), row.Values()), "the row of the global address list");
        MemoryTableSettings settings;
        settings.columns = {PR_ENTRYID,      PR_OBJECT_TYPE,     PR_DISPLAY_TYPE, PR_DISPLAY_NAME_W,
                            PR_INSTANCE_KEY, PR_CONTAINER_FLAGS, PR_DEPTH,        PR_AB_PROVIDER_ID};
        settings.unicode = (flags & MAPI_UNICODE) != 0;
        settings.behaviour = m_session->behaviour;
        return CreateMemoryTable(std::move(rows), std::move(settings), table);
    }

    const Session m_session;
    const bool m_root;
};

STDMETHODIMP Container::ResolveNames(LPSPropTagArray tags, ULONG flags, LPADRLIST list, LPFlagList resolved)
{
    return Run("IABContainer::ResolveNames", [&]() -> HRESULT {
        Require(list != nullptr && resolved != nullptr && resolved->cFlags >= list->cEntries, "the address list");
        RequireFlags(flags, MAPI_UNICODE | MAPI_DEFERRED_ERRORS | kCacheFlags);
        RequireLoggedOn(m_session);
        if (m_root)
            NoSupport("resolving names in the root container");
        for (ULONG i = 0; i < list->cEntries; ++i) {
            ADRENTRY &entry = list->aEntries[i];
            const auto name = resolved->ulFlag[i] == MAPI_RESOLVED ? std::nullopt : DisplayNameOf(entry);
            if (!name)
                continue;
            storage::PropertyBag found;
            switch (ResolveOne(*m_session, *name, false, found)) {
            case Resolution::Resolved:
                ReplaceEntry(entry, found, tags, (flags & MAPI_UNICODE) != 0);
                resolved->ulFlag[i] = MAPI_RESOLVED;
                break;
            case Resolution::Ambiguous:
                resolved->ulFlag[i] = MAPI_AMBIGUOUS;
                break;
            case Resolution::NotFound:
                break;
            }
        }
        return S_OK;
    });
}

} // namespace

HRESULT OpenAddressEntry(const Session &session, ULONG size, const ENTRYID *entry, LPCIID iid, ULONG flags, ULONG *type,
                         IUnknown **object)
{
    Require(object != nullptr, "where the object goes");
    *object = nullptr;
    if (type)
        *type = 0;
    RequireFlags(flags, MAPI_BEST_ACCESS | MAPI_DEFERRED_ERRORS | MAPI_MODIFY | kCacheFlags);
    RequireLoggedOn(session);
    const bool root = size == 0;
    const EntryId id =
        root ? EntryId{EntryKind::AddressBookRoot, 0, 0, {}, {}, {}, 0} : ParseEntryId(session->uid, size, entry);
    const bool container = id.kind == EntryKind::AddressBookRoot || id.kind == EntryKind::GlobalAddressList;
    if (!container && id.kind != EntryKind::MailUser && id.kind != EntryKind::Contact && id.kind != EntryKind::OneOff)
        throw Failure(MAPI_E_INVALID_ENTRYID, "The entry identifier is not one of the address book.");
    if (flags & MAPI_MODIFY)
        throw Failure(MAPI_E_NO_ACCESS, "The address book is for reading only.");
    if (container) {
        if (!Implements<IABContainer>(iid))
            return MAPI_E_INTERFACE_NOT_SUPPORTED;
        *object = MakeObject<Container>(session, id.kind == EntryKind::AddressBookRoot).release();
    } else {
        if (!Implements<IMailUser>(iid))
            return MAPI_E_INTERFACE_NOT_SUPPORTED;
        *object = MakeObject<MailUser>(session, RecipientProperties(*session, size, entry)).release();
    }
    if (type)
        *type = container ? MAPI_ABCONT : MAPI_MAILUSER;
    return S_OK;
}

HRESULT CompareEntries(const Session &session, ULONG leftSize, const ENTRYID *left, ULONG rightSize,
                       const ENTRYID *right, ULONG flags, ULONG *same)
{
    Require(same != nullptr, "where the result goes");
    *same = FALSE;
    RequireFlags(flags, 0);
    *same = SameObject(ParseEntryId(session->uid, leftSize, left), ParseEntryId(session->uid, rightSize, right));
    return S_OK;
}

void RequireLoggedOn(const Session &session)
{
    if (session->loggedOff)
        throw Failure(MAPI_E_END_OF_SESSION, "The session is logged off.");
}

} // namespace localmapi
