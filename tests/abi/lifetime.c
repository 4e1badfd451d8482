/*
 * lifetime LIBRARY ROUNDS [PROFILE MAILBOX]: a host in plain C that loads a library and unloads it again, ROUNDS times
 * and a tenth of that before, and prints what it has of the system before and after. With a profile and a mailbox each
 * round connects, opens the mailbox, watches it, reads a page of 10 and closes all; the library is OrlMapi32 then. It
 * ends with 1 where something has grown or could not be counted, and with 2 where a round failed.
 */
#include "OrlMapi32.h"
#include "counters.h"
#include "load.h"
#include <stdio.h>
#include <stdlib.h>

static const char *path, *profile, *mailbox;

static int failed(const char *what, long code)
{
    printf("%s: 0x%08lx\n", what, (unsigned long)(HRESULT)code);
    return 0;
}

static int told;

static BOOL ORLAPI tell(const WCHAR *watched, ULONG unread, ULONG priority, ULONG read, ULONG_PTR context)
{
    (void)watched, (void)unread, (void)priority, (void)read, (void)context;
    ++told;
    return 1;
}

static int read_page(void)
{
    const PFN_OrlCreateConnection create = (PFN_OrlCreateConnection)by_name("OrlCreateConnection");
    const PFN_OrlCloseConnection close = (PFN_OrlCloseConnection)by_name("OrlCloseConnection");
    const PFN_OrlMapiConnectA connect = (PFN_OrlMapiConnectA)by_name("OrlMapiConnectA");
    const PFN_OrlMapiDisconnect disconnect = (PFN_OrlMapiDisconnect)by_name("OrlMapiDisconnect");
    const PFN_OrlMapiConnectToMailboxA open = (PFN_OrlMapiConnectToMailboxA)by_name("OrlMapiConnectToMailboxA");
    const PFN_OrlMapiDisconnectFromMailbox leave =
        (PFN_OrlMapiDisconnectFromMailbox)by_name("OrlMapiDisconnectFromMailbox");
    const PFN_OrlGetEmailHeadersA list = (PFN_OrlGetEmailHeadersA)by_name("OrlGetEmailHeadersA");
    const PFN_OrlMapiReleaseHandle release = (PFN_OrlMapiReleaseHandle)by_name("OrlMapiReleaseHandle");
    const PFN_OrlMapiFreeBuffer give_back = (PFN_OrlMapiFreeBuffer)by_name("OrlMapiFreeBuffer");
    const PFN_OrlAdviseA advise = (PFN_OrlAdviseA)by_name("OrlAdviseA");
    const PFN_OrlUnadvise unadvise = (PFN_OrlUnadvise)by_name("OrlUnadvise");
    DWORD connection = 0, table = 0, origin = 0;
    OrlMailbox opened = 0, watched = 0;
    OrlSink sink = 0;
    EmailHeaderA *headers = 0;
    ULONG count = 0, total = 0;
    HRESULT result;

    if ((result = create(&connection, 0)) != 0)
        return failed("OrlCreateConnection", result);
    if ((result = connect(connection, "", "", profile)) != 0)
        return failed("OrlMapiConnectA", result);
    if ((result = open(connection, &opened, mailbox)) != 0)
        return failed("OrlMapiConnectToMailboxA", result);
    told = 0;
    if ((result = advise(connection, &sink, mailbox, tell, 0, &watched)) != 0 || told == 0)
        return failed("OrlAdviseA", result);
    result = list(connection, opened, &table, &origin, 10, &headers, &count, &total, 0, 1, ORL_BOOKMARK_BEGINNING, 0, 0,
                  0, 0, 0, 0, 1);
    if (result != 0 || count == 0)
        return failed("OrlGetEmailHeadersA", result);
    give_back(headers);
    release(connection, &table, &origin);
    if ((result = unadvise(connection, sink, 0)) != 0)
        return failed("OrlUnadvise", result);
    leave(connection, opened);
    disconnect(connection);
    if ((result = close(&connection)) != 0)
        return failed("OrlCloseConnection", result);
    return 1;
}

static int rounds(long number)
{
    while (number-- > 0) {
        if (!load_library(path))
            return failed("the library could not be loaded", 0);
        if (profile && !read_page())
            return 0;
        unload_library();
        if (!is_as_promised(path))
            return failed("the library did not leave, or did not stay", 0);
    }
    return 1;
}

/* What has changed, and is no failure to count; in words, or nothing. */
static const char *judged(const struct counter *before, const struct counter *after)
{
    const long long growth = after->value - before->value;
    if (before->value <= 0 || after->value <= 0)
        return "  NOT COUNTED";
    return growth > after->slack || (growth < 0 && after->slack == 0) ? "  GROWN" : "";
}

/* What the system itself still has under way after the last round comes to its end, within two seconds. */
static int settle(const struct counter *before, struct counter *after)
{
    int i, attempt, bad = 1;
    for (attempt = 0; bad && attempt < 20; ++attempt) {
        if (attempt > 0)
            wait_a_moment();
        count_all(after);
        for (i = 0, bad = 0; i < COUNTERS && after[i].name; ++i)
            bad |= *judged(&before[i], &after[i]) != 0;
    }
    return !bad;
}

int main(int argc, char **argv)
{
    struct counter before[COUNTERS], after[COUNTERS];
    const long number = argc > 2 ? strtol(argv[2], 0, 10) : 0;
    int i, well;
    if (argc != 3 && argc != 5)
        return 2;
    path = argv[1];
    profile = argc == 5 ? argv[3] : 0;
    mailbox = argc == 5 ? argv[4] : 0;
    hold_system();
    count_all(before); /* what counting itself needs */
    if (!rounds(number / 10 + 1))
        return 2;
    wait_a_moment();
    count_all(before);
    if (!rounds(number))
        return 2;
    well = settle(before, after);
    printf("%ld rounds\n", number);
    for (i = 0; i < COUNTERS && after[i].name; ++i)
        printf("%-28s %12lld %12lld%s\n", after[i].name, before[i].value, after[i].value,
               judged(&before[i], &after[i]));
    if (!load_library(path) || !exceptions_arrive()) {
        printf("an exception of the host's did not reach its handler\n");
        well = 0;
    }
    return !well;
}
