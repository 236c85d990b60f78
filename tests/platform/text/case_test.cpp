// Case-insensitive comparison of names beyond ASCII, shared by directory
// searches, resource names and version keys: it never disturbs errno or the
// thread's last error, not even the first time a process uses it.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cerrno>
#include <string>

#include "support/scratch.h"

namespace {

std::wstring found(const std::wstring& pattern) {
  WIN32_FIND_DATAW data{};
  const HANDLE search = FindFirstFileW(pattern.c_str(), &data);
  if (search == INVALID_HANDLE_VALUE) return L"error " + std::to_wstring(GetLastError());
  std::wstring names = data.cFileName;
  while (FindNextFileW(search, &data)) names += L"|" + std::wstring(data.cFileName);
  FindClose(search);
  return names;
}

}  // namespace

// Each test case runs in a process of its own, so this search is the
// process's first, the one that set the case table up.
TEST(CaseFolding, FirstSearchOverANonAsciiNameFinds) {
  ScratchDirectory dir;
  dir.write("caf\xC3\xA9.txt", "x");
  errno = 0;
  EXPECT_EQ(found(dir.wide() + L"/*.txt"), L"caf\u00E9.txt");
  EXPECT_EQ(errno, 0) << "the search leaves errno alone";
}

TEST(CaseFolding, NamesMatchWithoutCaseBeyondAscii) {
  ScratchDirectory dir;
  dir.write("caf\xC3\xA9.txt", "x");                      // café
  dir.write("\xCE\xB1\xCE\xB2.txt", "x");                 // αβ
  dir.write("\xC4\xB1.txt", "x");                         // ı, dotless i
  dir.write("\xF0\x90\x90\xA8.txt", "x");                 // a Deseret small letter
  struct Row {
    std::wstring pattern;
    std::wstring names;
  };
  const Row rows[] = {
      {L"CAF\u00C9.TXT", L"caf\u00E9.txt"},
      {L"\u0391\u0392.*", L"\u03B1\u03B2.txt"},
      {L"I.txt", L"error 2"},               // dotless i is no i
      {L"\u0131.TXT", L"\u0131.txt"},
      {L"\U00010400.txt", L"error 2"},      // beyond the BMP a name compares as it is
      {L"\U00010428.txt", L"\U00010428.txt"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.pattern));
    EXPECT_EQ(found(dir.wide() + L"/" + row.pattern), row.names);
  }
}
