#include <qnlith/failure/errorText.h>
#include <qnlith/system/cProcess.h>
#include <qnlith/win32/errors.h>
#include <qnlith/win32/shell.h>

#include <cstring>

#include "../core/trace.h"

bool cProcess::start(const cString& file, const cString& parameters) {
  SHELLEXECUTEINFOW information;
  std::memset(&information, 0, sizeof information);
  information.cbSize = 60;
  information.fMask = SEE_MASK_NOCLOSEPROCESS;
  information.hwnd = nullptr;
  information.lpVerb = L"open";
  information.lpFile = file.c_str();
  information.lpParameters = parameters.c_str();
  information.nShow = SW_SHOWNORMAL;
  if (ShellExecuteExW(&information) != 0) return true;
  QNLITH_TRACE(0x400, L"cProcess:::start(%s) :%s", file.c_str(), findErrorMessageText(GetLastError()).c_str());
  return false;
}
