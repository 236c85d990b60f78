/// @file
/// Loading and freeing modules through the framework, which serialises the
/// calls of all threads as it does for its chain of extension modules.
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/win32/modules.h>

/// LoadLibraryW under the framework's lock: the module handle, or null with
/// the reason in GetLastError.
QN_FRAMEWORK_API HINSTANCE AfxLoadLibrary(LPCWSTR fileName);
/// LoadLibraryExW under the framework's lock, with the same results.
QN_FRAMEWORK_API HINSTANCE AfxLoadLibraryEx(LPCWSTR fileName, HANDLE file, DWORD flags);
/// FreeLibrary under the same lock: non-zero on success.
QN_FRAMEWORK_API BOOL AfxFreeLibrary(HINSTANCE instance);
