/// @file
/// Bounded string copies of the C run time and of the system, with their
/// documented results: a destination that is too small is emptied and
/// reported, never overrun.
#pragma once

#include <cstddef>
#include <qnlith/win32/types.h>

/// An errno value as a result: 0 for success.
typedef int errno_t;
/// A size of a bounded string function, in characters.
typedef std::size_t rsize_t;

/// As a count: copy what fits and cut the rest.
#define _TRUNCATE (static_cast<std::size_t>(-1))
/// Result of a copy that was cut under _TRUNCATE.
#define STRUNCATE 80

extern "C" {
/// Copies at most `count` characters of `source` and a terminator into
/// `destination` of `destinationSize` characters. Returns 0; STRUNCATE when
/// _TRUNCATE cut the text; EINVAL for a null pointer or a size of 0; ERANGE
/// when the text does not fit. On EINVAL (with a usable destination) and
/// ERANGE the destination is left empty and errno holds the result.
WINBASEAPI errno_t wcsncpy_s(wchar_t* destination, rsize_t destinationSize, const wchar_t* source, rsize_t count);

/// Copies all of `source` with its terminator; results as wcsncpy_s.
WINBASEAPI errno_t wcscpy_s(wchar_t* destination, rsize_t destinationSize, const wchar_t* source);

/// Copies at most `maxLength` - 1 characters and always a terminator.
/// Returns `destination`; null for a null pointer. A `maxLength` of 0 or less
/// leaves the destination untouched.
WINBASEAPI LPWSTR WINAPI lstrcpynW(LPWSTR destination, LPCWSTR source, int maxLength);
}
