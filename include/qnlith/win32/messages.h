/// @file
/// The thread's message queue: posted thread messages, and the wait that
/// also ends when new input arrives. There are no windows.
#pragma once

#include <qnlith/win32/types.h>

/// A point in screen coordinates.
typedef struct tagPOINT {
  /// The horizontal and vertical coordinates.
  ///@{
  LONG x;
  LONG y;
  ///@}
} POINT, *PPOINT, *LPPOINT;

/// A message taken from the thread's queue.
typedef struct tagMSG {
  /// Null: every message here is a thread message.
  HWND hwnd;
  /// The message number.
  UINT message;
  /// The message's two parameters.
  ///@{
  WPARAM wParam;
  LPARAM lParam;
  ///@}
  /// When the message was posted, in milliseconds since the system started.
  DWORD time;
  /// The cursor position at posting (0, 0 here).
  POINT pt;
  /// Reserved.
  DWORD lPrivate;
} MSG, *PMSG, *LPMSG;

/// Message numbers: nothing, quit, timer, and the starts of the ranges free
/// for a program's own messages.
///@{
#define WM_NULL 0x0000
#define WM_QUIT 0x0012
#define WM_TIMER 0x0113
#define WM_USER 0x0400
#define WM_APP 0x8000
///@}

/// Options of PeekMessageW: leave the message queued or remove it.
///@{
#define PM_NOREMOVE 0x0000
#define PM_REMOVE 0x0001
#define PM_NOYIELD 0x0002
///@}

/// Kinds of queue input, for the wake mask of MsgWaitForMultipleObjects.
///@{
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
///@}

extern "C" {
/// A thread has a queue from its first call of PeekMessageW, GetMessageW or
/// MsgWaitForMultipleObjects; posting to a thread without one fails with
/// ERROR_INVALID_THREAD_ID. A queue holds at most 10000 messages
/// (ERROR_NOT_ENOUGH_QUOTA beyond). FALSE on failure.
WINBASEAPI BOOL WINAPI PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam);
/// Posts WM_QUIT with the exit code to the calling thread's queue.
WINBASEAPI void WINAPI PostQuitMessage(int exitCode);

/// Takes a message in the filter's range (0, 0: any) if one is queued,
/// without waiting; FALSE when none is. hwnd must be null or (HWND)-1:
/// thread messages. WM_QUIT passes any filter.
WINBASEAPI BOOL WINAPI PeekMessageW(LPMSG msg, HWND hwnd, UINT filterMin, UINT filterMax, UINT removeMessage);
/// 0 for WM_QUIT, -1 on a bad argument, else nonzero; blocks until a message comes.
WINBASEAPI BOOL WINAPI GetMessageW(LPMSG msg, HWND hwnd, UINT filterMin, UINT filterMax);

/// Waits as WaitForMultipleObjects does, and also for queue input of the
/// wake mask. Ends with WAIT_OBJECT_0 + count when input has arrived since the thread
/// last looked at its queue; the input stays queued and is no longer new.
WINBASEAPI DWORD WINAPI MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll,
                                                  DWORD milliseconds, DWORD wakeMask);
}
