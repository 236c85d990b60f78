// The C run time's wcsftime dialect: every code, the # flag, the zone name
// under more than one zone, and the failures the run time documents.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cerrno>
#include <cwchar>
#include <random>
#include <string>

#include "support/scratch.h"

namespace {

struct tm utc(__time64_t seconds) {
  struct tm fields {};
  EXPECT_EQ(_gmtime64_s(&fields, &seconds), 0);
  return fields;
}

std::wstring format(const wchar_t* codes, const struct tm& fields) {
  wchar_t buffer[256];
  errno = 0;
  const std::size_t n = qnWcsftime(buffer, 256, codes, &fields);
  EXPECT_EQ(n, std::wcslen(buffer));
  return buffer;
}

constexpr __time64_t March14 = 795184889;  // Tuesday 1995-03-14 12:41:29 UTC
constexpr __time64_t January5 = 1704423845;  // Friday 2024-01-05 03:04:05 UTC

}  // namespace

TEST(WideTimeFormat, EachCodeInTheCLocale) {
  const struct tm t = utc(March14);
  EXPECT_EQ(format(L"%a|%A|%b|%B", t), L"Tue|Tuesday|Mar|March");
  EXPECT_EQ(format(L"%c", t), L"03/14/95 12:41:29");
  EXPECT_EQ(format(L"%x|%X", t), L"03/14/95|12:41:29");
  EXPECT_EQ(format(L"%d|%H|%I|%j|%m|%M|%p|%S", t), L"14|12|12|073|03|41|PM|29");
  EXPECT_EQ(format(L"%U|%w|%W|%y|%Y|%%", t), L"11|2|11|95|1995|%");
  EXPECT_EQ(format(L"at %H o'clock, 100%% sure", t), L"at 12 o'clock, 100% sure");

  const struct tm early = utc(January5);
  EXPECT_EQ(format(L"%d|%H|%I|%j|%m|%M|%p|%S|%U|%W|%w|%y", early), L"05|03|03|005|01|04|AM|05|00|01|5|24");
  const struct tm midnight = utc(1735516800);  // Monday 2024-12-30 00:00:00, day 365 of a leap year
  EXPECT_EQ(format(L"%I %p|%j|%U|%W", midnight), L"12 AM|365|52|53");
}

TEST(WideTimeFormat, TheHashFlag) {
  const struct tm t = utc(March14);
  EXPECT_EQ(format(L"%#c", t), L"Tuesday, March 14, 1995, 12:41:29");
  EXPECT_EQ(format(L"%#x", t), L"Tuesday, March 14, 1995");
  EXPECT_EQ(format(L"%#a|%#A|%#b|%#B|%#p|%#X|%#%", t), L"Tue|Tuesday|Mar|March|PM|12:41:29|%") << "flag ignored";

  const struct tm early = utc(January5);
  EXPECT_EQ(format(L"%#d|%#H|%#I|%#j|%#m|%#M|%#S|%#U|%#W|%#w|%#y", early), L"5|3|3|5|1|4|5|0|1|5|24");
  EXPECT_EQ(format(L"%#x", early), L"Friday, January 05, 2024") << "the long date keeps two-digit days";
  struct tm ancient = early;
  ancient.tm_year = 5 - 1900;
  EXPECT_EQ(format(L"%Y|%#Y|%y|%#y", ancient), L"0005|5|05|5");
}

TEST(WideTimeFormat, AgreesWithTheStandardCodesOfTheCLibrary) {
  // Where the two dialects share a code and the "C" locale, they agree.
  std::mt19937_64 random(11);
  for (int i = 0; i < 3000; ++i) {
    const struct tm t = utc(static_cast<__time64_t>(random() % static_cast<std::uint64_t>(_MAX__TIME64_T)));
    wchar_t expected[128];
    ASSERT_GT(std::wcsftime(expected, 128, L"%a %A %b %B %d %H %I %j %m %M %p %S %U %w %W %y %Y", &t), 0u);
    ASSERT_EQ(format(L"%a %A %b %B %d %H %I %j %m %M %p %S %U %w %W %y %Y", t), expected);
  }
}

TEST(WideTimeFormat, ZoneNameInEachZone) {
  struct tm t = utc(March14);
  {
    TimeZone zone("EST5EDT,M3.2.0,M11.1.0");
    t.tm_isdst = 0;
    EXPECT_EQ(format(L"%Z|%z|%#Z", t), L"EST|EST|EST") << "the name, never a numeric offset";
    t.tm_isdst = 1;
    EXPECT_EQ(format(L"%Z", t), L"EDT");
  }
  {
    TimeZone zone("JST-9");
    t.tm_isdst = 0;
    EXPECT_EQ(format(L"%c %Z", t), L"03/14/95 12:41:29 JST");
  }
}

TEST(WideTimeFormat, SuccessLeavesErrnoAlone) {
  // The zone's file is missing: the C library's lookup behind %Z fails
  // with ENOENT, which the caller, who reads errno after an empty result,
  // must never see.
  TimeZone restore("UTC");
  ::setenv("TZ", ":Nowhere/Missing", 1);
  const struct tm t = utc(March14);
  wchar_t buffer[64];
  errno = 0;
  EXPECT_GT(qnWcsftime(buffer, 64, L"%Z", &t), 0u);
  EXPECT_EQ(errno, 0);
}

TEST(WideTimeFormat, BufferTooSmallGivesZero) {
  const struct tm t = utc(March14);
  wchar_t buffer[8] = L"garbage";
  errno = 0;
  EXPECT_EQ(qnWcsftime(buffer, 4, L"%Y", &t), 0u) << "four digits and the terminator need five";
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(buffer[0], L'\0');
  EXPECT_EQ(qnWcsftime(buffer, 5, L"%Y", &t), 4u);
  EXPECT_STREQ(buffer, L"1995");
  EXPECT_EQ(qnWcsftime(buffer, 0, L"%Y", &t), 0u);
  EXPECT_EQ(qnWcsftime(buffer, 8, L"", &t), 0u) << "an empty format gives an empty text";
}

TEST(WideTimeFormat, InvalidParametersGiveZeroAndEinval) {
  const struct tm t = utc(March14);
  wchar_t buffer[64];
  auto rejects = [&](const wchar_t* codes, const struct tm* fields) {
    std::wcscpy(buffer, L"left");
    errno = 0;
    const bool failed = qnWcsftime(buffer, 64, codes, fields) == 0 && errno == EINVAL && buffer[0] == L'\0';
    return failed;
  };
  EXPECT_TRUE(rejects(L"%Q", &t)) << "unknown code";
  EXPECT_TRUE(rejects(L"%C", &t)) << "a later standard's code is not the dialect's";
  EXPECT_TRUE(rejects(L"text %", &t)) << "a % that ends the format";
  EXPECT_TRUE(rejects(L"%#", &t));
  EXPECT_TRUE(rejects(nullptr, &t));
  EXPECT_TRUE(rejects(L"%Y", nullptr));
  for (auto bad : {&tm::tm_sec, &tm::tm_min, &tm::tm_hour, &tm::tm_mday, &tm::tm_mon, &tm::tm_wday, &tm::tm_yday}) {
    struct tm broken = t;
    broken.*bad = 400;
    EXPECT_TRUE(rejects(L"plain text", &broken));
    broken.*bad = -1;
    EXPECT_TRUE(rejects(L"plain text", &broken));
  }
  errno = 0;
  EXPECT_EQ(qnWcsftime(nullptr, 64, L"%Y", &t), 0u);
  EXPECT_EQ(errno, EINVAL);
}
