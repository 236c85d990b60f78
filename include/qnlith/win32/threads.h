// Threads, their priorities and suspension, thread-local slots, and the
// probes of memory that never crash.
#pragma once

#include <qnlith/win32/types.h>
#include <qnlith/win32/sync.h>

typedef DWORD(WINAPI* PTHREAD_START_ROUTINE)(LPVOID parameter);
typedef PTHREAD_START_ROUTINE LPTHREAD_START_ROUTINE;

#define CREATE_SUSPENDED 0x00000004u
#define STACK_SIZE_PARAM_IS_A_RESERVATION 0x00010000u
#define STILL_ACTIVE 259u
#define MAXIMUM_SUSPEND_COUNT 127u

#define THREAD_PRIORITY_IDLE (-15)
#define THREAD_PRIORITY_LOWEST (-2)
#define THREAD_PRIORITY_BELOW_NORMAL (-1)
#define THREAD_PRIORITY_NORMAL 0
#define THREAD_PRIORITY_ABOVE_NORMAL 1
#define THREAD_PRIORITY_HIGHEST 2
#define THREAD_PRIORITY_TIME_CRITICAL 15
#define THREAD_PRIORITY_ERROR_RETURN 0x7FFFFFFF

#define TLS_OUT_OF_INDEXES 0xFFFFFFFFu
#define TLS_MINIMUM_AVAILABLE 64

#define ERROR_SIGNAL_REFUSED 156L

extern "C" {
// A new thread running start(parameter); with CREATE_SUSPENDED it waits for
// ResumeThread before the procedure runs. The handle is waitable and is
// signalled as the last step of the thread's end: after its thread_local
// destructors, with its mutexes abandoned and its message queue gone.
// Stack size 0 takes the default.
WINBASEAPI HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
                                      LPVOID parameter, DWORD creationFlags, LPDWORD threadId);
// Ends the calling thread with the code; its handle becomes signalled once
// the thread has wholly ended, as after a return.
[[noreturn]] WINBASEAPI void WINAPI ExitThread(DWORD exitCode);
// A pseudo handle, (HANDLE)-2, that means the calling thread wherever it is used.
WINBASEAPI HANDLE WINAPI GetCurrentThread();
// A pseudo handle, (HANDLE)-1, that means the calling process wherever a
// process handle is taken (waits on it time out while the process runs).
WINBASEAPI HANDLE WINAPI GetCurrentProcess();
WINBASEAPI DWORD WINAPI GetCurrentProcessId();
// STILL_ACTIVE while the process runs, then its exit code (a program ended
// by a signal reports 128 + the signal's number).
WINBASEAPI BOOL WINAPI GetExitCodeProcess(HANDLE process, LPDWORD exitCode);
WINBASEAPI DWORD WINAPI GetProcessId(HANDLE process);
// STILL_ACTIVE while the thread runs (suspended or not), then its exit code.
WINBASEAPI BOOL WINAPI GetExitCodeThread(HANDLE thread, LPDWORD exitCode);
WINBASEAPI DWORD WINAPI GetThreadId(HANDLE thread);

// Each returns the previous suspend count, or (DWORD)-1 on failure. A thread
// runs while its count is 0.
WINBASEAPI DWORD WINAPI SuspendThread(HANDLE thread);
WINBASEAPI DWORD WINAPI ResumeThread(HANDLE thread);

// The Win32 numbers THREAD_PRIORITY_IDLE .. THREAD_PRIORITY_TIME_CRITICAL,
// kept as nice values of the thread. Raising a thread above the process's
// nice value needs the right to; without it the call fails with
// ERROR_ACCESS_DENIED.
WINBASEAPI BOOL WINAPI SetThreadPriority(HANDLE thread, int priority);
WINBASEAPI int WINAPI GetThreadPriority(HANDLE thread);

// Whether any byte of the range can't be read (written). They never fault;
// a null pointer with a non-zero size is bad, a size of 0 never is.
WINBASEAPI BOOL WINAPI IsBadReadPtr(const void* address, UINT_PTR size);
WINBASEAPI BOOL WINAPI IsBadWritePtr(LPVOID address, UINT_PTR size);

// Thread-local slots: 1088 of them, each null in every thread until set.
WINBASEAPI DWORD WINAPI TlsAlloc();
WINBASEAPI BOOL WINAPI TlsFree(DWORD index);
WINBASEAPI LPVOID WINAPI TlsGetValue(DWORD index);
WINBASEAPI BOOL WINAPI TlsSetValue(DWORD index, LPVOID value);
}
