// What the library's error boxes share: their styles, and the text of a
// framework exception as they show it.
#pragma once

#include <qnlith/core/cString.h>
#include <qnlith/framework/exceptions.h>
#include <qnlith/win32/msgbox.h>

// An error with one OK button (0x10010), and with Retry and Cancel (0x10015).
constexpr DWORD ErrorBoxStyle = MB_ICONHAND | MB_SETFOREGROUND;
constexpr DWORD ErrorBoxWithRetryStyle = MB_ICONHAND | MB_SETFOREGROUND | MB_RETRYCANCEL;

// What GetErrorMessage gives in a buffer of 2048, else a fixed replacement.
inline cString frameworkErrorText(CException& exception) {
  wchar_t buffer[2048] = {};
  exception.GetErrorMessage(buffer, 2048, nullptr);
  cString text(buffer);
  if (text.isEmpty()) text = L"Windows Exception text not available";
  return text;
}
