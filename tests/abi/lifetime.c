/*
 * lifetime LIBRARY ROUNDS [PROFILE MAILBOX]: a host in plain C that loads a library and unloads it again, ROUNDS times
 * and a tenth of that before, and prints what it has of the system before and after. With a profile and a mailbox each
 * round connects, opens the mailbox, reads a page of 10 and closes all; the library is OrlMapi32 then. It ends with 1
 * where something has grown, and with 2 where a round failed.
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
    DWORD connection = 0, table = 0, origin = 0;
    OrlMailbox opened = 0;
    EmailHeaderA *headers = 0;
    ULONG count = 0, total = 0;
    HRESULT result;

    if ((result = create(&connection, 0)) != 0)
        return failed("OrlCreateConnection", result);
    if ((result = connect(connection, "", "", profile)) != 0)
        return failed("OrlMapiConnectA", result);
    if ((result = open(connection, &opened, mailbox)) != 0)
        return failed("OrlMapiConnectToMailboxA", result);
    result = list(connection, opened, &table, &origin, 10, &headers, &count, &total, 0, 1, ORL_BOOKMARK_BEGINNING, 0, 0,
                  0, 0, 0, 0, 1);
    if (result != 0 || count == 0)
        return failed("OrlGetEmailHeadersA", result);
    give_back(headers);
    release(connection, &table, &origin);
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

int main(int argc, char **argv)
{
    struct counter before[COUNTERS], after[COUNTERS];
    const long number = argc > 2 ? strtol(argv[2], 0, 10) : 0;
    int i, grown = 0;
    if (argc != 3 && argc != 5)
        return 2;
    path = argv[1];
    profile = argc == 5 ? argv[3] : 0;
    mailbox = argc == 5 ? argv[4] : 0;
    hold_system();
    count_all(before); /* what counting itself needs */
    if (!rounds(number / 10 + 1) || (count_all(before), !rounds(number)))
        return 2;
    count_all(after);
    printf("%ld rounds\n", number);
    for (i = 0; i < COUNTERS && after[i].name; ++i) {
        const long long growth = after[i].value - before[i].value;
        const int bad = growth > after[i].slack || (growth < 0 && after[i].slack == 0);
        printf("%-28s %12lld %12lld%s\n", after[i].name, before[i].value, after[i].value, bad ? "  GROWN" : "");
        grown |= bad;
    }
    if (!load_library(path) || !exceptions_arrive()) {
        printf("an exception of the host's did not reach its handler\n");
        grown = 1;
    }
    return grown;
}
