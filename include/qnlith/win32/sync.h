// Events, semaphores, mutexes, critical sections and the waits on them.
#pragma once

#include <qnlith/win32/types.h>

#define WAIT_OBJECT_0 0x00000000u
#define WAIT_ABANDONED 0x00000080u
#define WAIT_ABANDONED_0 0x00000080u
#define WAIT_IO_COMPLETION 0x000000C0u
#define WAIT_TIMEOUT 0x00000102u
#define WAIT_FAILED 0xFFFFFFFFu
#define MAXIMUM_WAIT_OBJECTS 64

// The layout of the 64-bit structure. The fields are the lock's own: the
// lock word, the owner's recursion, the owner's thread id and the spin count.
typedef struct _RTL_CRITICAL_SECTION {
  PVOID DebugInfo;
  LONG LockCount;
  LONG RecursionCount;
  HANDLE OwningThread;
  HANDLE LockSemaphore;
  ULONG_PTR SpinCount;
} RTL_CRITICAL_SECTION, *PRTL_CRITICAL_SECTION;
typedef RTL_CRITICAL_SECTION CRITICAL_SECTION;
typedef PRTL_CRITICAL_SECTION PCRITICAL_SECTION;
typedef PRTL_CRITICAL_SECTION LPCRITICAL_SECTION;

extern "C" {
// Named objects are shared within the process: creating an existing name
// opens that object and sets ERROR_ALREADY_EXISTS.
WINBASEAPI HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                                      LPCWSTR name);
WINBASEAPI HANDLE WINAPI OpenEventW(DWORD desiredAccess, BOOL inheritHandle, LPCWSTR name);
WINBASEAPI BOOL WINAPI SetEvent(HANDLE event);
WINBASEAPI BOOL WINAPI ResetEvent(HANDLE event);

WINBASEAPI HANDLE WINAPI CreateSemaphoreW(LPSECURITY_ATTRIBUTES attributes, LONG initialCount, LONG maximumCount,
                                          LPCWSTR name);
WINBASEAPI HANDLE WINAPI OpenSemaphoreW(DWORD desiredAccess, BOOL inheritHandle, LPCWSTR name);
// Past the maximum count the call fails with ERROR_TOO_MANY_POSTS and the
// count stays as it was.
WINBASEAPI BOOL WINAPI ReleaseSemaphore(HANDLE semaphore, LONG releaseCount, LPLONG previousCount);

WINBASEAPI HANDLE WINAPI CreateMutexW(LPSECURITY_ATTRIBUTES attributes, BOOL initialOwner, LPCWSTR name);
WINBASEAPI HANDLE WINAPI OpenMutexW(DWORD desiredAccess, BOOL inheritHandle, LPCWSTR name);
// Only the owner may release; others get ERROR_NOT_OWNER.
WINBASEAPI BOOL WINAPI ReleaseMutex(HANDLE mutex);

// Results: WAIT_OBJECT_0 (+ index), WAIT_ABANDONED_0 (+ index) when a mutex
// whose owner ended is taken, WAIT_TIMEOUT, or WAIT_FAILED with the cause in
// GetLastError (ERROR_INVALID_HANDLE for a closed or unknown handle).
WINBASEAPI DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
WINBASEAPI DWORD WINAPI WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds);

WINBASEAPI void WINAPI Sleep(DWORD milliseconds);
WINBASEAPI DWORD WINAPI GetCurrentThreadId();

WINBASEAPI void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section);
WINBASEAPI BOOL WINAPI InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD spinCount);
WINBASEAPI DWORD WINAPI SetCriticalSectionSpinCount(LPCRITICAL_SECTION section, DWORD spinCount);
WINBASEAPI void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section);
WINBASEAPI BOOL WINAPI TryEnterCriticalSection(LPCRITICAL_SECTION section);
WINBASEAPI void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section);
WINBASEAPI void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section);
}

// Access rights of the Open functions; objects here carry no security, so
// they are accepted and not checked.
#define SYNCHRONIZE 0x00100000L
#define EVENT_MODIFY_STATE 0x0002
#define EVENT_ALL_ACCESS 0x1F0003
#define SEMAPHORE_MODIFY_STATE 0x0002
#define SEMAPHORE_ALL_ACCESS 0x1F0003
#define MUTEX_MODIFY_STATE 0x0001
#define MUTEX_ALL_ACCESS 0x1F0001
