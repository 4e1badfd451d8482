/*
 * ends LIBRARY PROFILE MAILBOX WAY STATE: a host in plain C that is in a state of the library, and ends.
 *
 * STATE  idle      a connection and a mailbox are open
 *        watching  the mailbox is watched too
 *        callback  a callback of the watch is running, on a thread of MAPI's, and does not return
 *        call      another thread of the host's is inside calls, one after the other
 * WAY    unload    gives the library back, goes on for a moment, and returns from main
 *        exit      ends the process by the system's own function
 *        return    returns from main
 *        kill      ends the other thread, wherever it is, and then the process
 *        crash     reads from nowhere, on a thread that is not the library's
 *
 * The status is 7 where nothing went wrong, or what the system makes of the crash. "ending" is printed just before.
 */
#include "OrlMapi32.h"
#include "ending.h"
#include "load.h"
#include <stdatomic.h>
#include <stdio.h>
#include <string.h>

enum { WELL = 7, WRONG = 3, ENDLESS = 60000 };

static DWORD connection;
static OrlMailbox opened;
static atomic_int told, inside, hold;
/* Found before the library is given back: it stays while there is a session, but its names can't be asked for. */
static PFN_OrlGetEmailHeadersA get;
static PFN_OrlMapiReleaseHandle release;
static PFN_OrlMapiFreeBuffer give_back;

static int is(const char *one, const char *other)
{
    return strcmp(one, other) == 0;
}

static BOOL ORLAPI tell(const WCHAR *mailbox, ULONG unread, ULONG priority, ULONG read, ULONG_PTR context)
{
    (void)mailbox, (void)unread, (void)priority, (void)read, (void)context;
    ++told;
    if (hold) {
        inside = 1;
        wait_milliseconds(ENDLESS);
    }
    return 1;
}

static EmailHeaderA *list(ULONG *count)
{
    DWORD table = 0, origin = 0;
    ULONG total = 0;
    EmailHeaderA *headers = 0;
    get(connection, opened, &table, &origin, 10, &headers, count, &total, 0, 1, ORL_BOOKMARK_BEGINNING, 0, 0, 0, 0, 0,
        0, 1);
    release(connection, &table, &origin);
    return headers;
}

static void call_again_and_again(void)
{
    for (;;) {
        ULONG count = 0;
        inside = 1;
        give_back(list(&count));
    }
}

/* A moment's sleep again and again until it is so, for ten seconds at most. */
static int becomes(atomic_int *what)
{
    int i;
    for (i = 0; i < 1000 && !*what; ++i)
        wait_milliseconds(10);
    return *what;
}

static int watch(const char *mailbox)
{
    const PFN_OrlAdviseA advise = (PFN_OrlAdviseA)by_name("OrlAdviseA");
    OrlSink sink = 0;
    OrlMailbox watched = 0;
    return advise(connection, &sink, mailbox, tell, 0, &watched) == 0 && told;
}

/* Marks a message, which the watch tells of. */
static int change(void)
{
    const PFN_OrlSetEmailReadFlag mark = (PFN_OrlSetEmailReadFlag)by_name("OrlSetEmailReadFlag");
    ULONG count = 0;
    const EmailHeaderA *const headers = list(&count);
    return headers && count && mark(connection, opened, headers->cbEntryID, headers->pEntryID, 1) == 0;
}

static int reach(const char *state, const char *profile, const char *mailbox)
{
    const PFN_OrlCreateConnection create = (PFN_OrlCreateConnection)by_name("OrlCreateConnection");
    const PFN_OrlMapiConnectA connect = (PFN_OrlMapiConnectA)by_name("OrlMapiConnectA");
    const PFN_OrlMapiConnectToMailboxA open = (PFN_OrlMapiConnectToMailboxA)by_name("OrlMapiConnectToMailboxA");
    get = (PFN_OrlGetEmailHeadersA)by_name("OrlGetEmailHeadersA");
    release = (PFN_OrlMapiReleaseHandle)by_name("OrlMapiReleaseHandle");
    give_back = (PFN_OrlMapiFreeBuffer)by_name("OrlMapiFreeBuffer");
    if (create(&connection, 0) != 0 || connect(connection, "", "", profile) != 0 ||
        open(connection, &opened, mailbox) != 0)
        return 0;
    if (is(state, "call")) {
        start_thread(call_again_and_again);
        return becomes(&inside);
    }
    if (is(state, "idle"))
        return 1;
    if (!watch(mailbox))
        return 0;
    if (is(state, "watching"))
        return 1;
    hold = 1;
    return change() && becomes(&inside);
}

static void sleep_long(void)
{
    inside = 1;
    wait_milliseconds(ENDLESS);
}

static int end(const char *way, const char *state)
{
    printf("ending\n");
    fflush(stdout);
    if (is(way, "exit"))
        end_process(WELL);
    if (is(way, "unload")) {
        unload_library();
        wait_milliseconds(400);
    }
    if (is(way, "kill")) {
        if (!is(state, "call")) {
            inside = 0;
            start_thread(sleep_long);
        }
        if (!becomes(&inside) || !kill_thread())
            return WRONG;
        end_process(WELL);
    }
    if (is(way, "crash")) {
        start_thread(crash);
        wait_milliseconds(ENDLESS);
    }
    return WELL;
}

int main(int argc, char **argv)
{
    if (argc != 6 || !load_library(argv[1]) || !reach(argv[5], argv[2], argv[3]))
        return WRONG;
    return end(argv[4], argv[5]);
}
