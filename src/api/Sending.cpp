// The exports that send new messages.
#include "api/Frame.h"
#include "api/TextFlavour.h"

namespace
{

constexpr int kFirstLine = 7000;

template <class Flavour> using Text = const typename Flavour::Char *;

template <class Flavour>
OutgoingEmail EmailOf(Text<Flavour> szRecipients, Text<Flavour> szSubject, Text<Flavour> szBody, BYTE bUrgent,
                      BYTE bPrivate, Text<Flavour> szFile, Text<Flavour> szFilename)
{
    return {Flavour::In(szRecipients), Flavour::In(szSubject), Flavour::In(szBody), bUrgent != 0, bPrivate != 0,
            Flavour::In(szFile),       Flavour::In(szFilename)};
}

// Work on the given store or, with mailbox 0, on the session's default one: send(session, store) or send(session).
template <class Send> HRESULT SendFrom(const Here &here, DWORD hConnection, OrlMailbox hMailbox, Send &&send)
{
    return WithSession(here, hConnection, [&](CMAPIImpl &session) -> HRESULT {
        return hMailbox ? send(session, reinterpret_cast<IMsgStore *>(hMailbox)) : send(session);
    });
}

template <class Flavour>
HRESULT SendEmail(const Here &here, DWORD hConnection, OrlMailbox hMailbox, Text<Flavour> szRecipients,
                  Text<Flavour> szSubject, Text<Flavour> szBody, BYTE bUrgent, BYTE bPrivate, Text<Flavour> szFile,
                  Text<Flavour> szFilename)
{
    return SendFrom(here, hConnection, hMailbox, [&](CMAPIImpl &session, auto... store) {
        return session.SendEmail(
            store..., EmailOf<Flavour>(szRecipients, szSubject, szBody, bUrgent, bPrivate, szFile, szFilename));
    });
}

template <class Flavour>
HRESULT SendUMEmail(const Here &here, DWORD hConnection, OrlMailbox hMailbox, Text<Flavour> szRecipients,
                    Text<Flavour> szSubject, Text<Flavour> szBody, BYTE bUrgent, BYTE bPrivate, Text<Flavour> szFile,
                    Text<Flavour> szFilename, LONG lSecs, Text<Flavour> szNumber, Text<Flavour> szName,
                    Text<Flavour> szOrder, LONG offset, ULONG ulMsgReceived)
{
    return SendFrom(here, hConnection, hMailbox, [&](CMAPIImpl &session, auto... store) {
        const auto email = EmailOf<Flavour>(szRecipients, szSubject, szBody, bUrgent, bPrivate, szFile, szFilename);
        const VoiceDetails voice = {lSecs,  Flavour::In(szNumber), Flavour::In(szName), Flavour::In(szOrder),
                                    offset, ulMsgReceived};
        return session.SendUMEmail(store..., email, voice);
    });
}

} // namespace

HRESULT ORLAPI OrlSendEmailA(DWORD hConnection, OrlMailbox hMailbox, LPCSTR szRecipients, LPCSTR szSubject,
                             LPCSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCSTR szFile, LPCSTR szFilename)
{
    return SendEmail<Narrow>(ORL_HERE("OrlSendEmailA"), hConnection, hMailbox, szRecipients, szSubject, szBody, bUrgent,
                             bPrivate, szFile, szFilename);
}

HRESULT ORLAPI OrlSendEmailW(DWORD hConnection, OrlMailbox hMailbox, LPCWSTR szRecipients, LPCWSTR szSubject,
                             LPCWSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCWSTR szFile, LPCWSTR szFilename)
{
    return SendEmail<Wide>(ORL_HERE("OrlSendEmailW"), hConnection, hMailbox, szRecipients, szSubject, szBody, bUrgent,
                           bPrivate, szFile, szFilename);
}

HRESULT ORLAPI OrlSendUMEmailA(DWORD hConnection, OrlMailbox hMailbox, LPCSTR szRecipients, LPCSTR szSubject,
                               LPCSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCSTR szFile, LPCSTR szFilename, LONG lSecs,
                               LPCSTR szNumber, LPCSTR szName, LPCSTR szOrder, LONG offset, ULONG ulMsgReceived)
{
    return SendUMEmail<Narrow>(ORL_HERE("OrlSendUMEmailA"), hConnection, hMailbox, szRecipients, szSubject, szBody,
                               bUrgent, bPrivate, szFile, szFilename, lSecs, szNumber, szName, szOrder, offset,
                               ulMsgReceived);
}

HRESULT ORLAPI OrlSendUMEmailW(DWORD hConnection, OrlMailbox hMailbox, LPCWSTR szRecipients, LPCWSTR szSubject,
                               LPCWSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCWSTR szFile, LPCWSTR szFilename,
                               LONG lSecs, LPCWSTR szNumber, LPCWSTR szName, LPCWSTR szOrder, LONG offset,
                               ULONG ulMsgReceived)
{
    return SendUMEmail<Wide>(ORL_HERE("OrlSendUMEmailW"), hConnection, hMailbox, szRecipients, szSubject, szBody,
                             bUrgent, bPrivate, szFile, szFilename, lSecs, szNumber, szName, szOrder, offset,
                             ulMsgReceived);
}
