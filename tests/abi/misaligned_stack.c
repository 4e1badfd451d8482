/*
 * Proves that exports work in a host that keeps its stack aligned to 4 bytes only: each is called with the stack at
 * every distance from a 16-byte boundary.
 */
#include "OrlMapi32.h"
#include <stdio.h>

/* Calls a stdcall function with the stack `shift` bytes below a 16-byte boundary before its arguments are pushed. */
static int call(ULONG_PTR function, unsigned shift, unsigned count, const void *const *arguments)
{
    ULONG_PTR result = function;
    __asm__ volatile("movl %%esp, %%edi\n\t"
                     "andl $-16, %%esp\n\t"
                     "subl %%edx, %%esp\n\t"
                     "1: testl %%ebx, %%ebx\n\t"
                     "jz 2f\n\t"
                     "decl %%ebx\n\t"
                     "pushl (%%esi,%%ebx,4)\n\t"
                     "jmp 1b\n\t"
                     "2: call *%%eax\n\t"
                     "movl %%edi, %%esp\n\t"
                     : "+a"(result), "+b"(count), "+d"(shift)
                     : "S"(arguments)
                     : "edi", "ecx", "memory", "cc");
    return (int)result;
}

#define CALL(function, shift, ...)                                                                                     \
    call((ULONG_PTR)(function), shift, sizeof((const void *[]){__VA_ARGS__}) / sizeof(void *),                         \
         (const void *[]){__VA_ARGS__})

int main(void)
{
    unsigned shift;
    int failures = 0;

    for (shift = 0; shift < 16; shift += 4) {
        DWORD connection = 0;
        OrlMailbox mailbox = 0;
        char text[64] = "";
        ULONG count = 0;
        ExchangeProfileA *profiles = 0;
        if (CALL(OrlCreateConnection, shift, &connection, 0) != 0 || connection == 0)
            ++failures;
        if (CALL(OrlMapiConnectA, shift, (void *)(ULONG_PTR)connection, "", "", "There is no such profile") >= 0)
            ++failures;
        if (CALL(OrlMapiConnectToMailboxA, shift, (void *)(ULONG_PTR)connection, &mailbox, "nobody") >= 0)
            ++failures;
        CALL(OrlGetExchangeProfilesA, shift, (void *)(ULONG_PTR)connection, &profiles, &count);
        OrlMapiFreeBuffer(profiles);
        CALL(OrlGetErrorTextA, shift, 0, (void *)(ULONG_PTR)0x80040111u, text, (void *)sizeof text);
        if (text[0] != 'M')
            ++failures;
        if (CALL(OrlCloseConnection, shift, &connection) != 0 || connection != 0)
            ++failures;
        printf("%u bytes off: %d failures so far\n", shift, failures);
    }
    return failures == 0 ? 0 : 1;
}
