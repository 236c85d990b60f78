/// @file
/// Which member of the Windows family the process runs on: flags worked out
/// once at load, and query functions that ask the system afresh.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

/// Which member of the Windows family the system reports itself as (by
/// default Windows NT 10.0 workstation; QNLITH_OS_VERSION chooses another),
/// as flags worked out once when the library loads.
class QNLITH_API cPlatform {
 public:
  /// The class has no state.
  ///@{
  cPlatform() {}
  cPlatform(const cPlatform&) {}
  virtual ~cPlatform() {}
  cPlatform& operator=(const cPlatform&) { return *this; }
  ///@}

  /// Always true: every system is a Win32 one.
  static bool isWin32() { return true; }
  /// Always false.
  static bool isWin32S() { return false; }
  /// The flags found at load: an NT system (platform id 2), NT with a shell of
  /// version 4 or later, Windows 95, 98, any 9x system (platform id 1), ME, 2000,
  /// XP, Server 2003, Vista (workstation 6.x) and Server 2008 (server 6.x).
  ///@{
  static bool isWinNT();
  static bool isNTNewShell();
  static bool isWin95();
  static bool isWin98();
  static bool isWin9x();
  static bool isWinME();
  static bool isWin2000();
  static bool isWinXP();
  static bool isWin2003();
  static bool isWinVista();
  static bool isWinServer2008();
  ///@}

 private:
  static bool _IsWinNT;
  static bool _IsNTNewShell;
  static bool _IsWin98;
  static bool _IsWin95;
  static bool _IsWin9x;
  static bool _IsWin2K;
  static bool _IsWinME;
  static bool _IsWinXP;
  static bool _IsWin2003;
  static bool _IsWinVista;
  static bool _IsWinServer2008;
};

/// Ask the system afresh (GetVersionExW) whether it is Win32s, an NT system,
/// of version 4 or later, Windows 95, 98, ME, 2000, XP, Server 2003, Vista
/// (workstation 6.x) or Server 2008 (server 6.x).
///@{
QNLITH_API bool queryWin32SVersion();
QNLITH_API bool queryWindowsNTVersion();
QNLITH_API bool queryExplorerShell();
QNLITH_API bool queryWindows95Version();
QNLITH_API bool queryWindows98Version();
QNLITH_API bool queryWindowsMEVersion();
QNLITH_API bool queryWindows2000Version();
QNLITH_API bool queryWindowsXPVersion();
QNLITH_API bool queryWindows2003Version();
QNLITH_API bool queryWindowsVistaVersion();
QNLITH_API bool queryWindowsServer2008Version();
///@}
/// 1 when the screen shows more than 255 colours (a true-colour display
/// included), else 0.
QNLITH_API DWORD queryDisplayHas256Colors();
