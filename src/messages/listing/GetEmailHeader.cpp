// The header of one message, by the columns of the listing.
#include "messages/listing/HeaderColumns.h"
#include "session/CMAPIImpl.h"
#include "session/OpenCounted.h"

HRESULT CMAPIImpl::GetEmailHeader(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, Header &header)
{
    const StoreEntry entry(pIMsgStore, cbEntryID, lpEntryID);
    CountedOperation operation(OpenObjects(), "CMAPIImpl::GetEmailHeader", "pIMsgStore: %p, EntryID: \"%s\", ...",
                               static_cast<void *>(entry.pIMsgStore), entry.Text().c_str());
    // "ecit", as the contract has it.
    operation.ShowCounter(kAtEntry, "%s[%d]: At ecit, counter=[%ld]");
    return WithMessage(operation, entry, [&](Counted<IMessage> &message) -> HRESULT {
        CountedProperties properties;
        const HRESULT hr = properties.Get(message.get(), HeaderTags(), OpenObjects());
        if (FAILED(hr))
            return operation.Failed("GetProps", "trying to retrieve properties for the message.", message.get(), hr);
        HeaderFromMessage(properties.begin(), properties.size(), header);
        return hr;
    });
}
