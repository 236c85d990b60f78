// FormatMessageW's insert language, its sources, buffers and failures, and
// the local memory its buffers come from. Each table row is one documented
// answer; a failing row is named by its pattern.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

namespace {

std::wstring errorText(DWORD error) { return L"<error " + std::to_wstring(error) + L">"; }

// Formats from a string with a va_list into an allocated buffer; returns the
// text, or "<error N>" with the last error when the call fails.
std::wstring message(DWORD flags, const wchar_t* pattern, ...) {
  va_list arguments;
  va_start(arguments, pattern);
  wchar_t* text = reinterpret_cast<wchar_t*>(1);
  const DWORD n = FormatMessageW(flags | FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, pattern, 0, 0,
                                 reinterpret_cast<LPWSTR>(&text), 0, &arguments);
  va_end(arguments);
  if (n == 0) {
    EXPECT_EQ(text, nullptr) << "no block on failure";
    return errorText(GetLastError());
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
  return n == 0 ? errorText(GetLastError()) : std::wstring(buffer, n);
}

std::wstring systemText(DWORD code, DWORD flags = 0, DWORD language = 0) {
  wchar_t buffer[512];
  const DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | flags, nullptr, code, language, buffer, 512, nullptr);
  return n == 0 ? errorText(GetLastError()) : std::wstring(buffer, n);
}

struct Row {
  std::wstring pattern;
  std::wstring got;
  std::wstring expected;
};

// A row whose call formats `pattern`, named by it.
#define MESSAGE(expected, flags, pattern, ...) \
  Row{pattern, message(flags, pattern __VA_OPT__(, ) __VA_ARGS__), expected}

void expectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) EXPECT_EQ(row.got, row.expected) << "pattern " << ::testing::PrintToString(row.pattern);
}

const std::wstring Error87 = errorText(ERROR_INVALID_PARAMETER);
const std::wstring NoWorkDone = errorText(ERROR_NO_WORK_DONE);

}  // namespace

TEST(FormatMessage, InsertsFromAVaList) {
  expectRows({
      MESSAGE(L"Bill Bob Bill", 0, L"%1 %2 %1", L"Bill", L"Bob"),
      MESSAGE(L"4 of 5 writers agree: Soccer is Best!", 0, L"%1!d! of %2!d! writers agree: Soccer is %3%!", 4, 5,
              L"Best"),
      MESSAGE(L"two before one", 0, L"%2 before %1", L"one", L"two"),
      MESSAGE(L"0000BEEF 42   | 1099511627776 z narrow 0000000000000ABC", 0,
              L"%1!08X! %2!-5u!| %3!I64u! %4!c! %5!S! %6!p!", 0xBEEF, 42u, 1099511627776ull, L'z', "narrow",
              reinterpret_cast<void*>(0xABC)),
      // Integers are 32 bits unless the format says 64, and the next insert
      // still reads the right value.
      MESSAGE(L"4294967295 next -5", 0, L"%1!u! %2 %3!I64d!", -1, L"next", -5ll),
      // An insert with two * uses up the next insert number.
      MESSAGE(L"  Bi Bob   Bill", 0, L"%1!*.*s! %3 %4!*s!", 4, 2, L"Bill", L"Bob", 6, L"Bill"),
      // * width and precision are read afresh at each use of the insert.
      MESSAGE(L"  001, 0002", 0, L"%1!*.*u!,%1!*.*u!", 5, 3, 1, 4, 2),
      MESSAGE(L"ten", 0, L"%10", L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8", L"9", L"ten"),
      MESSAGE(L"ten0", 0, L"%100", L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8", L"9", L"ten"),
  });
}

TEST(FormatMessage, InsertsFromAnArgumentArray) {
  const DWORD_PTR documented[] = {4, 2, reinterpret_cast<DWORD_PTR>(L"Bill"), reinterpret_cast<DWORD_PTR>(L"Bob"), 6,
                                  reinterpret_cast<DWORD_PTR>(L"Bill")};
  const DWORD_PTR numbers[] = {~static_cast<DWORD_PTR>(0), 0x100000001ull, 0x100000005ull};
  const DWORD_PTR stars[] = {6, 4, 2, 5, 3, 1};
  expectRows({
      {L"%1!*.*s! %4 %5!*s!", fromArray(0, L"%1!*.*s! %4 %5!*s!", documented), L"  Bi Bob   Bill"},
      {L"%1!d! %2!I64d! %3!u! %3!x!", fromArray(0, L"%1!d! %2!I64d! %3!u! %3!x!", numbers), L"-1 4294967297 5 5"},
      {L"%1!-4d!|%2!#x!", fromArray(0, L"%1!-4d!|%2!#x!", numbers), L"-1  |0x1"},
      {L"%1!*.*u!,%1!*.*u!", fromArray(0, L"%1!*.*u!,%1!*.*u!", stars), L"  0002, 00003"},
  });
}

TEST(FormatMessage, EscapesAndLineBreaks) {
  expectRows({
      MESSAGE(L"a%b.c!d_e\tf\rg\r\nh i", 0, L"a%%b%.c%!d%_e%tf%rg%nh% i"),
      MESSAGE(L"Continue? ", 0, L"Continue? %0ignored"),
      MESSAGE(L"line\r\n", 0, L"line\r\n%0"),
      // The pattern's own line breaks, in any form, come out as CR LF.
      MESSAGE(L"one\r\ntwo\r\nthree\r\nfour", 0, L"one\ntwo\r\nthree\rfour"),
      // A lone % at the end is invalid.
      MESSAGE(Error87, 0, L"50%"),
      MESSAGE(Error87, 0, L"%"),
  });
}

TEST(FormatMessage, AnEmptyResultIsNoWorkDone) {
  expectRows({
      MESSAGE(NoWorkDone, 0, L""),
      MESSAGE(NoWorkDone, 0, L"%0test"),
      MESSAGE(NoWorkDone, 0, L"%1", L""),
      MESSAGE(NoWorkDone, FORMAT_MESSAGE_IGNORE_INSERTS, L"%0"),
  });
  // Into a fixed buffer too.
  wchar_t buffer[8] = L"old";
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, L"", 0, 0, buffer, 8, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_WORK_DONE));
}

