// The session behind one connection handle: logon, mailboxes and all work on messages, on the caller's thread. The
// process-wide registries of handles and the MAPI thread are its static side.
#pragma once
#include "OrlMapi32.h"
#include "common/base/Owners.h"
#include "common/lock/CritSect.h"
#include "common/text/tstring.h"
#include "messages/listing/Header.h"
#include "session/calendar/CalendarEvent.h"
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class CAdviseSink;
class Operation;
class SessionGuard;
class SessionReferences;

struct Profile {
    BYTE bFlag = 0;
    tstring strDisplayName;
};

// A user as the address book knows him.
struct MailboxIdentity {
    tstring strDisplayName;
    tstring strEmailAddress; // of an Exchange entry its distinguished name
    tstring strAddressType;
};

struct DownloadedText {
    tstring strBody;
    tstring strSubject;
};

// A message to be sent.
struct OutgoingEmail {
    tstring m_TargetAlias; // recipients, separated by semicolons
    tstring strSubject;
    tstring strBody;
    bool bUrgent = false;
    bool bPrivate = false;
    tstring strFile;     // a file to attach; empty for none
    tstring strFilename; // the name under which it is shown
};

// What makes it a voice message of unified messaging.
struct VoiceDetails {
    LONG lSecs = 0;
    tstring strNumber;
    tstring strName;
    tstring strOrder;
    LONG offset = 0;
    ULONG ulMsgReceived = 0;
};

class CMAPIImpl
{
  public:
    // Has one reference, the creator's, and counts as a user of the MAPI thread while it lives.
    explicit CMAPIImpl(bool fService);
    CMAPIImpl(const CMAPIImpl &) = delete;
    CMAPIImpl &operator=(const CMAPIImpl &) = delete;
    void AddRef();
    // The last one destroys the session.
    void Release();

    // Process-wide start and stop of the MAPI thread; counted.
    static void Initialise(bool fService);
    static void Uninitialise();
    static bool IsMapiInitialised();
    static bool IsService();

    // The registry of connections; every function may be called by any thread.
    static DWORD Allocate(bool fService);
    static SessionGuard Locate(DWORD hConnection);
    static bool Free(DWORD hConnection);

    // The session's registries of contents tables and bookmarks. They record what is stored and do not own it.
    DWORD StoreObject(IMAPITable *pTable);
    DWORD StoreObject(BOOKMARK bookmark);
    IMAPITable *LocateContentsTable(DWORD hTable);
    BOOKMARK LocateBookmark(DWORD hBookmark);
    bool FreeContentsTableObject(DWORD hTable);
    bool FreeBookmarkObject(DWORD hBookmark);

    // Profiles and default-store logon.
    HRESULT Connect(const tstring &szServer, const tstring &szDefaultMailbox, const tstring &szProfile);
    HRESULT Disconnect();
    bool IsConnected() const;
    HRESULT CreateMailboxProfile(const tstring &szProfile);
    HRESULT GetAvailableProfiles(std::vector<Profile> &profiles);
    HRESULT GetExchangeServerName(tstring &strServer, const tstring &szProfile, tstring &strUser, bool &bMatched);

    // Mailboxes. The store given out is the caller's until Logoff.
    HRESULT Logon(const tstring &szMailbox, IMsgStore **ppMailboxMDB);
    HRESULT Logoff(IMsgStore *pMailboxMDB);

    // The address book. The list is the caller's whenever one is given, also with a failure.
    HRESULT CreateAddressList(LPADRLIST *ppAddressList, const char *szRecipientList);
    HRESULT ObtainMailboxName(const tstring &szMailbox, MailboxIdentity &identity);
    // S_FALSE where the walk of the global address list found no Exchange entry.
    HRESULT FindAddressBookEntry(const tstring &szMailbox, MailboxIdentity &identity);

    // Listing.
    HRESULT GetEmailHeaders(IMsgStore *pIMsgStore, DWORD *phContentsTable, std::vector<Header> &headers,
                            DWORD *phOrigin, LONG lRowCount, ULONG *pulTotalRows, BYTE bRead, BYTE bForward,
                            BOOKMARK bkAbsBkmark, BYTE bWithAttachments, BYTE bPriority, BYTE bFax, BYTE bSummary,
                            const tstring *faxServers, ULONG cFaxServers, BYTE bUM);
    HRESULT ReleaseHandles(DWORD hTable, DWORD hBookmark);

