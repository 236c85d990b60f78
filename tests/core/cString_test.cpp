// cString's own vocabulary: parsing, bounded formatting, message formatting,
// conversions and the edge behaviour of its editing and searching.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <cstring>
#include <string>

#include "support/thrown_text.h"

TEST(cString, AsUintParsesWithPrefixAndRadix) {
  EXPECT_EQ(cString(L"0x1f").asUint(false), 31u);
  EXPECT_EQ(cString(L"0X1F").asUint(true), 31u);
  EXPECT_EQ(cString(L"ff").asUint(true), 255u);
  EXPECT_EQ(cString(L"4294967295").asUint(), 0xFFFFFFFFu);
  EXPECT_EQ(cString(L"4294967296").asUint(false), 0u) << "wraps without failure";
  EXPECT_EQ(cString(L"").asUint(), 0u);
  EXPECT_EQ(cString(L"10").asUint(true), 16u) << "two characters have no prefix";
}

TEST(cString, AsUintFailsAtTheFirstInvalidCharacter) {
  EXPECT_EQ(thrownText([] { cString(L"ff").asUint(false); }),
            L"cString :: asUint() - 'ff' is an Invalid number at index 0");
  EXPECT_EQ(thrownText([] { cString(L"0x").asUint(false); }),
            L"cString :: asUint() - '0x' is an Invalid number at index 1");
  EXPECT_EQ(thrownText([] { cString(L" 1").asUint(); }),
            L"cString :: asUint() - ' 1' is an Invalid number at index 0");
  EXPECT_EQ(thrownText([] { cString(L"-1").asUint(); }),
            L"cString :: asUint() - '-1' is an Invalid number at index 0");
  EXPECT_EQ(thrownText([] { cString(L"12 ").asUint(); }),
            L"cString :: asUint() - '12 ' is an Invalid number at index 2");
  EXPECT_EQ(thrownText([] { cString(L"0xfg").asUint(); }),
            L"cString :: asUint() - '0xfg' is an Invalid number at index 3");
}

TEST(cString, FormatKeeps4095CharactersAndCutsSilently) {
  const std::wstring fits(4095, L'a');
  cString s;
  s.format(L"%s", fits.c_str());
  EXPECT_EQ(s.length(), 4095u);
  const std::wstring over = fits + L"b";
  s.format(L"%s", over.c_str());
  EXPECT_EQ(s.length(), 4095u);
  EXPECT_EQ(std::wstring(s.c_str()), fits);

  EXPECT_EQ(cString::fromInt(-42), L"-42");
  EXPECT_EQ(cString::fromUint(0xFFFFFFFFu), L"4294967295");
  EXPECT_EQ(cString::fromUint(255, L"0x%04X"), L"0x00FF");
  EXPECT_EQ(cString::fromBool(true), L"true");
  EXPECT_EQ(cString::fromBool(false), L"false");
  s.format(L"%s=%d (%S)", L"key", 7, "narrow");
  EXPECT_EQ(s, L"key=7 (narrow)");
}

TEST(cString, FormatMessageUsesNumberedInserts) {
  cString s(L"old");
  s.formatMessage(L"%2 before %1!d!%n", 5, L"second");
  EXPECT_EQ(s, L"second before 5\r\n");
  // An empty result is the one failure the call reports.
  s = L"kept";
  EXPECT_EQ(thrownText([&] { s.formatMessage(L""); }), L"cString::formatMessage() Out Of Memory");
  EXPECT_EQ(s, L"kept");
}

TEST(cString, StripQuotesReportsOnlyTheLeadingQuote) {
  cString lone(L"\"");
  EXPECT_TRUE(lone.stripQuotes());
  EXPECT_TRUE(lone.isEmpty());
  cString trailing(L"abc\"");
  EXPECT_FALSE(trailing.stripQuotes());
  EXPECT_EQ(trailing, L"abc");
  cString both(L"\"a b\"");
  EXPECT_TRUE(both.stripQuotes());
  EXPECT_EQ(both, L"a b");
  cString empty;
  EXPECT_FALSE(empty.stripQuotes());
}

TEST(cString, SearchAndEditEdges) {
  const cString s(L"abcabc");
  EXPECT_TRUE(s.includes(cString()));
  EXPECT_EQ(s.find(L'a', 6), cString::npos);
  EXPECT_EQ(s.find(L"", 6), 6);
  EXPECT_EQ(s.find(cString(L"ca")), 2);
  EXPECT_EQ(s.reverseFind(L'b'), 4);

  cString r(s);
  r.remove(6);
  r.remove(6, 1);
  EXPECT_EQ(r, L"abcabc");
  r.remove(4);
  EXPECT_EQ(r, L"abca");
  r.remove(1, 2);
  EXPECT_EQ(r, L"aa");
  r.remove(0, 0xFFFFFFFFu);
  EXPECT_EQ(r, L"aa") << "a count beyond int range removes nothing";
  r.insert(L"[", 0);
  r.insert(L']', 99);
  EXPECT_EQ(r, L"[aa]");
  r.replace(L"a", L"bb");
  r.reverse();
  EXPECT_EQ(r, L"]bbbb[");

  EXPECT_EQ(s.subString(10), L"");
  EXPECT_EQ(s.subString(2, 2), L"ca");
  EXPECT_EQ(cString::upperCase(s), L"ABCABC");
  EXPECT_EQ(s, L"abcabc");
}

TEST(cString, SizesAndConversions) {
  const cString s(L"text");
  EXPECT_EQ(s.size(), 8u);
  char* narrow = s.asChar();
  EXPECT_STREQ(narrow, "text");
  delete[] narrow;
  wchar_t* wide = s.asWchar();
  EXPECT_STREQ(wide, L"text");
  EXPECT_NE(wide, s.c_str());
  delete[] wide;

  // A character of several bytes in UTF-8 still arrives whole.
  const cString euro(L"\u20AC5");
  narrow = euro.asChar();
  EXPECT_STREQ(narrow, "\xE2\x82\xAC" "5");
  delete[] narrow;

  wchar_t* sys = s.allocateSysString();
  EXPECT_EQ(SysStringLen(sys), 4u);
  EXPECT_STREQ(sys, L"text");
  SysFreeString(sys);
}

TEST(cString, CountedConstructorsTakeExactlyCount) {
  EXPECT_TRUE(cString(L"abc", 0).isEmpty());
  EXPECT_TRUE(cString("abc", 0).isEmpty());
  EXPECT_EQ(cString(L"abcdef", 3), L"abc");
  EXPECT_EQ(cString("abcdef", 3), L"abc");
  const cString embedded("a\0b", 3);
  EXPECT_EQ(embedded.length(), 3u);
  EXPECT_EQ(embedded[2], L'b');
  EXPECT_EQ(cString(static_cast<const wchar_t*>(nullptr)), L"");
}

TEST(cString, NonConstantCStrWritesThroughToSharedCopies) {
  cString a(L"abc");
  const cString b(a);
  a.c_str()[0] = L'X';
  EXPECT_EQ(b, L"Xbc");
}

TEST(cString, IndexOutsideTheTextRaisesTheFrameworkFailure) {
  const cString s(L"ab");
  EXPECT_EQ(s[2], L'\0');
  EXPECT_EQ(s[1u], L'b');
  bool thrown = false;
  try {
    (void)s[0xFFFFFFFFu];
  } catch (CInvalidArgException* e) {
    thrown = true;
    e->Delete();
  }
  EXPECT_TRUE(thrown);
}
