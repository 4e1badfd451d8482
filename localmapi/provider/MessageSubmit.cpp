// IMessage::SubmitMessage.
#include "Message.h"
#include "Transport.h"

#include "localmapi/storage/error.h"

namespace localmapi
{

void Message::RequireToBeSubmitted() const
{
    if (m_submitted)
        throw Failure(MAPI_E_SUBMITTED, "The message was submitted before.");
    RequireWrite();
    m_store->RequireWritable();
}

// Until now all that a new message became is a draft in this process: MAPI promises nobody anything of it before the
// message's SaveChanges, also not of its attachments, whose own SaveChanges says only that the message shall have them;
// and SubmitMessage saves. So sending a new message takes one durable commit, which holds the deliveries, the sent copy
// and the report together.
STDMETHODIMP Message::SubmitMessage(ULONG ulFlags)
{
    const HRESULT hr = Do("IMessage::SubmitMessage", [&]() -> HRESULT {
        RequireFlags(ulFlags, FORCE_SUBMIT);
        if (IsEmbedded())
            NoSupport("submitting a message that an attachment holds");
        RequireToBeSubmitted();
        return S_OK;
    });
    if (FAILED(hr))
        return hr;
    const HRESULT written = Run("IMessage::SubmitMessage", [&] { return CommitStreams(); });
    if (FAILED(written))
        return written;
    return Do("IMessage::SubmitMessage", [&]() -> HRESULT {
        RequireToBeSubmitted();
        const Outgoing outgoing{m_folder, Stored(&SubmissionTags()), Recipients()};
        const auto *flags = outgoing.properties.get<std::int32_t>(PR_MESSAGE_FLAGS);
        if (flags && ((*flags & MSGFLAG_SUBMIT) || (m_id && !(*flags & MSGFLAG_UNSENT))))
            throw Failure(MAPI_E_SUBMITTED, "The message was submitted before.");
        storage::Dispatch dispatch;
        dispatch.destinations = Route(*m_store, outgoing);
        dispatch.message = m_id;
        if (m_id && !(ulFlags & FORCE_SUBMIT))
            dispatch.expected = m_change;
        dispatch.content = m_draft.ToChanges();
        try {
            m_store->objects.dispatch(dispatch);
        } catch (const storage::Error &error) {
            if (error.fault() == storage::Fault::NotFound)
                throw Failure(MAPI_E_OBJECT_DELETED, error.what());
            throw;
        }
        m_submitted = true;
        m_writable = false;
        m_draft = {};
        return S_OK;
    });
}

} // namespace localmapi
