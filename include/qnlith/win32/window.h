/// @file
/// Windows as far as a message box needs them: records with a caption and a
/// parent that can be created, asked after and destroyed. There are no window
/// classes, no messages and nothing is drawn.
#pragma once

#include <qnlith/win32/types.h>

extern "C" {
/// The class name is accepted and ignored; position, size, menu, instance and
/// parameter are kept nowhere. A parent that is not a window fails with
/// ERROR_INVALID_WINDOW_HANDLE. Returns the new window, to be freed with
/// DestroyWindow, or null on failure.
WINBASEAPI HWND WINAPI CreateWindowExW(DWORD exStyle, LPCWSTR className, LPCWSTR windowName, DWORD style, int x, int y,
                                       int width, int height, HWND parent, HMENU menu, HINSTANCE instance,
                                       LPVOID parameter);
/// Destroys the window and its child windows. A handle is never reused.
WINBASEAPI BOOL WINAPI DestroyWindow(HWND window);
/// Whether the handle is a window that has not been destroyed.
WINBASEAPI BOOL WINAPI IsWindow(HWND window);
/// The window's parent; null for a top-level window or a handle that is no window.
WINBASEAPI HWND WINAPI GetParent(HWND window);
/// Copies at most maxCount - 1 characters and a terminator; returns the count
/// copied (0 and ERROR_INVALID_WINDOW_HANDLE for a handle that is no window).
WINBASEAPI int WINAPI GetWindowTextW(HWND window, LPWSTR text, int maxCount);
/// The caption's length in characters; 0 (and ERROR_INVALID_WINDOW_HANDLE) for
/// a handle that is no window.
WINBASEAPI int WINAPI GetWindowTextLengthW(HWND window);
/// Sets the caption; FALSE for a handle that is no window.
WINBASEAPI BOOL WINAPI SetWindowTextW(HWND window, LPCWSTR text);
}
