/// @file
/// cTime: the library's time value, a signed 64-bit count of seconds since
/// 1970-01-01 00:00:00 UTC (0: no time known) that travels by value. All of
/// its interface is CTime's; the library exports nothing of its own for it.
#pragma once

#include <qnlith/framework/time.h>

/// The library's time value, seconds since 1970 UTC (0: no time), by value.
class cTime : public CTime {
 public:
  /// Every constructor of CTime.
  using CTime::CTime;
  /// No time known (0).
  cTime() noexcept = default;
  /// The same time value; copies are plain values.
  ///@{
  cTime(const CTime& time) noexcept : CTime(time) {}
  cTime(const cTime&) noexcept = default;
  cTime& operator=(const cTime&) noexcept = default;
  ///@}
  /// Frees nothing.
  virtual ~cTime() {}
};
