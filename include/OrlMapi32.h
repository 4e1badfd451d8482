/*
 * OrlMapi32: a voicemail server's access to its users' mailboxes through Extended MAPI.
 *
 * Conventions, which every function below follows unless its own comment says otherwise:
 *
 *  1. Handles. A connection, table or bookmark handle is 32 bits wide, never 0, and means something only to
 *     this library. A mailbox handle and a sink are pointer-sized and must be handed back unchanged.
 *  2. Text. An A function takes and gives narrow text in the process's ANSI code page (on Linux the locale's
 *     encoding, UTF-8 where the locale is C or POSIX). A W function takes and gives UTF-16; its arguments are
 *     converted to the ANSI code page, its results are read as UTF-8 first and as ANSI text where they are not
 *     valid UTF-8. The two conversions differ on purpose. All text ends with a zero character.
 *  3. Memory. A result block is freed whole by one OrlMapiFreeBuffer on the pointer that was given out; the
 *     texts and arrays inside it must not be freed one by one. Arguments stay the caller's.
 *  4. Threads. Every function may be called from any thread, also at once on one connection, except that two
 *     listings must not share a table handle at the same time. Closing a connection while another thread is
 *     inside a call on it is safe: the session ends with the last call. The callback of OrlAdviseA/W runs on threads
 *     of MAPI's; what it may do stands with its type.
 *  5. Results. An HRESULT: negative is failure. MAPI's own codes come through unchanged. E_INVALIDARG
 *     (0x80070057) means an unknown connection handle or a null mailbox; E_UNEXPECTED (0x8000FFFF) an exception
 *     inside the library. No exception leaves it. On failure outputs keep what the caller put there, except for
 *     counts that are set to 0 first, and where memory runs out half way through a listing of headers or
 *     profiles: then the elements before are given, counted and to be freed, and a listing's handles too.
 *     Forwarding and responding never tell of a failure.
 *  6. Null pointers. A null text is reported in the trace and taken as empty. A null output pointer is the
 *     caller's error unless its comment allows it.
 *  7. Flags of 8 bits (BYTE) are true when not 0, unless their comment says otherwise.
 *  8. Unloading. On Windows a host may unload the library at any time: while there is a connection, and for 0.2 s
 *     after the last one, the library holds itself, so running calls and callbacks go on. Then nothing of it is left
 *     in the process. On Linux it stays once it was loaded. Not from within DllMain.
 *
 * The header is plain C and needs nothing else: on Windows it includes <windows.h>, elsewhere it declares the few
 * Windows types that it uses, with the same widths.
 */
#ifndef ORLMAPI32_H
#define ORLMAPI32_H

/* The version of this header, and of the library that it came with. */
#define ORLMAPI_VERSION_MAJOR 1
#define ORLMAPI_VERSION_MINOR 0
#define ORLMAPI_VERSION_PATCH 0
#define ORLMAPI_VERSION "1.0.0"

#if defined(_WIN32)
#include <windows.h>
#elif !defined(_WINDOWS_)
#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif
typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef int BOOL;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef uint32_t DWORD;
typedef int32_t HRESULT;
typedef uintptr_t ULONG_PTR;
typedef char16_t WCHAR;
typedef const char *LPCSTR;
typedef const WCHAR *LPCWSTR;
typedef struct _SYSTEMTIME {
    WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
} SYSTEMTIME;
#endif

#if defined(_WIN32)
#define ORLAPI __stdcall
#else
#define ORLAPI
#endif

