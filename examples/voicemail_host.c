/*
 * A small voicemail host: logs on with a profile, opens a user's mailbox, pages through the unread urgent voice mails,
 * saves each recording, marks the message read and deletes it.
 *
 *     voicemail_host PROFILE MAILBOX FOLDER
 *
 * Plain C over the public header alone. Recordings land in FOLDER as 1.wav, 2.wav (or .wma), ... in the order of the
 * listing.
 */
#include "OrlMapi32.h"
#include <stdio.h>
#include <string.h>

enum { kPageSize = 10 };

static DWORD connection;
static int failures;

/* Says what failed, and by which name the result goes. */
static int ok(HRESULT hr, const char *what)
{
    char name[64];
    if (hr >= 0)
        return 1;
    OrlGetErrorTextA(connection, hr, name, sizeof name);
    fprintf(stderr, "voicemail_host: %s: 0x%08x %s\n", what, (unsigned)hr, name);
    ++failures;
    return 0;
}

static void handle_message(OrlMailbox mailbox, const EmailHeaderA *header, const char *folder, int *saved)
{
    char file[1024];
    ULONG i;

    printf("  from %s %s, %ld s\n", header->pszName, header->pszNumber, (long)header->lSecs);
    for (i = 0; i < header->cAttachments; ++i) {
        const AttachmentInfoA *attachment = &header->pAttachments[i];
        const char *extension = strcmp(attachment->pszMimeTag, "audio/x-ms-wma") == 0 ? "wma" : "wav";
        const int length = snprintf(file, sizeof file, "%s/%d.%s", folder, *saved + 1, extension);
        if (length < 0 || (size_t)length >= sizeof file) {
            fprintf(stderr, "voicemail_host: the folder's name is too long\n");
            ++failures;
            return;
        }
        if (!ok(OrlDownloadAttachmentA(connection, mailbox, header->cbEntryID, header->pEntryID,
                                       attachment->ulAttachNum, file),
                "saving a recording"))
            return; /* not heard, so neither read nor deleted */
        ++*saved;
        printf("    saved %s\n", file);
    }
    if (ok(OrlSetEmailReadFlag(connection, mailbox, header->cbEntryID, header->pEntryID, 1),
           "marking a message read") &&
        ok(OrlDeleteEmail(connection, mailbox, header->cbEntryID, header->pEntryID), "deleting a message"))
        printf("    marked read and deleted\n");
}

static void work_through(OrlMailbox mailbox, const char *folder)
{
    DWORD table = 0, bookmark = 0;
    int page = 0, saved = 0;

    for (;;) {
        EmailHeaderA *headers = NULL;
        ULONG count = 0, total = 0, i;
        const HRESULT hr =
            OrlGetEmailHeadersA(connection, mailbox, &table, &bookmark, kPageSize, &headers, &count, &total, 0, 1,
                                page == 0 ? ORL_BOOKMARK_BEGINNING : ORL_BOOKMARK_CURRENT, 1, 1, 0, 0, NULL, 0, 1);
        if (!ok(hr, "listing the mailbox"))
            break;
        if (count == 0) {
            OrlMapiFreeBuffer(headers);
            table = bookmark = 0; /* the library has released them */
            break;
        }
        printf("page %d: %lu of %lu unread urgent voice mails\n", ++page, (unsigned long)count, (unsigned long)total);
        for (i = 0; i < count; ++i)
            handle_message(mailbox, &headers[i], folder, &saved);
        OrlMapiFreeBuffer(headers);
        if (count < kPageSize)
            break;
    }
    OrlMapiReleaseHandle(connection, &table, &bookmark);
    printf("%d recordings saved\n", saved);
}

int main(int argc, char **argv)
{
    OrlMailbox mailbox = 0;

    if (argc != 4) {
        fprintf(stderr, "usage: voicemail_host PROFILE MAILBOX FOLDER\n");
        return 2;
    }
    if (!ok(OrlCreateConnection(&connection, 0), "creating a connection"))
        return 1;
    if (ok(OrlMapiConnectA(connection, "", "", argv[1]), "logging on") &&
        ok(OrlMapiConnectToMailboxA(connection, &mailbox, argv[2]), "opening the mailbox"))
        work_through(mailbox, argv[3]);
    OrlMapiDisconnectFromMailbox(connection, mailbox);
    OrlMapiDisconnect(connection);
    OrlCloseConnection(&connection);
    return failures == 0 ? 0 : 1;
}
