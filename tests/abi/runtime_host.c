/*
 * A host in plain C that loads the library at run time. Proves that every export is found by name and, in the DLL, at
 * its fixed ordinal, and that each one answers an unknown connection as documented.
 */
#include "OrlMapi32.h"
#include "export_table.h"
#include "load.h"
#include <stdio.h>
#include <string.h>

static int failures;

static void fail(const char *name, const char *what)
{
    printf("%s: %s\n", name, what);
    ++failures;
}

static Function find(const char *name)
{
    size_t i;
    for (i = 0; i < sizeof kExports / sizeof kExports[0]; ++i) {
        if (strcmp(kExports[i].name, name) == 0) {
            const Function found = by_ordinal(kExports[i].ordinal, name);
            if (!found || found != by_name(name))
                fail(name, "not at its ordinal");
            return found;
        }
    }
    fail(name, "not in the list of exports");
    return 0;
}

static int tried;

#define FIND(name)                                                                                                     \
    PFN_##name p##name = (PFN_##name)find(#name);                                                                      \
    ++tried
#define EXPECT(name, call, wanted)                                                                                     \
    do {                                                                                                               \
        const long got = (long)(call);                                                                                 \
        if (got != (long)(HRESULT)(wanted))                                                                            \
            printf("%s gave 0x%08lx\n", name, (unsigned long)got), ++failures;                                         \
    } while (0)

#define INVALID 0x80070057

static void session(void)
{
    FIND(OrlCreateConnection);
    FIND(OrlCloseConnection);
    FIND(OrlIsMAPIAvailable);
    FIND(OrlIsConnected);
    FIND(OrlCrashRecovery);
    FIND(OrlMapiConnectA);
    FIND(OrlMapiConnectW);
    FIND(OrlMapiDisconnect);
    FIND(OrlMapiConnectToMailboxA);
    FIND(OrlMapiConnectToMailboxW);
    FIND(OrlMapiDisconnectFromMailbox);
    FIND(OrlMapiReleaseHandle);
    FIND(OrlMapiFreeBuffer);
    DWORD connection = 40000; /* larger than any handle */
    OrlMailbox mailbox = 77;
    static const WCHAR none[1] = {0};

    pOrlCrashRecovery();
    EXPECT("OrlCloseConnection", pOrlCloseConnection(&connection), 0x80004005);
    if (connection != 40000)
        fail("OrlCloseConnection", "changed the variable");
    EXPECT("OrlIsMAPIAvailable", pOrlIsMAPIAvailable(0), 0);
    EXPECT("OrlIsConnected", pOrlIsConnected(0), 0);
    EXPECT("OrlMapiConnectA", pOrlMapiConnectA(0, "", "", ""), INVALID);
    EXPECT("OrlMapiConnectW", pOrlMapiConnectW(0, none, none, none), INVALID);
    EXPECT("OrlMapiDisconnect", pOrlMapiDisconnect(0), INVALID);
    EXPECT("OrlMapiConnectToMailboxA", pOrlMapiConnectToMailboxA(0, &mailbox, ""), INVALID);
    EXPECT("OrlMapiConnectToMailboxW", pOrlMapiConnectToMailboxW(0, &mailbox, none), INVALID);
    if (mailbox != 77)
        fail("OrlMapiConnectToMailbox", "changed the variable");
    EXPECT("OrlMapiDisconnectFromMailbox", pOrlMapiDisconnectFromMailbox(0, 0), INVALID);
    EXPECT("OrlMapiReleaseHandle", pOrlMapiReleaseHandle(0, 0, 0), INVALID);
    EXPECT("OrlMapiFreeBuffer", pOrlMapiFreeBuffer(0), 0);
    EXPECT("OrlCreateConnection", pOrlCreateConnection(&connection, 0), 0);
    if (connection == 0 || connection > 32768)
        fail("OrlCreateConnection", "gave a handle out of range");
    EXPECT("OrlIsConnected", pOrlIsConnected(connection), 0);
    EXPECT("OrlCloseConnection", pOrlCloseConnection(&connection), 0);
    if (connection != 0)
        fail("OrlCloseConnection", "did not clear the variable");
}

