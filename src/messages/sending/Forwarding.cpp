// Forwarding a message, and answering it to its sender. Both mark the original first and then send a copy of it, so
// that an original stays marked when its copy does not get away.
#include "ExchangeMapi.h"
#include "common/mapi/PropertyValues.h"
#include "messages/sending/Outbox.h"
#include "session/CMAPIImpl.h"
#include <vector>

namespace
{

// Values of PR_LAST_VERB_EXECUTED and PR_ICON_INDEX as mail clients know them.
constexpr LONG kVerbReplyToSender = 102;
constexpr LONG kVerbForward = 104;
constexpr LONG kIconReplied = 262;

// What belongs to the original's delivery and addressing, and not to its copy.
LPSPropTagArray NotCopied()
{
    return PropTags<PR_CLIENT_SUBMIT_TIME, PR_MESSAGE_DELIVERY_TIME, PR_MESSAGE_DOWNLOAD_TIME, PR_MESSAGE_FLAGS,
                    PR_ORIGINATOR_DELIVERY_REPORT_REQUESTED, PR_RCVD_REPRESENTING_ADDRTYPE_A,
                    PR_RCVD_REPRESENTING_EMAIL_ADDRESS_A, PR_RCVD_REPRESENTING_ENTRYID, PR_RCVD_REPRESENTING_NAME_A,
                    PR_RCVD_REPRESENTING_SEARCH_KEY, PR_READ_RECEIPT_ENTRYID, PR_READ_RECEIPT_REQUESTED,
                    PR_RECEIVED_BY_ADDRTYPE_A, PR_RECEIVED_BY_EMAIL_ADDRESS_A, PR_RECEIVED_BY_ENTRYID,
                    PR_RECEIVED_BY_NAME_A, PR_RECEIVED_BY_SEARCH_KEY, PR_REPLY_RECIPIENT_ENTRIES,
                    PR_REPLY_RECIPIENT_NAMES_A, PR_REPORT_ENTRYID, PR_SENDER_ADDRTYPE_A, PR_SENDER_EMAIL_ADDRESS_A,
                    PR_SENDER_ENTRYID, PR_SENDER_NAME_A, PR_SENDER_SEARCH_KEY, PR_SENT_REPRESENTING_ADDRTYPE_A,
                    PR_SENT_REPRESENTING_EMAIL_ADDRESS_A, PR_SENT_REPRESENTING_ENTRYID, PR_SENT_REPRESENTING_NAME_A,
                    PR_SENT_REPRESENTING_SEARCH_KEY, PR_SENTMAIL_ENTRYID, PR_SUBJECT_PREFIX_A,
                    PR_LAST_VERB_EXECUTION_TIME, PR_LAST_VERB_EXECUTED>();
}

// An original and the message that is made from it.
struct Copy {
    Outbox outbox;
    Counted<IMessage> original;
    Counted<IMessage> message;
};

// A failure that a later step does not make good.
HRESULT FirstFailure(HRESULT hrSoFar, HRESULT hrStep)
{
    return FAILED(hrSoFar) ? hrSoFar : hrStep;
}

// An answer alone changes the original's icon, as the contract has it.
std::vector<SPropValue> MarksOf(LONG lVerb)
{
    SYSTEMTIME stNow;
    FILETIME ftNow;
    GetSystemTime(&stNow);
    SystemTimeToFileTime(&stNow, &ftNow);
    std::vector<SPropValue> marks = {
        TimeProperty(PR_LAST_MODIFICATION_TIME, ftNow),
        LongProperty(PR_LAST_VERB_EXECUTED, lVerb),
        TimeProperty(PR_LAST_VERB_EXECUTION_TIME, ftNow),
    };
    if (lVerb == kVerbReplyToSender)
        marks.push_back(LongProperty(PR_ICON_INDEX, kIconReplied));
    return marks;
}

HRESULT CopyContent(const Operation &operation, const Copy &copy)
{
    const HRESULT hr =
        copy.original->CopyTo(0, nullptr, NotCopied(), 0, nullptr, &IID_IMessage, copy.message.get(), 0, nullptr);
    if (FAILED(hr))
        return operation.Failed("CopyTo",
                                "trying to copy specified properties from the original message to the new message.",
                                copy.original.get(), hr);
    return hr;
}

// The original, marked, and a new message with its content. Once there is a new message, marking, saving and copying
// follow each other whatever became of the step before, and the last one gives the result, as the contract has it.
HRESULT CopyOriginal(const CountedOperation &operation, const StoreEntry &original, LONG lVerb, Copy &copy)
{
    HRESULT hr = OpenCounted(operation, original, &IID_IMessage, MAPI_BEST_ACCESS,
                             "trying to access and open the original message.", copy.original);
    if (SUCCEEDED(hr))
        hr = OpenOutbox(operation, original.pIMsgStore, copy.outbox);
    if (SUCCEEDED(hr))
        hr = CreateMessage(operation, copy.outbox, copy.message);
    if (FAILED(hr))
        return hr;
    std::vector<SPropValue> marks = MarksOf(lVerb);
    SetMessageProps(operation, copy.original.get(), static_cast<ULONG>(marks.size()), marks.data());
    SaveMessage(operation, copy.original.get());
    return CopyContent(operation, copy);
}

// Unlike a new message, a copy is kept in the sent items.
HRESULT KeepInSentItems(const CountedOperation &operation, IMsgStore *pIMsgStore, IMessage *pMessage)
{
    FolderID sentItems;
    // Without "trying to", as the contract has it.
    const HRESULT hr =
        ReadFolderID(operation, pIMsgStore, PR_IPM_SENTMAIL_ENTRYID, "determining the ID for sentmail.", sentItems);
    if (FAILED(hr))
        return hr;
    SPropValue value = BinaryProperty(PR_SENTMAIL_ENTRYID, sentItems.Bytes());
    return SetMessageProps(operation, pMessage, 1, &value);
}

// The address of the original's sender; empty where it has none.
HRESULT ReadSender(const CountedOperation &operation, IMessage *pOriginal, tstring &strSender)
{
    CountedProperties properties;
    const HRESULT hr = properties.Get(pOriginal, PropTags<PR_SENDER_EMAIL_ADDRESS_A>(), operation.OpenObjects());
    if (FAILED(hr))
        return operation.Failed("GetProps", "trying to retrieve the specified properties from the original message.",
                                pOriginal, hr);
    for (const SPropValue &value : properties)
        if (value.ulPropTag == PR_SENDER_EMAIL_ADDRESS_A && value.Value.lpszA)
            strSender = value.Value.lpszA;
    return hr;
}

HRESULT SaveAndSubmit(const Operation &operation, IMessage *pMessage)
{
    const HRESULT hr = SaveMessage(operation, pMessage);
    return SUCCEEDED(hr) ? SubmitMessage(operation, pMessage) : hr;
}

} // namespace

