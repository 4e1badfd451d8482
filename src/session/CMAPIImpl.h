// The session behind one connection handle: logon, mailboxes and all work on messages, on the caller's thread. The
// process-wide registry of connections and the MAPI thread are its static side.
//
// A feature's members are declared here and defined in the feature's own room, which stands above this one; what they
// take and give is defined there too. They work on the session through its public members; none touches its data.
#pragma once
#include "OrlMapi32.h"
#include "common/lock/CritSect.h"
#include "session/SessionState.h"
#include <atomic>
#include <map>
#include <memory>
#include <vector>

class CAdviseSink;
class SessionGuard;
class SessionReferences;
struct Attachment;
struct CalendarEvent;
struct DownloadedText;
struct Header;
struct MailboxIdentity;
struct OutgoingEmail;
struct Profile;
struct VoiceDetails;

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

    // What all work of the session stands on.
    SessionState &State() { return m_state; }
    // The open-object counter, a leak diagnostic.
    std::atomic<LONG> &OpenObjects() { return m_lOpenObjects; }

    // Process-wide start and stop of the MAPI thread; counted.
    static void Initialise(bool fService);
    static void Uninitialise();
    static bool IsMapiInitialised();
    static bool IsService();

    // Guards the registries of all sessions, and start and stop of the MAPI thread.
    static CriticalSection &m_CS; // lasts: calls may still run while the process ends

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
    bool IsConnected() const { return m_state.IsConnected(); }
    HRESULT CreateMailboxProfile(const tstring &szProfile);
    HRESULT GetAvailableProfiles(std::vector<Profile> &profiles);
    HRESULT GetExchangeServerName(tstring &strServer, const tstring &szProfile, tstring &strUser, bool &bMatched);

    // Mailboxes. The store given out is the caller's until Logoff.
    HRESULT Logon(const tstring &szMailbox, IMsgStore **ppMailboxMDB);
    HRESULT Logoff(IMsgStore *pMailboxMDB);

    // The address book.
    HRESULT ObtainMailboxName(const tstring &szMailbox, MailboxIdentity &identity);
    // S_FALSE where the walk of the global address list found no Exchange entry.
    HRESULT FindAddressBookEntry(const tstring &szMailbox, MailboxIdentity &identity);

    // Pages of headers, and the header of one message (messages/listing).
    HRESULT GetEmailHeaders(IMsgStore *pIMsgStore, DWORD *phContentsTable, std::vector<Header> &headers,
                            DWORD *phOrigin, LONG lRowCount, ULONG *pulTotalRows, BYTE bRead, BYTE bForward,
                            BOOKMARK bkAbsBkmark, BYTE bWithAttachments, BYTE bPriority, BYTE bFax, BYTE bSummary,
                            const tstring *faxServers, ULONG cFaxServers, BYTE bUM);
    HRESULT ReleaseHandles(DWORD hTable, DWORD hBookmark);

    HRESULT GetEmailHeader(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, Header &header);

    // One message: its flags, its text and its attachments (messages/reading).
    HRESULT GetEmailFlags(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, BYTE *pbPrivate,
                          BYTE *pbHighPriority, BYTE *pbRead);
    HRESULT SetEmailReadFlag(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, BYTE bRead);
    HRESULT DeleteEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID);
    HRESULT DownloadEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, DownloadedText &text);
    HRESULT HrPopulateAttachList(IMessage *pmsg, std::vector<ULONG> &attachNums);
    HRESULT HrProcessAttachment(IMessage *pmsg, ULONG ulAttachNum, Attachment &attachment);
    HRESULT DownloadAttachment(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, ULONG ulAttachNum,
                               const tstring &szFilename);
    HRESULT HrStreamInAttachment(IMessage *pmsg, ULONG ulAttachNum, const tstring &szFilename);

    // Sending, from a mailbox or, without a store, from the session's default store (messages/sending). The list of
    // recipients is the caller's whenever one is given, also with a failure.
    HRESULT CreateAddressList(LPADRLIST *ppAddressList, const char *szRecipientList);
    HRESULT SendEmail(IMsgStore *pIMsgStore, const OutgoingEmail &email);
    HRESULT SendEmail(const OutgoingEmail &email);
    HRESULT SendUMEmail(IMsgStore *pIMsgStore, const OutgoingEmail &email, const VoiceDetails &voice);
    HRESULT SendUMEmail(const OutgoingEmail &email, const VoiceDetails &voice);
    // The display name, or the file's own where that is null, names the attachment.
    HRESULT AttachFile(IMessage *pMsg, IStream *pSourceStream, const char *szFilename, const char *szDisplayName);

    // Forwarding, and answering to the sender. What happens to the original stays also where the copy fails.
    // m_TargetAlias has recipients; it is called like a member, as the contract has it.
    HRESULT ForwardEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, const tstring &m_TargetAlias);
    HRESULT ForwardEmail(ULONG cbEntryID, const BYTE *lpEntryID, const tstring &m_TargetAlias);
    HRESULT RespondEmail(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, const tstring &szFile,
                         const tstring &szFilename, ULONG ulUnused);
    HRESULT RespondEmail(ULONG cbEntryID, const BYTE *lpEntryID, const tstring &szFile, const tstring &szFilename,
                         ULONG ulUnused);

    // Watched mailboxes (notify). Advise gives a sink and the mailbox that it owns; no sink, and a mailbox that is the
    // caller's, where one of its tables could not be made although the last step of all succeeded. Unadvise ends a sink
    // of any session; a value that is not a live sink, or is being ended already, is left alone. S_OK always.
    HRESULT Advise(const tstring &szMailbox, CAdviseSink **ppSink, MailboxCountCallback pfnCallback,
                   ULONG_PTR ulContext, IMsgStore **ppMailboxMDB);
    HRESULT Unadvise(CAdviseSink *pSink, ULONG *pulCount);

    // The appointments of a day, which is given as text (session/calendar).
    HRESULT ObtainCalendarEvents(IMsgStore *pIMsgStore, const tstring &szDate, std::vector<CalendarEvent> &events);
    HRESULT ScanCalendarFolder(IMsgStore *pIMsgStore, ULONG cbEntryID, const BYTE *lpEntryID, const tstring &szDate,
                               std::vector<CalendarEvent> &events);
    // Local time as UTC; "UCT", as the contract has it. What can't be read is a failure; what can't be converted is
    // reported, and S_OK.
    static HRESULT UCTTimeFromString(const WCHAR *szTime, SYSTEMTIME *pUtc);
    static HRESULT UCTTimeFromLocalTime(const SYSTEMTIME *pLocal, SYSTEMTIME *pUtc);

  private:
    virtual ~CMAPIImpl();

    const std::shared_ptr<SessionReferences> m_references;
    SessionState m_state;
    std::atomic<LONG> m_lOpenObjects{0};
    std::map<DWORD, IMAPITable *> m_contentsTables GUARDED_BY(m_CS);
    std::map<DWORD, BOOKMARK> m_bookmarks GUARDED_BY(m_CS);
};
