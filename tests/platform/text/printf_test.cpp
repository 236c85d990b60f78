// The Windows wide printf dialect: conversions, flags, sizes, the documented
// results of the bounded calls, and formats the dialect rejects.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

// Formats into a roomy buffer and returns the text; fails the test when the
// call does not succeed.
std::wstring fmt(const wchar_t* format, ...) {
  wchar_t buffer[2048];
  va_list arguments;
  va_start(arguments, format);
  const int n = vswprintf_s(buffer, 2048, format, arguments);
  va_end(arguments);
  EXPECT_GE(n, 0) << "format rejected";
  return n < 0 ? L"<rejected>" : std::wstring(buffer, static_cast<std::size_t>(n));
}

int bounded(wchar_t* buffer, std::size_t size, std::size_t count, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int n = _vsnwprintf_s(buffer, size, count, format, arguments);
  va_end(arguments);
  return n;
}

struct Row {
  std::wstring format;
  std::wstring got;
  std::wstring expected;
};

// A row that formats `format`, named by it.
#define FMT(expected, format, ...) Row{format, fmt(format __VA_OPT__(, ) __VA_ARGS__), expected}

void expectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) EXPECT_EQ(row.got, row.expected) << "format " << ::testing::PrintToString(row.format);
}

double fromBits(std::uint64_t bits) {
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

}  // namespace

TEST(WidePrintf, IntegerSizesFollowWindows) {
  expectRows({
      FMT(L"-5 7 4294967295", L"%d %i %u", -5, 7, -1),
      // l is 32 bits, as LONG and DWORD are.
      FMT(L"-2 4294967295 abc", L"%ld %lu %lx", static_cast<LONG>(-2), static_cast<DWORD>(0xFFFFFFFFu),
          static_cast<DWORD>(0xABCu)),
      FMT(L"4464 1 -56 44", L"%hd %hu %hhd %hhu", 70000, 65537, 200, 300),
      FMT(L"-9223372036854775808 -3 18446744073709551615", L"%I64d %lld %I64u", INT64_MIN, static_cast<long long>(-3),
          UINT64_MAX),
      FMT(L"-1 beef", L"%I32d %I32x", -1, 0xBEEF),
      FMT(L"18446744073709551615 12 -4 5 1234567890", L"%Iu %zu %td %jd %Ix", SIZE_MAX, static_cast<std::size_t>(12),
          static_cast<std::ptrdiff_t>(-4), static_cast<intmax_t>(5), static_cast<std::size_t>(0x1234567890ull)),
      FMT(L"ff FF 10 0xff 0XFF 010 0 0", L"%x %X %o %#x %#X %#o %#x %#o", 255, 255, 8, 255, 255, 8, 0, 0),
  });
}

TEST(WidePrintf, IntegerFlagsWidthAndPrecision) {
  expectRows({
      FMT(L"   42|42   |00042|+42| 42|+42|-42", L"%5d|%-5d|%05d|%+d|% d|%+ d|% d", 42, 42, 42, 42, 42, 42, -42),
      FMT(L"5       |+0007|000ab|0x00ab", L"%-08d|%+05d|%05x|%#06x", 5, 7, 0xab, 0xab),
      // A precision is the least number of digits, and turns the 0 flag off.
      FMT(L"007|     007|     007||+|010", L"%.3d|%8.3d|%08.3d|%.0d|%+.0d|%#.3o", 7, 7, 7, 0, 0, 8),
      FMT(L"   42|42   |005|5|1  |", L"%*d|%*d|%.*d|%.*d|%-*d|", 5, 42, -5, 42, 3, 5, -1, 5, 3, 1),
  });
}

TEST(WidePrintf, PointersAreFullWidthUpperCaseHex) {
  expectRows({
      FMT(L"0000000000ABCDEF", L"%p", reinterpret_cast<void*>(0xabcdef)),
      FMT(L"0000000000000000", L"%p", nullptr),
      // F and N are sizes of old, read and ignored.
      FMT(L"0000000000ABCDEF|0000000000ABCDEF|7", L"%Fp|%Np|%Nd", reinterpret_cast<void*>(0xabcdef),
          reinterpret_cast<void*>(0xabcdef), 7),
      FMT(L"[    0000000000001234][FFFFFFFFFFFFFFFF  ]", L"[%20p][%-18p]", reinterpret_cast<void*>(0x1234),
          reinterpret_cast<void*>(-1)),
  });
}

