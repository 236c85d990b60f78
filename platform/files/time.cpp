// File times, calendar times and the C run time's 64-bit time functions, in
// the process's time zone.
#include <sys/time.h>

#include <cerrno>
#include <ctime>

#include "errors/errors.h"
#include "files/time.h"
#include "text/unicode.h"

namespace qn {

namespace {

bool isLeapYear(std::int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysInMonth(std::int64_t year, int month) {
  static const int days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : days[month - 1];
}

constexpr int DaysBeforeMonth[12] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

// Days from 1601-01-01, the first day of a 400-year cycle, to the date.
std::int64_t daysSince1601(std::int64_t year, int month, int day) {
  const std::int64_t y = year - 1601;
  std::int64_t days = y * 365 + y / 4 - y / 100 + y / 400;
  days += DaysBeforeMonth[month - 1] + (day - 1);
  if (month > 2 && isLeapYear(year)) ++days;
  return days;
}

void dateOfDays(std::int64_t days, SYSTEMTIME& out) {
  out.wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // 1601-01-01 was a Monday
  const std::int64_t cycles400 = days / 146097;
  days %= 146097;
  std::int64_t cycles100 = days / 36524;
  if (cycles100 == 4) cycles100 = 3;  // the last day of a 400-year cycle
  days -= cycles100 * 36524;
  const std::int64_t cycles4 = days / 1461;
  days %= 1461;
  std::int64_t years = days / 365;
  if (years == 4) years = 3;  // the last day of a 4-year cycle
  days -= years * 365;
  const std::int64_t year = 1601 + 400 * cycles400 + 100 * cycles100 + 4 * cycles4 + years;
  int month = 1;
  while (days >= daysInMonth(year, month)) days -= daysInMonth(year, month++);
  out.wYear = static_cast<WORD>(year);
  out.wMonth = static_cast<WORD>(month);
  out.wDay = static_cast<WORD>(days + 1);
}

timespec now() {
  timespec t;
  ::clock_gettime(CLOCK_REALTIME, &t);
  return t;
}

// Follows changes of TZ, as the C run time's functions do after _tzset.
void readZone() { ::tzset(); }

void fillInvalid(struct tm& t) {
  t.tm_sec = t.tm_min = t.tm_hour = t.tm_mday = t.tm_mon = t.tm_year = t.tm_wday = t.tm_yday = t.tm_isdst = -1;
}

}  // namespace

FILETIME fileTimeFromTimespec(const timespec& time) {
  if (time.tv_sec < -FileTimeEpochOffset) return FILETIME{0, 0};
  const auto ticks = static_cast<std::uint64_t>(time.tv_sec + FileTimeEpochOffset) * TicksPerSecond +
                     static_cast<std::uint64_t>(time.tv_nsec / 100);
  return fileTimeOfTicks(ticks);
}

bool timespecFromFileTime(const FILETIME& time, timespec& out) {
  const std::uint64_t ticks = ticksOf(time);
  if (ticks > static_cast<std::uint64_t>(INT64_MAX)) return false;
  out.tv_sec = static_cast<time_t>(static_cast<std::int64_t>(ticks / TicksPerSecond) - FileTimeEpochOffset);
  out.tv_nsec = static_cast<long>(ticks % TicksPerSecond) * 100;
  return true;
}

long utcOffsetAt(std::time_t when) {
  readZone();
  struct tm local;
  if (::localtime_r(&when, &local) == nullptr) return 0;
  return local.tm_gmtoff;
}

std::wstring zoneName(bool daylight) {
  readZone();
  const char* name = ::tzname[daylight ? 1 : 0];
  return name != nullptr ? utf8ToWide(name) : std::wstring();
}

}  // namespace qn

namespace {

// Shifts a file time by the zone's present offset; the direction is +1 to
// local time and -1 back to UTC.
BOOL shiftByZone(const FILETIME* in, LPFILETIME out, int direction) {
  if (in == nullptr || out == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  const std::int64_t shift = direction * static_cast<std::int64_t>(qn::utcOffsetAt(std::time(nullptr))) *
                             qn::TicksPerSecond;
  const auto ticks = static_cast<std::int64_t>(qn::ticksOf(*in));
  std::int64_t result;
  if (ticks < 0 || __builtin_add_overflow(ticks, shift, &result) || result < 0)
    return qn::failWith(ERROR_INVALID_PARAMETER);
  *out = qn::fileTimeOfTicks(static_cast<std::uint64_t>(result));
  return TRUE;
}

}  // namespace

BOOL WINAPI FileTimeToLocalFileTime(const FILETIME* fileTime, LPFILETIME localFileTime) {
  return shiftByZone(fileTime, localFileTime, +1);
}

BOOL WINAPI LocalFileTimeToFileTime(const FILETIME* localFileTime, LPFILETIME fileTime) {
  return shiftByZone(localFileTime, fileTime, -1);
}

BOOL WINAPI FileTimeToSystemTime(const FILETIME* fileTime, LPSYSTEMTIME systemTime) {
  if (fileTime == nullptr || systemTime == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  const std::uint64_t ticks = qn::ticksOf(*fileTime);
  if (ticks > static_cast<std::uint64_t>(INT64_MAX)) return qn::failWith(ERROR_INVALID_PARAMETER);
  const std::uint64_t seconds = ticks / qn::TicksPerSecond;
  const std::uint64_t secondOfDay = seconds % 86400;
  qn::dateOfDays(static_cast<std::int64_t>(seconds / 86400), *systemTime);
  systemTime->wHour = static_cast<WORD>(secondOfDay / 3600);
  systemTime->wMinute = static_cast<WORD>(secondOfDay / 60 % 60);
  systemTime->wSecond = static_cast<WORD>(secondOfDay % 60);
  systemTime->wMilliseconds = static_cast<WORD>(ticks % qn::TicksPerSecond / 10000);
  return TRUE;
}

BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* systemTime, LPFILETIME fileTime) {
  if (systemTime == nullptr || fileTime == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  const SYSTEMTIME& t = *systemTime;
  if (t.wYear < 1601 || t.wYear > 30827 || t.wMonth < 1 || t.wMonth > 12 || t.wDay < 1 ||
      t.wDay > qn::daysInMonth(t.wYear, t.wMonth) || t.wHour > 23 || t.wMinute > 59 || t.wSecond > 59 ||
      t.wMilliseconds > 999)
    return qn::failWith(ERROR_INVALID_PARAMETER);
  const std::int64_t seconds =
      qn::daysSince1601(t.wYear, t.wMonth, t.wDay) * 86400 + t.wHour * 3600 + t.wMinute * 60 + t.wSecond;
  *fileTime = qn::fileTimeOfTicks(static_cast<std::uint64_t>(seconds) * qn::TicksPerSecond +
                                  static_cast<std::uint64_t>(t.wMilliseconds) * 10000);
  return TRUE;
}

void WINAPI GetSystemTimeAsFileTime(LPFILETIME fileTime) {
  if (fileTime != nullptr) *fileTime = qn::fileTimeFromTimespec(qn::now());
}

void WINAPI GetSystemTime(LPSYSTEMTIME systemTime) {
  if (systemTime == nullptr) return;
  const FILETIME time = qn::fileTimeFromTimespec(qn::now());
  FileTimeToSystemTime(&time, systemTime);
}

void WINAPI GetLocalTime(LPSYSTEMTIME systemTime) {
  if (systemTime == nullptr) return;
  const timespec t = qn::now();
  timespec local = t;
  local.tv_sec += qn::utcOffsetAt(t.tv_sec);
  const FILETIME time = qn::fileTimeFromTimespec(local);
  FileTimeToSystemTime(&time, systemTime);
}

LONG WINAPI CompareFileTime(const FILETIME* first, const FILETIME* second) {
  if (first == nullptr || second == nullptr) return 0;
  const std::uint64_t a = qn::ticksOf(*first), b = qn::ticksOf(*second);
  return a < b ? -1 : a > b ? 1 : 0;
}

__time64_t _time64(__time64_t* destination) {
  const __time64_t t = std::time(nullptr);
  if (destination != nullptr) *destination = t;
  return t;
}

__time64_t _mktime64(struct tm* time) {
  if (time == nullptr) {
    errno = EINVAL;
    return -1;
  }
  qn::readZone();
  struct tm normalised = *time;
  const std::time_t t = std::mktime(&normalised);
  if (t < 0 || t > _MAX__TIME64_T) return -1;
  *time = normalised;
  return t;
}

errno_t _localtime64_s(struct tm* destination, const __time64_t* source) {
  if (destination == nullptr) return errno = EINVAL;
  if (source == nullptr || *source < 0 || *source > _MAX__TIME64_T) {
    qn::fillInvalid(*destination);
    return errno = EINVAL;
  }
  qn::readZone();
  const std::time_t t = *source;
  if (::localtime_r(&t, destination) == nullptr) {
    qn::fillInvalid(*destination);
    return errno = EINVAL;
  }
  return 0;
}

errno_t _gmtime64_s(struct tm* destination, const __time64_t* source) {
  if (destination == nullptr) return errno = EINVAL;
  if (source == nullptr || *source < 0 || *source > _MAX__TIME64_T) {
    qn::fillInvalid(*destination);
    return errno = EINVAL;
  }
  const std::time_t t = *source;
  if (::gmtime_r(&t, destination) == nullptr) {
    qn::fillInvalid(*destination);
    return errno = EINVAL;
  }
  return 0;
}