static void profiles(void)
{
    FIND(OrlGetExchangeServerNameA);
    FIND(OrlGetExchangeServerNameW);
    FIND(OrlGetExchangeProfilesA);
    FIND(OrlGetExchangeProfilesW);
    static const WCHAR none[1] = {0};
    ExchangeServerNameA *serverA = 0;
    ExchangeServerNameW *serverW = 0;
    ExchangeProfileA *profilesA = 0;
    ExchangeProfileW *profilesW = 0;
    ULONG count = 9;

    EXPECT("OrlGetExchangeServerNameA", pOrlGetExchangeServerNameA(0, &serverA, ""), INVALID);
    EXPECT("OrlGetExchangeServerNameW", pOrlGetExchangeServerNameW(0, &serverW, none), INVALID);
    EXPECT("OrlGetExchangeProfilesA", pOrlGetExchangeProfilesA(0, &profilesA, &count), INVALID);
    if (count != 0)
        fail("OrlGetExchangeProfilesA", "did not set the count to 0");
    count = 9;
    EXPECT("OrlGetExchangeProfilesW", pOrlGetExchangeProfilesW(0, &profilesW, &count), INVALID);
    if (count != 0)
        fail("OrlGetExchangeProfilesW", "did not set the count to 0");
}

static void messages(void)
{
    FIND(OrlGetEmailHeadersA);
    FIND(OrlGetEmailHeadersW);
    FIND(OrlGetEmailHeaderA);
    FIND(OrlGetEmailHeaderW);
    FIND(OrlGetEmailFlags);
    FIND(OrlSetEmailReadFlag);
    FIND(OrlDeleteEmail);
    FIND(OrlDownloadEmailA);
    FIND(OrlDownloadEmailW);
    FIND(OrlDownloadAttachmentA);
    FIND(OrlDownloadAttachmentW);
    static const WCHAR none[1] = {0};
    static const BYTE id[8] = {0};
    EmailHeaderA *headersA = 0;
    EmailHeaderW *headersW = 0;
    EmailTextA *textA = 0;
    EmailTextW *textW = 0;
    DWORD table = 5, bookmark = 6;
    ULONG count = 9, total = 7;
    BYTE flags[3] = {7, 8, 9};

    EXPECT("OrlGetEmailHeadersA",
           pOrlGetEmailHeadersA(0, 1, &table, &bookmark, 10, &headersA, &count, &total, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0),
           INVALID);
    if (count != 0 || table != 5 || bookmark != 6 || headersA)
        fail("OrlGetEmailHeadersA", "touched the outputs");
    count = 9;
    EXPECT("OrlGetEmailHeadersW",
           pOrlGetEmailHeadersW(0, 1, &table, &bookmark, 10, &headersW, &count, &total, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0),
           INVALID);
    if (count != 0 || table != 5 || bookmark != 6 || headersW)
        fail("OrlGetEmailHeadersW", "touched the outputs");
    EXPECT("OrlGetEmailHeaderA", pOrlGetEmailHeaderA(0, 1, 8, id, &headersA), INVALID);
    EXPECT("OrlGetEmailHeaderW", pOrlGetEmailHeaderW(0, 1, 8, id, &headersW), INVALID);
    EXPECT("OrlGetEmailFlags", pOrlGetEmailFlags(0, 1, 8, id, &flags[0], &flags[1], &flags[2]), INVALID);
    if (flags[0] != 7 || flags[1] != 8 || flags[2] != 9)
        fail("OrlGetEmailFlags", "touched the outputs");
    EXPECT("OrlSetEmailReadFlag", pOrlSetEmailReadFlag(0, 1, 8, id, 1), INVALID);
    EXPECT("OrlDeleteEmail", pOrlDeleteEmail(0, 1, 8, id), INVALID);
    EXPECT("OrlDownloadEmailA", pOrlDownloadEmailA(0, 1, 8, id, &textA), INVALID);
    EXPECT("OrlDownloadEmailW", pOrlDownloadEmailW(0, 1, 8, id, &textW), INVALID);
    EXPECT("OrlDownloadAttachmentA", pOrlDownloadAttachmentA(0, 1, 8, id, 0, ""), INVALID);
    EXPECT("OrlDownloadAttachmentW", pOrlDownloadAttachmentW(0, 1, 8, id, 0, none), INVALID);
}

