// New messages, plain and of unified messaging.
#include "ExchangeMapi.h"
#include "common/mapi/MessageTerms.h"
#include "common/mapi/PropertyValues.h"
#include "messages/sending/Outbox.h"
#include "messages/sending/OutgoingEmail.h"
#include "session/CMAPIImpl.h"
#include <vector>

namespace
{

std::vector<SPropValue> PropertiesOf(const OutgoingEmail &email)
{
    return {
        TextProperty(PR_SUBJECT_A, email.strSubject),
        TextProperty(PR_BODY_A, email.strBody),
        LongProperty(PR_IMPORTANCE, email.bUrgent ? IMPORTANCE_HIGH : IMPORTANCE_NORMAL),
        LongProperty(PR_PRIORITY, email.bUrgent ? PRIO_URGENT : PRIO_NORMAL),
        LongProperty(PR_SENSITIVITY, email.bPrivate ? SENSITIVITY_PRIVATE : SENSITIVITY_NONE),
        TrueProperty(PR_DELETE_AFTER_SUBMIT),
    };
}

// What clients of unified messaging show of a voice message.
void AddVoiceProperties(std::vector<SPropValue> &values, const VoiceDetails &voice)
{
    const SPropValue more[] = {
        TextProperty(PR_MESSAGE_CLASS_A, kUnifiedMessagingClass),
        LongProperty(PR_UM_DURATION, voice.lSecs),
        TextProperty(PR_UM_TELEPHONE_NUMBER_A, voice.strNumber),
        TextProperty(PR_UM_SENDER_NAME_A, voice.strName),
        LongProperty(PR_UM_OFFSET, voice.offset),
        LongProperty(PR_UM_MESSAGE_RECEIVED, static_cast<LONG>(voice.ulMsgReceived)),
        TextProperty(PR_UM_ATTACHMENT_ORDER_A, voice.strOrder),
        TrueProperty(PR_DISABLE_FULL_FIDELITY),
    };
    values.insert(values.end(), std::begin(more), std::end(more));
}

const char *UrgentText(const OutgoingEmail &email)
{
    return email.bUrgent ? ", URGENT" : "";
}
const char *PrivateText(const OutgoingEmail &email)
{
    return email.bPrivate ? ", PRIVATE" : "";
}

// A plain message without voice details. What fails leaves a message that was never saved and goes with its last
// reference.
HRESULT Send(CMAPIImpl &session, const CountedOperation &operation, IMsgStore *pIMsgStore, const OutgoingEmail &email,
             const VoiceDetails *pVoice)
{
    if (!pIMsgStore)
        return NoStore(operation);
    Outbox outbox;
    HRESULT hr = OpenOutbox(operation, pIMsgStore, outbox);
    if (FAILED(hr))
        return hr;
    Counted<IMessage> message;
    hr = CreateMessage(operation, outbox, message);
    if (FAILED(hr))
        return hr;

    Counted<IStream> source;
    AddressList recipients;
    hr = session.CreateAddressList(recipients.put(), email.m_TargetAlias.c_str());
    if (SUCCEEDED(hr))
        hr = ModifyRecipients(operation, message.get(), recipients.get());
    if (FAILED(hr))
        return hr;

    std::vector<SPropValue> values = PropertiesOf(email);
    if (pVoice)
        AddVoiceProperties(values, *pVoice);
    hr = SetMessageProps(operation, message.get(), static_cast<ULONG>(values.size()), values.data());
    if (FAILED(hr))
        return hr;

    if (!email.strFile.empty()) {
        hr = OpenSource(operation, email.strFile, source);
        if (SUCCEEDED(hr))
            hr = session.AttachFile(message.get(), source.get(), email.strFile.c_str(), email.strFilename.c_str());
        if (FAILED(hr))
            return hr;
    }

    hr = SubmitMessage(operation, message.get());
    if (SUCCEEDED(hr) && pVoice)
        // No blank before the bracket, as the contract has it.
        operation.State("Message submitted successfully.[%ld]", operation.OpenObjects().load());
    return hr;
}

} // namespace

HRESULT CMAPIImpl::SendEmail(const OutgoingEmail &email)
{
    const ComPtr<IMsgStore> store = State().DefaultStore();
    return SendEmail(store.get(), email);
}

HRESULT CMAPIImpl::SendUMEmail(const OutgoingEmail &email, const VoiceDetails &voice)
{
    const ComPtr<IMsgStore> store = State().DefaultStore();
    return SendUMEmail(store.get(), email, voice);
}

HRESULT CMAPIImpl::SendEmail(IMsgStore *pIMsgStore, const OutgoingEmail &email)
{
    CountedOperation operation(
        OpenObjects(), "CMAPIImpl::SendEmail",
        "pIMsgStore: %p, m_TargetAlias: \"%s\", szSubject: \"%s\", szBody: \"%s\"%s%s, szFile: \"%s\", "
        "szFilename: \"%s\"",
        static_cast<void *>(pIMsgStore), email.m_TargetAlias.c_str(), email.strSubject.c_str(), email.strBody.c_str(),
        UrgentText(email), PrivateText(email), email.strFile.c_str(), email.strFilename.c_str());
    operation.ShowCounter(kAtEntryCapital, kAtExitCapital);
    return Send(*this, operation, pIMsgStore, email, nullptr);
}

HRESULT CMAPIImpl::SendUMEmail(IMsgStore *pIMsgStore, const OutgoingEmail &email, const VoiceDetails &voice)
{
    CountedOperation operation(
        OpenObjects(), "CMAPIImpl::SendUMEmail",
        "pIMsgStore: %p, m_TargetAlias: \"%s\", szSubject: \"%s\", szBody: \"%s\"%s%s, szFile: \"%s\", "
        // Number and order without quotes, as the contract has it.
        "szFilename: \"%s\", lSecs: %ld, szNumber: %s, szName: \"%s\", szOrder: %s, offset: %ld, "
        "ulMsgReceived: %lu",
        static_cast<void *>(pIMsgStore), email.m_TargetAlias.c_str(), email.strSubject.c_str(), email.strBody.c_str(),
        UrgentText(email), PrivateText(email), email.strFile.c_str(), email.strFilename.c_str(), voice.lSecs,
        voice.strNumber.c_str(), voice.strName.c_str(), voice.strOrder.c_str(), voice.offset, voice.ulMsgReceived);
    operation.ShowCounter(kAtEntry, kAtExitCapital);
    return Send(*this, operation, pIMsgStore, email, &voice);
}
