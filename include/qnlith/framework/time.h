/// @file
/// The framework's time value: a signed 64-bit count of seconds since
/// 1970-01-01 00:00:00 UTC, read and made through the process's local time.
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/framework/string.h>
#include <qnlith/framework/timespan.h>
#include <qnlith/win32/time.h>

/// An absolute time by value: seconds since 1970-01-01 00:00:00 UTC, 0 for none known.
class QN_FRAMEWORK_API CTime {
 public:
  /// The present time.
  static CTime GetCurrentTime() noexcept;

  /// 0: no time known.
  CTime() noexcept : m_time(0) {}
  /// The given count of seconds since 1970 UTC.
  CTime(__time64_t time) noexcept : m_time(time) {}

  /// From local calendar fields; nDST -1 lets the zone decide whether
  /// daylight saving applies. A field out of range (year from 1900, month
  /// 1-12, day 1-31, hour 0-23, minute and second 0-59) throws
  /// COleException E_FAIL; a time that _mktime64 can't give, E_INVALIDARG.
  CTime(int nYear, int nMonth, int nDay, int nHour, int nMin, int nSec, int nDST = -1);
  /// A year before 1900 gives 0; otherwise as the fields above.
  CTime(const SYSTEMTIME& st, int nDST = -1);
  /// A file time (UTC) through the local file time to the fields above; a
  /// file time without a local form throws COleException E_INVALIDARG.
  CTime(const FILETIME& ft, int nDST = -1);

  /// Takes the given count of seconds; returns this time.
  CTime& operator=(__time64_t time) noexcept {
    m_time = time;
    return *this;
  }

  /// The count of seconds since 1970 UTC.
  __time64_t GetTime() const noexcept { return m_time; }

  /// The calendar fields, or null when the time has none (or ptm is null).
  ///@{
  struct tm* GetLocalTm(struct tm* ptm) const noexcept;
  struct tm* GetGmtTm(struct tm* ptm) const noexcept;
  ///@}

  /// Local calendar fields with milliseconds 0; false when there are none.
  bool GetAsSystemTime(SYSTEMTIME& st) const noexcept;

  /// Local fields (day of week 1 = Sunday); 0 when the time has no local form.
  ///@{
  int GetYear() const noexcept;
  int GetMonth() const noexcept;
  int GetDay() const noexcept;
  int GetHour() const noexcept;
  int GetMinute() const noexcept;
  int GetSecond() const noexcept;
  int GetDayOfWeek() const noexcept;  // 1 = Sunday
  ///@}

  /// The text of the local (Format) or UTC (FormatGmt) calendar fields by the
  /// C run time's wcsftime codes (see qnWcsftime). The time 0 (none known)
  /// gives an empty string; a time outside 1970-01-01 to 3000-12-31 UTC
  /// throws COleException E_INVALIDARG, as construction does; an unknown code
  /// or a null format throws the framework's invalid-argument exception.
  ///@{
  CStringW Format(LPCWSTR pszFormat) const;
  CStringW FormatGmt(LPCWSTR pszFormat) const;
  ///@}
  /// The format from the string table (see CStringW::LoadString); an id
  /// without a string formats as an empty format.
  ///@{
  CStringW Format(UINT nFormatID) const;
  CStringW FormatGmt(UINT nFormatID) const;
  ///@}

  /// The span between two times, and a time moved by a span, wrapping around
  /// instead of overflowing.
  ///@{
  CTimeSpan operator-(CTime time) const noexcept { return qn::wrappingDifference(m_time, time.m_time); }
  CTime operator+(CTimeSpan span) const noexcept { return qn::wrappingSum(m_time, span.GetTimeSpan()); }
  CTime operator-(CTimeSpan span) const noexcept { return qn::wrappingDifference(m_time, span.GetTimeSpan()); }
  CTime& operator+=(CTimeSpan span) noexcept { return *this = *this + span; }
  CTime& operator-=(CTimeSpan span) noexcept { return *this = *this - span; }
  ///@}

  /// Comparisons of the seconds.
  ///@{
  bool operator==(CTime other) const noexcept { return m_time == other.m_time; }
  bool operator!=(CTime other) const noexcept { return m_time != other.m_time; }
  bool operator<(CTime other) const noexcept { return m_time < other.m_time; }
  bool operator>(CTime other) const noexcept { return m_time > other.m_time; }
  bool operator<=(CTime other) const noexcept { return m_time <= other.m_time; }
  bool operator>=(CTime other) const noexcept { return m_time >= other.m_time; }
  ///@}

 private:
  __time64_t m_time;
};
