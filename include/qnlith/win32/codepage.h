/// @file
/// Code pages and the conversions between narrow and wide text. The ANSI and
/// OEM code pages are UTF-8, the code page of Linux file names and terminals.
#pragma once

#include <qnlith/win32/types.h>

/// Code pages: the ANSI, OEM and thread code pages (UTF-8 here), the
/// Macintosh code page (not supported), UTF-8, Windows-1252 and ISO 8859-1.
///@{
#define CP_ACP 0
#define CP_OEMCP 1
#define CP_MACCP 2
#define CP_THREAD_ACP 3
#define CP_UTF8 65001
#define CP_WINDOWS_1252 1252
#define CP_LATIN1 28591
///@}

/// Flags of MultiByteToWideChar; MB_ERR_INVALID_CHARS makes an invalid
/// sequence fail the call with ERROR_NO_UNICODE_TRANSLATION.
///@{
#define MB_PRECOMPOSED 0x00000001
#define MB_COMPOSITE 0x00000002
#define MB_USEGLYPHCHARS 0x00000004
#define MB_ERR_INVALID_CHARS 0x00000008
///@}

/// Flags of WideCharToMultiByte; WC_ERR_INVALID_CHARS makes an invalid
/// character fail the call with ERROR_NO_UNICODE_TRANSLATION.
///@{
#define WC_COMPOSITECHECK 0x00000200
#define WC_DISCARDNS 0x00000010
#define WC_SEPCHARS 0x00000020
#define WC_DEFAULTCHAR 0x00000040
#define WC_ERR_INVALID_CHARS 0x00000080
#define WC_NO_BEST_FIT_CHARS 0x00000400
///@}

extern "C" {
/// The ANSI and OEM code pages: CP_UTF8 here.
///@{
WINBASEAPI UINT WINAPI GetACP();
WINBASEAPI UINT WINAPI GetOEMCP();
///@}
/// Whether the conversions know the code page by its real number (CP_ACP,
/// CP_OEMCP and CP_THREAD_ACP are no code pages of their own).
WINBASEAPI BOOL WINAPI IsValidCodePage(UINT codePage);

/// Counts are in bytes on the narrow side and in wchar_t on the wide side;
/// -1 as the source count takes the text with its terminator. A destination
/// size of 0 asks for the size needed. Each returns the count written (or
/// needed), 0 on failure (ERROR_INSUFFICIENT_BUFFER when the destination is
/// too small, ERROR_INVALID_PARAMETER, ERROR_NO_UNICODE_TRANSLATION).
///@{
WINBASEAPI int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int sourceBytes,
                                          LPWSTR destination, int destinationChars);
WINBASEAPI int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int sourceChars,
                                          LPSTR destination, int destinationBytes, LPCSTR defaultChar,
                                          LPBOOL usedDefaultChar);
///@}
}
