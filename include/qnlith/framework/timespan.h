/// @file
/// The framework's relative time: a signed 64-bit count of seconds.
#pragma once

#include <cstdint>
#include <qnlith/framework/api.h>
#include <qnlith/framework/string.h>
#include <qnlith/win32/time.h>

namespace qn {
/// Sums and differences of times wrap around in two's complement instead of
/// overflowing.
constexpr __time64_t wrappingSum(__time64_t a, __time64_t b) noexcept {
  return static_cast<__time64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}
/// a - b, wrapping around in two's complement.
constexpr __time64_t wrappingDifference(__time64_t a, __time64_t b) noexcept {
  return static_cast<__time64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}
}  // namespace qn

/// A relative time, a signed 64-bit count of seconds held by value.
class QN_FRAMEWORK_API CTimeSpan {
 public:
  /// A span of zero seconds, of the seconds given, or of days, hours, minutes
  /// and seconds (each may be negative).
  ///@{
  CTimeSpan() noexcept : m_timeSpan(0) {}
  CTimeSpan(__time64_t time) noexcept : m_timeSpan(time) {}
  CTimeSpan(LONG lDays, int nHours, int nMins, int nSecs) noexcept
      : m_timeSpan(nSecs + 60 * (nMins + 60 * (nHours + 24 * static_cast<__time64_t>(lDays)))) {}
      ///@}

  /// Whole units, truncated toward zero: a negative span gives negative
  /// parts (hours -23..23, minutes and seconds -59..59).
  ///@{
  LONGLONG GetDays() const noexcept { return m_timeSpan / 86400; }
  LONGLONG GetTotalHours() const noexcept { return m_timeSpan / 3600; }
  LONG GetHours() const noexcept { return static_cast<LONG>(GetTotalHours() % 24); }
  LONGLONG GetTotalMinutes() const noexcept { return m_timeSpan / 60; }
  LONG GetMinutes() const noexcept { return static_cast<LONG>(GetTotalMinutes() % 60); }
  LONGLONG GetTotalSeconds() const noexcept { return m_timeSpan; }
  LONG GetSeconds() const noexcept { return static_cast<LONG>(m_timeSpan % 60); }
  __time64_t GetTimeSpan() const noexcept { return m_timeSpan; }
  ///@}

  /// Sums and differences of spans, wrapping around instead of overflowing.
  ///@{
  CTimeSpan operator+(CTimeSpan span) const noexcept { return qn::wrappingSum(m_timeSpan, span.m_timeSpan); }
  CTimeSpan operator-(CTimeSpan span) const noexcept { return qn::wrappingDifference(m_timeSpan, span.m_timeSpan); }
  CTimeSpan& operator+=(CTimeSpan span) noexcept { return *this = *this + span; }
  CTimeSpan& operator-=(CTimeSpan span) noexcept { return *this = *this - span; }
  ///@}

  /// Comparisons of the seconds.
  ///@{
  bool operator==(CTimeSpan span) const noexcept { return m_timeSpan == span.m_timeSpan; }
  bool operator!=(CTimeSpan span) const noexcept { return m_timeSpan != span.m_timeSpan; }
  bool operator<(CTimeSpan span) const noexcept { return m_timeSpan < span.m_timeSpan; }
  bool operator>(CTimeSpan span) const noexcept { return m_timeSpan > span.m_timeSpan; }
  bool operator<=(CTimeSpan span) const noexcept { return m_timeSpan <= span.m_timeSpan; }
  bool operator>=(CTimeSpan span) const noexcept { return m_timeSpan >= span.m_timeSpan; }
  ///@}

  /// %D total days, %H %M %S the parts above in at least two digits (a
  /// negative part keeps its sign), %% a percent sign. Any other code, or a
  /// % that ends the format, throws the framework's invalid-argument
  /// exception, as does a null format.
  CStringW Format(LPCWSTR pszFormat) const;
  /// The format from the string table (see CStringW::LoadString); an id
  /// without a string formats as an empty format.
  CStringW Format(UINT nID) const;

 private:
  __time64_t m_timeSpan;
};
