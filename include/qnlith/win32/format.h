/// @file
/// The Windows wide printf and scanf dialect of the C run time.
///
/// printf: `%s` and `%c` take wide text, `%S`, `%hs`, `%C`, `%hc` narrow
/// (UTF-8) text, `%ls`/`%ws` wide. Integers: `l` and `I32` mean 32 bits,
/// `h` 16, `hh` 8, `ll` and `I64` 64, `I`, `z`, `t`, `j` pointer-sized.
/// `%p` prints upper-case hex at full width without 0x. `%n` is refused.
/// A format the dialect rejects makes the call fail with EINVAL.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <qnlith/win32/crtstring.h>

extern "C" {
/// Writes at most `count` characters (or, with _TRUNCATE, as many as fit in
/// `bufferSize` - 1) and a terminator. Returns the number written, or -1
/// when the text was cut. When `count` is not _TRUNCATE and the text does not
/// fit `bufferSize`, the buffer is emptied, errno is ERANGE and -1 comes back.
/// A null buffer or format, a size of 0 or a count of 0 fail with EINVAL.
///@{
WINBASEAPI int _vsnwprintf_s(wchar_t* buffer, std::size_t bufferSize, std::size_t count, const wchar_t* format,
                             va_list arguments);
WINBASEAPI int _snwprintf_s(wchar_t* buffer, std::size_t bufferSize, std::size_t count, const wchar_t* format, ...);
///@}

/// Returns the number of characters written; when the text and its
/// terminator do not fit, buffer[0] becomes 0, errno ERANGE, and -1 returns.
///@{
WINBASEAPI int swprintf_s(wchar_t* buffer, std::size_t bufferSize, const wchar_t* format, ...);
WINBASEAPI int vswprintf_s(wchar_t* buffer, std::size_t bufferSize, const wchar_t* format, va_list arguments);
///@}

/// The number of characters the format would produce, without terminator.
///@{
WINBASEAPI int _vscwprintf(const wchar_t* format, va_list arguments);
WINBASEAPI int _scwprintf(const wchar_t* format, ...);
///@}

/// Reads `input` by `format`: %d %i %u %x %X %o %c %s %S %% with widths,
/// size prefixes and `*` (read without storing). %s and %c take a further
/// unsigned argument, the capacity of the destination in characters; a
/// destination that is too small gets an empty string and ends the scan.
/// Returns the number of fields stored, or -1 (EOF) when the input ends
/// before the first conversion; -1 with errno EINVAL for a null pointer.
///@{
WINBASEAPI int swscanf_s(const wchar_t* input, const wchar_t* format, ...);
WINBASEAPI int vswscanf_s(const wchar_t* input, const wchar_t* format, va_list arguments);
///@}
}
