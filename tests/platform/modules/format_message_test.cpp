// FormatMessageW's insert language, its sources, buffers and failures, and
// the local memory its buffers come from.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

namespace {

// Formats from a string with a va_list into an allocated buffer; returns the
// text, or "<error N>" with the last error when the call fails.
std::wstring message(DWORD flags, const wchar_t* pattern, ...) {
  va_list arguments;
  va_start(arguments, pattern);
  wchar_t* text = nullptr;
  const DWORD n = FormatMessageW(flags | FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, pattern, 0, 0,
                                 reinterpret_cast<LPWSTR>(&text), 0, &arguments);
  va_end(arguments);
  if (n == 0) {
    EXPECT_EQ(text, nullptr);
    return L"<error " + std::to_wstring(GetLastError()) + L">";
  }
  std::wstring result(text);
  EXPECT_EQ(result.size(), n);
  EXPECT_EQ(LocalFree(text), nullptr);
  return result;
}

std::wstring fromArray(DWORD flags, const wchar_t* pattern, const DWORD_PTR* array) {
  wchar_t buffer[512];
  const DWORD n = FormatMessageW(flags | FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, pattern, 0, 0,
                                 buffer, 512, reinterpret_cast<va_list*>(const_cast<DWORD_PTR*>(array)));
  return n == 0 ? L"<error " + std::to_wstring(GetLastError()) + L">" : std::wstring(buffer, n);
}

std::wstring systemText(DWORD code, DWORD flags = 0, DWORD language = 0) {
  wchar_t buffer[512];
  const DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | flags, nullptr, code, language, buffer, 512, nullptr);
  return n == 0 ? L"<error " + std::to_wstring(GetLastError()) + L">" : std::wstring(buffer, n);
}

const std::wstring Error87 = L"<error 87>";

}  // namespace

