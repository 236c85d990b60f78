#include <qnlith/system/cPlatform.h>
#include <qnlith/win32/gdi.h>
#include <qnlith/win32/sysinfo.h>

#include "../core/trace.h"

// The flags are defined, and set in their fixed order, with the library's
// other start-up values in core/startup.cpp.

bool cPlatform::isWinNT() { return _IsWinNT; }
bool cPlatform::isNTNewShell() { return _IsNTNewShell; }
bool cPlatform::isWin95() { return _IsWin95; }
bool cPlatform::isWin98() { return _IsWin98; }
bool cPlatform::isWin9x() { return _IsWin9x; }
bool cPlatform::isWinME() { return _IsWinME; }
bool cPlatform::isWin2000() { return _IsWin2K; }
bool cPlatform::isWinXP() { return _IsWinXP; }
bool cPlatform::isWin2003() { return _IsWin2003; }
bool cPlatform::isWinVista() { return _IsWinVista; }
bool cPlatform::isWinServer2008() { return _IsWinServer2008; }

namespace {

OSVERSIONINFOW version() {
  OSVERSIONINFOW information{};
  information.dwOSVersionInfoSize = sizeof(OSVERSIONINFOW);
  GetVersionExW(&information);
  return information;
}

OSVERSIONINFOEXW versionEx() {
  OSVERSIONINFOEXW information{};
  information.dwOSVersionInfoSize = sizeof(OSVERSIONINFOEXW);
  GetVersionExW(reinterpret_cast<LPOSVERSIONINFOW>(&information));
  return information;
}

}  // namespace

bool queryWin32SVersion() { return version().dwPlatformId == 0; }

bool queryWindowsNTVersion() { return version().dwPlatformId == 2; }

bool queryExplorerShell() { return version().dwMajorVersion >= 4; }

bool queryWindows95Version() {
  const OSVERSIONINFOW v = version();
  return v.dwPlatformId == 1 && v.dwMajorVersion == 4 && v.dwMinorVersion == 0;
}

bool queryWindows98Version() {
  const OSVERSIONINFOW v = version();
  QNLITH_TRACE(0x800, L"OsInfo: 0x%x , Major: %d Minor %d", v.dwPlatformId, v.dwMajorVersion, v.dwMinorVersion);
  return v.dwPlatformId == 1 && v.dwMajorVersion == 4 && v.dwMinorVersion == 10;
}

bool queryWindowsMEVersion() {
  const OSVERSIONINFOW v = version();
  return v.dwPlatformId == 1 && v.dwMajorVersion == 4 && v.dwMinorVersion == 90;
}

bool queryWindows2000Version() {
  const OSVERSIONINFOW v = version();
  return v.dwPlatformId == 2 && v.dwMajorVersion == 5 && v.dwMinorVersion == 0;
}

bool queryWindowsXPVersion() {
  const OSVERSIONINFOW v = version();
  QNLITH_TRACE(0x800, L"OsInfo: 0x%x , Major: %d Minor %d", v.dwPlatformId, v.dwMajorVersion, v.dwMinorVersion);
  return v.dwPlatformId == 2 && v.dwMajorVersion == 5 && v.dwMinorVersion == 1;
}

bool queryWindows2003Version() {
  const OSVERSIONINFOW v = version();
  return v.dwPlatformId == 2 && v.dwMajorVersion == 5 && v.dwMinorVersion == 2;
}

bool queryWindowsVistaVersion() {
  const OSVERSIONINFOEXW v = versionEx();
  return v.dwPlatformId == 2 && v.dwMajorVersion == 6 && v.wProductType == 1;
}

bool queryWindowsServer2008Version() {
  const OSVERSIONINFOEXW v = versionEx();
  return v.dwPlatformId == 2 && v.dwMajorVersion == 6 && v.wProductType != 1;
}

DWORD queryDisplayHas256Colors() {
  HDC screen = GetDC(nullptr);
  const int colors = GetDeviceCaps(screen, NUMCOLORS);
  ReleaseDC(nullptr, screen);
  return static_cast<DWORD>(colors) > 255 ? 1 : 0;
}
