// Which member of the Windows family the process runs on: flags worked out
// once at load, and query functions that ask the system afresh.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

class QNLITH_API cPlatform {
 public:
  cPlatform() {}
  cPlatform(const cPlatform&) {}
  virtual ~cPlatform() {}
  cPlatform& operator=(const cPlatform&) { return *this; }

  static bool isWin32() { return true; }
  static bool isWin32S() { return false; }
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
QNLITH_API DWORD queryDisplayHas256Colors();