HRESULT CMAPIImpl::ForwardEmail(ULONG cbEntryID, const BYTE *lpEntryID, const tstring &m_TargetAlias)
{
    const ComPtr<IMsgStore> store = State().DefaultStore();
    return ForwardEmail(store.get(), cbEntryID, lpEntryID, m_TargetAlias);
}

HRESULT CMAPIImpl::RespondEmail(ULONG cbEntryID, const BYTE *lpEntryID, const tstring &szFile,
                                const tstring &szFilename, ULONG ulUnused)
{
    const ComPtr<IMsgStore> store = State().DefaultStore();
    return RespondEmail(store.get(), cbEntryID, lpEntryID, szFile, szFilename, ulUnused);
}

HRESULT CMAPIImpl::ForwardEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID,
                                const tstring &m_TargetAlias)
{
    const StoreEntry original(pIMsgStore, cbEntryID, lpEntryID);
    CountedOperation operation(
        OpenObjects(), "CMAPIImpl::ForwardEmail", "pIMsgStore: %p, EntryID: \"%s\", m_TargetAlias: \"%s\"",
        static_cast<void *>(original.pIMsgStore), original.Text().c_str(), m_TargetAlias.c_str());
    operation.ShowCounter(kAtEntry, kAtExit);
    if (!original.pIMsgStore)
        return NoStore(operation);
    Copy copy;
    HRESULT hr = CopyOriginal(operation, original, kVerbForward, copy);
    if (!copy.message)
        return hr;
    hr = FirstFailure(hr, KeepInSentItems(operation, original.pIMsgStore, copy.message.get()));
    AddressList recipients;
    if (SUCCEEDED(hr))
        hr = CreateAddressList(recipients.put(), m_TargetAlias.c_str());
    if (SUCCEEDED(hr))
        hr = ModifyRecipients(operation, copy.message.get(), recipients.get());
    // Tried whatever became of the steps before; a message without recipients is MAPI's to refuse.
    return FirstFailure(hr, SaveAndSubmit(operation, copy.message.get()));
}

// The last argument has no meaning, as the contract has it.
HRESULT CMAPIImpl::RespondEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, const tstring &szFile,
                                const tstring &szFilename, ULONG)
{
    const StoreEntry original(pIMsgStore, cbEntryID, lpEntryID);
    CountedOperation operation(
        OpenObjects(), "CMAPIImpl::RespondEmail", "pIMsgStore: %p, EntryID: \"%s\", szFile: \"%s\", szFilename: \"%s\"",
        static_cast<void *>(original.pIMsgStore), original.Text().c_str(), szFile.c_str(), szFilename.c_str());
    operation.ShowCounter(kAtEntry, kAtExit);
    if (!original.pIMsgStore)
        return NoStore(operation);
    Copy copy;
    HRESULT hr = CopyOriginal(operation, original, kVerbReplyToSender, copy);
    if (!copy.message)
        return hr;
    Counted<IStream> source;
    if (SUCCEEDED(hr) && !szFile.empty()) {
        hr = OpenSource(operation, szFile, source);
        if (SUCCEEDED(hr))
            hr = AttachFile(copy.message.get(), source.get(), szFile.c_str(), szFilename.c_str());
    }
    hr = FirstFailure(hr, SaveMessage(operation, copy.message.get()));
    hr = FirstFailure(hr, KeepInSentItems(operation, original.pIMsgStore, copy.message.get()));

    tstring strSender;
    AddressList recipients;
    if (SUCCEEDED(hr))
        hr = ReadSender(operation, copy.original.get(), strSender);
    if (SUCCEEDED(hr))
        hr = CreateAddressList(recipients.put(), strSender.c_str());
    if (SUCCEEDED(hr))
        hr = ModifyRecipients(operation, copy.message.get(), recipients.get());
    return SUCCEEDED(hr) ? SaveAndSubmit(operation, copy.message.get()) : hr;
}
