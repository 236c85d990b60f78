// swscanf_s for the conversions the library reads with: fields stored, EOF
// at the end of input, sizes of text destinations, widths and literals.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

TEST(WideScanf, UnsignedAndHexReadAsTheCommandLineNeedsThem) {
  // The pairs that a switch value "/n:<text>" gives with %u and with %x.
  struct Case { const wchar_t* text; int uFields; DWORD u; int xFields; DWORD x; };
  const Case cases[] = {
      {L"12", 1, 12, 1, 0x12},   {L"ff", 0, 0, 1, 255},  {L"abc", 0, 0, 1, 2748},
      {L"0x10", 1, 0, 1, 16},    {L"  7", 1, 7, 1, 7},   {L"+5", 1, 5, 1, 5},
      {L"-1", 1, 0xFFFFFFFFu, 1, 0xFFFFFFFFu},           {L"0x", 1, 0, 1, 0},
      {L"4294967296", 1, 0, 1, 0x94967296u},                 {L"zz", 0, 0, 0, 0},
  };
  for (const Case& c : cases) {
    DWORD u = 0, x = 0;
    EXPECT_EQ(swscanf_s(c.text, L"%u", &u), c.uFields) << c.text;
    EXPECT_EQ(u, c.u) << c.text;
    EXPECT_EQ(swscanf_s(c.text, L"%x", &x), c.xFields) << c.text;
    EXPECT_EQ(x, c.x) << c.text;
  }
}

TEST(WideScanf, EndOfInputBeforeTheFirstConversionIsEof) {
  struct Case {
    const wchar_t* input;
    const wchar_t* format;
    int result;
    DWORD a;
  };
  const Case cases[] = {
      {L"", L"%u", EOF, 0},
      {L"   ", L"%u", EOF, 0},
      {L"", L"n:%u", EOF, 0},
      {L"5", L"%u %u", 1, 5},
      {L" \t", L"%s", EOF, 0},
      {L"x", L"%u", 0, 0},  // a mismatch is no end of input
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(c.format)) + " on " +
                 ::testing::PrintToString(std::wstring(c.input)));
    wchar_t word[8];
    DWORD a = 0, b = 0;
    const bool text = std::wstring(c.format) == L"%s";
    EXPECT_EQ(text ? swscanf_s(c.input, c.format, word, 8u) : swscanf_s(c.input, c.format, &a, &b), c.result);
    EXPECT_EQ(a, c.a);
  }
}

TEST(WideScanf, SignedBasesWidthsAndSizes) {
  int i = 0, j = 0, k = 0;
  EXPECT_EQ(swscanf_s(L"0x10 010 -12", L"%i %i %i", &i, &j, &k), 3);
  EXPECT_EQ(i, 16);
  EXPECT_EQ(j, 8);
  EXPECT_EQ(k, -12);
  DWORD first = 0, second = 0;
  EXPECT_EQ(swscanf_s(L"12345", L"%3u%u", &first, &second), 2);
  EXPECT_EQ(first, 123u);
  EXPECT_EQ(second, 45u);

  // Each size writes exactly its bytes.
  struct { WORD w; WORD guard; } shorts{0, 0xAAAA};
  EXPECT_EQ(swscanf_s(L"70000", L"%hu", &shorts.w), 1);
  EXPECT_EQ(shorts.w, 4464);
  EXPECT_EQ(shorts.guard, 0xAAAA);
  struct { DWORD l; DWORD guard; } longs{0, 0xAAAAAAAAu};
  EXPECT_EQ(swscanf_s(L"-2", L"%ld", &longs.l), 1);
  EXPECT_EQ(static_cast<LONG>(longs.l), -2);
  EXPECT_EQ(longs.guard, 0xAAAAAAAAu);
  unsigned char byte = 0;
  EXPECT_EQ(swscanf_s(L"300", L"%hhu", &byte), 1);
  EXPECT_EQ(byte, 44);
  ULONGLONG big = 0, hex = 0;
  EXPECT_EQ(swscanf_s(L"1099511627776 FFFFFFFFFF", L"%I64u %llx", &big, &hex), 2);
  EXPECT_EQ(big, 1099511627776ull);
  EXPECT_EQ(hex, 0xFFFFFFFFFFull);
}

