// Directory searches: Win32 wildcards, the order of entries and the find record.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cstring>
#include <vector>

#include "support/scratch.h"

namespace {

DWORD error() { return GetLastError(); }

// Every name a search gives, in its order; empty with the last error kept
// when the first step fails.
std::vector<std::wstring> search(const std::wstring& pattern) {
  std::vector<std::wstring> names;
  WIN32_FIND_DATAW data;
  HANDLE h = FindFirstFileW(pattern.c_str(), &data);
  if (h == INVALID_HANDLE_VALUE) return names;
  do names.push_back(data.cFileName);
  while (FindNextFileW(h, &data));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_NO_MORE_FILES));
  EXPECT_TRUE(FindClose(h));
  return names;
}

using Names = std::vector<std::wstring>;

class DirectorySearch : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"a.txt", "B.TXT", "ab.txt", "abc.txt", "readme", "x.tar.gz", ".hidden", "a.b.c"})
      dir.write(name, "12345");
    std::filesystem::create_directory(dir.path("sub"));
  }
  std::wstring in(const wchar_t* pattern) const { return dir.wide() + L"\\" + pattern; }

  ScratchDirectory dir;
};

}  // namespace

TEST_F(DirectorySearch, WildcardsMatchAsWin32Matches) {
  const Names all{L".", L"..", L".hidden", L"a.b.c", L"a.txt", L"ab.txt", L"abc.txt", L"B.TXT",
                  L"readme", L"sub", L"x.tar.gz"};
  EXPECT_EQ(search(in(L"*")), all) << "dot entries first, then case-insensitive order";
  EXPECT_EQ(search(in(L"*.*")), all) << "*.* matches names without a dot as well";
  EXPECT_EQ(search(in(L"*.txt")), (Names{L"a.txt", L"ab.txt", L"abc.txt", L"B.TXT"}));
  EXPECT_EQ(search(in(L"*.TXT")), search(in(L"*.txt")));
  EXPECT_EQ(search(in(L"*.")), (Names{L".", L"..", L"readme", L"sub"})) << "a trailing dot: no extension";
  EXPECT_EQ(search(in(L"a?.txt")), (Names{L"a.txt", L"ab.txt"})) << "? may match nothing before a dot";
  EXPECT_EQ(search(in(L"???")), (Names{L"sub"})) << "? matches nothing only at a dot or the end";
  EXPECT_EQ(search(in(L"a*")), (Names{L"a.b.c", L"a.txt", L"ab.txt", L"abc.txt"}));
  EXPECT_EQ(search(in(L"readme.*")), (Names{L"readme"})) << ".* also matches the end of a name";
  EXPECT_EQ(search(in(L"readme.")), (Names{L"readme"}));
  EXPECT_EQ(search(in(L"*.gz")), (Names{L"x.tar.gz"}));
  EXPECT_EQ(search(in(L"*.tar")), Names{}) << "* before a dot stops at the last dot";
  EXPECT_EQ(search(in(L"x.*.gz")), (Names{L"x.tar.gz"}));
  EXPECT_EQ(search(in(L"*b*")), (Names{L"a.b.c", L"ab.txt", L"abc.txt", L"B.TXT", L"sub"}));
  EXPECT_EQ(search(in(L"README")), (Names{L"readme"})) << "a plain name is found whatever its case";
  EXPECT_EQ(search(dir.wide() + L"/sub/*"), (Names{L".", L".."}));
}

TEST_F(DirectorySearch, FailuresSayWhatWasMissing) {
  EXPECT_EQ(search(in(L"*.none")), Names{});
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(search(in(L"missing\\*")), Names{});
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(search(in(L"a.txt\\*")), Names{});
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_DIRECTORY));
  EXPECT_EQ(search(in(L"sub\\")), Names{}) << "a pattern ending in a separator names nothing";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(search(in(L"s*b\\*")), Names{}) << "wildcards belong to the last component only";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_NAME));
  EXPECT_EQ(search(L""), Names{});
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(search(std::wstring(MAX_PATH, L'a')), Names{});
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));

  WIN32_FIND_DATAW data;
  EXPECT_EQ(FindFirstFileW(in(L"*").c_str(), nullptr), INVALID_HANDLE_VALUE);
  EXPECT_FALSE(FindNextFileW(INVALID_HANDLE_VALUE, &data));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(FindClose(INVALID_HANDLE_VALUE));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  HANDLE file = CreateFileW(in(L"a.txt").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_FALSE(FindClose(file)) << "a file handle is no search";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  CloseHandle(file);
}