TEST(WidePrintf, WideAndNarrowText) {
  const char* narrow = "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC";  // "grüß €" in UTF-8
  EXPECT_EQ(fmt(L"%s|%S|%hs|%ls|%ws", L"wide", narrow, "hs", L"ls", L"ws"), L"wide|gr\u00FC\u00DF \u20AC|hs|ls|ws");
  const wchar_t unterminated[3] = {L'x', L'y', L'z'};
  expectRows({
      FMT(L"\u00E9bcde", L"%c%C%hc%lc%wc", L'\u00E9', 'b', 'c', L'd', L'e'),
      FMT(L"[(null)][(null)][(nu]", L"[%s][%S][%.3s]", static_cast<wchar_t*>(nullptr), static_cast<char*>(nullptr),
          static_cast<wchar_t*>(nullptr)),
      // Precision counts characters written, also for narrow text.
      FMT(L"[abc][\u20ACu][ab    ][    ab][0000ab][  x]", L"[%.3s][%.2S][%-6s][%6S][%06s][%3c]", L"abcdef",
          "\xE2\x82\xACuro", L"ab", "ab", L"ab", L'x'),
      // A precision stops reading: the text needs no terminator behind it.
      FMT(L"xyz", L"%.3s", unterminated),
      // Ill-formed UTF-8 becomes U+FFFD; so does a lone narrow byte above 0x7F.
      FMT(L"a\uFFFDb|\uFFFD", L"%S|%C", "a\xFF" "b", 0xE9),
      FMT(L"100% sure", L"100%% %s", L"sure"),
  });
}

TEST(WidePrintf, FloatingPointAsTheWindowsRunTimePrintsIt) {
  expectRows({
      FMT(L"3.141590|0.12|3|3.|     3.142|3.142     |-00003.142", L"%f|%.2f|%.0f|%#.0f|%10.3f|%-10.3f|%010.3f",
          3.14159, 0.125, 3.0, 3.0, 3.14159, 3.14159, -3.14159),
      FMT(L"+2.0| 2.0|-2.0", L"%+.1f|% .1f|%+.1f", 2.0, 2.0, -2.0),
      // The exponent has at least two digits.
      FMT(L"1.234568e+04|1.234568E+04|5e-300|0.000000e+00|1.000000e+100|-1.25e-04", L"%e|%E|%.0e|%e|%e|%.2e",
          12345.678, 12345.678, 5e-300, 0.0, 1e100, -0.000125),
      FMT(L"0.0001|1e-05|1.23457e+08|1E-10|1.00000|100000|1e+06|3.14", L"%g|%g|%g|%G|%#g|%g|%g|%.3g", 0.0001, 0.00001,
          123456789.0, 1e-10, 1.0, 100000.0, 1000000.0, 3.14159),
      // Hexadecimal floating point shows every digit of the double by default.
      FMT(L"0x1.0000000000000p+0|0X1.0000000000000P+0|0x1.00p+0|0x1.0000000000000p-1|-0x1.0000000000000p+1",
          L"%a|%A|%.2a|%a|%a", 1.0, 1.0, 1.0, 0.5, -2.0),
      FMT(L"0x00000001.0p+0|0x0.0000000000000p+0", L"%015.1a|%a", 1.0, 0.0),
      // A Windows long double is a double.
      FMT(L"1.250000|2.500000", L"%Lf|%lf", 1.25L, 2.5),
  });
}

TEST(WidePrintf, InfinityAndNaNTexts) {
  const double inf = std::numeric_limits<double>::infinity();
  const double quiet = fromBits(0x7FF8000000000000ull);
  const double indefinite = fromBits(0xFFF8000000000000ull);  // what 0.0/0.0 gives
  const double signaling = fromBits(0x7FF0000000000001ull);
  expectRows({
      FMT(L"inf -inf INF -INF inf inf INF", L"%f %f %F %E %g %a %A", inf, -inf, inf, -inf, inf, inf, inf),
      FMT(L"nan -nan(ind) -NAN(IND) nan(snan) NAN(SNAN)", L"%f %f %F %e %G", quiet, indefinite, indefinite, signaling,
          signaling),
      FMT(L"[+inf][ inf][   inf][inf   ][-00inf][nan]", L"[%+f][% f][%6f][%-6f][%06f][%.2f]", inf, inf, inf, inf,
          -inf, quiet),
  });
}

TEST(WidePrintf, LongPrecisionsKeepEveryDigit) {
  expectRows({
      FMT(L"1." + std::wstring(1200, L'0'), L"%.1200f", 1.0),
      FMT(L"1.5" + std::wstring(1104, L'0') + L"e+00", L"%.1105e", 1.5),
      FMT(L"0x1." + std::wstring(20, L'0') + L"p+0", L"%.20a", 1.0),
      FMT(L"0.5" + std::wstring(1199, L'0'), L"%#.1200g", 0.5),
      FMT(L"0.5", L"%.1200g", 0.5),
  });
  // Every digit of a large double, exactly.
  const std::wstring text = fmt(L"%.0f", 1e300);
  EXPECT_EQ(text.size(), 301u);
  EXPECT_EQ(text.substr(0, 20), L"10000000000000000525");
  EXPECT_EQ(fmt(L"%.1074f", 4.9406564584124654e-324).substr(1070), L"265625");
}