#ifdef __cplusplus
extern "C" {
#endif
#if defined(__GNUC__) && !defined(_WIN32)
#pragma GCC visibility push(default)
#endif

/* An opened mailbox (OrlMapiConnectToMailboxA/W); 0 is none. */
typedef ULONG_PTR OrlMailbox;

/* A mailbox that is being watched (OrlAdviseA/W); 0 is none. */
typedef ULONG_PTR OrlSink;

/*
 * The host's function that is told a mailbox's voice mail counts. Messages of unified messaging alone are counted.
 *
 * szMailbox         the name that OrlAdviseA/W was given; valid during the call only.
 * ulUnread          unread voice mail, urgent or not.
 * ulUnreadPriority  unread voice mail of high importance.
 * ulRead            read voice mail.
 * ulContext         what OrlAdviseA/W was given.
 * Result            not 0 to be called again; 0 to be left alone: then nothing is told any more, and the sink waits for
 *                   OrlUnadvise. The answer to the first call, that of OrlAdviseA/W itself, is not looked at.
 *
 * Threads. The first call comes on the thread that called OrlAdviseA/W, before that returns. All others come on a
 * thread of MAPI's, at any time from then on, also while OrlAdviseA/W has not returned yet, and also at once for
 * several mailboxes. One change may cause several calls with equal counts.
 *
 * What it may do. It may call any function, on its own connection too, but those that wait for it: not
 * OrlMapiDisconnect, OrlMapiConnectA/W or OrlCloseConnection on its own connection, and not OrlCloseConnection on the
 * process's last one. It may call OrlUnadvise, for its own sink too; then it is not called again. It must not wait for
 * a thread that is inside OrlUnadvise, OrlMapiDisconnect or OrlCloseConnection, since these may be waiting for it. It
 * should return soon: while it runs, changes to other mailboxes may have to wait. On Windows it is __stdcall, and no
 * C++ exception may leave it.
 */
typedef BOOL(ORLAPI *MailboxCountCallback)(const WCHAR *szMailbox, ULONG ulUnread, ULONG ulUnreadPriority, ULONG ulRead,
                                           ULONG_PTR ulContext);

/* Bookmarks of OrlGetEmailHeadersA/W. */
#define ORL_BOOKMARK_BEGINNING 0u /* the first row */
#define ORL_BOOKMARK_CURRENT 1u   /* where the table stands, or the bookmark passed in */
#define ORL_BOOKMARK_END 2u       /* after the last row */

/* At most this many fax servers are looked at; further ones are ignored with a warning in the trace. */
#define ORL_MAX_FAX_SERVERS 10u

#pragma pack(push, 1)

/* One attachment of a listed message; 16 bytes in a 32-bit build. */
typedef struct AttachmentInfoA {
    ULONG ulSize;      /* bytes, as the store counts them (data and properties) */
    ULONG ulAttachNum; /* the number that OrlDownloadAttachmentA/W takes */
    char *pszMimeTag;  /* "audio/wav"; empty if there is none */
    char *pszFilename; /* the short file name; empty if there is none */
} AttachmentInfoA;

typedef struct AttachmentInfoW {
    ULONG ulSize;
    ULONG ulAttachNum;
    WCHAR *pszMimeTag;
    WCHAR *pszFilename;
} AttachmentInfoW;

/*
 * One message; 71 bytes in a 32-bit build, elements of an array follow each other without padding. The subject is not
 * among what a listing reads: OrlDownloadEmailA/W has it.
 */
typedef struct EmailHeaderA {
    ULONG cbEntryID; /* bytes at pEntryID */
    BYTE *pEntryID;  /* the message's identifier */
    char *pszSenderName;
    char *pszCreatorName;          /* of a fax: its sender address where that holds the fax product's domain */
    char *pszComment;              /* the message's comment (PR_COMMENT), empty where it has none */
    SYSTEMTIME stSubmitTime;       /* UTC; all zero where the message has none */
    BYTE bRead;                    /* 1 if read */
    BYTE bPrivate;                 /* 1 if its sensitivity is private */
    BYTE bHighPriority;            /* 1 if its importance is high */
    ULONG ulSize;                  /* bytes */
    ULONG cAttachments;            /* elements at pAttachments */
    AttachmentInfoA *pAttachments; /* not to be read when cAttachments is 0 */
    LONG lSecs;                    /* length of a voice message in seconds */
    char *pszNumber;               /* caller's telephone number */
    char *pszName;                 /* caller's name */
    LONG offset;
    ULONG ulMsgReceived; /* equals offset in a listing where the message has no such property */
} EmailHeaderA;

typedef struct EmailHeaderW {
    ULONG cbEntryID;
    BYTE *pEntryID;
    WCHAR *pszSenderName;
    WCHAR *pszCreatorName;
    WCHAR *pszComment;
    SYSTEMTIME stSubmitTime;
    BYTE bRead;
    BYTE bPrivate;
    BYTE bHighPriority;
    ULONG ulSize;
    ULONG cAttachments;
    AttachmentInfoW *pAttachments;
    LONG lSecs;
    WCHAR *pszNumber;
    WCHAR *pszName;
    LONG offset;
    ULONG ulMsgReceived;
} EmailHeaderW;

/* A message's text; 8 bytes in a 32-bit build. */
typedef struct EmailTextA {
    char *pszBody;
    char *pszSubject;
} EmailTextA;

typedef struct EmailTextW {
    WCHAR *pszBody;
    WCHAR *pszSubject;
} EmailTextW;

/* A profile's Exchange server; 9 bytes in a 32-bit build. */
typedef struct ExchangeServerNameA {
    BYTE bProfileMatched; /* 1 if the profile's own name equals the one asked for, whatever the case */
    char *pszHomeServer;
    char *pszProfileUser; /* the profile's user, or the name that was given when it was configured */
} ExchangeServerNameA;

typedef struct ExchangeServerNameW {
    BYTE bProfileMatched;
    WCHAR *pszHomeServer;
    WCHAR *pszProfileUser;
} ExchangeServerNameW;

/* A MAPI profile; 5 bytes in a 32-bit build. */
typedef struct ExchangeProfileA {
    BYTE bFlag; /* always 0 */
    char *pszDisplayName;
} ExchangeProfileA;

typedef struct ExchangeProfileW {
    BYTE bFlag;
    WCHAR *pszDisplayName;
} ExchangeProfileW;

/*
 * An appointment; 51 bytes in a 32-bit build, elements of an array follow each other without padding. The three flags
 * are never written: they hold whatever the memory held, and mean nothing.
 */
typedef struct CalendarEventA {
    BYTE bBusy;
    BYTE bOutOfOffice;
    BYTE bTentative;
    LONG lDuration; /* minutes */
    char *pszLocation;
    char *pszSubject;
    char *pszBody;
    SYSTEMTIME stStart; /* UTC */
    SYSTEMTIME stEnd;   /* UTC */
} CalendarEventA;

typedef struct CalendarEventW {
    BYTE bBusy;
    BYTE bOutOfOffice;
    BYTE bTentative;
    LONG lDuration;
    WCHAR *pszLocation;
    WCHAR *pszSubject;
    WCHAR *pszBody;
    SYSTEMTIME stStart;
    SYSTEMTIME stEnd;
} CalendarEventW;

#pragma pack(pop)

/* ---- Connection and session ---------------------------------------------------------------------------- */

/*
 * Ordinal 39. Creates a session and gives its handle, or 0. The first one starts the library's MAPI thread and
 * waits for MAPI up to 5 s; it succeeds without MAPI too (ask OrlIsMAPIAvailable).
 * bService: the host runs as a Windows service. MAPI is then told so when it is initialised and at each logon
 * (MAPI_NT_SERVICE): it shows nothing and asks nobody. The value is the process's, that of the connection that was
 * created last; for MAPI's own start it is the first one's. Nothing else depends on it.
 * S_OK; E_OUTOFMEMORY when there was no room for a session; E_FAIL after an exception.
 */
HRESULT ORLAPI OrlCreateConnection(DWORD *phConnection, BYTE bService);

/*
 * Ordinal 38. Ends the session, with its sinks, and sets *phConnection to 0. The last one stops the MAPI thread and
 * waits until it has given MAPI back. Mailboxes must have been closed before. E_FAIL (and *phConnection as it was) for
 * an unknown handle.
 */
HRESULT ORLAPI OrlCloseConnection(DWORD *phConnection);

/* Ordinal 37. 1 if MAPI is initialised, else 0; 0 for an unknown handle. */
BOOL ORLAPI OrlIsMAPIAvailable(DWORD hConnection);

/* Ordinal 40. 1 if the session is logged on and holds its default store, else 0; 0 for an unknown handle. */
BOOL ORLAPI OrlIsConnected(DWORD hConnection);

/* Ordinal 41. Does nothing, at any time. */
void ORLAPI OrlCrashRecovery(void);

/*
 * Ordinals 1 and 16. Logs on to MAPI and opens the default store. A session that was connected is disconnected
 * first. With a profile name, that profile is used. With an empty one, a temporary profile is made from server
 * and mailbox, used and deleted again; where that fails, the default profile is used. Calls without a profile name
 * wait for each other, also across processes: MAPI_E_TIMEOUT after 60 s, and no profile was touched.
 */
HRESULT ORLAPI OrlMapiConnectA(DWORD hConnection, LPCSTR szServer, LPCSTR szMailbox, LPCSTR szProfile);
HRESULT ORLAPI OrlMapiConnectW(DWORD hConnection, LPCWSTR szServer, LPCWSTR szMailbox, LPCWSTR szProfile);

/* Ordinal 2. Ends all sinks, closes the default store and logs off. May be called any number of times. */
HRESULT ORLAPI OrlMapiDisconnect(DWORD hConnection);

/*
 * Ordinals 3 and 17. Opens a user's mailbox by name. Note the order: the output comes before the name. The name is
 * looked up as an address book looks up what is typed (ambiguous name resolution): the start of a name will do, and
 * where it fits several users the first one's mailbox is opened. Give the whole alias or address, not the start of one.
 * 0x8001011F where MAPI is not initialised; the failure of the last OrlMapiConnect where it failed.
 */
HRESULT ORLAPI OrlMapiConnectToMailboxA(DWORD hConnection, OrlMailbox *phMailbox, LPCSTR szMailbox);
HRESULT ORLAPI OrlMapiConnectToMailboxW(DWORD hConnection, OrlMailbox *phMailbox, LPCWSTR szMailbox);

/*
 * Ordinal 4. Closes a mailbox; 0 is allowed and does nothing. S_OK for every known connection. The handle must not be
 * used again, here or elsewhere: the library keeps no record of mailboxes, and takes whatever it is given for one.
 */
HRESULT ORLAPI OrlMapiDisconnectFromMailbox(DWORD hConnection, OrlMailbox hMailbox);

/*
 * Ordinal 12. Gives back the table and bookmark that a listing left open. Either pointer may be null and either
 * handle 0 or unknown; the caller's variables are not cleared.
 */
HRESULT ORLAPI OrlMapiReleaseHandle(DWORD hConnection, const DWORD *phContentsTable, const DWORD *phBookmark);

/* Ordinal 6. Frees a result block; null is allowed. Needs no connection. Gives MAPIFreeBuffer's result. */
HRESULT ORLAPI OrlMapiFreeBuffer(void *pBuffer);

/* ---- Profiles and server name -------------------------------------------------------------------------- */

/*
 * Ordinals 33 and 34. Home server and user of a profile: of the session's own one when it is logged on (then
 * szProfile serves only the comparison), else of the profile named. One result block.
 */
HRESULT ORLAPI OrlGetExchangeServerNameA(DWORD hConnection, ExchangeServerNameA **ppServerName, LPCSTR szProfile);
HRESULT ORLAPI OrlGetExchangeServerNameW(DWORD hConnection, ExchangeServerNameW **ppServerName, LPCWSTR szProfile);

/*
 * Ordinals 35 and 36. All profiles of the account. *pcProfiles is set to 0 first. One result block; none, and
 * *ppProfiles untouched, where there are no profiles.
 */
HRESULT ORLAPI OrlGetExchangeProfilesA(DWORD hConnection, ExchangeProfileA **ppProfiles, ULONG *pcProfiles);
HRESULT ORLAPI OrlGetExchangeProfilesW(DWORD hConnection, ExchangeProfileW **ppProfiles, ULONG *pcProfiles);

/* ---- Header listing ------------------------------------------------------------------------------------ */

/*
 * Ordinals 7 and 19. One page of the Inbox, oldest first.
 *
 * A listing always shows either read or unread messages (bRead), either high priority or not (bPriority), either
 * unified-messaging voice mail or none of it (bUM), either faxes or none (bFax); messages of the class
 * "IPM.Norvik.VoiceMessage" never.
 *
 * hMailbox          0 gives E_INVALIDARG.
 * phContentsTable   in/out, not null. 0 begins a listing; the handle that the last page gave goes on with it, and
 *                   then the filter flags of this call are ignored. Every call takes the pair of handles back and
 *                   gives a new one. A page without rows ends the listing, and so does a page that fails in MAPI:
 *                   table and bookmark are released, the variables keep their (now unknown) values. A handle that
 *                   is unknown begins a new listing, from its first page, so set both variables to 0 when one has
 *                   ended. End a listing early with OrlMapiReleaseHandle.
 * phOrigin          in/out, may be null: the bookmark after the last full page; 0 after a page that was not full.
 * lRowCount         rows wanted. Fewer come only at the end of the table (or, backwards, at its beginning) and where
 *                   memory ran out half way: a page that is not full is the listing's last one.
 * ppHeaders         one result block of *pcHeaders elements, to be freed also where there are none.
 * pcHeaders         set to 0 before anything else.
 * pulTotalRows      rows of the whole filtered table.
 * bForward          exactly 1 reads forwards, any other value backwards (rows still come oldest first).
 * bkAbsBkmark       ORL_BOOKMARK_BEGINNING and ORL_BOOKMARK_END move there first; any other value starts at the
 *                   bookmark passed in phOrigin, or where the table stands.
 * bWithAttachments  fill pAttachments too (one more open message a row); a fax listing always does.
 * bSummary          learn the fax product's name from what is listed; with bFax, read and unread alike.
 * apszFaxServers    names of fax servers for bFax with bSummary; null and empty ones are skipped.
 */
HRESULT ORLAPI OrlGetEmailHeadersA(DWORD hConnection, OrlMailbox hMailbox, DWORD *phContentsTable, DWORD *phOrigin,
                                   LONG lRowCount, EmailHeaderA **ppHeaders, ULONG *pcHeaders, ULONG *pulTotalRows,
                                   BYTE bRead, BYTE bForward, ULONG bkAbsBkmark, BYTE bWithAttachments, BYTE bPriority,
                                   BYTE bFax, BYTE bSummary, const LPCSTR *apszFaxServers, ULONG cFaxServers, BYTE bUM);
HRESULT ORLAPI OrlGetEmailHeadersW(DWORD hConnection, OrlMailbox hMailbox, DWORD *phContentsTable, DWORD *phOrigin,
                                   LONG lRowCount, EmailHeaderW **ppHeaders, ULONG *pcHeaders, ULONG *pulTotalRows,
                                   BYTE bRead, BYTE bForward, ULONG bkAbsBkmark, BYTE bWithAttachments, BYTE bPriority,
                                   BYTE bFax, BYTE bSummary, const LPCWSTR *apszFaxServers, ULONG cFaxServers,
                                   BYTE bUM);

/* ---- One message --------------------------------------------------------------------------------------- */

/*
 * Ordinals 31 and 32. One message's header, one result block. cAttachments is 0 and pAttachments is left unset.
 * Here ulMsgReceived does not fall back to offset.
 */
HRESULT ORLAPI OrlGetEmailHeaderA(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                  EmailHeaderA **ppHeader);
HRESULT ORLAPI OrlGetEmailHeaderW(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                  EmailHeaderW **ppHeader);

/* Ordinal 30. Three flags, each 0 or 1; on failure none is written. */
HRESULT ORLAPI OrlGetEmailFlags(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                BYTE *pbPrivate, BYTE *pbHighPriority, BYTE *pbRead);

/* Ordinal 9. Marks a message read (bRead not 0) or unread. */
HRESULT ORLAPI OrlSetEmailReadFlag(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                   BYTE bRead);

/* Ordinal 10. Moves a message to Deleted Items, where it has a new identifier. Nothing is deleted for good. */
HRESULT ORLAPI OrlDeleteEmail(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID);

/* ---- Download ------------------------------------------------------------------------------------------ */

/* Ordinals 8 and 20. Body and subject, one result block; what is missing is empty text. At most 64 KiB a text. */
HRESULT ORLAPI OrlDownloadEmailA(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                 EmailTextA **ppText);
HRESULT ORLAPI OrlDownloadEmailW(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                 EmailTextW **ppText);

/*
 * Ordinals 25 and 26. Saves a recording to szFile, which is overwritten. Only attachments whose MIME tag is
 * "audio/wav", "audio/x-ms-wma" or empty are saved: PCM WAVE byte for byte, GSM 6.10 and Windows Media through
 * their codec modules (KRNBRANE.vcl, KRN_WMA.vcl beside the library), whose own result is given. E_FAIL, and no
 * file, for anything else and for a file that can't be created. A PCM recording that the store stops giving half way
 * is saved up to there with S_OK, and reported in the trace; 0x80030070 (STG_E_MEDIUMFULL) where the file took a part
 * of it only.
 */
HRESULT ORLAPI OrlDownloadAttachmentA(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                      ULONG ulAttachNum, LPCSTR szFile);
HRESULT ORLAPI OrlDownloadAttachmentW(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                      ULONG ulAttachNum, LPCWSTR szFile);

/* ---- Sending ------------------------------------------------------------------------------------------- */

/*
 * Ordinals 11 and 21. Sends a message from a mailbox. It is submitted when this returns, or, on any failure, not at
 * all; no copy stays in the sent items.
 *
 * hMailbox      0 sends from the session's default store (E_POINTER where the session is not logged on).
 * szRecipients  names or addresses, separated by semicolons and by nothing else: a blank after a semicolon belongs to
 *               the name. Each must be known to the address book and fit one entry only; E_INVALIDARG for no text,
 *               E_ABORT for semicolons alone.
 * bUrgent       high importance and urgent priority, else both normal.
 * bPrivate      sensitivity private.
 * szFile        a file to attach, copied piece by piece whatever its size; empty for none.
 * szFilename    the name under which it is shown: a short one ("NOTE.TX": at most 8 characters, and 3 with the dot)
 *               as PR_ATTACH_FILENAME, any other ("message.wav") as PR_ATTACH_LONG_FILENAME.
 */
HRESULT ORLAPI OrlSendEmailA(DWORD hConnection, OrlMailbox hMailbox, LPCSTR szRecipients, LPCSTR szSubject,
                             LPCSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCSTR szFile, LPCSTR szFilename);
HRESULT ORLAPI OrlSendEmailW(DWORD hConnection, OrlMailbox hMailbox, LPCWSTR szRecipients, LPCWSTR szSubject,
                             LPCWSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCWSTR szFile, LPCWSTR szFilename);

/*
 * Ordinals 15 and 24. The same as a voice mail of unified messaging, class "IPM.Note.Microsoft.Voicemail.UM".
 *
 * lSecs          length of the recording in seconds.
 * szNumber       caller's telephone number.
 * szName         caller's name.
 * szOrder        the attachments' order: their names, separated by semicolons.
 * offset, ulMsgReceived   given back by the listing as they are given here.
 */
HRESULT ORLAPI OrlSendUMEmailA(DWORD hConnection, OrlMailbox hMailbox, LPCSTR szRecipients, LPCSTR szSubject,
                               LPCSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCSTR szFile, LPCSTR szFilename, LONG lSecs,
                               LPCSTR szNumber, LPCSTR szName, LPCSTR szOrder, LONG offset, ULONG ulMsgReceived);
HRESULT ORLAPI OrlSendUMEmailW(DWORD hConnection, OrlMailbox hMailbox, LPCWSTR szRecipients, LPCWSTR szSubject,
                               LPCWSTR szBody, BYTE bUrgent, BYTE bPrivate, LPCWSTR szFile, LPCWSTR szFilename,
                               LONG lSecs, LPCWSTR szNumber, LPCWSTR szName, LPCWSTR szOrder, LONG offset,
                               ULONG ulMsgReceived);

/* ---- Forwarding and responding ------------------------------------------------------------------------- */

/*
 * Ordinals 13 and 22. Marks a message as forwarded and sends a copy of it, attachments included, to szRecipients (as
 * in OrlSendEmailA/W); a copy is kept in the sent items. hMailbox 0 means the session's default store.
 *
 * The result is 0 ALWAYS, also for an unknown connection and where nothing was sent: what failed stands in the trace
 * alone. The original stays marked where its copy could not be sent. Recipients that can't be resolved leave the copy
 * with those of the original, to whom it then goes: resolve names before you forward to them.
 */
HRESULT ORLAPI OrlForwardEmailA(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                LPCSTR szRecipients);
HRESULT ORLAPI OrlForwardEmailW(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                LPCWSTR szRecipients);

/*
 * Ordinals 14 and 23. Marks a message as replied to and sends a copy of it to its sender, with a file attached:
 * szFile and szFilename as in OrlSendEmailA/W, empty for none. Nothing is sent where the sender has no e-mail address.
 * With hMailbox 0 nothing is done at all. ulUnused is ignored. The result is 0 ALWAYS, as for a forward.
 */
HRESULT ORLAPI OrlRespondEmailA(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                LPCSTR szFile, LPCSTR szFilename, ULONG ulUnused);
HRESULT ORLAPI OrlRespondEmailW(DWORD hConnection, OrlMailbox hMailbox, ULONG cbEntryID, const BYTE *pEntryID,
                                LPCWSTR szFile, LPCWSTR szFilename, ULONG ulUnused);

/* ---- Notifications ------------------------------------------------------------------------------------- */

/*
 * Ordinals 27 and 28. Opens a mailbox and watches its voice mail: tells pfnCallback (which may be null) the counts now,
 * and from then on at every change, until OrlUnadvise. Note the order: both outputs are parted by the inputs.
 *
 * phSink            receives the sink. 0 where not all of its three tables could be made although the last step
 *                   succeeded; then the mailbox is the caller's, to be closed with OrlMapiDisconnectFromMailbox.
 * phMailbox         receives the mailbox. It belongs to the sink: it may be used like any other until OrlUnadvise,
 * which closes it, and must not be given to OrlMapiDisconnectFromMailbox.
 *
 * On failure both keep what the caller put there, and nothing is left open. A store that counts but does not notify is
 * no failure: the counts are told once, and the trace says why no more.
 */
HRESULT ORLAPI OrlAdviseA(DWORD hConnection, OrlSink *phSink, LPCSTR szMailbox, MailboxCountCallback pfnCallback,
                          ULONG_PTR ulContext, OrlMailbox *phMailbox);
HRESULT ORLAPI OrlAdviseW(DWORD hConnection, OrlSink *phSink, LPCWSTR szMailbox, MailboxCountCallback pfnCallback,
                          ULONG_PTR ulContext, OrlMailbox *phMailbox);

/*
 * Ordinal 29. Ends a sink, of this connection or another one, and closes its mailbox. S_OK for every known connection,
 * also for 0, for a sink that has ended before, and for one that another thread is just ending. OrlMapiDisconnect,
 * OrlMapiConnectA/W and OrlCloseConnection end all sinks of their connection. A value must not be used again: a later
 * sink may have it.
 *
 * When it has returned, no call of the callback begins any more. One that is running on another thread may still be at
 * its work (localmapi waits for it; other stores may not): what ulContext stands for must outlive that call. The
 * functions that end all sinks of a connection wait for it in any case.
 *
 * pulUnused         neither read nor written; may be null.
 */
HRESULT ORLAPI OrlUnadvise(DWORD hConnection, OrlSink hSink, ULONG *pulUnused);

/* ---- Calendar ------------------------------------------------------------------------------------------ */

/*
 * Ordinals 5 and 18. The appointments of one day, in order of their start (of a recurring one: of its series), with
 * the occurrences of recurring ones; what is marked as free time is left out. Start and end are UTC.
 *
 * szDate     the day, in a form of the user's locale ("11/23/2026", "November 23, 2026"; "2026-11-23" in every one);
 *            0x80020005 (DISP_E_TYPEMISMATCH) where it is none.
 * ppEvents   one result block of *pcEvents elements, to be freed also where there are none.
 * pcEvents   set to 0 before anything else.
 *
 * The day is 00:00 to 23:59 of local time, with the offset to UTC that holds today. An appointment that is not
 * recurring is listed only if it begins and ends within it. Occurrences are found by rules of their own: the last day
 * of a series is never one, a weekly series falls only on whole numbers of its weeks after its first day, a daily one
 * counts its interval in minutes where days are meant, a monthly or yearly one by a day of the month falls on that day
 * only where the month has it, and the n-th week of a month begins with the 7th, 14th, 21st and 28th. Occurrences that
 * were deleted or moved are not looked at. A recurring appointment whose rule can't be read is listed on every day.
 */
HRESULT ORLAPI OrlMapiObtainCalendarEventsA(DWORD hConnection, OrlMailbox hMailbox, LPCSTR szDate,
                                            CalendarEventA **ppEvents, ULONG *pcEvents);
HRESULT ORLAPI OrlMapiObtainCalendarEventsW(DWORD hConnection, OrlMailbox hMailbox, LPCWSTR szDate,
                                            CalendarEventW **ppEvents, ULONG *pcEvents);

/* ---- Error text ---------------------------------------------------------------------------------------- */

/*
 * Ordinals 42 and 43. The symbolic name of a result, such as "MAPI_E_NOT_FOUND"; empty text for S_OK and for a
 * code that has no name. hConnection is ignored. cchBuffer counts characters with the terminator; a buffer too
 * small is the caller's error: it is left empty (64 characters are always enough).
 */
void ORLAPI OrlGetErrorTextA(DWORD hConnection, HRESULT hr, char *pszBuffer, ULONG cchBuffer);
void ORLAPI OrlGetErrorTextW(DWORD hConnection, HRESULT hr, WCHAR *pszBuffer, ULONG cchBuffer);

/* ---- Function types, for hosts that load the library at run time ----------------------------------------- */

typedef HRESULT(ORLAPI *PFN_OrlCreateConnection)(DWORD *, BYTE);
typedef HRESULT(ORLAPI *PFN_OrlCloseConnection)(DWORD *);
typedef BOOL(ORLAPI *PFN_OrlIsMAPIAvailable)(DWORD);
typedef BOOL(ORLAPI *PFN_OrlIsConnected)(DWORD);
typedef void(ORLAPI *PFN_OrlCrashRecovery)(void);
typedef HRESULT(ORLAPI *PFN_OrlMapiConnectA)(DWORD, LPCSTR, LPCSTR, LPCSTR);
typedef HRESULT(ORLAPI *PFN_OrlMapiConnectW)(DWORD, LPCWSTR, LPCWSTR, LPCWSTR);
typedef HRESULT(ORLAPI *PFN_OrlMapiDisconnect)(DWORD);
typedef HRESULT(ORLAPI *PFN_OrlMapiConnectToMailboxA)(DWORD, OrlMailbox *, LPCSTR);
typedef HRESULT(ORLAPI *PFN_OrlMapiConnectToMailboxW)(DWORD, OrlMailbox *, LPCWSTR);
typedef HRESULT(ORLAPI *PFN_OrlMapiDisconnectFromMailbox)(DWORD, OrlMailbox);
typedef HRESULT(ORLAPI *PFN_OrlMapiReleaseHandle)(DWORD, const DWORD *, const DWORD *);
typedef HRESULT(ORLAPI *PFN_OrlMapiFreeBuffer)(void *);
typedef HRESULT(ORLAPI *PFN_OrlGetExchangeServerNameA)(DWORD, ExchangeServerNameA **, LPCSTR);
typedef HRESULT(ORLAPI *PFN_OrlGetExchangeServerNameW)(DWORD, ExchangeServerNameW **, LPCWSTR);
typedef HRESULT(ORLAPI *PFN_OrlGetExchangeProfilesA)(DWORD, ExchangeProfileA **, ULONG *);
typedef HRESULT(ORLAPI *PFN_OrlGetExchangeProfilesW)(DWORD, ExchangeProfileW **, ULONG *);
typedef HRESULT(ORLAPI *PFN_OrlGetEmailHeadersA)(DWORD, OrlMailbox, DWORD *, DWORD *, LONG, EmailHeaderA **, ULONG *,
                                                 ULONG *, BYTE, BYTE, ULONG, BYTE, BYTE, BYTE, BYTE, const LPCSTR *,
                                                 ULONG, BYTE);
typedef HRESULT(ORLAPI *PFN_OrlGetEmailHeadersW)(DWORD, OrlMailbox, DWORD *, DWORD *, LONG, EmailHeaderW **, ULONG *,
                                                 ULONG *, BYTE, BYTE, ULONG, BYTE, BYTE, BYTE, BYTE, const LPCWSTR *,
                                                 ULONG, BYTE);
typedef HRESULT(ORLAPI *PFN_OrlGetEmailHeaderA)(DWORD, OrlMailbox, ULONG, const BYTE *, EmailHeaderA **);
typedef HRESULT(ORLAPI *PFN_OrlGetEmailHeaderW)(DWORD, OrlMailbox, ULONG, const BYTE *, EmailHeaderW **);
typedef HRESULT(ORLAPI *PFN_OrlGetEmailFlags)(DWORD, OrlMailbox, ULONG, const BYTE *, BYTE *, BYTE *, BYTE *);
typedef HRESULT(ORLAPI *PFN_OrlSetEmailReadFlag)(DWORD, OrlMailbox, ULONG, const BYTE *, BYTE);
typedef HRESULT(ORLAPI *PFN_OrlDeleteEmail)(DWORD, OrlMailbox, ULONG, const BYTE *);
typedef HRESULT(ORLAPI *PFN_OrlDownloadEmailA)(DWORD, OrlMailbox, ULONG, const BYTE *, EmailTextA **);
typedef HRESULT(ORLAPI *PFN_OrlDownloadEmailW)(DWORD, OrlMailbox, ULONG, const BYTE *, EmailTextW **);
typedef HRESULT(ORLAPI *PFN_OrlDownloadAttachmentA)(DWORD, OrlMailbox, ULONG, const BYTE *, ULONG, LPCSTR);
typedef HRESULT(ORLAPI *PFN_OrlDownloadAttachmentW)(DWORD, OrlMailbox, ULONG, const BYTE *, ULONG, LPCWSTR);
typedef HRESULT(ORLAPI *PFN_OrlSendEmailA)(DWORD, OrlMailbox, LPCSTR, LPCSTR, LPCSTR, BYTE, BYTE, LPCSTR, LPCSTR);
typedef HRESULT(ORLAPI *PFN_OrlSendEmailW)(DWORD, OrlMailbox, LPCWSTR, LPCWSTR, LPCWSTR, BYTE, BYTE, LPCWSTR, LPCWSTR);
typedef HRESULT(ORLAPI *PFN_OrlSendUMEmailA)(DWORD, OrlMailbox, LPCSTR, LPCSTR, LPCSTR, BYTE, BYTE, LPCSTR, LPCSTR,
                                             LONG, LPCSTR, LPCSTR, LPCSTR, LONG, ULONG);
typedef HRESULT(ORLAPI *PFN_OrlSendUMEmailW)(DWORD, OrlMailbox, LPCWSTR, LPCWSTR, LPCWSTR, BYTE, BYTE, LPCWSTR, LPCWSTR,
                                             LONG, LPCWSTR, LPCWSTR, LPCWSTR, LONG, ULONG);
typedef HRESULT(ORLAPI *PFN_OrlForwardEmailA)(DWORD, OrlMailbox, ULONG, const BYTE *, LPCSTR);
typedef HRESULT(ORLAPI *PFN_OrlForwardEmailW)(DWORD, OrlMailbox, ULONG, const BYTE *, LPCWSTR);
typedef HRESULT(ORLAPI *PFN_OrlRespondEmailA)(DWORD, OrlMailbox, ULONG, const BYTE *, LPCSTR, LPCSTR, ULONG);
typedef HRESULT(ORLAPI *PFN_OrlRespondEmailW)(DWORD, OrlMailbox, ULONG, const BYTE *, LPCWSTR, LPCWSTR, ULONG);
typedef HRESULT(ORLAPI *PFN_OrlAdviseA)(DWORD, OrlSink *, LPCSTR, MailboxCountCallback, ULONG_PTR, OrlMailbox *);
typedef HRESULT(ORLAPI *PFN_OrlAdviseW)(DWORD, OrlSink *, LPCWSTR, MailboxCountCallback, ULONG_PTR, OrlMailbox *);
typedef HRESULT(ORLAPI *PFN_OrlUnadvise)(DWORD, OrlSink, ULONG *);
typedef HRESULT(ORLAPI *PFN_OrlMapiObtainCalendarEventsA)(DWORD, OrlMailbox, LPCSTR, CalendarEventA **, ULONG *);
typedef HRESULT(ORLAPI *PFN_OrlMapiObtainCalendarEventsW)(DWORD, OrlMailbox, LPCWSTR, CalendarEventW **, ULONG *);
typedef void(ORLAPI *PFN_OrlGetErrorTextA)(DWORD, HRESULT, char *, ULONG);
typedef void(ORLAPI *PFN_OrlGetErrorTextW)(DWORD, HRESULT, WCHAR *, ULONG);

#if defined(__GNUC__) && !defined(_WIN32)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