TEST_F(DirectorySearch, TheFindRecordDescribesTheEntry) {
  const SYSTEMTIME when{2010, 6, 2, 15, 12, 30, 45, 0};
  FILETIME stamp;
  SystemTimeToFileTime(&when, &stamp);
  HANDLE h = CreateFileW(in(L"abc.txt").c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(SetFileTime(h, nullptr, &stamp, &stamp));
  CloseHandle(h);

  WIN32_FIND_DATAW data;
  std::memset(&data, 0xAB, sizeof data);
  h = FindFirstFileW(in(L"ABC.TXT").c_str(), &data);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(std::wstring(data.cFileName), L"abc.txt") << "the name as the directory holds it";
  EXPECT_EQ(data.cAlternateFileName[0], L'\0');
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_EQ(data.nFileSizeHigh, 0u);
  EXPECT_EQ(data.nFileSizeLow, 5u);
  EXPECT_EQ(data.dwReserved0, 0u);
  EXPECT_EQ(CompareFileTime(&data.ftLastWriteTime, &stamp), 0);
  EXPECT_EQ(CompareFileTime(&data.ftLastAccessTime, &stamp), 0);
  EXPECT_NE(data.ftCreationTime.dwHighDateTime, 0u);
  EXPECT_FALSE(FindNextFileW(h, &data));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_NO_MORE_FILES));
  EXPECT_TRUE(FindClose(h));
  EXPECT_FALSE(FindClose(h));

  h = FindFirstFileW(in(L".h*").c_str(), &data);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_HIDDEN);
  FindClose(h);
  h = FindFirstFileW(in(L"su?").c_str(), &data);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_EQ(data.nFileSizeLow, 0u);
  FindClose(h);
}

// Names on disk that no Win32 name can spell are listed with stand-ins
// (U+F000 plus the character or byte), and the listed name reaches the
// file through every call that takes a path.
TEST(DirectorySearchNames, WhatIsListedReachesTheFile) {
  struct Row {
    const char* onDisk;
    const wchar_t* listed;
  } rows[] = {
      {"a\\b.txt", L"a\uF05Cb.txt"},   {"star*.txt", L"star\uF02A.txt"}, {"q?.txt", L"q\uF03F.txt"},
      {"lt<gt>.txt", L"lt\uF03Cgt\uF03E.txt"}, {"bar|\"q\".txt", L"bar\uF07C\uF022q\uF022.txt"},
      {"tab\tname", L"tab\uF009name"}, {"note.", L"note\uF02E"},       {"blank ", L"blank\uF020"},
      {"dots..", L"dots\uF02E\uF02E"}, {"bad\xff\xfe.txt", L"bad\uF0FF\uF0FE.txt"},
      {"caf\xc3\xa9.txt", L"caf\u00e9.txt"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.onDisk);
    ScratchDirectory dir;
    dir.write(row.onDisk, "data");
    WIN32_FIND_DATAW data;
    HANDLE h = FindFirstFileW((dir.wide() + L"/*").c_str(), &data);
    ASSERT_NE(h, INVALID_HANDLE_VALUE);
    std::wstring found;
    do
      if (std::wcscmp(data.cFileName, L".") != 0 && std::wcscmp(data.cFileName, L"..") != 0) found = data.cFileName;
    while (FindNextFileW(h, &data));
    FindClose(h);
    EXPECT_EQ(found, row.listed);

    const std::wstring path = dir.wide() + L"\\" + found;
    EXPECT_EQ(GetFileAttributesW(path.c_str()), FILE_ATTRIBUTE_ARCHIVE);
    h = FindFirstFileW(path.c_str(), &data);
    ASSERT_NE(h, INVALID_HANDLE_VALUE) << "the name itself as a pattern";
    EXPECT_EQ(std::wstring(data.cFileName), found);
    FindClose(h);
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    char buffer[8] = {};
    DWORD got = 0;
    EXPECT_TRUE(ReadFile(file, buffer, sizeof buffer, &got, nullptr));
    EXPECT_EQ(std::string(buffer, got), "data");
    CloseHandle(file);
    const std::wstring moved = path + L"2";
    EXPECT_TRUE(MoveFileW(path.c_str(), moved.c_str()));
    EXPECT_TRUE(dir.exists(std::string(row.onDisk) + "2"));
    EXPECT_TRUE(DeleteFileW(moved.c_str()));
    EXPECT_FALSE(dir.exists(std::string(row.onDisk) + "2"));
  }

  // A directory that holds a backslash, as the current directory.
  ScratchDirectory dir;
  std::filesystem::create_directory(dir.path("x\\y"));
  InDirectory in(dir.path("x\\y"));
  wchar_t current[1024];
  ASSERT_GT(GetCurrentDirectoryW(1024, current), 0u);
  EXPECT_EQ(std::wstring(current), dir.wide() + L"/x\uF05Cy");
  EXPECT_TRUE(SetCurrentDirectoryW(current));
  dir.write("x\\y/f.txt", "f");
  EXPECT_EQ(GetFileAttributesW((std::wstring(current) + L"\\f.txt").c_str()), FILE_ATTRIBUTE_ARCHIVE);
  wchar_t full[1024];
  ASSERT_GT(GetFullPathNameW(L"f.txt", 1024, full, nullptr), 0u);
  EXPECT_EQ(GetFileAttributesW(full), FILE_ATTRIBUTE_ARCHIVE);

  // A UTF-16 surrogate pair in wide text names the character it encodes.
  dir.write("\xF0\x9F\x98\x80.txt", "s");
  const wchar_t pair[] = {0xD83D, 0xDE00, L'.', L't', L'x', L't', 0};
  EXPECT_EQ(GetFileAttributesW((dir.wide() + L"/" + pair).c_str()), FILE_ATTRIBUTE_ARCHIVE);
}
