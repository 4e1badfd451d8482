// The session behind one connection handle: logon, mailboxes and all work on messages, on the caller's thread. The
// process-wide registries of handles and the MAPI thread are its static side.
#pragma once
#include "common/CritSect.h"
#include "common/Owners.h"
#include "common/tstring.h"
#include "messages/Header.h"
#include <map>
#include <string>
#include <vector>

class SessionGuard;

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

class CMAPIImpl
{
  public:
    explicit CMAPIImpl(bool fService);
    CMAPIImpl(const CMAPIImpl &) = delete;
    CMAPIImpl &operator=(const CMAPIImpl &) = delete;
    LONG AddRef();
    LONG Release();

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

    // Mailboxes.
    HRESULT Logon(const tstring &szMailbox, IMsgStore **ppMailboxMDB);
    HRESULT Logoff(IMsgStore *pMailboxMDB);

    // The address book.
    HRESULT CreateAddressList(LPADRLIST *ppAddressList, const char *szRecipientList);
    HRESULT ObtainMailboxName(const tstring &szMailbox, MailboxIdentity &identity);
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

    // The open-object counter, a leak diagnostic.
    std::atomic<LONG> &OpenObjects() { return m_lOpenObjects; }

    // Guards the registries of all sessions.
    static CriticalSection m_CS;

  private:
    virtual ~CMAPIImpl();

    std::atomic<LONG> m_lOpenObjects{0};
};
