#include "common/mapi/Counted.h"
#include "common/mapi/MapiArguments.h"
#include "session/CMAPIImpl.h"

namespace
{

// The text of a message's value. One that is too large to come at once is read through its stream.
tstring TextOrLargeText(const Operation &operation, IMessage *pMessage, const SPropValue &value, ULONG ulPropTag)
{
    if (value.ulPropTag == ulPropTag)
        return value.Value.lpszA;
    if (PROP_TYPE(value.ulPropTag) != PT_ERROR || value.Value.err != MAPI_E_NOT_ENOUGH_MEMORY)
        return {};
    MapiBuffer<SPropValue> large;
    const HRESULT hr = HrOpenProperty(pMessage, ulPropTag, large.put());
    if (FAILED(hr)) {
        operation.Failed("HrOpenProperty", "trying to read a large property of the message.", pMessage, hr);
        return {};
    }
    return large->Value.lpszA;
}

} // namespace

HRESULT CMAPIImpl::DownloadEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, DownloadedText &text)
{
    Operation operation("CMAPIImpl::DownloadEmail", "pIMsgStore: %p, EntryID: \"%s\", ...",
                        static_cast<void *>(pIMsgStore), GetEntryIDString(cbEntryID, lpEntryID).c_str());
    operation.ShowCounter(m_lOpenObjects, "%s[%d]: At Entry, counter=[%ld]", "%s[%d]: At Exit, counter=[%ld]");
    return operation.Stage([&]() -> HRESULT {
        if (!pIMsgStore)
            return NoStore(operation);
        Counted<IMessage> message;
        HRESULT hr = OpenMessage(operation, pIMsgStore, cbEntryID, lpEntryID, m_lOpenObjects, message);
        if (FAILED(hr))
            return hr;
        ULONG cValues = 0;
        MapiBuffer<SPropValue> values;
        hr = message->GetProps(PropTags<PR_BODY_A, PR_SUBJECT_A>(), 0, &cValues, values.put());
        if (FAILED(hr))
            return operation.Failed("GetProps", "trying to determine specific properties the message.", message.get(),
                                    hr);
        const ScopedCount counted(m_lOpenObjects);
        // Values come in the order in which they were asked for, also those that are errors.
        if (values && cValues > 0)
            text.strBody = TextOrLargeText(operation, message.get(), values.get()[0], PR_BODY_A);
        if (values && cValues > 1)
            text.strSubject = TextOrLargeText(operation, message.get(), values.get()[1], PR_SUBJECT_A);
        return hr;
    });
}

HRESULT CMAPIImpl::DownloadAttachment(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, ULONG ulAttachNum,
                                      const tstring &szFilename)
{
    Operation operation("CMAPIImpl::DownloadAttachment",
                        "pIMsgStore: %p, EntryID: \"%s\", ulAttachNum: %lu, szFilename: \"%s\"",
                        static_cast<void *>(pIMsgStore), GetEntryIDString(cbEntryID, lpEntryID).c_str(), ulAttachNum,
                        szFilename.c_str());
    operation.ShowCounter(m_lOpenObjects, "%s[%d]: At entry, counter=[%ld]", "%s[%d]: At exit, counter=[%ld]");
    return operation.Stage([&]() -> HRESULT {
        if (!pIMsgStore)
            return NoStore(operation);
        Counted<IMessage> message;
        const HRESULT hr = OpenMessage(operation, pIMsgStore, cbEntryID, lpEntryID, m_lOpenObjects, message);
        if (FAILED(hr))
            return hr;
        return HrStreamInAttachment(message.get(), ulAttachNum, szFilename);
    });
}
