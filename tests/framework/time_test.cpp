// CTime and CTimeSpan: construction through local time, arithmetic, text
// and their failures.
#include <gtest/gtest.h>
#include <qnlith/framework.h>

#include <string>
#include <tuple>

#include "support/framework_failures.h"
#include "support/scratch.h"

namespace {

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

  EXPECT_EQ(oleFailureOf([] { CTime(1899, 12, 31, 0, 0, 0); }), E_FAIL);
  EXPECT_EQ(oleFailureOf([] { CTime(2000, 13, 1, 0, 0, 0); }), E_FAIL);
  EXPECT_EQ(oleFailureOf([] { CTime(2000, 1, 32, 0, 0, 0); }), E_FAIL);
  EXPECT_EQ(oleFailureOf([] { CTime(2000, 1, 1, 24, 0, 0); }), E_FAIL);
  EXPECT_EQ(oleFailureOf([] { CTime(2000, 1, 1, 0, 60, 0); }), E_FAIL);
  EXPECT_EQ(oleFailureOf([] { CTime(2000, 1, 1, 0, 0, 60); }), E_FAIL);
  EXPECT_EQ(oleFailureOf([] { CTime(1950, 1, 1, 0, 0, 0); }), E_INVALIDARG) << "before 1970: no 64-bit time";
  EXPECT_EQ(oleFailureOf([] { CTime(3001, 1, 1, 0, 0, 0); }), E_INVALIDARG);
  EXPECT_EQ(oleFailureOf([] { CTime(FILETIME{0, 0x80000000u}); }), E_INVALIDARG);
  EXPECT_EQ(oleFailureOf([] { CTime(2000, 2, 31, 0, 0, 0); }), 0) << "31 February is 2 March";
  EXPECT_EQ(CTime(2000, 2, 31, 0, 0, 0).GetDay(), 2);

  const CTime none(-5);
  SYSTEMTIME st{1, 1, 1, 1, 1, 1, 1, 1};
  EXPECT_FALSE(none.GetAsSystemTime(st));
  EXPECT_EQ(st.wYear, 1) << "left alone";
  EXPECT_EQ(none.GetYear(), 0);
  EXPECT_LT(CTime(5), CTime(6));
  EXPECT_GT(CTime::GetCurrentTime().GetTime(), 1700000000);
}

TEST(CTimeSpan, PartsAndTotals) {
  const CTimeSpan span(3, 1, 5, 12);
  EXPECT_EQ(span.GetTimeSpan(), 263112);
  EXPECT_EQ(span.GetDays(), 3);
  EXPECT_EQ(span.GetTotalHours(), 73);
  EXPECT_EQ(span.GetHours(), 1);
  EXPECT_EQ(span.GetTotalMinutes(), 4385);
  EXPECT_EQ(span.GetMinutes(), 5);
  EXPECT_EQ(span.GetTotalSeconds(), 263112);
  EXPECT_EQ(span.GetSeconds(), 12);
  EXPECT_EQ(CTimeSpan(0, 25, 61, 61).GetTimeSpan(), 25 * 3600 + 61 * 60 + 61) << "parts may overflow into the next";
  EXPECT_EQ(CTimeSpan(100000, 0, 0, 0).GetTimeSpan(), 8640000000LL) << "days past 32-bit seconds";
  EXPECT_EQ(CTimeSpan().GetTimeSpan(), 0);

  const CTimeSpan back = -(1 * 86400 + 3600 + 60 + 1);  // truncated toward zero: every part negative
  EXPECT_EQ(back.GetDays(), -1);
  EXPECT_EQ(back.GetHours(), -1);
  EXPECT_EQ(back.GetMinutes(), -1);
  EXPECT_EQ(back.GetSeconds(), -1);
  EXPECT_EQ(back.GetTotalMinutes(), -1501);
  EXPECT_EQ(CTimeSpan(-86399).GetHours(), -23);
  EXPECT_EQ(CTimeSpan(-86399).GetDays(), 0);

  CTimeSpan sum = span + CTimeSpan(0, 0, 0, 48);
  EXPECT_EQ(sum.GetMinutes(), 6);
  EXPECT_EQ((sum - span).GetTimeSpan(), 48);
  sum -= CTimeSpan(1, 0, 0, 0);
  EXPECT_EQ(sum.GetDays(), 2);
  sum += CTimeSpan(1, 0, 0, 0);
  EXPECT_EQ(sum, span + CTimeSpan(48));
  EXPECT_TRUE(span < sum && sum > span && span <= span && span >= span && span != sum);
  EXPECT_FALSE(span > sum || sum < span || span == sum);
  EXPECT_EQ((CTimeSpan(INT64_MAX) + CTimeSpan(1)).GetTimeSpan(), INT64_MIN) << "wraps, no overflow";
}

