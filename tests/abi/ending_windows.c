#include "ending.h"
#include <windows.h>

static HANDLE thread;
static void (*given)(void);

static DWORD WINAPI run(LPVOID unused)
{
    (void)unused;
    given();
    return 0;
}

void start_thread(void (*body)(void))
{
    given = body;
    thread = CreateThread(NULL, 0, run, NULL, 0, NULL);
}

int kill_thread(void)
{
    return TerminateThread(thread, 0) && WaitForSingleObject(thread, 1000) == WAIT_OBJECT_0;
}

void wait_milliseconds(unsigned milliseconds)
{
    Sleep(milliseconds);
}

void end_process(int status)
{
    ExitProcess((UINT)status);
}

static int *volatile nowhere;

void crash(void)
{
    SetErrorMode(SEM_NOGPFAULTERRORBOX);
    *nowhere = 0;
}

static volatile LONG delay;

void delay_threads(unsigned milliseconds)
{
    delay = (LONG)milliseconds;
}

/* The loader calls it on each new thread, before the thread's own function. */
static void NTAPI begin_late(PVOID module, DWORD reason, PVOID unused)
{
    (void)module, (void)unused;
    if (reason == DLL_THREAD_ATTACH && delay)
        Sleep((DWORD)delay);
}

__attribute__((section(".CRT$XLF"), used)) static const PIMAGE_TLS_CALLBACK begins = begin_late;