static void sending(void)
{
    FIND(OrlSendEmailA);
    FIND(OrlSendEmailW);
    FIND(OrlSendUMEmailA);
    FIND(OrlSendUMEmailW);
    FIND(OrlForwardEmailA);
    FIND(OrlForwardEmailW);
    FIND(OrlRespondEmailA);
    FIND(OrlRespondEmailW);
    static const WCHAR none[1] = {0};
    static const BYTE id[8] = {0};

    EXPECT("OrlSendEmailA", pOrlSendEmailA(0, 0, "", "", "", 0, 0, "", ""), INVALID);
    EXPECT("OrlSendEmailW", pOrlSendEmailW(0, 0, none, none, none, 0, 0, none, none), INVALID);
    EXPECT("OrlSendUMEmailA", pOrlSendUMEmailA(0, 0, "", "", "", 0, 0, "", "", 1, "", "", "", 2, 3), INVALID);
    EXPECT("OrlSendUMEmailW", pOrlSendUMEmailW(0, 0, none, none, none, 0, 0, none, none, 1, none, none, none, 2, 3),
           INVALID);
    /* These never tell of a failure. */
    EXPECT("OrlForwardEmailA", pOrlForwardEmailA(0, 0, 8, id, ""), 0);
    EXPECT("OrlForwardEmailW", pOrlForwardEmailW(0, 0, 8, id, none), 0);
    EXPECT("OrlRespondEmailA", pOrlRespondEmailA(0, 0, 8, id, "", "", 7), 0);
    EXPECT("OrlRespondEmailW", pOrlRespondEmailW(0, 0, 8, id, none, none, 7), 0);
}

static int told;

static BOOL ORLAPI tell(const WCHAR *mailbox, ULONG unread, ULONG priority, ULONG read, ULONG_PTR context)
{
    (void)mailbox, (void)unread, (void)priority, (void)read, (void)context;
    ++told;
    return 1;
}

static void notifications(void)
{
    FIND(OrlAdviseA);
    FIND(OrlAdviseW);
    FIND(OrlUnadvise);
    static const WCHAR none[1] = {0};
    OrlSink sink = 55;
    OrlMailbox mailbox = 77;
    ULONG count = 9;

    EXPECT("OrlAdviseA", pOrlAdviseA(0, &sink, "", tell, 3, &mailbox), INVALID);
    EXPECT("OrlAdviseW", pOrlAdviseW(0, &sink, none, tell, 3, &mailbox), INVALID);
    if (sink != 55 || mailbox != 77 || told != 0)
        fail("OrlAdvise", "touched the outputs or called back");
    EXPECT("OrlUnadvise", pOrlUnadvise(0, 0, &count), INVALID);
    if (count != 9)
        fail("OrlUnadvise", "wrote its third parameter");
}

static void calendar(void)
{
    FIND(OrlMapiObtainCalendarEventsA);
    FIND(OrlMapiObtainCalendarEventsW);
    static const WCHAR none[1] = {0};
    CalendarEventA *eventsA = 0;
    CalendarEventW *eventsW = 0;
    ULONG count = 9;

    EXPECT("OrlMapiObtainCalendarEventsA", pOrlMapiObtainCalendarEventsA(0, 1, "", &eventsA, &count), INVALID);
    if (count != 0 || eventsA)
        fail("OrlMapiObtainCalendarEventsA", "touched the outputs");
    count = 9;
    EXPECT("OrlMapiObtainCalendarEventsW", pOrlMapiObtainCalendarEventsW(0, 1, none, &eventsW, &count), INVALID);
    if (count != 0 || eventsW)
        fail("OrlMapiObtainCalendarEventsW", "touched the outputs");
}

static void texts(void)
{
    FIND(OrlGetErrorTextA);
    FIND(OrlGetErrorTextW);
    char narrow[64] = "x";
    WCHAR wide[64] = {'x'};

    pOrlGetErrorTextA(0, (HRESULT)0x8004010F, narrow, sizeof narrow);
    if (strcmp(narrow, "MAPI_E_NOT_FOUND") != 0)
        fail("OrlGetErrorTextA", narrow);
    pOrlGetErrorTextW(0, 0, wide, 64);
    if (wide[0] != 0)
        fail("OrlGetErrorTextW", "S_OK has a name");
}

int main(int argc, char **argv)
{
    if (argc != 2 || !load_library(argv[1])) {
        printf("the library could not be loaded\n");
        return 1;
    }
    session();
    profiles();
    messages();
    sending();
    notifications();
    calendar();
    texts();
    if ((size_t)tried != sizeof kExports / sizeof kExports[0])
        fail("the list of exports", "has functions that were not tried");
    return failures == 0 ? 0 : 1;
}
