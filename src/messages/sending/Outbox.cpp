#include "messages/sending/Outbox.h"
#include "common/mapi/MapiArguments.h"

HRESULT ReadFolderID(const CountedOperation &operation, IMsgStore *pIMsgStore, ULONG ulPropTag, const char *sentence,
                     FolderID &id)
{
    HRESULT hr = HrGetOneProp(pIMsgStore, ulPropTag, id.value.put());
    if (SUCCEEDED(hr) && (!id.value || id.value->ulPropTag != ulPropTag))
        hr = MAPI_E_NOT_FOUND;
    if (FAILED(hr))
        return operation.Failed("HrGetOneProp", sentence, pIMsgStore, hr);
    id.count = ScopedCount(operation.OpenObjects());
    return hr;
}

HRESULT OpenOutbox(const CountedOperation &operation, IMsgStore *pIMsgStore, Outbox &outbox)
{
    // Without "trying to", as the contract has it.
    const HRESULT hr =
        ReadFolderID(operation, pIMsgStore, PR_IPM_OUTBOX_ENTRYID, "determining the ID for outbox.", outbox.id);
    if (FAILED(hr))
        return hr;
    return OpenCounted(operation, {pIMsgStore, outbox.id.Bytes()}, &IID_IMAPIFolder, MAPI_MODIFY,
                       "trying to access and open the outbox folder.", outbox.folder);
}

HRESULT CreateMessage(const CountedOperation &operation, const Outbox &outbox, Counted<IMessage> &message)
{
    const HRESULT hr =
        message.Count(outbox.folder->CreateMessage(nullptr, 0, message.object.put()), operation.OpenObjects());
    if (FAILED(hr))
        // Without "trying to", as the contract has it.
        return operation.Failed("CreateMessage", "creating the message.", outbox.folder.get(), hr);
    return hr;
}

HRESULT SetMessageProps(const Operation &operation, IMessage *pMessage, ULONG cValues, SPropValue *pValues)
{
    const HRESULT hr = pMessage->SetProps(cValues, pValues, nullptr);
    if (FAILED(hr))
        return operation.Failed("SetProps", "trying to set properties for the message.", pMessage, hr);
    return hr;
}

HRESULT ModifyRecipients(const Operation &operation, IMessage *pMessage, ADRLIST *pRecipients)
{
    const HRESULT hr = pMessage->ModifyRecipients(0, pRecipients);
    if (FAILED(hr))
        return operation.Failed("ModifyRecipients", "trying to modify the recipients associated with the message.",
                                pMessage, hr);
    return hr;
}

HRESULT OpenSource(const CountedOperation &operation, const tstring &szFile, Counted<IStream> &source)
{
    const HRESULT hr = source.Count(
        OpenStreamOnFile(MAPIAllocateBuffer, MAPIFreeBuffer, 0, MapiIn(szFile), nullptr, source.object.put()),
        operation.OpenObjects());
    if (FAILED(hr))
        // Without "to", and no full stop, as the contract has it.
        return operation.Failed("OpenStreamOnFile", "trying open a stream on the file %s", hr, szFile.c_str());
    return hr;
}

HRESULT SaveMessage(const Operation &operation, IMessage *pMessage)
{
    const HRESULT hr = pMessage->SaveChanges(KEEP_OPEN_READWRITE);
    if (FAILED(hr))
        return operation.Failed("SaveChanges", "trying to save changes to the message.", pMessage, hr);
    return hr;
}

HRESULT SubmitMessage(const Operation &operation, IMessage *pMessage)
{
    const HRESULT hr = pMessage->SubmitMessage(0);
    if (FAILED(hr))
        return operation.Failed(
            "SubmitMessage",
            "trying to save all the changes to the message and marking the message as ready to be sent.", pMessage, hr);
    return hr;
}
