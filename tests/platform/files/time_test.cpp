// File times, calendar times and the 64-bit C time functions, under more
// than one time zone.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cstring>
#include <random>

#include "support/scratch.h"

namespace {

std::uint64_t ticks(const FILETIME& t) { return (static_cast<std::uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime; }
FILETIME fileTime(std::uint64_t ticks) { return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}; }

constexpr std::uint64_t UnixEpoch = 116444736000000000ULL;  // 1970-01-01 in ticks
constexpr std::uint64_t Second = 10000000ULL;

SYSTEMTIME systemTime(std::uint64_t t) {
  SYSTEMTIME st{};
  const FILETIME ft = fileTime(t);
  EXPECT_TRUE(FileTimeToSystemTime(&ft, &st));
  return st;
}

bool same(const SYSTEMTIME& a, const SYSTEMTIME& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

TEST(FileTime, CalendarFieldsOfKnownInstants) {
  EXPECT_TRUE(same(systemTime(0), SYSTEMTIME{1601, 1, 1, 1, 0, 0, 0, 0})) << "1601-01-01 was a Monday";
  EXPECT_TRUE(same(systemTime(UnixEpoch), SYSTEMTIME{1970, 1, 4, 1, 0, 0, 0, 0}));
  EXPECT_TRUE(same(systemTime(UnixEpoch + 951782400ULL * Second + 1234567), SYSTEMTIME{2000, 2, 2, 29, 0, 0, 0, 123}));
  EXPECT_TRUE(same(systemTime(UnixEpoch + 4102444799ULL * Second), SYSTEMTIME{2099, 12, 4, 31, 23, 59, 59, 0}));
  EXPECT_TRUE(same(systemTime(0x7FFFFFFFFFFFFFFFULL), SYSTEMTIME{30828, 9, 4, 14, 2, 48, 5, 477}));

  SYSTEMTIME st;
  const FILETIME tooLarge = fileTime(0x8000000000000000ULL);
  EXPECT_FALSE(FileTimeToSystemTime(&tooLarge, &st));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(FileTime, SystemTimeRoundTripsAndChecksItsFields) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t t = random() % 0x7F00000000000000ULL / 10000 * 10000;  // whole milliseconds, before 30828
    const SYSTEMTIME st = systemTime(t);
    FILETIME back;
    ASSERT_TRUE(SystemTimeToFileTime(&st, &back));
    ASSERT_EQ(ticks(back), t);
  }
  FILETIME out;
  SYSTEMTIME st{2001, 2, 0, 29, 0, 0, 0, 0};
  EXPECT_FALSE(SystemTimeToFileTime(&st, &out)) << "2001 has no 29 February";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  st = SYSTEMTIME{2000, 2, 6, 29, 0, 0, 0, 0};
  EXPECT_TRUE(SystemTimeToFileTime(&st, &out)) << "the day of the week is ignored";
  for (SYSTEMTIME bad : {SYSTEMTIME{1600, 12, 0, 31, 0, 0, 0, 0}, SYSTEMTIME{2000, 13, 0, 1, 0, 0, 0, 0},
                         SYSTEMTIME{2000, 1, 0, 0, 0, 0, 0, 0}, SYSTEMTIME{2000, 1, 0, 1, 24, 0, 0, 0},
                         SYSTEMTIME{2000, 1, 0, 1, 0, 60, 0, 0}, SYSTEMTIME{2000, 1, 0, 1, 0, 0, 60, 0},
                         SYSTEMTIME{2000, 1, 0, 1, 0, 0, 0, 1000}})
    EXPECT_FALSE(SystemTimeToFileTime(&bad, &out));
}

TEST(FileTime, LocalFileTimesUseTheZonesPresentOffset) {
  const std::uint64_t january = UnixEpoch + 1704110400ULL * Second;  // 2024-01-01 12:00 UTC
  const std::uint64_t july = UnixEpoch + 1719835200ULL * Second;     // 2024-07-01 12:00 UTC
  FILETIME local, back;
  {
    TimeZone zone("JST-9");
    for (std::uint64_t t : {january, july}) {
      const FILETIME utc = fileTime(t);
      ASSERT_TRUE(FileTimeToLocalFileTime(&utc, &local));
      EXPECT_EQ(ticks(local), t + 9 * 3600 * Second);
      ASSERT_TRUE(LocalFileTimeToFileTime(&local, &back));
      EXPECT_EQ(ticks(back), t);
    }
    const FILETIME early = fileTime(0);
    EXPECT_FALSE(LocalFileTimeToFileTime(&early, &back)) << "before 1601 in UTC";
  }
  {
    // With daylight saving the offset is the one in force now, for summer
    // and winter times alike.
    TimeZone zone("EST5EDT,M3.2.0,M11.1.0");
    const std::time_t now = std::time(nullptr);
    struct tm parts;
    localtime_r(&now, &parts);
    const auto offset = static_cast<std::int64_t>(parts.tm_gmtoff);
    for (std::uint64_t t : {january, july}) {
      const FILETIME utc = fileTime(t);
      ASSERT_TRUE(FileTimeToLocalFileTime(&utc, &local));
      EXPECT_EQ(static_cast<std::int64_t>(ticks(local) - t), offset * static_cast<std::int64_t>(Second));
    }
  }
}

TEST(CrtTime, MkTimeAndLocalTimeFollowTheZone) {
  struct Case {
    const char* zone;
    __time64_t expected;  // 2024-07-01 12:00 local
  };
  for (const Case& c : {Case{"UTC0", 1719835200}, Case{"JST-9", 1719835200 - 9 * 3600},
                        Case{"EST5EDT,M3.2.0,M11.1.0", 1719835200 + 4 * 3600}}) {
    SCOPED_TRACE(c.zone);
    TimeZone zone(c.zone);
    struct tm fields {};
    fields.tm_year = 124;
    fields.tm_mon = 6;
    fields.tm_mday = 1;
    fields.tm_hour = 12;
    fields.tm_isdst = -1;
    EXPECT_EQ(_mktime64(&fields), c.expected);
    EXPECT_EQ(fields.tm_wday, 1) << "the record is normalised";

    struct tm back {};
    EXPECT_EQ(_localtime64_s(&back, &c.expected), 0);
    EXPECT_EQ(back.tm_year, 124);
    EXPECT_EQ(back.tm_mon, 6);
    EXPECT_EQ(back.tm_mday, 1);
    EXPECT_EQ(back.tm_hour, 12);

    fields = tm{};
    fields.tm_year = 124;
    fields.tm_mon = 0;
    fields.tm_mday = 32;  // 1 February
    fields.tm_isdst = -1;
    const __time64_t february = _mktime64(&fields);
    EXPECT_EQ(fields.tm_mon, 1);
    EXPECT_EQ(fields.tm_mday, 1);
    EXPECT_EQ(_localtime64_s(&back, &february), 0);
    EXPECT_EQ(back.tm_hour, 0);
  }
}

TEST(CrtTime, RangesAndInvalidArguments) {
  TimeZone zone("UTC0");
  struct tm fields {};
  fields.tm_year = 69;
  fields.tm_mday = 1;
  EXPECT_EQ(_mktime64(&fields), -1) << "1969 is before the range";
  fields.tm_year = 1101;  // 3001
  EXPECT_EQ(_mktime64(&fields), -1);
  EXPECT_EQ(_mktime64(nullptr), -1);

  struct tm out {};
  const __time64_t last = _MAX__TIME64_T, beyond = _MAX__TIME64_T + 1, negative = -1;
  EXPECT_EQ(_localtime64_s(&out, &last), 0);
  EXPECT_EQ(out.tm_year, 1100);
  EXPECT_EQ(out.tm_mon, 11);
  EXPECT_EQ(out.tm_mday, 31);
  EXPECT_EQ(_localtime64_s(&out, &beyond), EINVAL);
  EXPECT_EQ(out.tm_year, -1);
  EXPECT_EQ(out.tm_mday, -1);
  EXPECT_EQ(_localtime64_s(&out, &negative), EINVAL);
  EXPECT_EQ(_localtime64_s(&out, nullptr), EINVAL);
  EXPECT_EQ(_localtime64_s(nullptr, &last), EINVAL);
  EXPECT_EQ(_gmtime64_s(&out, &last), 0);
  EXPECT_EQ(out.tm_hour, 23);

  __time64_t stored = 0;
  const __time64_t now = _time64(&stored);
  EXPECT_EQ(now, stored);
  EXPECT_GT(now, 1700000000);
}
