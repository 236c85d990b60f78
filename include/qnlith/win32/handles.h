/// @file
/// Kernel object handles.
#pragma once

#include <qnlith/win32/types.h>

extern "C" {
/// Closes a handle of any kernel object. A closed or unknown handle fails
/// with ERROR_INVALID_HANDLE.
WINBASEAPI BOOL WINAPI CloseHandle(HANDLE handle);
}
