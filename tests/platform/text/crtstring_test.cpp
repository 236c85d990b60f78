// Bounded copies and automation strings with their documented results.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>

TEST(CrtString, WcsncpySWithTruncate) {
  wchar_t buffer[9];
  std::wmemset(buffer, L'#', 9);
  EXPECT_EQ(wcsncpy_s(buffer, 8, L"abcdefg", _TRUNCATE), 0);
  EXPECT_STREQ(buffer, L"abcdefg");
  EXPECT_EQ(wcsncpy_s(buffer, 8, L"abcdefgh", _TRUNCATE), STRUNCATE);
  EXPECT_STREQ(buffer, L"abcdefg");
  EXPECT_EQ(buffer[8], L'#');
}

TEST(CrtString, WcsncpySWithACount) {
  wchar_t buffer[9];
  std::wmemset(buffer, L'#', 9);
  EXPECT_EQ(wcsncpy_s(buffer, 8, L"abcdefgh", 3), 0);
  EXPECT_STREQ(buffer, L"abc");
  EXPECT_EQ(wcsncpy_s(buffer, 8, L"abcdefgh", 7), 0);
  EXPECT_STREQ(buffer, L"abcdefg");
  // The counted string constructor: count + 1 of room, a source that ends early.
  EXPECT_EQ(wcsncpy_s(buffer, 6, L"ab", 5), 0);
  EXPECT_STREQ(buffer, L"ab");
  EXPECT_EQ(wcsncpy_s(buffer, 1, L"abc", 0), 0);
  EXPECT_STREQ(buffer, L"");
  errno = 0;
  EXPECT_EQ(wcsncpy_s(buffer, 8, L"abcdefgh", 8), ERANGE);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[8], L'#');
  // Null pointers and a size of 0.
  buffer[0] = L'x';
  errno = 0;
  EXPECT_EQ(wcsncpy_s(buffer, 8, nullptr, 3), EINVAL);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(wcsncpy_s(nullptr, 8, L"abc", 3), EINVAL);
  buffer[0] = L'x';
  EXPECT_EQ(wcsncpy_s(buffer, 0, L"abc", _TRUNCATE), EINVAL);
  EXPECT_EQ(buffer[0], L'x');
}

TEST(CrtString, WcscpyS) {
  wchar_t buffer[9];
  std::wmemset(buffer, L'#', 9);
  EXPECT_EQ(wcscpy_s(buffer, 8, L"abcdefg"), 0);
  EXPECT_STREQ(buffer, L"abcdefg");
  errno = 0;
  EXPECT_EQ(wcscpy_s(buffer, 8, L"abcdefgh"), ERANGE);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[8], L'#');
  EXPECT_EQ(wcscpy_s(buffer, 8, nullptr), EINVAL);
  EXPECT_EQ(wcscpy_s(nullptr, 8, L"a"), EINVAL);
  EXPECT_EQ(wcscpy_s(buffer, 0, L"a"), EINVAL);
}

TEST(CrtString, LstrcpynCopiesOneLessThanItsMaximum) {
  wchar_t buffer[8];
  std::wmemset(buffer, L'#', 8);
  EXPECT_EQ(lstrcpynW(buffer, L"abcdef", 5), buffer);
  EXPECT_STREQ(buffer, L"abcd");
  EXPECT_EQ(buffer[5], L'#');
  EXPECT_EQ(lstrcpynW(buffer, L"abc", 8), buffer);
  EXPECT_STREQ(buffer, L"abc");
  EXPECT_EQ(lstrcpynW(buffer, L"abc", 1), buffer);
  EXPECT_STREQ(buffer, L"");
  buffer[0] = L'k';
  EXPECT_EQ(lstrcpynW(buffer, L"abc", 0), buffer);
  EXPECT_EQ(buffer[0], L'k');
  EXPECT_EQ(lstrcpynW(buffer, nullptr, 4), nullptr);
  EXPECT_EQ(lstrcpynW(nullptr, L"abc", 4), nullptr);
}

TEST(AutomationString, LengthPrefixCountsTwoBytesPerCharacter) {
  BSTR text = SysAllocString(L"hello");
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, L"hello");
  EXPECT_EQ(SysStringLen(text), 5u);
  EXPECT_EQ(SysStringByteLen(text), 10u);
  DWORD prefix;
  std::memcpy(&prefix, reinterpret_cast<unsigned char*>(text) - sizeof(DWORD), sizeof prefix);
  EXPECT_EQ(prefix, 10u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(text) % 8, 0u);
  SysFreeString(text);

  BSTR empty = SysAllocString(L"");
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(SysStringLen(empty), 0u);
  EXPECT_EQ(empty[0], 0);
  SysFreeString(empty);
}

TEST(AutomationString, CountedAllocationAndNulls) {
  BSTR part = SysAllocStringLen(L"abcdef", 3);
  EXPECT_EQ(std::wstring(part), L"abc");
  EXPECT_EQ(SysStringLen(part), 3u);
  SysFreeString(part);
  // Embedded terminators count; a null source gives zeros.
  BSTR embedded = SysAllocStringLen(L"a\0b", 3);
  EXPECT_EQ(SysStringLen(embedded), 3u);
  EXPECT_EQ(std::wstring(embedded, 3), std::wstring(L"a\0b", 3));
  SysFreeString(embedded);
  BSTR zeros = SysAllocStringLen(nullptr, 4);
  EXPECT_EQ(std::wstring(zeros, 5), std::wstring(5, L'\0'));
  SysFreeString(zeros);

  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysAllocStringLen(nullptr, 0xFFFFFFFFu), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  EXPECT_EQ(SysStringByteLen(nullptr), 0u);
  SysFreeString(nullptr);
}
