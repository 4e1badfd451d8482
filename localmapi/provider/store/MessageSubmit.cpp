// IMessage::SubmitMessage.
#include "localmapi/provider/store/Message.h"
#include "localmapi/provider/store/Transport.h"
#include "localmapi/storage/Sizes.h"

namespace localmapi
{

namespace
{
constexpr int kMostRoutes = 10;
}

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
    return Run("IMessage::SubmitMessage", [&]() -> HRESULT {
        RequireFlags(ulFlags, FORCE_SUBMIT);
        {
            const locks::Hold hold(m_lock);
            if (IsEmbedded())
                NoSupport("submitting a message that an attachment holds");
            RequireToBeSubmitted();
        }
        const HRESULT written = CommitStreams();
        if (FAILED(written))
            return written;
        const locks::Hold hold(m_lock);
        RequireToBeSubmitted();
        try {
            if (ulFlags & FORCE_SUBMIT)
                SendAsItIs();
            else
                Send(m_change);
        } catch (const storage::Error &error) {
            if (error.GetFault() == storage::Fault::NotFound)
                throw Failure(MAPI_E_OBJECT_DELETED, error.what());
            throw;
        }
        m_submitted = true;
        m_writable = false;
        m_draft = {};
        return S_OK;
    });
}

// What somebody else changed since this object read it is no reason not to send the message; but when it changes while
// this looks at it, that may be because it is sent, so it is looked at again.
void Message::SendAsItIs()
{
    for (;;) {
        try {
            return Send(m_id ? m_store->objects.Info(m_id).change : 0);
        } catch (const storage::Error &error) {
            if (error.GetFault() != storage::Fault::Changed)
                throw;
        }
    }
}

// Sends the message unless what is stored of it has another change number.
void Message::Send(storage::ChangeNumber expected)
{
    const Outgoing outgoing{m_folder, Stored(&SubmissionTags()), Recipients()};
    const auto *flags = outgoing.properties.get<std::int32_t>(PR_MESSAGE_FLAGS);
    if (flags && ((*flags & MSGFLAG_SUBMIT) || (m_id && !(*flags & MSGFLAG_UNSENT))))
        throw Failure(MAPI_E_SUBMITTED, "The message was submitted before.");
    storage::Dispatch dispatch;
    dispatch.message = m_id;
    if (m_id)
        dispatch.expected = expected;
    dispatch.content = m_draft;
    // Whose mailbox has no room for it turns out as it is written; the sender is then told in the report. For his own,
    // and for the folder of the sent copy, it is the call that fails.
    std::set<storage::ObjectId> full;
    for (int attempts = 1;; ++attempts) {
        dispatch.destinations = Route(*m_store, outgoing, full);
        try {
            m_store->objects.Send(dispatch);
            return;
        } catch (const storage::MailboxesFull &error) {
            for (const storage::ObjectId mailbox : error.Mailboxes())
                if (mailbox == m_store->mailbox.id || !full.insert(mailbox).second)
                    throw;
        } catch (const storage::Error &error) {
            // A folder on the way may have been deleted since; the next look finds another one, or says what lacks.
            const bool isThere = !m_id || m_store->objects.Find(m_id);
            if (error.GetFault() != storage::Fault::NotFound || !isThere || attempts == kMostRoutes)
                throw;
        }
    }
}

} // namespace localmapi