TEST(FormatMessage, IgnoreInsertsKeepsEveryPercentSequenceButFour) {
  expectRows({
      MESSAGE(L"Insert %1 into %2!s! (%3!d) now\r\n", FORMAT_MESSAGE_IGNORE_INSERTS,
              L"Insert %1 into %2!s! (%3!d) now%n"),
      MESSAGE(L"%%% %.%!", FORMAT_MESSAGE_IGNORE_INSERTS, L"%%% %.%!"),
      MESSAGE(L"%1 %2!d! \r\n %% %. x", FORMAT_MESSAGE_IGNORE_INSERTS, L"%1 %2!d! %n %% %. x%0y"),
      MESSAGE(L"a\rb\tc", FORMAT_MESSAGE_IGNORE_INSERTS, L"a%rb%tc"),
  });
}

TEST(FormatMessage, LineWidth) {
  expectRows({
      // 0xFF: the text's line breaks become blanks; %n stays a line break.
      MESSAGE(L"one two\r\nthree ", FORMAT_MESSAGE_MAX_WIDTH_MASK, L"one\r\ntwo%nthree\r\n"),
      // A line never reaches the width: it breaks after its last blank, the
      // blanks there dropped; a line without one is cut at the width.
      MESSAGE(L"short long long\r\nline", 20, L"short long long line"),
      MESSAGE(L"short\r\nlong line", 10, L"short long line"),
      MESSAGE(L"short long\r\nwordlongerthanal\r\nine", 16, L"short long    wordlongerthanaline"),
      MESSAGE(L"short long\r\n  line", 12, L"short long    line"),
      MESSAGE(L"\r\nshortlong\r\nline", 11, L"   shortlong line"),
      MESSAGE(L"shortlon\r\n", 8, L"shortlon"),
      MESSAGE(L"shortlon\r\ngline", 8, L"shortlongline"),
      MESSAGE(L"short\rlong line", 10, L"short%rlong line"),
      MESSAGE(L"short\r\nlong\tline", 11, L"short long\tline"),
      MESSAGE(L"abcde\r\nfghij\r\n klm", 5, L"abcdefghij klm"),
      // The pattern's line breaks are blanks, %n resets the line, inserts wrap.
      MESSAGE(L"The quick\r\nbrown fox\r\njumps\r\nover the\r\nlazy dog", 10,
              L"The quick brown fox\r\njumps over the lazy dog"),
      MESSAGE(L"abcde\r\nfgh\r\nij", 5, L"abcdefgh ij"),
      MESSAGE(L"aaaa\r\nbbbbbbbb\r\ncc", 10, L"aaaa%nbbbbbbbb cc"),
      MESSAGE(L"inserted\r\nwords\r\nwrap too\r\nand more", 10, L"%1 and more", L"inserted words wrap too"),
  });
}

TEST(FormatMessage, FromStringWinsOverOtherSources) {
  wchar_t buffer[8] = {};
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_FROM_HMODULE,
                           L"test", ERROR_ACCESS_DENIED, 0, buffer, 8, nullptr),
            4u);
  EXPECT_STREQ(buffer, L"test");
}

