// cTime: the library's time value, a signed 64-bit count of seconds since
// 1970-01-01 00:00:00 UTC (0: no time known) that travels by value. All of
// its interface is CTime's; the library exports nothing of its own for it.
#pragma once

#include <qnlith/framework/time.h>

class cTime : public CTime {
 public:
  using CTime::CTime;
  cTime() noexcept = default;
  cTime(const CTime& time) noexcept : CTime(time) {}
  cTime(const cTime&) noexcept = default;
  cTime& operator=(const cTime&) noexcept = default;
  virtual ~cTime() {}
};
