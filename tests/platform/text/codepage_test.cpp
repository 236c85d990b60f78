// Code-page conversions as Win32 documents them: size queries, too-small
// buffers, terminators and ill-formed input.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cstring>
#include <string>

TEST(CodePage, AnsiCodePageIsUtf8) {
  EXPECT_EQ(GetACP(), 65001u);
  EXPECT_TRUE(IsValidCodePage(CP_UTF8));
  EXPECT_TRUE(IsValidCodePage(1252));
  EXPECT_FALSE(IsValidCodePage(12345));
}

TEST(CodePage, MultiByteToWideCharSizesAndBuffers) {
  const char* text = "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80";  // "grüß € 😀"
  // -1 counts the terminator; a size query ignores the destination.
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0), 9);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, static_cast<int>(std::strlen(text)), nullptr, 0), 8);

  wchar_t buffer[16];
  ASSERT_EQ(MultiByteToWideChar(CP_ACP, 0, text, -1, buffer, 16), 9);
  EXPECT_EQ(std::wstring(buffer), L"gr\u00FC\u00DF \u20AC \U0001F600");

  SetLastError(0);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, -1, buffer, 8), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));

  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, 0, buffer, 16), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, nullptr, -1, buffer, 16), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_PRECOMPOSED, text, -1, buffer, 16), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_FLAGS));
  EXPECT_EQ(MultiByteToWideChar(4711, 0, text, -1, buffer, 16), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(CodePage, IllFormedUtf8BecomesReplacementCharacters) {
  // A lone trail byte, a truncated three-byte sequence, an overlong form and
  // an encoded surrogate: each maximal ill-formed subpart is one U+FFFD.
  const char bad[] = "a\x80" "b\xE2\x82" "c\xC0\xAF" "d\xED\xA0\x80" "e\xF0\x9F";
  wchar_t buffer[32];
  const int n = MultiByteToWideChar(CP_UTF8, 0, bad, sizeof bad - 1, buffer, 32);
  EXPECT_EQ(std::wstring(buffer, n), L"a\uFFFDb\uFFFDc\uFFFD\uFFFDd\uFFFD\uFFFD\uFFFDe\uFFFD");

  SetLastError(0);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bad, sizeof bad - 1, buffer, 32), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION));
}

TEST(CodePage, WideCharToMultiByteSizesBuffersAndDefaults) {
  const wchar_t* text = L"\u00FC\u20AC\U0001F600";
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr), 10);

  char buffer[16];
  ASSERT_EQ(WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer, 16, nullptr, nullptr), 10);
  EXPECT_STREQ(buffer, "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer, 9, nullptr, nullptr), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));

  // UTF-8 takes no default character.
  BOOL used = TRUE;
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer, 16, nullptr, &used), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));

  // A single-byte page substitutes what it can't hold and says so.
  used = FALSE;
  ASSERT_EQ(WideCharToMultiByte(1252, 0, L"\u00FC\u20AC\u4E2D", 3, buffer, 16, nullptr, &used), 3);
  EXPECT_EQ(std::string(buffer, 3), "\xFC\x80?");
  EXPECT_TRUE(used);
  wchar_t back[4];
  ASSERT_EQ(MultiByteToWideChar(1252, 0, "\x80\x9F\xFF", 3, back, 4), 3);
  EXPECT_EQ(std::wstring(back, 3), L"\u20AC\u0178\u00FF");

}

TEST(CodePage, SurrogateCodeUnitsInWideText) {
  // Wide text is UTF-32: leniently a high-low pair is joined and a lone
  // surrogate becomes U+FFFD; strictly any surrogate unit fails with 1113.
  struct Case {
    std::wstring text;
    std::string lenient;
  };
  const wchar_t high = 0xD83D, low = 0xDE00;
  const Case cases[] = {
      {{high, L'x'}, "\xEF\xBF\xBDx"},
      {{L'x', low}, "x\xEF\xBF\xBD"},
      {{low, high}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {{high, low}, "\xF0\x9F\x98\x80"},
      {{L'a', high, low, L'b'}, "a\xF0\x9F\x98\x80" "b"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.text));
    char buffer[16];
    const int n = static_cast<int>(c.text.size());
    ASSERT_EQ(WideCharToMultiByte(CP_UTF8, 0, c.text.data(), n, buffer, 16, nullptr, nullptr),
              static_cast<int>(c.lenient.size()));
    EXPECT_EQ(std::string(buffer, c.lenient.size()), c.lenient);
    SetLastError(0);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, c.text.data(), n, buffer, 16, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION));
  }
  // A code point beyond U+10FFFF is ill-formed the same way.
  const wchar_t beyond[] = {static_cast<wchar_t>(0x110000), 0};
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, beyond, -1, nullptr, 0, nullptr, nullptr), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION));
}
