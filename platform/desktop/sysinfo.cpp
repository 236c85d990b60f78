#include <qnlith/win32/sysinfo.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "errors/errors.h"

namespace {

struct Reported {
  DWORD platform = VER_PLATFORM_WIN32_NT;
  DWORD major = 10;
  DWORD minor = 0;
  DWORD productType = VER_NT_WORKSTATION;
  DWORD build = 19045;
};

// A modern Linux matches NT 10.0; QNLITH_OS_VERSION names another member
// for programs that must believe they run elsewhere. A malformed value is
// ignored rather than half-applied.
Reported reported() {
  Reported r;
  const char* value = std::getenv("QNLITH_OS_VERSION");
  if (value == nullptr) return r;
  unsigned platform, major, minor, productType, build = 0;
  int used = 0;
  const int n = std::sscanf(value, " %u %u %u %u%n %u", &platform, &major, &minor, &productType, &used, &build);
  if (n < 4) return r;
  r.platform = platform;
  r.major = major;
  r.minor = minor;
  r.productType = productType;
  r.build = n == 5 ? build : 0;
  return r;
}

}  // namespace

BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW information) {
  if (information == nullptr) return qn::failWith(ERROR_NOACCESS);
  const DWORD size = information->dwOSVersionInfoSize;
  if (size != sizeof(OSVERSIONINFOW) && size != sizeof(OSVERSIONINFOEXW))
    return qn::failWith(ERROR_INSUFFICIENT_BUFFER);
  const Reported r = reported();
  information->dwMajorVersion = r.major;
  information->dwMinorVersion = r.minor;
  information->dwBuildNumber = r.build;
  information->dwPlatformId = r.platform;
  std::memset(information->szCSDVersion, 0, sizeof information->szCSDVersion);
  if (size == sizeof(OSVERSIONINFOEXW)) {
    auto* ex = reinterpret_cast<LPOSVERSIONINFOEXW>(information);
    ex->wServicePackMajor = 0;
    ex->wServicePackMinor = 0;
    ex->wSuiteMask = 0x100;  // VER_SUITE_SINGLEUSERTS, as a desktop reports
    ex->wProductType = static_cast<BYTE>(r.productType);
    ex->wReserved = 0;
  }
  return TRUE;
}
