// A message queue a thread, for messages posted to threads: there are no windows.
#pragma once
#include <windows.h>

using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;

typedef struct tagPOINT {
    LONG x;
    LONG y;
} POINT;

typedef struct tagMSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
} MSG, *LPMSG;

#define WM_NULL 0x0000
#define WM_QUIT 0x0012
#define WM_USER 0x0400
#define WM_APP 0x8000
#define PM_NOREMOVE 0x0000
#define PM_REMOVE 0x0001
#define QS_ALLINPUT 0x04FF

// A thread's queue is made by its first call of PeekMessageA, GetMessageA or MsgWaitForMultipleObjects; before that
// nothing can be posted to it (ERROR_INVALID_THREAD_ID).
BOOL PostThreadMessageA(DWORD idThread, UINT Msg, WPARAM wParam, LPARAM lParam);
void PostQuitMessage(int nExitCode);
BOOL PeekMessageA(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax, UINT wRemoveMsg);
BOOL GetMessageA(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax);
BOOL TranslateMessage(const MSG *lpMsg);
// A message of a thread has no window to go to: nothing happens.
LRESULT DispatchMessageA(const MSG *lpMsg);
// Messages that came since the queue was last looked at end the wait. Whatever the mask, all messages count.
DWORD MsgWaitForMultipleObjects(DWORD nCount, const HANDLE *pHandles, BOOL fWaitAll, DWORD dwMilliseconds,
                                DWORD dwWakeMask);
