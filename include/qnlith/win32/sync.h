/// @file
/// Events, semaphores, mutexes, critical sections and the waits on them.
#pragma once

#include <qnlith/win32/types.h>

/// Results of the wait functions, and the most handles one wait takes.
///@{
#define WAIT_OBJECT_0 0x00000000u
#define WAIT_ABANDONED 0x00000080u
#define WAIT_ABANDONED_0 0x00000080u
#define WAIT_IO_COMPLETION 0x000000C0u
#define WAIT_TIMEOUT 0x00000102u
#define WAIT_FAILED 0xFFFFFFFFu
#define MAXIMUM_WAIT_OBJECTS 64
///@}

/// The layout of the 64-bit structure. The fields are the lock's own: the
/// lock word, the owner's recursion, the owner's thread id and the spin count.
typedef struct _RTL_CRITICAL_SECTION {
  /// Unused.
  PVOID DebugInfo;
  /// The lock word.
  LONG LockCount;
  /// How often the owner has entered.
  LONG RecursionCount;
  /// The owner's thread id.
  HANDLE OwningThread;
  /// Unused.
  HANDLE LockSemaphore;
  /// How often an entering thread spins before it blocks.
  ULONG_PTR SpinCount;
} RTL_CRITICAL_SECTION, *PRTL_CRITICAL_SECTION;
/// The critical section and pointers to it, under their usual names.
///@{
typedef RTL_CRITICAL_SECTION CRITICAL_SECTION;
typedef PRTL_CRITICAL_SECTION PCRITICAL_SECTION;
typedef PRTL_CRITICAL_SECTION LPCRITICAL_SECTION;
///@}

extern "C" {
/// Creates an event, manual-reset or resetting itself after one waiter: a
/// handle for CloseHandle, or null on failure. Named objects are shared within
/// the process: creating an existing name opens that object and sets
/// ERROR_ALREADY_EXISTS.
WINBASEAPI HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                                      LPCWSTR name);
/// Opens the named event: a new handle for CloseHandle, or null
/// (ERROR_FILE_NOT_FOUND) when no event has the name.
WINBASEAPI HANDLE WINAPI OpenEventW(DWORD desiredAccess, BOOL inheritHandle, LPCWSTR name);
/// Sets the event to signalled; FALSE for a handle that is no event.
WINBASEAPI BOOL WINAPI SetEvent(HANDLE event);
/// Sets the event to not signalled; FALSE for a handle that is no event.
WINBASEAPI BOOL WINAPI ResetEvent(HANDLE event);

/// Creates a semaphore with the initial and maximum counts (or opens the
/// named one, as CreateEventW does): a handle for CloseHandle, or null
/// (ERROR_INVALID_PARAMETER for counts out of order).
WINBASEAPI HANDLE WINAPI CreateSemaphoreW(LPSECURITY_ATTRIBUTES attributes, LONG initialCount, LONG maximumCount,
                                          LPCWSTR name);
/// Opens the named semaphore, as OpenEventW does.
WINBASEAPI HANDLE WINAPI OpenSemaphoreW(DWORD desiredAccess, BOOL inheritHandle, LPCWSTR name);
/// Adds to the semaphore's count, the count before going to previousCount
/// if not null. Past the maximum count the call fails with ERROR_TOO_MANY_POSTS and the
/// count stays as it was.
WINBASEAPI BOOL WINAPI ReleaseSemaphore(HANDLE semaphore, LONG releaseCount, LPLONG previousCount);

/// Creates a recursive mutex, owned by the caller if asked (or opens the
/// named one, as CreateEventW does): a handle for CloseHandle, or null.
WINBASEAPI HANDLE WINAPI CreateMutexW(LPSECURITY_ATTRIBUTES attributes, BOOL initialOwner, LPCWSTR name);
/// Opens the named mutex, as OpenEventW does.
WINBASEAPI HANDLE WINAPI OpenMutexW(DWORD desiredAccess, BOOL inheritHandle, LPCWSTR name);
/// Gives up one level of ownership. Only the owner may release; others get
/// ERROR_NOT_OWNER.
WINBASEAPI BOOL WINAPI ReleaseMutex(HANDLE mutex);

/// Waits for one object, or for one or all of up to MAXIMUM_WAIT_OBJECTS,
/// until signalled or the time-out (INFINITE: none) has passed.
/// Results: WAIT_OBJECT_0 (+ index), WAIT_ABANDONED_0 (+ index) when a mutex
/// whose owner ended is taken, WAIT_TIMEOUT, or WAIT_FAILED with the cause in
/// GetLastError (ERROR_INVALID_HANDLE for a closed or unknown handle).
///@{
WINBASEAPI DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
WINBASEAPI DWORD WINAPI WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds);
///@}

/// Suspends the calling thread for the time.
WINBASEAPI void WINAPI Sleep(DWORD milliseconds);
/// The calling thread's id, unique among the running threads of the system.
WINBASEAPI DWORD WINAPI GetCurrentThreadId();

/// Prepares a critical section for use (a spin count given or set later;
/// SetCriticalSectionSpinCount returns the previous one). The initialising
/// form with a spin count always returns TRUE.
///@{
WINBASEAPI void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section);
WINBASEAPI BOOL WINAPI InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD spinCount);
WINBASEAPI DWORD WINAPI SetCriticalSectionSpinCount(LPCRITICAL_SECTION section, DWORD spinCount);
///@}
/// Enters the section, waiting while another thread holds it; the owner may enter again.
WINBASEAPI void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section);
/// Enters the section if that needs no wait; FALSE when another thread holds it.
WINBASEAPI BOOL WINAPI TryEnterCriticalSection(LPCRITICAL_SECTION section);
/// Leaves the section once; the caller must own it.
WINBASEAPI void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section);
/// Releases what the section holds; no thread may own or wait for it.
WINBASEAPI void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section);
}

/// Access rights of the Open functions; objects here carry no security, so
/// they are accepted and not checked.
///@{
#define SYNCHRONIZE 0x00100000L
#define EVENT_MODIFY_STATE 0x0002
#define EVENT_ALL_ACCESS 0x1F0003
#define SEMAPHORE_MODIFY_STATE 0x0002
#define SEMAPHORE_ALL_ACCESS 0x1F0003
#define MUTEX_MODIFY_STATE 0x0001
#define MUTEX_ALL_ACCESS 0x1F0001
///@}
