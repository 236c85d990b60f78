/// @file
/// Threads, their priorities and suspension, thread-local slots, and the
/// probes of memory that never crash.
#pragma once

#include <qnlith/win32/types.h>
#include <qnlith/win32/sync.h>

/// The procedure of a new thread: its parameter in, its exit code out.
///@{
typedef DWORD(WINAPI* PTHREAD_START_ROUTINE)(LPVOID parameter);
typedef PTHREAD_START_ROUTINE LPTHREAD_START_ROUTINE;
///@}

/// Creation flags of CreateThread: start suspended; the stack size is a reservation.
///@{
#define CREATE_SUSPENDED 0x00000004u
#define STACK_SIZE_PARAM_IS_A_RESERVATION 0x00010000u
///@}
/// The exit code GetExitCodeThread reports while the thread runs.
#define STILL_ACTIVE 259u
/// The most a thread can be suspended; one more SuspendThread fails.
#define MAXIMUM_SUSPEND_COUNT 127u

/// Thread priorities, relative to the process's; THREAD_PRIORITY_ERROR_RETURN
/// is GetThreadPriority's failure result.
///@{
#define THREAD_PRIORITY_IDLE (-15)
#define THREAD_PRIORITY_LOWEST (-2)
#define THREAD_PRIORITY_BELOW_NORMAL (-1)
#define THREAD_PRIORITY_NORMAL 0
#define THREAD_PRIORITY_ABOVE_NORMAL 1
#define THREAD_PRIORITY_HIGHEST 2
#define THREAD_PRIORITY_TIME_CRITICAL 15
#define THREAD_PRIORITY_ERROR_RETURN 0x7FFFFFFF
///@}

/// TlsAlloc's failure result, and the number of slots Win32 guarantees.
///@{
#define TLS_OUT_OF_INDEXES 0xFFFFFFFFu
#define TLS_MINIMUM_AVAILABLE 64
///@}

/// The error of a thread that can't be suspended or resumed.
#define ERROR_SIGNAL_REFUSED 156L

extern "C" {
/// A new thread running start(parameter); with CREATE_SUSPENDED it waits for
/// ResumeThread before the procedure runs. The handle is waitable and is
/// signalled as the last step of the thread's end: after its thread_local
/// destructors, with its mutexes abandoned and its message queue gone.
/// Stack size 0 takes the default. Null on failure, the id into threadId if
/// not null.
WINBASEAPI HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
                                      LPVOID parameter, DWORD creationFlags, LPDWORD threadId);
/// Ends the calling thread with the code; its handle becomes signalled once
/// the thread has wholly ended, as after a return.
[[noreturn]] WINBASEAPI void WINAPI ExitThread(DWORD exitCode);
/// A pseudo handle, (HANDLE)-2, that means the calling thread wherever it is used.
WINBASEAPI HANDLE WINAPI GetCurrentThread();
/// A pseudo handle, (HANDLE)-1, that means the calling process wherever a
/// process handle is taken (waits on it time out while the process runs).
WINBASEAPI HANDLE WINAPI GetCurrentProcess();
/// The calling process's id, its Linux process id.
WINBASEAPI DWORD WINAPI GetCurrentProcessId();
/// STILL_ACTIVE while the process runs, then its exit code (a program ended
/// by a signal reports 128 + the signal's number); FALSE for a handle that
/// is no process.
WINBASEAPI BOOL WINAPI GetExitCodeProcess(HANDLE process, LPDWORD exitCode);
/// The id of the process the handle stands for; 0 for a handle that is no process.
WINBASEAPI DWORD WINAPI GetProcessId(HANDLE process);
/// STILL_ACTIVE while the thread runs (suspended or not), then its exit code;
/// FALSE for a handle that is no thread.
WINBASEAPI BOOL WINAPI GetExitCodeThread(HANDLE thread, LPDWORD exitCode);
/// The id of the thread the handle stands for; 0 for a handle that is no thread.
WINBASEAPI DWORD WINAPI GetThreadId(HANDLE thread);

/// Each returns the previous suspend count, or (DWORD)-1 on failure. A thread
/// runs while its count is 0.
///@{
WINBASEAPI DWORD WINAPI SuspendThread(HANDLE thread);
WINBASEAPI DWORD WINAPI ResumeThread(HANDLE thread);
///@}

/// The Win32 numbers THREAD_PRIORITY_IDLE .. THREAD_PRIORITY_TIME_CRITICAL,
/// kept as nice values of the thread. Raising a thread above the process's
/// nice value needs the right to; without it the call fails with
/// ERROR_ACCESS_DENIED.
WINBASEAPI BOOL WINAPI SetThreadPriority(HANDLE thread, int priority);
/// The thread's priority, THREAD_PRIORITY_ERROR_RETURN on failure.
WINBASEAPI int WINAPI GetThreadPriority(HANDLE thread);

/// Whether any byte of the range can't be read (written). They never fault;
/// a null pointer with a non-zero size is bad, a size of 0 never is.
///@{
WINBASEAPI BOOL WINAPI IsBadReadPtr(const void* address, UINT_PTR size);
WINBASEAPI BOOL WINAPI IsBadWritePtr(LPVOID address, UINT_PTR size);
///@}

/// Allocates a thread-local slot, null in every thread until set:
/// TLS_OUT_OF_INDEXES when all 1088 are taken.
WINBASEAPI DWORD WINAPI TlsAlloc();
/// Frees a slot; FALSE for a slot that is not allocated.
WINBASEAPI BOOL WINAPI TlsFree(DWORD index);
/// The calling thread's value of the slot; null with ERROR_INVALID_PARAMETER
/// for a bad index, null with ERROR_SUCCESS for a null value.
WINBASEAPI LPVOID WINAPI TlsGetValue(DWORD index);
/// Sets the calling thread's value of the slot; FALSE for a bad index.
WINBASEAPI BOOL WINAPI TlsSetValue(DWORD index, LPVOID value);
}