TEST(WidePrintf, BoundedFormattingAnswers) {
  // One row a documented answer of _snwprintf_s into 8 characters with a
  // guard behind them; -1 as a count is _TRUNCATE.
  struct Case {
    std::size_t count;
    const wchar_t* text;
    int result;
    const wchar_t* buffer;  // what the buffer holds afterwards
    int error;              // errno afterwards, 0 when untouched
  };
  const Case cases[] = {
      // _TRUNCATE: what fits in size - 1, -1 when cut.
      {_TRUNCATE, L"abcdefg", 7, L"abcdefg", 0},
      {_TRUNCATE, L"abcdefgh", -1, L"abcdefg", 0},
      // A count below the buffer size cuts at the count.
      {5, L"abcde", 5, L"abcde", 0},
      {5, L"abcdef", -1, L"abcde", 0},
      // A count that the buffer cannot hold: a text that does not fit is an error.
      {8, L"abcdefg", 7, L"abcdefg", 0},
      {100, L"abcdefg", 7, L"abcdefg", 0},
      {8, L"abcdefgh", -1, L"", ERANGE},
      // A count of 0: an empty text fits; any other is cut to nothing.
      {0, L"", 0, L"", 0},
      {0, L"x", -1, L"", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(c.text)) + " count " + std::to_string(c.count));
    wchar_t buffer[9];
    std::wmemset(buffer, L'#', 9);
    errno = 0;
    EXPECT_EQ(_snwprintf_s(buffer, 8, c.count, L"%s", c.text), c.result);
    EXPECT_STREQ(buffer, c.buffer);
    EXPECT_EQ(errno, c.error);
    EXPECT_EQ(buffer[8], L'#');
    std::wmemset(buffer, L'#', 9);
    errno = 0;
    EXPECT_EQ(bounded(buffer, 8, c.count, L"%s", c.text), c.result) << "through a va_list";
    EXPECT_STREQ(buffer, c.buffer);
    EXPECT_EQ(errno, c.error);
  }
}

TEST(WidePrintf, SwprintfSFitsOrEmpties) {
  wchar_t buffer[6];
  std::wmemset(buffer, L'#', 6);
  EXPECT_EQ(swprintf_s(buffer, 5, L"%d", 1234), 4);
  EXPECT_STREQ(buffer, L"1234");
  errno = 0;
  EXPECT_EQ(swprintf_s(buffer, 5, L"%d", 12345), -1);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[5], L'#');
}

TEST(WidePrintf, LengthQueries) {
  EXPECT_EQ(_scwprintf(L"%s=%d", L"answer", 42), 9);
  EXPECT_EQ(_scwprintf(L""), 0);
  EXPECT_EQ(_scwprintf(L"%100000d", 1), 100000);
  errno = 0;
  EXPECT_EQ(_scwprintf(L"%y"), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(_scwprintf(nullptr), -1);
}

TEST(WidePrintf, BadArgumentsFailWithEinval) {
  wchar_t buffer[4] = {L'#', L'#', L'#', L'#'};
  errno = 0;
  EXPECT_EQ(_snwprintf_s(nullptr, 4, _TRUNCATE, L"x"), -1);
  EXPECT_EQ(errno, EINVAL);
  errno = 0;
  EXPECT_EQ(_snwprintf_s(buffer, 4, _TRUNCATE, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(buffer[0], 0);
  buffer[0] = L'#';
  errno = 0;
  EXPECT_EQ(_snwprintf_s(buffer, 0, _TRUNCATE, L"x"), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(buffer[0], L'#');
  errno = 0;
  EXPECT_EQ(swprintf_s(nullptr, 4, L"x"), -1);
  EXPECT_EQ(errno, EINVAL);
  errno = 0;
  EXPECT_EQ(swprintf_s(buffer, 4, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST(WidePrintf, MalformedFormatsAreRejectedWithoutWriting) {
  // Each leaves an empty buffer, returns -1 and sets EINVAL.
  const wchar_t* rejected[] = {
      L"abc%",          // lone % at the end
      L"%q",            // unknown conversion
      L"%5%",           // %% takes nothing between
      L"%ll",           // size without conversion
      L"%Ld",           // L is for floating point only
      L"%I64s", L"%hhs", // sizes that text does not take
      L"%hf", L"%I64f", // sizes that floating point does not take
      L"%wd",           // w is for text only
      L"%99999999999d", // width beyond INT_MAX
      L"%.99999999999d" // precision beyond INT_MAX
  };
  for (const wchar_t* format : rejected) {
    wchar_t buffer[16];
    std::wmemset(buffer, L'#', 16);
    errno = 0;
    EXPECT_EQ(_snwprintf_s(buffer, 16, _TRUNCATE, format, 1), -1) << format;
    EXPECT_EQ(errno, EINVAL) << format;
    EXPECT_EQ(buffer[0], 0) << format;
  }
  // %n is refused and writes nothing through its pointer.
  int written = 1234;
  wchar_t buffer[16];
  EXPECT_EQ(swprintf_s(buffer, 16, L"ab%n", &written), -1);
  EXPECT_EQ(written, 1234);
  // A width of INT_MIN from * cannot be made positive.
  EXPECT_EQ(swprintf_s(buffer, 16, L"%*d", INT_MIN, 1), -1);
  // A huge width that is valid is cut like any other long text.
  EXPECT_EQ(_snwprintf_s(buffer, 16, _TRUNCATE, L"%100000d", 1), -1);
  EXPECT_EQ(std::wstring(buffer), std::wstring(15, L' '));
}
