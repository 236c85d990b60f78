/// @file
/// File times, calendar times and the C run time's 64-bit time functions.
/// Local time is the process's time zone: the TZ variable, else the system's.
#pragma once

#include <cstddef>
#include <ctime>
#include <qnlith/win32/types.h>

/// 100-nanosecond ticks since 1601-01-01 00:00 UTC, low half first.
typedef struct _FILETIME {
  /// The low and high 32 bits of the count.
  ///@{
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
  ///@}
} FILETIME, *PFILETIME, *LPFILETIME;

/// A date and time as calendar fields (UTC or local, as the call says).
typedef struct _SYSTEMTIME {
  /// The year (1601 to 30827).
  WORD wYear;
  /// The month, 1 for January.
  WORD wMonth;
  /// The day of the week, 0 for Sunday.
  WORD wDayOfWeek;
  /// The day of the month, from 1.
  WORD wDay;
  /// Hour, minute and second (0-23, 0-59, 0-59).
  ///@{
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  ///@}
  /// Milliseconds, 0-999.
  WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

/// Seconds since 1970-01-01 00:00 UTC, the C run time's 64-bit time.
typedef std::int64_t __time64_t;
/// An errno value as a result: 0 for success.
typedef int errno_t;

/// The last second the 64-bit time functions accept: 3000-12-31 23:59:59 UTC.
#define _MAX__TIME64_T 32535215999LL

extern "C" {
/// Local file time = file time + the zone's current offset from UTC (daylight
/// saving as it is now, not as it was at that time), and back; FALSE for a
/// null pointer or a result out of range.
///@{
WINBASEAPI BOOL WINAPI FileTimeToLocalFileTime(const FILETIME* fileTime, LPFILETIME localFileTime);
WINBASEAPI BOOL WINAPI LocalFileTimeToFileTime(const FILETIME* localFileTime, LPFILETIME fileTime);
///@}

/// Calendar fields of a file time; fails with ERROR_INVALID_PARAMETER for a
/// value with the top bit set.
WINBASEAPI BOOL WINAPI FileTimeToSystemTime(const FILETIME* fileTime, LPSYSTEMTIME systemTime);
/// The reverse; wDayOfWeek is ignored, any other field out of range fails
/// with ERROR_INVALID_PARAMETER.
WINBASEAPI BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* systemTime, LPFILETIME fileTime);

/// The present time as a file time (UTC).
WINBASEAPI void WINAPI GetSystemTimeAsFileTime(LPFILETIME fileTime);
/// The present time as calendar fields, UTC (GetSystemTime) or local (GetLocalTime).
///@{
WINBASEAPI void WINAPI GetSystemTime(LPSYSTEMTIME systemTime);
WINBASEAPI void WINAPI GetLocalTime(LPSYSTEMTIME systemTime);
///@}
/// -1, 0 or 1 as the first time is earlier than, equal to or later than the second.
WINBASEAPI LONG WINAPI CompareFileTime(const FILETIME* first, const FILETIME* second);

/// Seconds since 1970-01-01 00:00 UTC, also stored through `destination` if given.
QN_PLATFORM_API __time64_t _time64(__time64_t* destination);
/// Local calendar fields to seconds; tm_isdst -1 lets the zone decide. The
/// record is normalised. -1 for a null record or a time outside 1970..3000.
QN_PLATFORM_API __time64_t _mktime64(struct tm* time);
/// Seconds to local (or UTC) calendar fields. EINVAL for a null destination
/// (left alone), a null source or a time outside 0.._MAX__TIME64_T (every
/// field of the destination becomes -1).
///@{
QN_PLATFORM_API errno_t _localtime64_s(struct tm* destination, const __time64_t* source);
QN_PLATFORM_API errno_t _gmtime64_s(struct tm* destination, const __time64_t* source);
///@}

/// The C run time's wcsftime, in its own dialect and its "C" locale: the codes
/// %a %A %b %B %c %d %H %I %j %m %M %p %S %U %w %W %x %X %y %Y %z %Z %%, each
/// with an optional # flag (on c and x: the long forms; on a number: no
/// leading zeros). %z and %Z give the zone's name, not an offset. Returns the count
/// of characters written before the terminator. 0 with errno EINVAL for a
/// null argument, a field of `time` out of range or an unknown code; 0 with
/// errno ERANGE when the text and its terminator need more than `maxSize`.
/// In both cases `destination` holds an empty string if it has room.
/// (glibc owns the name wcsftime, hence this one.)
QN_PLATFORM_API std::size_t qnWcsftime(wchar_t* destination, std::size_t maxSize, const wchar_t* format,
                                       const struct tm* time);
}
