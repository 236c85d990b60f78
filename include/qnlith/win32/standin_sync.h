// Stand-in for the waits until the synchronisation calls arrive: the
// declarations they will bring. Removed then.
#pragma once

#include <qnlith/win32/types.h>

#ifndef WAIT_OBJECT_0
#define WAIT_OBJECT_0 0x00000000u
#define WAIT_TIMEOUT 0x00000102u
#define WAIT_FAILED 0xFFFFFFFFu
#endif

extern "C" {
WINBASEAPI DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
WINBASEAPI void WINAPI Sleep(DWORD milliseconds);
WINBASEAPI DWORD WINAPI GetCurrentThreadId();
}
