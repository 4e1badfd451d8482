/*
 * The results of the functions in OrlMapi32.h by name, with a sentence each. MAPI's own codes come through unchanged,
 * so what an export can give includes what the MAPI in use gives; OrlGetErrorTextA/W names a code at run time.
 *
 * Names that the platform's headers have are left to them, whichever is included first. In C each one is an int;
 * compare it with a HRESULT as it is.
 */
#ifndef ORLMAPI32_RESULTS_H
#define ORLMAPI32_RESULTS_H
#include "OrlMapi32.h"

#ifndef FAILED
#define FAILED(hr) ((HRESULT)(hr) < 0)
#endif
#ifndef SUCCEEDED
#define SUCCEEDED(hr) ((HRESULT)(hr) >= 0)
#endif

enum OrlResult {
/* ---- Success ---- */

#ifndef S_OK
    /* Done. */
    S_OK = 0x00000000,
#endif
#ifndef S_FALSE
    /* Done, with nothing to do or to tell. */
    S_FALSE = 0x00000001,
#endif
#ifndef MAPI_W_NO_SERVICE
    /* Done, but a service of the profile is not there: what it offers is missing. */
    MAPI_W_NO_SERVICE = 0x00040203,
#endif
#ifndef MAPI_W_ERRORS_RETURNED
    /* Done; some of the properties that were asked for could not be read. */
    MAPI_W_ERRORS_RETURNED = 0x00040380,
#endif
#ifndef MAPI_W_POSITION_CHANGED
    /* Done; the row that a bookmark stood at is gone, and the one behind it was taken. */
    MAPI_W_POSITION_CHANGED = 0x00040481,
#endif
#ifndef MAPI_W_APPROX_COUNT
    /* Done; a count is an estimate. */
    MAPI_W_APPROX_COUNT = 0x00040482,
#endif
#ifndef MAPI_W_CANCEL_MESSAGE
    /* Done; the message was withdrawn. */
    MAPI_W_CANCEL_MESSAGE = 0x00040580,
#endif
#ifndef MAPI_W_PARTIAL_COMPLETION
    /* Some of the messages or rows were not dealt with. */
    MAPI_W_PARTIAL_COMPLETION = 0x00040680,
#endif
/* ---- The call itself, and this library ---- */

#ifndef E_INVALIDARG
    /* An unknown connection handle, mailbox 0, or a text that can't be used; MAPI calls it MAPI_E_INVALID_PARAMETER. */
    E_INVALIDARG = (int)0x80070057u,
#endif
#ifndef MAPI_E_INVALID_PARAMETER
    MAPI_E_INVALID_PARAMETER = (int)0x80070057u,
#endif
#ifndef E_FAIL
    /* Not done, for a reason that only the trace has; also: not logged on. MAPI calls it MAPI_E_CALL_FAILED. */
    E_FAIL = (int)0x80004005u,
#endif
#ifndef MAPI_E_CALL_FAILED
    MAPI_E_CALL_FAILED = (int)0x80004005u,
#endif
#ifndef E_OUTOFMEMORY
    /* There was no memory; MAPI calls it MAPI_E_NOT_ENOUGH_MEMORY. */
    E_OUTOFMEMORY = (int)0x8007000Eu,
#endif
#ifndef MAPI_E_NOT_ENOUGH_MEMORY
    MAPI_E_NOT_ENOUGH_MEMORY = (int)0x8007000Eu,
#endif
#ifndef E_UNEXPECTED
    /* An exception within the library, or within the MAPI that it called; the trace names the function. */
    E_UNEXPECTED = (int)0x8000FFFFu,
#endif
#ifndef E_POINTER
    /* There is no default store to work on: the connection is not logged on. */
    E_POINTER = (int)0x80004003u,
#endif
#ifndef E_ABORT
    /* Nothing was sent, since no recipient was named. */
    E_ABORT = (int)0x80004004u,
#endif
#ifndef E_NOINTERFACE
    /* The MAPI in use lacks an interface; MAPI calls it MAPI_E_INTERFACE_NOT_SUPPORTED. */
    E_NOINTERFACE = (int)0x80004002u,
#endif
#ifndef MAPI_E_INTERFACE_NOT_SUPPORTED
    MAPI_E_INTERFACE_NOT_SUPPORTED = (int)0x80004002u,
#endif
#ifndef E_ACCESSDENIED
    /* The account may not do that; MAPI calls it MAPI_E_NO_ACCESS. */
    E_ACCESSDENIED = (int)0x80070005u,
#endif
#ifndef MAPI_E_NO_ACCESS
    MAPI_E_NO_ACCESS = (int)0x80070005u,
#endif
#ifndef ORL_E_NO_MAPI
    /* MAPI is not initialised, so no mailbox can be opened: no Extended MAPI was found, or its start failed. */
    ORL_E_NO_MAPI = (int)0x8001011Fu,
#endif
#ifndef DISP_E_TYPEMISMATCH
    /* The text is no date in any form of the user's locale. */
    DISP_E_TYPEMISMATCH = (int)0x80020005u,
#endif
/* ---- Files of recordings ---- */

#ifndef STG_E_FILENOTFOUND
    /* There is no such file. */
    STG_E_FILENOTFOUND = (int)0x80030002u,
#endif
#ifndef STG_E_PATHNOTFOUND
    /* There is no such folder. */
    STG_E_PATHNOTFOUND = (int)0x80030003u,
#endif
#ifndef STG_E_ACCESSDENIED
    /* The file may not be opened or written by this account. */
    STG_E_ACCESSDENIED = (int)0x80030005u,
#endif
#ifndef STG_E_INSUFFICIENTMEMORY
    /* There was no memory for a stream. */
    STG_E_INSUFFICIENTMEMORY = (int)0x80030008u,
#endif
#ifndef STG_E_SHAREVIOLATION
    /* Another program has the file open. */
    STG_E_SHAREVIOLATION = (int)0x80030020u,
#endif
#ifndef STG_E_FILEALREADYEXISTS
    /* The file is there already. */
    STG_E_FILEALREADYEXISTS = (int)0x80030050u,
#endif
#ifndef STG_E_INVALIDPARAMETER
    /* The file's name can't be used. */
    STG_E_INVALIDPARAMETER = (int)0x80030057u,
#endif
#ifndef STG_E_MEDIUMFULL
    /* The disk is full; the recording was saved in part. */
    STG_E_MEDIUMFULL = (int)0x80030070u,
#endif
#ifndef STG_E_INVALIDNAME
    /* The name is none that a file can have. */
    STG_E_INVALIDNAME = (int)0x800300FCu,
#endif
#ifndef STG_E_WRITEFAULT
    /* The disk failed while it was written to. */
    STG_E_WRITEFAULT = (int)0x8003001Du,
#endif
#ifndef STG_E_READFAULT
    /* The disk failed while it was read. */
    STG_E_READFAULT = (int)0x8003001Eu,
#endif
/* ---- MAPI: the session and the server ---- */

#ifndef MAPI_E_LOGON_FAILED
    /* The profile is unknown, or the server refused it: look at the profile, then at the account's rights. */
    MAPI_E_LOGON_FAILED = (int)0x80040111u,
#endif
#ifndef MAPI_E_FAILONEPROVIDER
    /* One of the profile's services failed, mostly the store of a mailbox that can't be reached or opened. */
    MAPI_E_FAILONEPROVIDER = (int)0x8004011Du,
#endif
#ifndef MAPI_E_NETWORK_ERROR
    /* The server was lost or does not answer: close the mailboxes, disconnect and connect again. */
    MAPI_E_NETWORK_ERROR = (int)0x80040115u,
#endif
#ifndef MAPI_E_END_OF_SESSION
    /* The session has ended under the call: connect again. */
    MAPI_E_END_OF_SESSION = (int)0x80040200u,
#endif
#ifndef MAPI_E_TIMEOUT
    /* It took too long: other connects had their turn for 60 s, or a server did not answer. */
    MAPI_E_TIMEOUT = (int)0x80040401u,
#endif
#ifndef MAPI_E_BUSY
    /* The server, or the store, is at work for others: try again later. */
    MAPI_E_BUSY = (int)0x8004010Bu,
#endif
#ifndef MAPI_E_NOT_INITIALIZED
    /* MAPI was not initialised on the way to this call. */
    MAPI_E_NOT_INITIALIZED = (int)0x80040605u,
#endif
#ifndef MAPI_E_UNCONFIGURED
    /* A service of the profile has not all that it needs. */
    MAPI_E_UNCONFIGURED = (int)0x8004011Cu,
#endif
#ifndef MAPI_E_SESSION_LIMIT
    /* There are as many sessions as there may be: close one. */
    MAPI_E_SESSION_LIMIT = (int)0x80040112u,
#endif
#ifndef MAPI_E_USER_CANCEL
    /* Somebody would have had to answer a question, and nobody did. */
    MAPI_E_USER_CANCEL = (int)0x80040113u,
#endif
#ifndef MAPI_E_VERSION
    /* Two parts of MAPI are of versions that do not work together. */
    MAPI_E_VERSION = (int)0x80040110u,
#endif
#ifndef MAPI_E_PASSWORD_CHANGE_REQUIRED
    /* The account must have a new password first. */
    MAPI_E_PASSWORD_CHANGE_REQUIRED = (int)0x80040120u,
#endif
#ifndef MAPI_E_PASSWORD_EXPIRED
    /* The account's password is too old. */
    MAPI_E_PASSWORD_EXPIRED = (int)0x80040121u,
#endif
#ifndef MAPI_E_INVALID_WORKSTATION_ACCOUNT
    /* The account may not log on from this machine. */
    MAPI_E_INVALID_WORKSTATION_ACCOUNT = (int)0x80040122u,
#endif
#ifndef MAPI_E_INVALID_ACCESS_TIME
    /* The account may not log on at this time. */
    MAPI_E_INVALID_ACCESS_TIME = (int)0x80040123u,
#endif
#ifndef MAPI_E_ACCOUNT_DISABLED
    /* The account is locked. */
    MAPI_E_ACCOUNT_DISABLED = (int)0x80040124u,
#endif
#ifndef MAPI_E_PROFILE_DELETED
    /* The profile was deleted while it was in use: its session lives on, another one can't begin. */
    MAPI_E_PROFILE_DELETED = (int)0x80040204u,
#endif
#ifndef MAPI_E_UNKNOWN_CPID
    /* The server does not know the code page of this account. */
    MAPI_E_UNKNOWN_CPID = (int)0x8004011Eu,
#endif
#ifndef MAPI_E_UNKNOWN_LCID
    /* The server does not know the language of this account. */
    MAPI_E_UNKNOWN_LCID = (int)0x8004011Fu,
#endif
/* ---- MAPI: what was named, and rights to it ---- */

#ifndef MAPI_E_NOT_FOUND
    /* There is no such user, mailbox, message, recipient, attachment or profile. */
    MAPI_E_NOT_FOUND = (int)0x8004010Fu,
#endif
#ifndef MAPI_E_AMBIGUOUS_RECIP
    /* The name fits several entries of the address book: name it in full. */
    MAPI_E_AMBIGUOUS_RECIP = (int)0x80040700u,
#endif
#ifndef MAPI_E_UNKNOWN_ENTRYID
    /* No store of this session has given out the entry ID. */
    MAPI_E_UNKNOWN_ENTRYID = (int)0x80040201u,
#endif
#ifndef MAPI_E_INVALID_ENTRYID
    /* The bytes are no entry ID of the mailbox. */
    MAPI_E_INVALID_ENTRYID = (int)0x80040107u,
#endif
#ifndef MAPI_E_OBJECT_CHANGED
    /* Another program has changed the message since it was opened: try again. */
    MAPI_E_OBJECT_CHANGED = (int)0x80040109u,
#endif
#ifndef MAPI_E_OBJECT_DELETED
    /* The message was deleted since it was opened. */
    MAPI_E_OBJECT_DELETED = (int)0x8004010Au,
#endif
#ifndef MAPI_E_SUBMITTED
    /* The message is on its way and can't be changed. */
    MAPI_E_SUBMITTED = (int)0x80040608u,
#endif
#ifndef MAPI_E_NO_SUPPORT
    /* The MAPI in use can't do that. */
    MAPI_E_NO_SUPPORT = (int)0x80040102u,
#endif
#ifndef MAPI_E_NO_RECIPIENTS
    /* The message has nobody to go to. */
    MAPI_E_NO_RECIPIENTS = (int)0x80040607u,
#endif
#ifndef MAPI_E_COLLISION
    /* There is one of that name already. */
    MAPI_E_COLLISION = (int)0x80040604u,
#endif
#ifndef MAPI_E_INVALID_OBJECT
    /* The object was closed before the call was done with it. */
    MAPI_E_INVALID_OBJECT = (int)0x80040108u,
#endif
#ifndef MAPI_E_NOT_IN_QUEUE
    /* The message is no longer waiting to be sent. */
    MAPI_E_NOT_IN_QUEUE = (int)0x80040601u,
#endif
/* ---- MAPI: room and data ---- */

#ifndef MAPI_E_NOT_ENOUGH_DISK
    /* The disk of the store is full. */
    MAPI_E_NOT_ENOUGH_DISK = (int)0x8004010Du,
#endif
#ifndef MAPI_E_NOT_ENOUGH_RESOURCES
    /* The system, or the server, has run out of something: try again later. */
    MAPI_E_NOT_ENOUGH_RESOURCES = (int)0x8004010Eu,
#endif
#ifndef MAPI_E_STORE_FULL
    /* The mailbox has reached its limit: delete something. */
    MAPI_E_STORE_FULL = (int)0x8004060Cu,
#endif
#ifndef MAPI_E_DISK_ERROR
    /* The disk of the store failed while it was read or written. */
    MAPI_E_DISK_ERROR = (int)0x80040116u,
#endif
#ifndef MAPI_E_CORRUPT_DATA
    /* What was stored is damaged. */
    MAPI_E_CORRUPT_DATA = (int)0x8004011Bu,
#endif
#ifndef MAPI_E_CORRUPT_STORE
    /* The store is damaged. */
    MAPI_E_CORRUPT_STORE = (int)0x80040600u,
#endif
#ifndef MAPI_E_TOO_BIG
    /* The value is larger than the call can take. */
    MAPI_E_TOO_BIG = (int)0x80040305u,
#endif
#ifndef MAPI_E_TOO_COMPLEX
    /* The store can't work out a filter or an order like this. */
    MAPI_E_TOO_COMPLEX = (int)0x80040117u,
#endif
#ifndef MAPI_E_COMPUTED
    /* The property is worked out by the store and can't be set. */
    MAPI_E_COMPUTED = (int)0x8004011Au,
#endif
#ifndef MAPI_E_UNABLE_TO_COMPLETE
    /* It could not be done to its end; what was done so far stays. */
    MAPI_E_UNABLE_TO_COMPLETE = (int)0x80040400u,
#endif
#ifndef MAPI_E_EXTENDED_ERROR
    /* The server has told more than a code can hold; the trace has its text. */
    MAPI_E_EXTENDED_ERROR = (int)0x80040119u,
#endif
#ifndef MAPI_E_NAMED_PROP_QUOTA_EXCEEDED
    /* The mailbox has as many named properties as it may have. */
    MAPI_E_NAMED_PROP_QUOTA_EXCEEDED = (int)0x80040900u,
#endif
/* ---- MAPI: tables and calls, seldom seen by a host ---- */

#ifndef MAPI_E_INVALID_BOOKMARK
    /* The bookmark is none of this table. */
    MAPI_E_INVALID_BOOKMARK = (int)0x80040405u,
#endif
#ifndef MAPI_E_TABLE_EMPTY
    /* The table has no rows. */
    MAPI_E_TABLE_EMPTY = (int)0x80040402u,
#endif
#ifndef MAPI_E_TABLE_TOO_BIG
    /* The table has more rows than the call can take. */
    MAPI_E_TABLE_TOO_BIG = (int)0x80040403u,
#endif
#ifndef MAPI_E_BAD_COLUMN
    /* The table has no such column. */
    MAPI_E_BAD_COLUMN = (int)0x80040118u,
#endif
#ifndef MAPI_E_MISSING_REQUIRED_COLUMN
    /* A row lacks a column that the call needs. */
    MAPI_E_MISSING_REQUIRED_COLUMN = (int)0x80040202u,
#endif
#ifndef MAPI_E_BAD_VALUE
    /* A value is out of its range. */
    MAPI_E_BAD_VALUE = (int)0x80040301u,
#endif
#ifndef MAPI_E_INVALID_TYPE
    /* A property has a type that there is not. */
    MAPI_E_INVALID_TYPE = (int)0x80040302u,
#endif
#ifndef MAPI_E_TYPE_NO_SUPPORT
    /* The store does not keep properties of that type. */
    MAPI_E_TYPE_NO_SUPPORT = (int)0x80040303u,
#endif
#ifndef MAPI_E_UNEXPECTED_TYPE
    /* A property has another type than was expected. */
    MAPI_E_UNEXPECTED_TYPE = (int)0x80040304u,
#endif
#ifndef MAPI_E_UNEXPECTED_ID
    /* A property is another one than was expected. */
    MAPI_E_UNEXPECTED_ID = (int)0x80040307u,
#endif
#ifndef MAPI_E_DECLINE_COPY
    /* The store leaves the copying to its caller. */
    MAPI_E_DECLINE_COPY = (int)0x80040306u,
#endif
#ifndef MAPI_E_UNKNOWN_FLAGS
    /* The MAPI in use does not know a flag that the library has set. */
    MAPI_E_UNKNOWN_FLAGS = (int)0x80040106u,
#endif
#ifndef MAPI_E_BAD_CHARWIDTH
    /* The MAPI in use has no text of that width. */
    MAPI_E_BAD_CHARWIDTH = (int)0x80040103u,
#endif
#ifndef MAPI_E_STRING_TOO_LONG
    /* A text is longer than it may be. */
    MAPI_E_STRING_TOO_LONG = (int)0x80040105u,
#endif
#ifndef MAPI_E_UNABLE_TO_ABORT
    /* What is being done can't be stopped any more. */
    MAPI_E_UNABLE_TO_ABORT = (int)0x80040114u,
#endif
#ifndef MAPI_E_WAIT
    /* A service asks to wait. */
    MAPI_E_WAIT = (int)0x80040500u,
#endif
#ifndef MAPI_E_CANCEL
    /* The call was given up. */
    MAPI_E_CANCEL = (int)0x80040501u,
#endif
#ifndef MAPI_E_NOT_ME
    /* The service is not the one for this address. */
    MAPI_E_NOT_ME = (int)0x80040502u,
#endif
#ifndef MAPI_E_NO_SUPPRESS
    /* A report can't be held back. */
    MAPI_E_NO_SUPPRESS = (int)0x80040602u,
#endif
#ifndef MAPI_E_NON_STANDARD
    /* The service does it in a way of its own. */
    MAPI_E_NON_STANDARD = (int)0x80040606u,
#endif
#ifndef MAPI_E_HAS_FOLDERS
    /* The folder has folders. */
    MAPI_E_HAS_FOLDERS = (int)0x80040609u,
#endif
#ifndef MAPI_E_HAS_MESSAGES
    /* The folder has messages. */
    MAPI_E_HAS_MESSAGES = (int)0x8004060Au,
#endif
#ifndef MAPI_E_FOLDER_CYCLE
    /* A folder can't be moved into itself. */
    MAPI_E_FOLDER_CYCLE = (int)0x8004060Bu,
#endif
#ifndef MAPI_E_LOCKID_LIMIT
    /* The store can't keep one more message from others. */
    MAPI_E_LOCKID_LIMIT = (int)0x8004060Du,
#endif
    ORL_RESULTS_END = -1 /* none of them */
};

#endif