TEST(FormatMessage, InsertsFromAVaList) {
  EXPECT_EQ(message(0, L"%1 %2 %1", L"Bill", L"Bob"), L"Bill Bob Bill");
  EXPECT_EQ(message(0, L"%1!d! of %2!d! writers agree: Soccer is %3%!", 4, 5, L"Best"),
            L"4 of 5 writers agree: Soccer is Best!");
  EXPECT_EQ(message(0, L"%2 before %1", L"one", L"two"), L"two before one");
  EXPECT_EQ(message(0, L"%1!08X! %2!-5u!| %3!I64u! %4!c! %5!S! %6!p!", 0xBEEF, 42u, 1099511627776ull, L'z', "narrow",
                    reinterpret_cast<void*>(0xABC)),
            L"0000BEEF 42   | 1099511627776 z narrow 0000000000000ABC");
  // Integers are 32 bits unless the format says 64, and the next insert still
  // reads the right value.
  EXPECT_EQ(message(0, L"%1!u! %2 %3!I64d!", -1, L"next", -5ll), L"4294967295 next -5");
  // With a list, an insert with two * uses up the next insert number.
  EXPECT_EQ(message(0, L"%1!*.*s! %3 %4!*s!", 4, 2, L"Bill", L"Bob", 6, L"Bill"), L"  Bi Bob   Bill");
  EXPECT_EQ(message(0, L"%10", L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8", L"9", L"ten"), L"ten");
  EXPECT_EQ(message(0, L"%100", L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8", L"9", L"ten"), L"ten0");
}

TEST(FormatMessage, InsertsFromAnArgumentArray) {
  const DWORD_PTR documented[] = {4, 2, reinterpret_cast<DWORD_PTR>(L"Bill"), reinterpret_cast<DWORD_PTR>(L"Bob"), 6,
                                  reinterpret_cast<DWORD_PTR>(L"Bill")};
  EXPECT_EQ(fromArray(0, L"%1!*.*s! %4 %5!*s!", documented), L"  Bi Bob   Bill");
  const DWORD_PTR numbers[] = {~static_cast<DWORD_PTR>(0), 0x100000001ull, 0x100000005ull};
  EXPECT_EQ(fromArray(0, L"%1!d! %2!I64d! %3!u! %3!x!", numbers), L"-1 4294967297 5 5");
  EXPECT_EQ(fromArray(0, L"%1!-4d!|%2!#x!", numbers), L"-1  |0x1");
}

TEST(FormatMessage, EscapesAndLineBreaks) {
  EXPECT_EQ(message(0, L"a%%b%.c%!d%_e%tf%rg%nh% i"), L"a%b.c!d_e\tf\rg\r\nh i");
  EXPECT_EQ(message(0, L"Continue? %0ignored"), L"Continue? ");
  EXPECT_EQ(message(0, L"line\r\n%0"), L"line\r\n");
  EXPECT_EQ(message(0, L"50%"), L"50");
  // The pattern's own line breaks, in any form, come out as CR LF.
  EXPECT_EQ(message(0, L"one\ntwo\r\nthree\rfour"), L"one\r\ntwo\r\nthree\r\nfour");
}

TEST(FormatMessage, LineWidth) {
  // 0xFF: the text's line breaks become blanks; %n stays a line break.
  EXPECT_EQ(message(FORMAT_MESSAGE_MAX_WIDTH_MASK, L"one\r\ntwo%nthree\r\n"), L"one two\r\nthree ");
  // Any other width wraps at white space, never inside a word.
  EXPECT_EQ(message(10, L"The quick brown fox\r\njumps over the lazy dog"),
            L"The quick\r\nbrown fox\r\njumps over\r\nthe lazy\r\ndog");
  EXPECT_EQ(message(5, L"abcdefgh ij"), L"abcdefgh\r\nij");
  EXPECT_EQ(message(10, L"aaaa%nbbbbbbbb cc"), L"aaaa\r\nbbbbbbbb\r\ncc");
  EXPECT_EQ(message(10, L"%1 and more", L"inserted words wrap too"), L"inserted\r\nwords wrap\r\ntoo and\r\nmore");
}

TEST(FormatMessage, IgnoreInsertsKeepsThemAsWritten) {
  wchar_t buffer[64];
  const DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_IGNORE_INSERTS,
                                 L"Insert %1 into %2!s! (%3!d) now%n", 0, 0, buffer, 64, nullptr);
  EXPECT_EQ(std::wstring(buffer, n), L"Insert %1 into %2!s! (%3!d) now\r\n");
}

TEST(FormatMessage, FixedBuffersAndAllocation) {
  wchar_t buffer[8] = {};
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, L"abcd", 0, 0, buffer, 5, nullptr), 4u);
  EXPECT_STREQ(buffer, L"abcd");
  SetLastError(0);
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, L"abcd", 0, 0, buffer, 4, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));

  // The size is the least number of characters to allocate.
  wchar_t* text = nullptr;
  ASSERT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, L"abc", 0, 0,
                           reinterpret_cast<LPWSTR>(&text), 100, nullptr),
            3u);
  EXPECT_EQ(LocalSize(text), 100 * sizeof(wchar_t));
  EXPECT_EQ(LocalFree(text), nullptr);
  ASSERT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, L"abc", 0, 0,
                           reinterpret_cast<LPWSTR>(&text), 0, nullptr),
            3u);
  EXPECT_EQ(LocalSize(text), 4 * sizeof(wchar_t));
  EXPECT_EQ(LocalFree(text), nullptr);
}

TEST(FormatMessage, MessagesUpTo64KCharacters) {
  const std::wstring longest(65535, L'x');
  EXPECT_EQ(message(0, longest.c_str()).size(), 65535u);
  EXPECT_EQ(message(0, (longest + L"x").c_str()), L"<error 234>");
  const std::wstring half(40000, L'y');
  EXPECT_EQ(message(0, L"%1%2", half.c_str(), half.c_str()), L"<error 234>");
  EXPECT_EQ(message(0, L"%1!999999999s!", L"wide"), L"<error 234>");
  // Wrapping turns a blank into a line break, which counts too.
  EXPECT_EQ(message(1, std::wstring(40000, L'a').append(L" ").append(std::wstring(25533, L'b')).c_str()).size(), 65535u);
  EXPECT_EQ(message(1, std::wstring(40000, L'a').append(L" ").append(std::wstring(25534, L'b')).c_str()),
            L"<error 234>");
}

TEST(FormatMessage, BadCallsFailCleanly) {
  // Inserts without arguments, malformed or floating-point insert formats.
  wchar_t buffer[32];
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, L"%1", 0, 0, buffer, 32, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(message(0, L"%1!d", 1), Error87);
  EXPECT_EQ(message(0, L"%1!q!", 1), Error87);
  EXPECT_EQ(message(0, L"%1!!", 1), Error87);
  EXPECT_EQ(message(0, L"%1!f!", 1.5), Error87);
  EXPECT_EQ(message(0, L"%1!d! %1!s!", 1), Error87);  // one value read as two types
  // Sources.
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, nullptr, 0, 0, buffer, 32, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_SYSTEM, L"x", 2, 0, buffer, 32, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(FormatMessageW(0, L"x", 0, 0, buffer, 32, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, L"x", 0, 0, nullptr, 32, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE, nullptr, 1, 0, buffer, 32, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_TYPE_NOT_FOUND));
}

