/// @file
/// Which member of the Windows family this system reports.
#pragma once

#include <qnlith/win32/types.h>

/// Platform ids of the version record: Win32s, Windows 9x, Windows NT.
///@{
#define VER_PLATFORM_WIN32s 0
#define VER_PLATFORM_WIN32_WINDOWS 1
#define VER_PLATFORM_WIN32_NT 2
///@}
/// Product types of the extended record: workstation, domain controller, server.
///@{
#define VER_NT_WORKSTATION 0x0000001
#define VER_NT_DOMAIN_CONTROLLER 0x0000002
#define VER_NT_SERVER 0x0000003
///@}

/// The version text stays in 16-bit units, so that the structures keep the
/// sizes callers pass in dwOSVersionInfoSize: 276 and 284 bytes.
typedef struct _OSVERSIONINFOW {
  /// The caller's size of the structure: 276.
  DWORD dwOSVersionInfoSize;
  /// The system's major, minor and build numbers.
  ///@{
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  ///@}
  /// A VER_PLATFORM_ id.
  DWORD dwPlatformId;
  /// The service pack as UTF-16 text, empty here.
  char16_t szCSDVersion[128];
} OSVERSIONINFOW, *POSVERSIONINFOW, *LPOSVERSIONINFOW;

/// The version record with service pack, suites and product type.
typedef struct _OSVERSIONINFOEXW {
  /// The caller's size of the structure: 284.
  DWORD dwOSVersionInfoSize;
  /// The system's major, minor and build numbers.
  ///@{
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  ///@}
  /// A VER_PLATFORM_ id.
  DWORD dwPlatformId;
  /// The service pack as UTF-16 text, empty here.
  char16_t szCSDVersion[128];
  /// The service pack's major and minor numbers.
  ///@{
  WORD wServicePackMajor;
  WORD wServicePackMinor;
  ///@}
  /// The product suites, 0 here.
  WORD wSuiteMask;
  /// A VER_NT_ product type.
  BYTE wProductType;
  /// Reserved.
  BYTE wReserved;
} OSVERSIONINFOEXW, *POSVERSIONINFOEXW, *LPOSVERSIONINFOEXW;

static_assert(sizeof(OSVERSIONINFOW) == 276, "OSVERSIONINFOW keeps its Win32 size");
static_assert(sizeof(OSVERSIONINFOEXW) == 284, "OSVERSIONINFOEXW keeps its Win32 size");

extern "C" {
/// Reports Windows NT 10.0 workstation, or what QNLITH_OS_VERSION
/// ("platform major minor producttype [build]") says, read on every call.
/// Fills the version record; FALSE (ERROR_INSUFFICIENT_BUFFER) unless
/// dwOSVersionInfoSize is 276 or 284.
WINBASEAPI BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW information);
}
