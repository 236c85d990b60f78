/// @file
/// Starting programs and opening documents through the shell.
#pragma once

#include <qnlith/win32/types.h>

/// Flags of SHELLEXECUTEINFOW::fMask; SEE_MASK_NOCLOSEPROCESS asks for the
/// started process's handle in hProcess.
///@{
#define SEE_MASK_DEFAULT 0x00000000
#define SEE_MASK_NOCLOSEPROCESS 0x00000040
#define SEE_MASK_FLAG_NO_UI 0x00000400
#define SEE_MASK_NO_CONSOLE 0x00008000
#define SEE_MASK_NOASYNC 0x00000100
///@}

/// How a started program's window is to be shown, passed on and not otherwise used.
///@{
#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_NORMAL 1
#define SW_SHOWMINIMIZED 2
#define SW_SHOWMAXIMIZED 3
#define SW_SHOW 5
#define SW_SHOWDEFAULT 10
///@}

/// Values of hInstApp: above 32 for success, else one of these.
///@{
#define SE_ERR_FNF 2
#define SE_ERR_PNF 3
#define SE_ERR_ACCESSDENIED 5
#define SE_ERR_OOM 8
#define SE_ERR_NOASSOC 31
///@}
/// The error of a file no program is associated with.
#define ERROR_NO_ASSOCIATION 1155L

/// What ShellExecuteExW is to start, and what it reports back.
typedef struct _SHELLEXECUTEINFOW {
  /// The size of the structure in bytes (or SHELLEXECUTEINFOW_SIZE32).
  DWORD cbSize;
  /// SEE_MASK_ flags.
  ULONG fMask;
  /// The owner of any box shown; may be null.
  HWND hwnd;
  /// The action: "open" or null.
  LPCWSTR lpVerb;
  /// The program, document or URL.
  LPCWSTR lpFile;
  /// The command line for a program, or null.
  LPCWSTR lpParameters;
  /// The working directory for a program, or null for the caller's.
  LPCWSTR lpDirectory;
  /// An SW_ value.
  int nShow;
  /// Out: a value above 32 on success, else an SE_ERR_ code.
  HINSTANCE hInstApp;
  /// Unused here; as on Windows, each of these needs its mask flag.
  ///@{
  void* lpIDList;
  LPCWSTR lpClass;
  HKEY hkeyClass;
  DWORD dwHotKey;
  HANDLE hIconOrMonitor;
  ///@}
  /// Out, with SEE_MASK_NOCLOSEPROCESS: the started process's handle for the
  /// caller to close, or null when none was started.
  HANDLE hProcess;
} SHELLEXECUTEINFOW, *LPSHELLEXECUTEINFOW;

/// The size a 32-bit program puts in cbSize; accepted beside the size of
/// this structure.
#define SHELLEXECUTEINFOW_SIZE32 60

extern "C" {
/// "open" (or no verb): an executable file runs with lpParameters split as
/// Windows splits a command line, never through a shell; any other existing
/// file, and a URL, goes to the desktop's opener (xdg-open). A missing file
/// fails with ERROR_FILE_NOT_FOUND. The call neither waits for what it
/// starts nor leaves a zombie process or a thread behind. FALSE on failure,
/// the reason in GetLastError and hInstApp.
WINBASEAPI BOOL WINAPI ShellExecuteExW(SHELLEXECUTEINFOW* information);
}
