// The thread's message queue: posted thread messages, and the wait that
// also ends when new input arrives. There are no windows.
#pragma once

#include <qnlith/win32/types.h>

typedef struct tagPOINT {
  LONG x;
  LONG y;
} POINT, *PPOINT, *LPPOINT;

typedef struct tagMSG {
  HWND hwnd;
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
  DWORD time;
  POINT pt;
  DWORD lPrivate;
} MSG, *PMSG, *LPMSG;

#define WM_NULL 0x0000
#define WM_QUIT 0x0012
#define WM_TIMER 0x0113
#define WM_USER 0x0400
#define WM_APP 0x8000

#define PM_NOREMOVE 0x0000
#define PM_REMOVE 0x0001
#define PM_NOYIELD 0x0002

#define QS_KEY 0x0001
#define QS_MOUSEMOVE 0x0002
#define QS_MOUSEBUTTON 0x0004
#define QS_POSTMESSAGE 0x0008
#define QS_TIMER 0x0010
#define QS_PAINT 0x0020
#define QS_SENDMESSAGE 0x0040
#define QS_HOTKEY 0x0080
#define QS_ALLPOSTMESSAGE 0x0100
#define QS_RAWINPUT 0x0400
#define QS_MOUSE (QS_MOUSEMOVE | QS_MOUSEBUTTON)
#define QS_INPUT (QS_MOUSE | QS_KEY | QS_RAWINPUT)
#define QS_ALLEVENTS (QS_INPUT | QS_POSTMESSAGE | QS_TIMER | QS_PAINT | QS_HOTKEY)
#define QS_ALLINPUT (QS_INPUT | QS_POSTMESSAGE | QS_TIMER | QS_PAINT | QS_HOTKEY | QS_SENDMESSAGE)

extern "C" {
// A thread has a queue from its first call of PeekMessageW, GetMessageW or
// MsgWaitForMultipleObjects; posting to a thread without one fails with
// ERROR_INVALID_THREAD_ID. A queue holds at most 10000 messages
// (ERROR_NOT_ENOUGH_QUOTA beyond).
WINBASEAPI BOOL WINAPI PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam);
WINBASEAPI void WINAPI PostQuitMessage(int exitCode);

// hwnd must be null or (HWND)-1: thread messages. WM_QUIT passes any filter.
WINBASEAPI BOOL WINAPI PeekMessageW(LPMSG msg, HWND hwnd, UINT filterMin, UINT filterMax, UINT removeMessage);
// 0 for WM_QUIT, -1 on a bad argument, else nonzero; blocks until a message comes.
WINBASEAPI BOOL WINAPI GetMessageW(LPMSG msg, HWND hwnd, UINT filterMin, UINT filterMax);

// Ends with WAIT_OBJECT_0 + count when input has arrived since the thread
// last looked at its queue; the input stays queued and is no longer new.
WINBASEAPI DWORD WINAPI MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll,
                                                  DWORD milliseconds, DWORD wakeMask);
}
