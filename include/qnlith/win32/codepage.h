// Code pages and the conversions between narrow and wide text. The ANSI and
// OEM code pages are UTF-8, the code page of Linux file names and terminals.
#pragma once

#include <qnlith/win32/types.h>

#define CP_ACP 0
#define CP_OEMCP 1
#define CP_MACCP 2
#define CP_THREAD_ACP 3
#define CP_UTF8 65001
#define CP_WINDOWS_1252 1252
#define CP_LATIN1 28591

#define MB_PRECOMPOSED 0x00000001
#define MB_COMPOSITE 0x00000002
#define MB_USEGLYPHCHARS 0x00000004
#define MB_ERR_INVALID_CHARS 0x00000008

#define WC_COMPOSITECHECK 0x00000200
#define WC_DISCARDNS 0x00000010
#define WC_SEPCHARS 0x00000020
#define WC_DEFAULTCHAR 0x00000040
#define WC_ERR_INVALID_CHARS 0x00000080
#define WC_NO_BEST_FIT_CHARS 0x00000400

extern "C" {
WINBASEAPI UINT WINAPI GetACP();
WINBASEAPI UINT WINAPI GetOEMCP();
WINBASEAPI BOOL WINAPI IsValidCodePage(UINT codePage);

// Counts are in bytes on the narrow side and in wchar_t on the wide side;
// -1 as the source count takes the text with its terminator. A destination
// size of 0 asks for the size needed.
WINBASEAPI int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int sourceBytes,
                                          LPWSTR destination, int destinationChars);
WINBASEAPI int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int sourceChars,
                                          LPSTR destination, int destinationBytes, LPCSTR defaultChar,
                                          LPBOOL usedDefaultChar);
}
