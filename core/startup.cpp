// The library's static initialisers, all in this one file so that they run
// in their fixed order: the notifier message id first, then the flags of
// cPlatform. No flag reads another: each asks the query functions afresh.
#include <qnlith/core/frame.h>
#include <qnlith/system/cPlatform.h>
#include <qnlith/win32/atoms.h>

#include "trace.h"

namespace {

DWORD registerNotifier() {
  const DWORD id = RegisterWindowMessageW(L"cNotifier :: messageId");
  QNLITH_TRACE(0x2000, L"cNotifier :: register Msg: 0x%x", id);
  return id;
}

DWORD notifierMessageId = registerNotifier();

}  // namespace

bool cPlatform::_IsWinNT = queryWindowsNTVersion();
bool cPlatform::_IsNTNewShell = queryWindowsNTVersion() && queryExplorerShell();
bool cPlatform::_IsWin98 = queryWindows98Version();
bool cPlatform::_IsWin95 = queryWindows95Version();
bool cPlatform::_IsWin9x = queryWindows95Version() || queryWindows98Version() || queryWindowsMEVersion();
bool cPlatform::_IsWin2K = queryWindows2000Version();
bool cPlatform::_IsWinME = queryWindowsMEVersion();
bool cPlatform::_IsWinXP = queryWindowsXPVersion();
bool cPlatform::_IsWin2003 = queryWindows2003Version();
bool cPlatform::_IsWinVista = queryWindowsVistaVersion();
bool cPlatform::_IsWinServer2008 = queryWindowsServer2008Version();

DWORD cNotifierMessageId() { return notifierMessageId; }