TEST(CTimeSpan, Format) {
  const CTimeSpan span(3, 1, 5, 12);
  EXPECT_EQ(span.Format(L"Total days: %D, hours: %H, mins: %M, secs: %S"),
            L"Total days: 3, hours: 01, mins: 05, secs: 12");
  EXPECT_EQ(CTimeSpan(400, 23, 59, 9).Format(L"%D|%H|%M|%S|100%%"), L"400|23|59|09|100%");
  EXPECT_EQ(CTimeSpan(-(86400 + 12 * 3600 + 60 + 1)).Format(L"%D %H:%M:%S"), L"-1 -12:-1:-1");
  EXPECT_EQ(CTimeSpan(5).Format(L""), L"");
  EXPECT_TRUE(throwsInvalidArg([&] { span.Format(L"%d"); })) << "a CTime code is not a span code";
  EXPECT_TRUE(throwsInvalidArg([&] { span.Format(L"50%"); }));
  EXPECT_TRUE(throwsInvalidArg([&] { span.Format(static_cast<LPCWSTR>(nullptr)); }));
}

TEST(CTime, ArithmeticWithSpans) {
  TimeZone tz("EST5EDT,M3.2.0,M11.1.0");
  const CTime saturday(2024, 3, 9, 12, 0, 0);
  const CTime sunday(2024, 3, 10, 12, 0, 0);
  EXPECT_EQ((sunday - saturday).GetTotalHours(), 23) << "the night the clocks go forward";
  EXPECT_EQ((saturday - sunday).GetTimeSpan(), -23 * 3600);
  EXPECT_EQ(saturday + CTimeSpan(0, 23, 0, 0), sunday);
  EXPECT_EQ(sunday - CTimeSpan(0, 23, 0, 0), saturday);
  CTime moving = saturday;
  moving += CTimeSpan(1, 0, 0, 0);
  EXPECT_EQ(moving.GetHour(), 13) << "a day of seconds is 13:00 after the change";
  moving -= CTimeSpan(1, 0, 0, 0);
  EXPECT_EQ(moving, saturday);
  EXPECT_EQ((CTime(INT64_MIN) - CTime(1)).GetTimeSpan(), INT64_MAX) << "wraps, no overflow";
}

TEST(CTime, FormatInEachZone) {
  for (const auto& [zone, name, gmt] : {std::tuple{"UTC0", L"UTC", L"22:15 19"}, std::tuple{"JST-9", L"JST", L"13:15 19"},
                                        std::tuple{"<-0330>3:30", L"-0330", L"01:45 20"}}) {
    SCOPED_TRACE(zone);
    TimeZone tz(zone);
    const CTime t(1999, 3, 19, 22, 15, 0);
    EXPECT_EQ(t.Format(L"%A, %B %d, %Y"), L"Friday, March 19, 1999");
    EXPECT_EQ(t.Format(L"%#c"), L"Friday, March 19, 1999, 22:15:00");
    EXPECT_EQ(t.Format(L"%c %I%p %Z"), CString(L"03/19/99 22:15:00 10PM ") + name);
    EXPECT_EQ(t.FormatGmt(L"%H:%M %d"), gmt);
    EXPECT_EQ(t.FormatGmt(L"%Z"), name) << "the zone's standard name even for UTC fields";
    EXPECT_EQ(t.Format(100), L"1999-03-19 22:15") << "format from the program's string table";
  }
}

TEST(CTime, FormatFailuresAndLimits) {
  TimeZone tz("UTC0");
  EXPECT_EQ(CTime().Format(L"%Y"), L"") << "no time known";
  EXPECT_EQ(CTime().FormatGmt(L"%Y"), L"");
  EXPECT_EQ(CTime(_MAX__TIME64_T).FormatGmt(L"%#c"), L"Wednesday, December 31, 3000, 23:59:59");
  EXPECT_EQ(CTime(1).Format(L""), L"");

  const CTime t(2024, 7, 1, 12, 0, 0);
  std::wstring manyDays;
  for (int i = 0; i < 200; ++i) manyDays += L"%A ";
  EXPECT_EQ(t.Format(manyDays.c_str()).GetLength(), 200 * 7) << "longer than the first room";

  EXPECT_EQ(oleFailureOf([] { CTime(-1).Format(L"%Y"); }), E_INVALIDARG) << "before 1970";
  EXPECT_EQ(oleFailureOf([] { CTime(_MAX__TIME64_T + 1).FormatGmt(L"%Y"); }), E_INVALIDARG) << "after 3000";
  EXPECT_TRUE(throwsInvalidArg([&] { t.Format(L"%Q"); }));
  EXPECT_TRUE(throwsInvalidArg([&] { t.FormatGmt(L"%Y %"); }));
  EXPECT_TRUE(throwsInvalidArg([&] { t.Format(static_cast<LPCWSTR>(nullptr)); }));
  EXPECT_TRUE(throwsInvalidArg([&] { t.Format(102); })) << "a stored format with an unknown code";
  EXPECT_EQ(t.Format(9999), L"") << "an id without a string is an empty format";
  EXPECT_EQ(CTimeSpan(1, 2, 3, 4).Format(101), L"1 days, 02:03:04");
}
