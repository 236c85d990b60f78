/// @file
/// Kernel object handles.
#pragma once

#include <qnlith/win32/types.h>

/// Options of DuplicateHandle.
///@{
#define DUPLICATE_CLOSE_SOURCE 0x00000001u
#define DUPLICATE_SAME_ACCESS 0x00000002u
///@}

extern "C" {
/// Closes a handle of any kernel object. A closed or unknown handle fails
/// with ERROR_INVALID_HANDLE; a pseudo handle closes with no effect.
WINBASEAPI BOOL WINAPI CloseHandle(HANDLE handle);
/// A second handle to the object of `source`, within the calling process
/// (both process handles name it). A pseudo handle becomes a real handle
/// that other threads can use: GetCurrentThread's names the calling thread
/// for good. DUPLICATE_CLOSE_SOURCE closes the source, even when the call
/// fails. FALSE with ERROR_INVALID_HANDLE for a handle that is no object.
WINBASEAPI BOOL WINAPI DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, LPHANDLE target,
                                       DWORD desiredAccess, BOOL inheritHandle, DWORD options);
}