    // One message.
    HRESULT GetEmailHeader(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, Header &header);
    HRESULT GetEmailFlags(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, BYTE *pbPrivate,
                          BYTE *pbHighPriority, BYTE *pbRead);
    HRESULT SetEmailReadFlag(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, BYTE bRead);
    HRESULT DeleteEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID);

    // Download.
    HRESULT DownloadEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, DownloadedText &text);
    HRESULT HrPopulateAttachList(IMessage *pmsg, std::vector<ULONG> &attachNums);
    HRESULT HrProcessAttachment(IMessage *pmsg, ULONG ulAttachNum, Attachment &attachment);
    HRESULT DownloadAttachment(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, ULONG ulAttachNum,
                               const tstring &szFilename);
    HRESULT HrStreamInAttachment(IMessage *pmsg, ULONG ulAttachNum, const tstring &szFilename);

    // Sending, from a mailbox or, without a store, from the session's default store.
    HRESULT SendEmail(IMsgStore *pIMsgStore, const OutgoingEmail &email);
    HRESULT SendEmail(const OutgoingEmail &email);
    HRESULT SendUMEmail(IMsgStore *pIMsgStore, const OutgoingEmail &email, const VoiceDetails &voice);
    HRESULT SendUMEmail(const OutgoingEmail &email, const VoiceDetails &voice);
    // The display name, or the file's own where that is null, names the attachment.
    HRESULT AttachFile(IMessage *pMsg, IStream *pSourceStream, const char *szFilename, const char *szDisplayName);

    // Forwarding, and answering to the sender. What happens to the original stays also where the copy fails.
    HRESULT ForwardEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, const tstring &m_TargetAlias);
    HRESULT ForwardEmail(ULONG cbEntryID, const BYTE *lpEntryID, const tstring &m_TargetAlias);
    HRESULT RespondEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, const tstring &szFile,
                         const tstring &szFilename, ULONG ulUnused);
    HRESULT RespondEmail(ULONG cbEntryID, const BYTE *lpEntryID, const tstring &szFile, const tstring &szFilename,
                         ULONG ulUnused);

    // Notifications. Advise gives a sink and the mailbox that it owns; no sink, and a mailbox that is the caller's,
    // where one of its tables could not be made although the last step of all succeeded. Unadvise ends a sink of any
    // session; what is no live sink, or is being ended already, is left alone. S_OK always.
    HRESULT Advise(const tstring &szMailbox, CAdviseSink **ppSink, MailboxCountCallback pfnCallback,
                   ULONG_PTR ulContext, IMsgStore **ppMailboxMDB);
    HRESULT Unadvise(CAdviseSink *pSink, ULONG *pulCount);

    // The calendar: the appointments of a day, which is given as text.
    HRESULT ObtainCalendarEvents(IMsgStore *pIMsgStore, const tstring &szDate, std::vector<CalendarEvent> &events);
    HRESULT ScanCalendarFolder(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, const tstring &szDate,
                               std::vector<CalendarEvent> &events);
    // Local time as UTC. What can't be read is a failure; what can't be converted is reported, and S_OK.
    static HRESULT UCTTimeFromString(const WCHAR *szTime, SYSTEMTIME *pUtc);
    static HRESULT UCTTimeFromLocalTime(const SYSTEMTIME *pLocal, SYSTEMTIME *pUtc);

    // The open-object counter, a leak diagnostic.
    std::atomic<LONG> &OpenObjects() { return m_lOpenObjects; }

    // Guards the registries of all sessions, and start and stop of the MAPI thread.
    static CriticalSection m_CS;

  private:
    virtual ~CMAPIImpl();

    HRESULT LogOn(const Operation &op, const tstring &szProfile);
    void LogOff();
    void CancelSinks();
    tstring ServerName();
    HRESULT OpenMailbox(const Operation &op, IMAPISession *pSession, const tstring &strMailboxDN,
                        IMsgStore **ppMailboxMDB);
    HRESULT Send(const Operation &operation, IMsgStore *pIMsgStore, const OutgoingEmail &email,
                 const VoiceDetails *pVoice);

    // What Connect leaves behind, shared by all threads that work on the session. Work starts from references and
    // copies taken under the lock, so that a Disconnect on another thread ends nothing under its feet.
    ComPtr<IMAPISession> MapiSession() const;
    ComPtr<IMsgStore> DefaultStore() const;
    tstring Text(const tstring &member) const;
    void SetText(tstring &member, const tstring &text);
    // The failure of work that needs a MAPI session where there is none: Connect's own, or E_FAIL.
    HRESULT NotConnected() const;
    tstring FaxCreatorName() const { return Text(m_strFaxCreatorName); }
    void SetFaxCreatorName(const tstring &name) { SetText(m_strFaxCreatorName, name); }

    const std::shared_ptr<SessionReferences> m_references;
    mutable std::mutex m_stateLock;
    tstring m_strFaxCreatorName; // learned by summary listings; the last writer wins
    tstring m_strProfile;
    tstring m_strServer;
    tstring m_strDefaultMailbox;
    HRESULT m_hrLast = E_FAIL;
    ComPtr<IMsgStore> m_lpMDB;
    ComPtr<IMAPISession> m_lpSession;
    std::atomic<LONG> m_lOpenObjects{0};
    std::map<DWORD, IMAPITable *> m_contentsTables;
    std::map<DWORD, BOOKMARK> m_bookmarks;
};

// Keeps a session alive for a scope, or holds nothing.
class SessionGuard
{
  public:
    SessionGuard() = default;
    // Takes over a reference that has been counted.
    explicit SessionGuard(CMAPIImpl *counted) noexcept : m_pSession(counted) {}
    SessionGuard(SessionGuard &&other) noexcept : m_pSession(std::exchange(other.m_pSession, nullptr)) {}
    SessionGuard &operator=(SessionGuard &&other) noexcept
    {
        std::swap(m_pSession, other.m_pSession);
        return *this;
    }
    ~SessionGuard()
    {
        if (m_pSession)
            m_pSession->Release();
    }
    explicit operator bool() const noexcept { return m_pSession != nullptr; }
    CMAPIImpl &operator*() const noexcept { return *m_pSession; }
    CMAPIImpl *operator->() const noexcept { return m_pSession; }
    // The reference is kept: somebody else releases it.
    CMAPIImpl *Keep() noexcept { return std::exchange(m_pSession, nullptr); }

  private:
    CMAPIImpl *m_pSession = nullptr;
};
