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

/* A pointer type per function: an assignment that does not compile where they differ. */
PFN_OrlCreateConnection create = 0;
PFN_OrlGetEmailHeadersA listA = 0;
PFN_OrlGetEmailHeadersW listW = 0;
PFN_OrlDownloadAttachmentW save = 0;
PFN_OrlGetErrorTextW text = 0;

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
    same("OrlMailbox", sizeof(OrlMailbox), pointer);
    if (pointer == 4) {
        same("EmailHeaderA on 32 bits", sizeof(EmailHeaderA), 71);
        same("AttachmentInfoA on 32 bits", sizeof(AttachmentInfoA), 16);
        same("EmailTextA on 32 bits", sizeof(EmailTextA), 8);
        same("ExchangeServerNameA on 32 bits", sizeof(ExchangeServerNameA), 9);
        same("ExchangeProfileA on 32 bits", sizeof(ExchangeProfileA), 5);
        same("stSubmitTime", offsetof(EmailHeaderA, stSubmitTime), 20);
        same("bRead", offsetof(EmailHeaderA, bRead), 36);
        same("ulMsgReceived", offsetof(EmailHeaderA, ulMsgReceived), 67);
    }
    same("WCHAR", sizeof(WCHAR), 2);
    same("SYSTEMTIME", sizeof(SYSTEMTIME), 16);
    return failures == 0 ? 0 : 1;
}