TEST(WideScanf, TextNeedsRoomForItsTerminator) {
  wchar_t word[8];
  EXPECT_EQ(swscanf_s(L"  hello world", L"%s", word, 8u), 1);
  EXPECT_STREQ(word, L"hello");
  // Exact fit, then one character too many: an empty string and no field.
  EXPECT_EQ(swscanf_s(L"1234567", L"%s", word, 8u), 1);
  EXPECT_STREQ(word, L"1234567");
  EXPECT_EQ(swscanf_s(L"12345678", L"%s", word, 8u), 0);
  EXPECT_STREQ(word, L"");
  // The command line reads a value into 256 characters, giving the size 255.
  wchar_t value[256];
  const std::wstring w254(254, L'v'), w255(255, L'v');
  EXPECT_EQ(swscanf_s(w254.c_str(), L"%s", value, 255u), 1);
  EXPECT_EQ(std::wstring(value), w254);
  EXPECT_EQ(swscanf_s(w255.c_str(), L"%s", value, 255u), 0);
  EXPECT_STREQ(value, L"");
  // A width limits the word.
  EXPECT_EQ(swscanf_s(L"abcdef", L"%3s", word, 8u), 1);
  EXPECT_STREQ(word, L"abc");
  // Narrow destinations get UTF-8 and count bytes.
  char narrow[8];
  EXPECT_EQ(swscanf_s(L"gr\u00FC\u00DF x", L"%S", narrow, 7u), 1);
  EXPECT_STREQ(narrow, "gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(swscanf_s(L"gr\u00FC\u00DF x", L"%hs", narrow, 6u), 0);
  EXPECT_STREQ(narrow, "");
}

TEST(WideScanf, CharactersTakeTheirWidthWithoutTerminator) {
  wchar_t chars[4] = {L'#', L'#', L'#', L'#'};
  EXPECT_EQ(swscanf_s(L" ab", L"%c", chars, 1u), 1);
  EXPECT_EQ(chars[0], L' ');  // %c does not skip white space
  EXPECT_EQ(swscanf_s(L"xyz", L"%3c", chars, 3u), 1);
  EXPECT_EQ(std::wstring(chars, 4), L"xyz#");
  EXPECT_EQ(swscanf_s(L"xyz", L"%3c", chars, 2u), 0);
  EXPECT_EQ(swscanf_s(L"xy", L"%3c", chars, 4u), EOF);
}

TEST(WideScanf, LiteralsWhiteSpaceSuppressionAndCounts) {
  // Every row scans into two DWORDs, a and b, preset to 0.
  struct Case {
    const wchar_t* input;
    const wchar_t* format;
    int result;
    DWORD a, b;
  };
  const Case cases[] = {
      {L"n:12", L"n:%u", 1, 12, 0},
      {L"x:12", L"n:%u", 0, 0, 0},
      {L"a  =\t5", L"a = %d", 1, 5, 0},
      {L"1;2", L"%u,%u", 1, 1, 0},
      {L"% 9", L"%%%u", 1, 9, 0},
      {L"1 2", L"%*u %u", 1, 2, 0},
      {L"123abc", L"%u%n", 1, 123, 3},
      // % before a character that starts no conversion matches that character.
      {L"\"%12@", L"%\"%%%d%@", 1, 12, 0},
      {L"q7", L"%q%u", 1, 7, 0},
      {L"abc", L"%q", 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(c.format)) + " on " +
                 ::testing::PrintToString(std::wstring(c.input)));
    DWORD a = 0, b = 0;
    EXPECT_EQ(swscanf_s(c.input, c.format, &a, &b), c.result);
    EXPECT_EQ(a, c.a);
    EXPECT_EQ(b, c.b);
  }
}

TEST(WideScanf, BadArgumentsAndUnsupportedConversions) {
  DWORD a = 0;
  errno = 0;
  EXPECT_EQ(swscanf_s(nullptr, L"%u", &a), EOF);
  EXPECT_EQ(errno, EINVAL);
  errno = 0;
  EXPECT_EQ(swscanf_s(L"1", nullptr), EOF);
  EXPECT_EQ(errno, EINVAL);
  for (const wchar_t* format : {L"%f", L"%[a-z]", L"%", L"%I64s"}) {
    errno = 0;
    EXPECT_EQ(swscanf_s(L"abc", format, &a, 4u), EOF) << format;
    EXPECT_EQ(errno, EINVAL) << format;
  }
  errno = 0;
  EXPECT_EQ(swscanf_s(L"word", L"%s", static_cast<wchar_t*>(nullptr), 8u), EOF);
  EXPECT_EQ(errno, EINVAL);
}
