// Which member of the Windows family this system reports.
#pragma once

#include <qnlith/win32/types.h>

#define VER_PLATFORM_WIN32s 0
#define VER_PLATFORM_WIN32_WINDOWS 1
#define VER_PLATFORM_WIN32_NT 2
#define VER_NT_WORKSTATION 0x0000001
#define VER_NT_DOMAIN_CONTROLLER 0x0000002
#define VER_NT_SERVER 0x0000003

// The version text stays in 16-bit units, so that the structures keep the
// sizes callers pass in dwOSVersionInfoSize: 276 and 284 bytes.
typedef struct _OSVERSIONINFOW {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  char16_t szCSDVersion[128];
} OSVERSIONINFOW, *POSVERSIONINFOW, *LPOSVERSIONINFOW;

typedef struct _OSVERSIONINFOEXW {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  char16_t szCSDVersion[128];
  WORD wServicePackMajor;
  WORD wServicePackMinor;
  WORD wSuiteMask;
  BYTE wProductType;
  BYTE wReserved;
} OSVERSIONINFOEXW, *POSVERSIONINFOEXW, *LPOSVERSIONINFOEXW;

static_assert(sizeof(OSVERSIONINFOW) == 276, "OSVERSIONINFOW keeps its Win32 size");
static_assert(sizeof(OSVERSIONINFOEXW) == 284, "OSVERSIONINFOEXW keeps its Win32 size");

extern "C" {
// Reports Windows NT 10.0 workstation, or what QNLITH_OS_VERSION
// ("platform major minor producttype [build]") says, read on every call.
// dwOSVersionInfoSize must be 276 or 284, else ERROR_INSUFFICIENT_BUFFER.
WINBASEAPI BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW information);
}
