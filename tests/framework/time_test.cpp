// CTime: construction through local time and its failures.
#include <gtest/gtest.h>
#include <qnlith/framework.h>

#include "support/scratch.h"

namespace {

// The status code of the framework exception that `make` throws, or 0.
template <typename Make>
SCODE failureOf(Make make) {
  try {
    make();
  } catch (COleException* e) {
    const SCODE code = e->m_sc;
    e->Delete();
    return code;
  }
  return 0;
}

FILETIME fileTimeOfUnix(std::int64_t seconds) {
  const std::uint64_t ticks = static_cast<std::uint64_t>(seconds + 11644473600LL) * 10000000ULL;
  return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

}  // namespace

TEST(CTime, FieldsAreLocalTimeInEachZone) {
  for (const auto& [zone, offset] : {std::pair{"UTC0", 0}, std::pair{"JST-9", 9 * 3600}, std::pair{"<-0330>3:30", -12600}}) {
    SCOPED_TRACE(zone);
    TimeZone tz(zone);
    const CTime t(2024, 7, 1, 12, 0, 0);
    EXPECT_EQ(t.GetTime(), 1719835200 - offset);
    EXPECT_EQ(t.GetYear(), 2024);
    EXPECT_EQ(t.GetMonth(), 7);
    EXPECT_EQ(t.GetDay(), 1);
    EXPECT_EQ(t.GetHour(), 12);
    EXPECT_EQ(t.GetDayOfWeek(), 2) << "Monday";
    SYSTEMTIME st{};
    ASSERT_TRUE(t.GetAsSystemTime(st));
    EXPECT_EQ(st.wYear, 2024);
    EXPECT_EQ(st.wHour, 12);
    EXPECT_EQ(st.wDayOfWeek, 1);
    EXPECT_EQ(CTime(st).GetTime(), t.GetTime());

    // A file time is UTC: through local time it denotes the same instant.
    EXPECT_EQ(CTime(fileTimeOfUnix(1719835200)).GetTime(), 1719835200);
    struct tm gmt;
    ASSERT_NE(t.GetGmtTm(&gmt), nullptr);
    EXPECT_EQ(gmt.tm_hour * 3600 + gmt.tm_min * 60, ((12 * 3600 - offset) % 86400 + 86400) % 86400);
  }
}

TEST(CTime, DaylightSavingIsTheZonesOrTheCallersChoice) {
  TimeZone tz("EST5EDT,M3.2.0,M11.1.0");
  EXPECT_EQ(CTime(2024, 1, 15, 12, 0, 0).GetTime(), 1705338000) << "EST, UTC-5";
  EXPECT_EQ(CTime(2024, 7, 1, 12, 0, 0).GetTime(), 1719849600) << "EDT, UTC-4";
  EXPECT_EQ(CTime(2024, 7, 1, 12, 0, 0, 0).GetTime(), 1719849600 + 3600) << "told standard time in summer";
}

TEST(CTime, EarlyAndInvalidValues) {
  TimeZone tz("UTC0");
  EXPECT_EQ(CTime().GetTime(), 0);
  EXPECT_EQ(CTime(FILETIME{0, 0}).GetTime(), 0) << "1601 is before 1900: no time, no failure";
  EXPECT_EQ(CTime(SYSTEMTIME{1899, 12, 0, 31, 0, 0, 0, 0}).GetTime(), 0);

  EXPECT_EQ(failureOf([] { CTime(1899, 12, 31, 0, 0, 0); }), E_FAIL);
  EXPECT_EQ(failureOf([] { CTime(2000, 13, 1, 0, 0, 0); }), E_FAIL);
  EXPECT_EQ(failureOf([] { CTime(2000, 1, 32, 0, 0, 0); }), E_FAIL);
  EXPECT_EQ(failureOf([] { CTime(2000, 1, 1, 24, 0, 0); }), E_FAIL);
  EXPECT_EQ(failureOf([] { CTime(2000, 1, 1, 0, 60, 0); }), E_FAIL);
  EXPECT_EQ(failureOf([] { CTime(2000, 1, 1, 0, 0, 60); }), E_FAIL);
  EXPECT_EQ(failureOf([] { CTime(1950, 1, 1, 0, 0, 0); }), E_INVALIDARG) << "before 1970: no 64-bit time";
  EXPECT_EQ(failureOf([] { CTime(3001, 1, 1, 0, 0, 0); }), E_INVALIDARG);
  EXPECT_EQ(failureOf([] { CTime(FILETIME{0, 0x80000000u}); }), E_INVALIDARG);
  EXPECT_EQ(failureOf([] { CTime(2000, 2, 31, 0, 0, 0); }), 0) << "31 February is 2 March";
  EXPECT_EQ(CTime(2000, 2, 31, 0, 0, 0).GetDay(), 2);

  const CTime none(-5);
  SYSTEMTIME st{1, 1, 1, 1, 1, 1, 1, 1};
  EXPECT_FALSE(none.GetAsSystemTime(st));
  EXPECT_EQ(st.wYear, 1) << "left alone";
  EXPECT_EQ(none.GetYear(), 0);
  EXPECT_LT(CTime(5), CTime(6));
  EXPECT_GT(CTime::GetCurrentTime().GetTime(), 1700000000);
}