TEST(FormatMessage, SystemTextsForEveryCodeTheLayerProduces) {
  // Read the codes from the public header, so that a new code without a text fails here.
  const auto root = std::filesystem::path(QNLITH_SOURCE_DIR);
  std::ifstream header(root / "include/qnlith/win32/errors.h");
  ASSERT_TRUE(header.good());
  const std::regex define(R"(#define\s+(ERROR_\w+)\s+(\d+)L)");
  int codes = 0;
  for (std::string line; std::getline(header, line);) {
    std::smatch m;
    if (!std::regex_search(line, m, define)) continue;
    ++codes;
    const DWORD code = static_cast<DWORD>(std::stoul(m[2]));
    const std::wstring text = systemText(code);
    EXPECT_GT(text.size(), 4u) << m[1];
    EXPECT_EQ(text.substr(text.size() - 2), L"\r\n") << m[1];
    EXPECT_EQ(text.find(L'%'), std::wstring::npos) << m[1];
    // The Win32 facility's HRESULT has the same text.
    EXPECT_EQ(systemText(0x80070000u | code), text) << m[1];
  }
  EXPECT_GT(codes, 50);
}

TEST(FormatMessage, SystemTextsAsTheLibraryAsksForThem) {
  EXPECT_EQ(systemText(ERROR_FILE_NOT_FOUND, 0, 0x400), systemText(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(systemText(ERROR_FILE_NOT_FOUND, 0, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US)),
            systemText(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(systemText(ERROR_FILE_NOT_FOUND, 0, 0x0407), L"<error 1815>");
  EXPECT_EQ(systemText(0x12345), L"<error 317>");
  EXPECT_NE(systemText(0x80004005u).find(L"\r\n"), std::wstring::npos);  // E_FAIL
  // Without a width the text ends in a blank instead of a line break.
  const std::wstring full = systemText(ERROR_ACCESS_DENIED);
  EXPECT_EQ(systemText(ERROR_ACCESS_DENIED, FORMAT_MESSAGE_MAX_WIDTH_MASK), full.substr(0, full.size() - 2) + L" ");
  // A module has no message table yet, so the search goes on to the system.
  EXPECT_EQ(systemText(ERROR_ACCESS_DENIED, FORMAT_MESSAGE_FROM_HMODULE), full);
  // 0x1300: allocated, from the system, inserts ignored; the text fits 256.
  wchar_t* text = nullptr;
  const DWORD n = FormatMessageW(0x1300, nullptr, ERROR_SHARING_VIOLATION, 0x400, reinterpret_cast<LPWSTR>(&text), 0,
                                 nullptr);
  ASSERT_GT(n, 0u);
  EXPECT_LT(n, 256u);
  EXPECT_EQ(std::wstring(text), systemText(ERROR_SHARING_VIOLATION));
  LocalFree(text);
}

TEST(LocalMemory, FixedBlocksAndForeignPointers) {
  auto* zeroed = static_cast<unsigned char*>(LocalAlloc(LPTR, 64));
  ASSERT_NE(zeroed, nullptr);
  for (int i = 0; i < 64; ++i) EXPECT_EQ(zeroed[i], 0);
  EXPECT_EQ(LocalSize(zeroed), 64u);
  EXPECT_EQ(LocalFree(zeroed), nullptr);
  // Freed twice, or never ours: the handle comes back with error 6.
  SetLastError(0);
  EXPECT_EQ(LocalFree(zeroed), zeroed);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  int local = 0;
  EXPECT_EQ(LocalFree(&local), &local);
  EXPECT_EQ(LocalSize(&local), 0u);
  EXPECT_EQ(LocalFree(nullptr), nullptr);

  HLOCAL empty = LocalAlloc(LMEM_FIXED, 0);
  EXPECT_NE(empty, nullptr);
  EXPECT_EQ(LocalFree(empty), nullptr);
  EXPECT_EQ(LocalAlloc(LMEM_MOVEABLE, 16), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}
