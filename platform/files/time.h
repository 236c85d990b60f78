// Conversions between Linux times and FILETIME ticks.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <qnlith/win32/time.h>

#include "../errors/api.h"

namespace qn {

// Seconds from 1601-01-01 to 1970-01-01.
constexpr std::int64_t FileTimeEpochOffset = 11644473600LL;
constexpr std::int64_t TicksPerSecond = 10000000LL;

inline std::uint64_t ticksOf(const FILETIME& time) {
  return (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

inline FILETIME fileTimeOfTicks(std::uint64_t ticks) {
  return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// A time before 1601 becomes 0.
QN_INTERNAL FILETIME fileTimeFromTimespec(const timespec& time);

// False for a file time with the top bit set.
QN_INTERNAL bool timespecFromFileTime(const FILETIME& time, timespec& out);

// The zone's offset from UTC in seconds at the given instant (east positive).
QN_INTERNAL long utcOffsetAt(std::time_t when);

// The name of the process's zone, of its daylight-saving time if asked;
// empty if the zone names none.
QN_INTERNAL std::wstring zoneName(bool daylight);

}  // namespace qn
