/*
 * ends LIBRARY PROFILE MAILBOX WAY STATE: a host in plain C that is in a state of the library, and ends.
 *
 * STATE  idle      a connection and a mailbox are open
 *        watching  the mailbox is watched too
 *        callback  a callback of the watch is running, on a thread of MAPI's, and does not return
 *        call      another thread of the host's is inside calls, one after the other
 *        without   a connection could be made, but there is no MAPI
 *        late      a connection was made, but the library's own thread has not come to its start yet
 * WAY    unload    gives the library back, goes on with what it has, gives that back too, and returns from main
 *        exit      ends the process by the system's own function
 *        return    returns from main
 *        kill      ends another thread, wherever it is, that has called the library, and then the process
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
static atomic_int told, inside, hold, enough;
/* Found before the library is given back: it stays while there is a session, but its names can't be asked for. */
static PFN_OrlCloseConnection close_connection;
static PFN_OrlIsMAPIAvailable is_available;
static PFN_OrlGetEmailHeadersA get;
static PFN_OrlSetEmailReadFlag mark;
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
    inside = hold;
    while (hold)
        wait_milliseconds(10);
    inside = 0;
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
    while (!enough) {
        ULONG count = 0;
        inside = 1;
        give_back(list(&count));
    }
    inside = 0;
}

/* A moment's sleep again and again until it is so, for ten seconds at most. */
static int becomes(const atomic_int *what, int wanted)
{
    int i;
    for (i = 0; i < 1000 && *what != wanted; ++i)
        wait_milliseconds(10);
    return *what == wanted;
}

static int watch(const char *mailbox)
{
    const PFN_OrlAdviseA advise = (PFN_OrlAdviseA)by_name("OrlAdviseA");
    OrlSink sink = 0;
    OrlMailbox watched = 0;
    return advise(connection, &sink, mailbox, tell, 0, &watched) == 0 && told;
}

/* Marks the first message as read, which the watch tells of; those that are not read come first. */
static int change(void)
{
    ULONG count = 0;
    EmailHeaderA *const headers = list(&count);
    const int done = headers && count && mark(connection, opened, headers->cbEntryID, headers->pEntryID, 1) == 0;
    give_back(headers);
    return done;
}

static int reach(const char *state, const char *profile, const char *mailbox)
{
    const PFN_OrlCreateConnection create = (PFN_OrlCreateConnection)by_name("OrlCreateConnection");
    const PFN_OrlMapiConnectA connect = (PFN_OrlMapiConnectA)by_name("OrlMapiConnectA");
    const PFN_OrlMapiConnectToMailboxA open = (PFN_OrlMapiConnectToMailboxA)by_name("OrlMapiConnectToMailboxA");
    close_connection = (PFN_OrlCloseConnection)by_name("OrlCloseConnection");
    is_available = (PFN_OrlIsMAPIAvailable)by_name("OrlIsMAPIAvailable");
    get = (PFN_OrlGetEmailHeadersA)by_name("OrlGetEmailHeadersA");
    mark = (PFN_OrlSetEmailReadFlag)by_name("OrlSetEmailReadFlag");
    release = (PFN_OrlMapiReleaseHandle)by_name("OrlMapiReleaseHandle");
    give_back = (PFN_OrlMapiFreeBuffer)by_name("OrlMapiFreeBuffer");
    if (is(state, "late"))
        delay_threads(5500);
    if (create(&connection, 0) != 0)
        return 0;
    if (is(state, "without") || is(state, "late"))
        return !is_available(connection);
    if (connect(connection, "", "", profile) != 0 || open(connection, &opened, mailbox) != 0)
        return 0;
    if (is(state, "call")) {
        start_thread(call_again_and_again);
        return becomes(&inside, 1);
    }
    if (is(state, "idle"))
        return 1;
    if (!watch(mailbox))
        return 0;
    if (is(state, "watching"))
        return 1;
    hold = 1;
    return change() && becomes(&inside, 1);
}

/* What was under way comes back into the library, which still works, until the last session is gone. */
static int goes_on(const char *state, const char *path)
{
    ULONG count = 0;
    enough = 1;
    hold = 0;
    if (!becomes(&inside, 0))
        return 0;
    if (is(state, "watching") || is(state, "callback")) {
        const int before = told;
        int i;
        if (!change())
            return 0;
        for (i = 0; i < 1000 && told == before; ++i)
            wait_milliseconds(10);
        if (told == before)
            return 0;
    }
    if (opened) {
        give_back(list(&count));
        if (count == 0)
            return 0;
    }
    return close_connection(&connection) == 0 && is_as_promised(path);
}

static void call_and_sleep(void)
{
    ULONG count = 0;
    give_back(list(&count));
    enough = 1;
    wait_milliseconds(ENDLESS);
}

static int end(const char *way, const char *state, const char *path)
{
    printf("ending\n");
    fflush(stdout);
    if (is(way, "exit"))
        end_process(WELL);
    if (is(way, "unload")) {
        unload_library();
        if (!is(state, "late"))
            wait_milliseconds(200);
        if (!goes_on(state, path))
            return WRONG;
    }
    if (is(way, "kill")) {
        if (!is(state, "call")) {
            start_thread(call_and_sleep);
            if (!becomes(&enough, 1))
                return WRONG;
        }
        if (!kill_thread())
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
    return end(argv[4], argv[5], argv[1]);
}
