/*
 * Proves that the public header is plain C and complete by itself, that its records have the documented sizes, and that
 * every function has a pointer type of its own.
 */
#include "OrlMapi32.h"
#include <stddef.h>
#include <stdio.h>

static int failures;

static void same(const char *what, size_t got, size_t wanted)
{
    if (got != wanted) {
        printf("%s is %lu, not %lu\n", what, (unsigned long)got, (unsigned long)wanted);
        ++failures;
    }
}

/* Does not compile where a function and its pointer type differ. */
#define SAME_TYPE(name) _Static_assert(_Generic(&name, PFN_##name : 1, default : 0), #name " is not what its type says")

SAME_TYPE(OrlCreateConnection);
SAME_TYPE(OrlCloseConnection);
SAME_TYPE(OrlIsMAPIAvailable);
SAME_TYPE(OrlIsConnected);
SAME_TYPE(OrlCrashRecovery);
SAME_TYPE(OrlMapiConnectA);
SAME_TYPE(OrlMapiConnectW);
SAME_TYPE(OrlMapiDisconnect);
SAME_TYPE(OrlMapiConnectToMailboxA);
SAME_TYPE(OrlMapiConnectToMailboxW);
SAME_TYPE(OrlMapiDisconnectFromMailbox);
SAME_TYPE(OrlMapiReleaseHandle);
SAME_TYPE(OrlMapiFreeBuffer);
SAME_TYPE(OrlGetExchangeServerNameA);
SAME_TYPE(OrlGetExchangeServerNameW);
SAME_TYPE(OrlGetExchangeProfilesA);
SAME_TYPE(OrlGetExchangeProfilesW);
SAME_TYPE(OrlGetEmailHeadersA);
SAME_TYPE(OrlGetEmailHeadersW);
SAME_TYPE(OrlGetEmailHeaderA);
SAME_TYPE(OrlGetEmailHeaderW);
SAME_TYPE(OrlGetEmailFlags);
SAME_TYPE(OrlSetEmailReadFlag);
SAME_TYPE(OrlDeleteEmail);
SAME_TYPE(OrlDownloadEmailA);
SAME_TYPE(OrlDownloadEmailW);
SAME_TYPE(OrlDownloadAttachmentA);
SAME_TYPE(OrlDownloadAttachmentW);
SAME_TYPE(OrlSendEmailA);
SAME_TYPE(OrlSendEmailW);
SAME_TYPE(OrlSendUMEmailA);
SAME_TYPE(OrlSendUMEmailW);
SAME_TYPE(OrlForwardEmailA);
SAME_TYPE(OrlForwardEmailW);
SAME_TYPE(OrlRespondEmailA);
SAME_TYPE(OrlRespondEmailW);
SAME_TYPE(OrlAdviseA);
SAME_TYPE(OrlAdviseW);
SAME_TYPE(OrlUnadvise);
SAME_TYPE(OrlMapiObtainCalendarEventsA);
SAME_TYPE(OrlMapiObtainCalendarEventsW);
SAME_TYPE(OrlGetErrorTextA);
SAME_TYPE(OrlGetErrorTextW);

int main(void)
{
    const size_t pointer = sizeof(void *);

    same("EmailHeaderA", sizeof(EmailHeaderA), 43 + 7 * pointer);
    same("EmailHeaderW", sizeof(EmailHeaderW), 43 + 7 * pointer);
    same("AttachmentInfoA", sizeof(AttachmentInfoA), 8 + 2 * pointer);
    same("AttachmentInfoW", sizeof(AttachmentInfoW), 8 + 2 * pointer);
    same("EmailTextA", sizeof(EmailTextA), 2 * pointer);
    same("EmailTextW", sizeof(EmailTextW), 2 * pointer);
    same("ExchangeServerNameA", sizeof(ExchangeServerNameA), 1 + 2 * pointer);
    same("ExchangeServerNameW", sizeof(ExchangeServerNameW), 1 + 2 * pointer);
    same("ExchangeProfileA", sizeof(ExchangeProfileA), 1 + pointer);
    same("ExchangeProfileW", sizeof(ExchangeProfileW), 1 + pointer);
    same("CalendarEventA", sizeof(CalendarEventA), 39 + 3 * pointer);
    same("CalendarEventW", sizeof(CalendarEventW), 39 + 3 * pointer);
    same("OrlMailbox", sizeof(OrlMailbox), pointer);
    same("OrlSink", sizeof(OrlSink), pointer);
    if (pointer == 4) {
        same("EmailHeaderA on 32 bits", sizeof(EmailHeaderA), 71);
        same("AttachmentInfoA on 32 bits", sizeof(AttachmentInfoA), 16);
        same("EmailTextA on 32 bits", sizeof(EmailTextA), 8);
        same("ExchangeServerNameA on 32 bits", sizeof(ExchangeServerNameA), 9);
        same("ExchangeProfileA on 32 bits", sizeof(ExchangeProfileA), 5);
        same("CalendarEventA on 32 bits", sizeof(CalendarEventA), 51);
        same("lDuration", offsetof(CalendarEventA, lDuration), 3);
        same("pszBody", offsetof(CalendarEventA, pszBody), 15);
        same("stStart", offsetof(CalendarEventA, stStart), 19);
        same("stEnd", offsetof(CalendarEventA, stEnd), 35);
        same("stSubmitTime", offsetof(EmailHeaderA, stSubmitTime), 20);
        same("bRead", offsetof(EmailHeaderA, bRead), 36);
        same("ulMsgReceived", offsetof(EmailHeaderA, ulMsgReceived), 67);
    }
    same("WCHAR", sizeof(WCHAR), 2);
    same("SYSTEMTIME", sizeof(SYSTEMTIME), 16);
    return failures == 0 ? 0 : 1;
}