TEST(FormatMessage, FixedBuffersAndAllocation) {
  wchar_t buffer[8] = {};
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, L"abcd", 0, 0, buffer, 5, nullptr), 4u);
  EXPECT_STREQ(buffer, L"abcd");
  // Too small: what fits, terminated.
  std::wmemcpy(buffer, L"xxxxxxx", 8);
  SetLastError(0);
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, L"test", 0, 0, buffer, 4, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_STREQ(buffer, L"tes");
  EXPECT_EQ(buffer[4], L'x') << "nothing past the size";

  // A lone % at the end: what came before stands, unterminated; "%" writes nothing.
  std::wmemcpy(buffer, L"1234567", 8);
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, L"test%", 0, 0, buffer, 8, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_STREQ(buffer, L"test567");
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, L"%", 0, 0, buffer, 8, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_STREQ(buffer, L"test567");

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

namespace {

// Fails on a 1-character buffer, then reads on in the caller's list.
const wchar_t* nextAfterOverflow(const wchar_t* pattern, ...) {
  va_list arguments;
  va_start(arguments, pattern);
  wchar_t buffer[1];
  const DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_STRING, pattern, 0, 0, buffer, 1, &arguments);
  EXPECT_EQ(n, 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  const wchar_t* next = va_arg(arguments, const wchar_t*);
  va_end(arguments);
  return next;
}

}  // namespace

TEST(FormatMessage, ArgumentsAreReadOnlyUpToTheInsertThatOverflows) {
  EXPECT_STREQ(nextAfterOverflow(L"%1!s! %2!s!", L"first", L"second", L"third"), L"second");
}

TEST(FormatMessage, LongMessages) {
  const std::wstring source(66000, L'x');
  EXPECT_EQ(message(0, source.c_str()), source);
  const std::wstring million(1000000, L'y');
  EXPECT_EQ(message(0, L"%1%2", million.c_str(), L"!").size(), 1000001u);
  EXPECT_EQ(message(0, L"%1!999999999s!", L"wide"), errorText(ERROR_MORE_DATA)) << "beyond what one call allocates";
  // Width 1: every character of a word is a line of its own.
  EXPECT_EQ(message(1, L"ab c"), L"a\r\nb\r\n\r\nc\r\n");
}

TEST(FormatMessage, BadCallsFailCleanly) {
  wchar_t buffer[32];
  // Inserts without arguments, malformed or floating-point insert formats.
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, L"%1", 0, 0, buffer, 32, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  expectRows({
      MESSAGE(Error87, 0, L"%1!d", 1),
      MESSAGE(Error87, 0, L"%1!q!", 1),
      MESSAGE(Error87, 0, L"%1!!", 1),
      MESSAGE(Error87, 0, L"%1!f!", 1.5),
      MESSAGE(Error87, 0, L"%1!d! %1!s!", 1),  // one value read as two types
  });
  // Sources.
  struct Source {
    DWORD flags;
    const wchar_t* source;
    wchar_t* buffer;
    DWORD error;
  };
  const Source sources[] = {
      {FORMAT_MESSAGE_FROM_STRING, nullptr, buffer, ERROR_INVALID_PARAMETER},
      {0, L"x", buffer, ERROR_INVALID_PARAMETER},
      {FORMAT_MESSAGE_FROM_STRING, L"x", nullptr, ERROR_INVALID_PARAMETER},
      {FORMAT_MESSAGE_FROM_HMODULE, nullptr, buffer, ERROR_RESOURCE_TYPE_NOT_FOUND},
  };
  for (const Source& row : sources) {
    SCOPED_TRACE(row.flags);
    EXPECT_EQ(FormatMessageW(row.flags, row.source, 1, 0, row.buffer, 32, nullptr), 0u);
    EXPECT_EQ(GetLastError(), row.error);
  }
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
  const std::wstring full = systemText(ERROR_ACCESS_DENIED);
  struct Case {
    DWORD code, flags, language;
    std::wstring expected;
  };
  const Case cases[] = {
      {ERROR_FILE_NOT_FOUND, 0, 0x400, systemText(ERROR_FILE_NOT_FOUND)},
      {ERROR_FILE_NOT_FOUND, 0, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), systemText(ERROR_FILE_NOT_FOUND)},
      {ERROR_FILE_NOT_FOUND, 0, 0x0407, errorText(ERROR_RESOURCE_LANG_NOT_FOUND)},
      {0x12345, 0, 0, errorText(ERROR_MR_MID_NOT_FOUND)},
      // Without a width the text ends in a blank instead of a line break.
      {ERROR_ACCESS_DENIED, FORMAT_MESSAGE_MAX_WIDTH_MASK, 0, full.substr(0, full.size() - 2) + L" "},
      // A module has no message table yet, so the search goes on to the system.
      {ERROR_ACCESS_DENIED, FORMAT_MESSAGE_FROM_HMODULE, 0, full},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    EXPECT_EQ(systemText(c.code, c.flags, c.language), c.expected);
  }
  EXPECT_NE(systemText(0x80004005u).find(L"\r\n"), std::wstring::npos);  // E_FAIL
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
