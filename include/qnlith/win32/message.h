/// @file
/// Message texts: FormatMessageW with its insert language, the system's
/// texts for error codes, and the local memory its buffers come from.
#pragma once

#include <cstdarg>
#include <qnlith/win32/types.h>

/// Flags of FormatMessageW; the low byte (FORMAT_MESSAGE_MAX_WIDTH_MASK) is the line width.
///@{
#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200
#define FORMAT_MESSAGE_FROM_STRING 0x00000400
#define FORMAT_MESSAGE_FROM_HMODULE 0x00000800
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000
#define FORMAT_MESSAGE_ARGUMENT_ARRAY 0x00002000
#define FORMAT_MESSAGE_MAX_WIDTH_MASK 0x000000FF
///@}

/// Flags of LocalAlloc: fixed memory, movable memory (refused here with
/// ERROR_INVALID_PARAMETER), zero-filled, and fixed zero-filled memory.
///@{
#define LMEM_FIXED 0x0000
#define LMEM_MOVEABLE 0x0002
#define LMEM_ZEROINIT 0x0040
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)
///@}

extern "C" {
/// Formats a message from a string (FORMAT_MESSAGE_FROM_STRING) or from the
/// system's texts for error codes (FORMAT_MESSAGE_FROM_SYSTEM), expanding the
/// inserts %1 to %99 (optionally %n!printf format!, default !s!) from a
/// va_list or, with FORMAT_MESSAGE_ARGUMENT_ARRAY, an array of DWORD_PTR.
/// Escapes: %0 ends the text, %n is a line break, %r a carriage return, %t
/// a tab, %% %. %! and %space stand for themselves. The low byte of the flags
/// sets the line width (0: keep the text's line breaks; 0xFF: none).
/// With FORMAT_MESSAGE_ALLOCATE_BUFFER, `buffer` receives a block to release
/// with LocalFree. Returns the characters written without terminator, or 0
/// with the cause in GetLastError.
WINBASEAPI DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId,
                                       LPWSTR buffer, DWORD size, va_list* arguments);

/// Fixed local memory (LMEM_FIXED, LMEM_ZEROINIT). The handle is the address.
WINBASEAPI HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T bytes);
/// Returns null on success; for a block this layer did not hand out, returns
/// the handle with ERROR_INVALID_HANDLE.
WINBASEAPI HLOCAL WINAPI LocalFree(HLOCAL memory);
/// The size asked for at allocation; 0 with ERROR_INVALID_HANDLE for others.
WINBASEAPI SIZE_T WINAPI LocalSize(HLOCAL memory);
}
