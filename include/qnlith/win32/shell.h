// Starting programs and opening documents through the shell.
#pragma once

#include <qnlith/win32/types.h>

#define SEE_MASK_DEFAULT 0x00000000
#define SEE_MASK_NOCLOSEPROCESS 0x00000040
#define SEE_MASK_FLAG_NO_UI 0x00000400
#define SEE_MASK_NO_CONSOLE 0x00008000
#define SEE_MASK_NOASYNC 0x00000100

#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_NORMAL 1
#define SW_SHOWMINIMIZED 2
#define SW_SHOWMAXIMIZED 3
#define SW_SHOW 5
#define SW_SHOWDEFAULT 10

// Values of hInstApp: above 32 for success, else one of these.
#define SE_ERR_FNF 2
#define SE_ERR_PNF 3
#define SE_ERR_ACCESSDENIED 5
#define SE_ERR_OOM 8
#define SE_ERR_NOASSOC 31
#define ERROR_NO_ASSOCIATION 1155L

typedef struct _SHELLEXECUTEINFOW {
  DWORD cbSize;
  ULONG fMask;
  HWND hwnd;
  LPCWSTR lpVerb;
  LPCWSTR lpFile;
  LPCWSTR lpParameters;
  LPCWSTR lpDirectory;
  int nShow;
  HINSTANCE hInstApp;
  void* lpIDList;
  LPCWSTR lpClass;
  HKEY hkeyClass;
  DWORD dwHotKey;
  HANDLE hIconOrMonitor;
  HANDLE hProcess;
} SHELLEXECUTEINFOW, *LPSHELLEXECUTEINFOW;

// The size a 32-bit program puts in cbSize; accepted beside the size of
// this structure.
#define SHELLEXECUTEINFOW_SIZE32 60

extern "C" {
// "open" (or no verb): an executable file runs with lpParameters split as
// Windows splits a command line, never through a shell; any other existing
// file, and a URL, goes to the desktop's opener (xdg-open). A missing file
// fails with ERROR_FILE_NOT_FOUND. The call neither waits for what it
// starts nor leaves a zombie process or a thread behind.
WINBASEAPI BOOL WINAPI ShellExecuteExW(SHELLEXECUTEINFOW* information);
}
