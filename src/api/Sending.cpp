// The exports that send new messages.
#include "api/Frame.h"
#include "api/TextFlavour.h"
#include "messages/sending/OutgoingEmail.h"

namespace
{

constexpr int kFirstLine = 7000;

// The arguments of a message as callers give them, and as they come in once the session is found.
template <class Flavour> struct EmailArguments {
    using Text = const typename Flavour::Char *;
    Text szRecipients;
    Text szSubject;
    Text szBody;
    BYTE bUrgent;
    BYTE bPrivate;
    Text szFile;
    Text szFilename;

    OutgoingEmail In() const
    {
        return {Flavour::In(szRecipients), Flavour::In(szSubject), Flavour::In(szBody), bUrgent != 0, bPrivate != 0,
                Flavour::In(szFile),       Flavour::In(szFilename)};
    }
};
template <class Flavour> struct VoiceArguments {
    using Text = const typename Flavour::Char *;
    LONG lSecs;
    Text szNumber;
    Text szName;
    Text szOrder;
    LONG offset;
    ULONG ulMsgReceived;

    VoiceDetails In() const
    {
        return {lSecs, Flavour::In(szNumber), Flavour::In(szName), Flavour::In(szOrder), offset, ulMsgReceived};
    }
};

// Work on the given store or, with mailbox 0, on the session's default one: send(session, store) or send(session).
template <class Send> HRESULT SendFrom(const Here &here, DWORD hConnection, OrlMailbox hMailbox, Send &&send)
{
    return WithSession(here, hConnection, [&](CMAPIImpl &session) -> HRESULT {
        return hMailbox ? send(session, reinterpret_cast<IMsgStore *>(hMailbox)) : send(session);
    });
}

template <class Flavour>
HRESULT SendEmail(const Here &here, DWORD hConnection, OrlMailbox hMailbox, const EmailArguments<Flavour> &email)
{
    return SendFrom(here, hConnection, hMailbox,
                    [&](CMAPIImpl &session, auto... store) { return session.SendEmail(store..., email.In()); });
}

template <class Flavour>
HRESULT SendUMEmail(const Here &here, DWORD hConnection, OrlMailbox hMailbox, const EmailArguments<Flavour> &email,
                    const VoiceArguments<Flavour> &voice)
{
    return SendFrom(here, hConnection, hMailbox, [&](CMAPIImpl &session, auto... store) {
        const OutgoingEmail message = email.In();
        return session.SendUMEmail(store..., message, voice.In());
    });
}

} // namespace

HRESULT ORLAPI OrlSendEmailA(DWORD hConnection, OrlMailbox hMailbox, LPCSTR szRecipients, LPCSTR szSubject,
                             LPCSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCSTR szFile, LPCSTR szFilename)
{
    return SendEmail<Narrow>(ORL_HERE("OrlSendEmailA"), hConnection, hMailbox,
                             {szRecipients, szSubject, szBody, bUrgent, bPrivate, szFile, szFilename});
}

HRESULT ORLAPI OrlSendEmailW(DWORD hConnection, OrlMailbox hMailbox, LPCWSTR szRecipients, LPCWSTR szSubject,
                             LPCWSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCWSTR szFile, LPCWSTR szFilename)
{
    return SendEmail<Wide>(ORL_HERE("OrlSendEmailW"), hConnection, hMailbox,
                           {szRecipients, szSubject, szBody, bUrgent, bPrivate, szFile, szFilename});
}

HRESULT ORLAPI OrlSendUMEmailA(DWORD hConnection, OrlMailbox hMailbox, LPCSTR szRecipients, LPCSTR szSubject,
                               LPCSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCSTR szFile, LPCSTR szFilename, LONG lSecs,
                               LPCSTR szNumber, LPCSTR szName, LPCSTR szOrder, LONG offset, ULONG ulMsgReceived)
{
    return SendUMEmail<Narrow>(ORL_HERE("OrlSendUMEmailA"), hConnection, hMailbox,
                               {szRecipients, szSubject, szBody, bUrgent, bPrivate, szFile, szFilename},
                               {lSecs, szNumber, szName, szOrder, offset, ulMsgReceived});
}

HRESULT ORLAPI OrlSendUMEmailW(DWORD hConnection, OrlMailbox hMailbox, LPCWSTR szRecipients, LPCWSTR szSubject,
                               LPCWSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCWSTR szFile, LPCWSTR szFilename,
                               LONG lSecs, LPCWSTR szNumber, LPCWSTR szName, LPCWSTR szOrder, LONG offset,
                               ULONG ulMsgReceived)
{
    return SendUMEmail<Wide>(ORL_HERE("OrlSendUMEmailW"), hConnection, hMailbox,
                             {szRecipients, szSubject, szBody, bUrgent, bPrivate, szFile, szFilename},
                             {lSecs, szNumber, szName, szOrder, offset, ulMsgReceived});
}
