#include <qnlith/failure/errorText.h>
#include <qnlith/win32/message.h>

cString systemErrorMessageText(DWORD code) {
  wchar_t text[256] = {};
  FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, 0, text, 256, nullptr);
  cString result;
  result.format(L"Error was: (%u) %s", code, text);
  return result;
}

cString findErrorMessageText(DWORD code) { return systemErrorMessageText(code); }
