// Files as an application uses them: trees with names beyond ASCII and
// beyond 260 characters through every file and search call and the
// library's file classes, a working directory deeper than 260 characters,
// the Windows buffer idioms with guard bytes behind the buffer, and two
// processes opening one file at once.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>
#include <qnlith/win32.h>
#include <qnlith/win32/crtpath.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <vector>

#include "support/process_race.h"
#include "support/scratch.h"

namespace {

std::wstring text(const cString& s) { return std::wstring(s.c_str(), s.length()); }

// A buffer of `count` characters with guard characters behind it.
class Guarded {
 public:
  explicit Guarded(std::size_t count) : count_(count), data_(count + Guard, Pattern) {}
  wchar_t* data() { return data_.data(); }
  DWORD size() const { return static_cast<DWORD>(count_); }
  bool guardsIntact() const {
    return std::all_of(data_.begin() + static_cast<std::ptrdiff_t>(count_), data_.end(),
                       [](wchar_t c) { return c == Pattern; });
  }
  std::wstring str() const { return std::wstring(data_.data()); }

 private:
  static constexpr std::size_t Guard = 16;
  static constexpr wchar_t Pattern = 0x5A5A;
  std::size_t count_;
  std::vector<wchar_t> data_;
};

// The three ways a Windows program reads a text of unknown length: a fixed
// MAX_PATH buffer; ask the size, allocate it, read again; and a buffer one
// short of the size. `call` is a call of the GetCurrentDirectoryW kind.
template <typename Call>
void checkIdioms(const std::wstring& expected, Call call) {
  SCOPED_TRACE(testing::Message() << "expecting " << expected.size() << " characters");
  Guarded fixed(MAX_PATH);
  const DWORD first = call(fixed.size(), fixed.data());
  if (expected.size() < MAX_PATH) {
    EXPECT_EQ(first, expected.size());
    EXPECT_EQ(fixed.str(), expected);
  } else {
    EXPECT_EQ(first, expected.size() + 1) << "too small: the size it needs, terminator included";
  }
  EXPECT_TRUE(fixed.guardsIntact());

  const DWORD needed = call(0, nullptr);
  EXPECT_EQ(needed, expected.size() + 1);
  Guarded exact(needed);
  EXPECT_EQ(call(exact.size(), exact.data()), expected.size());
  EXPECT_EQ(exact.str(), expected);
  EXPECT_TRUE(exact.guardsIntact());

  Guarded shortByOne(needed - 1);
  EXPECT_EQ(call(shortByOne.size(), shortByOne.data()), needed);
  EXPECT_TRUE(shortByOne.guardsIntact());
}

HANDLE openFile(const std::wstring& path, DWORD access, DWORD share, DWORD disposition) {
  return CreateFileW(path.c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Names beyond ASCII: Latin, CJK, non-BMP, and one of 60 non-BMP characters
// (240 bytes, near Linux's 255-byte limit for a name).
const std::wstring Names[] = {L"café", L"日本語のフォルダ", L"😀 emoji 🎉", std::wstring(60, L'\U0001F600'),
                              std::wstring(250, L'l')};

}  // namespace

TEST(FilesScenario, DeepTreeOfWideNamesThroughEveryCall) {
  ScratchDirectory scratch;
  std::wstring directory = scratch.wide();
  std::vector<std::wstring> directories;
  for (const auto& name : Names) {
    directory += L"\\" + name;
    ASSERT_TRUE(CreateDirectoryW(directory.c_str(), nullptr)) << GetLastError();
    directories.push_back(directory);
  }
  ASSERT_GT(directory.size(), 300u);

  // Files in the deepest directory, through the layer.
  for (const auto& name : Names) {
    const std::wstring path = directory + L"\\" + name + L".txt";
    SCOPED_TRACE(testing::Message() << path.size() << " characters");
    HANDLE h = openFile(path, GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW);
    ASSERT_NE(h, INVALID_HANDLE_VALUE) << GetLastError();
    DWORD done = 0;
    EXPECT_TRUE(WriteFile(h, "content", 7, &done, nullptr));
    EXPECT_EQ(openFile(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    CloseHandle(h);
    EXPECT_EQ(GetFileAttributesW(path.c_str()), FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_FALSE(DeleteFileW(path.c_str()));
    EXPECT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL));
    const std::wstring copy = directory + L"\\copy of " + name.substr(0, 200) + L".txt";
    EXPECT_TRUE(CopyFileW(path.c_str(), copy.c_str(), TRUE));
    const std::wstring moved = directories.front() + L"\\" + name + L".m";
    EXPECT_TRUE(MoveFileW(copy.c_str(), moved.c_str()));
    HANDLE back = openFile(moved, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    ASSERT_NE(back, INVALID_HANDLE_VALUE);
    char buffer[16] = {};
    EXPECT_TRUE(ReadFile(back, buffer, sizeof buffer, &done, nullptr));
    EXPECT_EQ(std::string(buffer, done), "content");
    CloseHandle(back);
    EXPECT_TRUE(DeleteFileW(moved.c_str()));
    EXPECT_EQ(GetShortPathNameW(path.c_str(), nullptr, 0), path.size() + 1);
  }

  // Searches find every name, with wildcards and without.
  std::vector<std::wstring> found;
  WIN32_FIND_DATAW data;
  HANDLE search = FindFirstFileW((directory + L"\\*.txt").c_str(), &data);
  ASSERT_NE(search, INVALID_HANDLE_VALUE) << GetLastError();
  do found.push_back(data.cFileName);
  while (FindNextFileW(search, &data));
  FindClose(search);
  std::vector<std::wstring> expected;
  for (const auto& name : Names) expected.push_back(name + L".txt");
  std::sort(found.begin(), found.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(found, expected);
  for (const auto& name : Names) {
    search = FindFirstFileW((directory + L"/" + name + L".txt").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_EQ(std::wstring(data.cFileName), name + L".txt");
    FindClose(search);
  }
  search = FindFirstFileW((directory + L"\\日本語*").c_str(), &data);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_EQ(std::wstring(data.cFileName), L"日本語のフォルダ.txt");
  FindClose(search);

  // The library's classes on the same tree.
  for (const auto& name : Names) {
    const cString path((directory + L"\\" + name + L".lib").c_str());
    {
      cFile file;
      ASSERT_TRUE(file.open(path, 0x1001)) << file.lastError();
      DWORD count = 4;
      EXPECT_TRUE(file.write("abcd", count));
      EXPECT_TRUE(file.close());
    }
    EXPECT_TRUE(cFileSystem::fileExists(path));
    EXPECT_FALSE(cFileSystem::isDirectory(path));
    cFileInformation info;
    ASSERT_TRUE(info.status(path));
    EXPECT_EQ(text(info.name()), name + L".lib");
    EXPECT_EQ(info.size(), 4u);
    cFile file;
    ASSERT_TRUE(file.open(path, 0x40));
    char buffer[8] = {};
    DWORD count = sizeof buffer;
    EXPECT_TRUE(file.read(buffer, count));
    EXPECT_EQ(std::string(buffer, count), "abcd");
    file.close();
    EXPECT_TRUE(cFileSystem::copyFile(path, cString((directory + L"\\x.copy").c_str())));
    EXPECT_TRUE(cFileSystem::remove(path));
    EXPECT_FALSE(cFileSystem::fileExists(path));
  }
  cFileInformation info;
  int entries = 0;
  for (bool more = cFileSystem::findFirstFile(cString((directory + L"\\*").c_str()), info); more;
       more = cFileSystem::findNextFile(info))
    ++entries;
  EXPECT_EQ(entries, 2 + 5 + 1) << "dots, the .txt files and the copy";
  EXPECT_TRUE(cFileSystem::isDirectory(cString(directory.c_str())));
  ULONGLONG total = 0, freeSectors = 0, freeBytes = 0;
  EXPECT_TRUE(cFileSystem::volumeStatus(cString(directory.c_str()), total, freeSectors, freeBytes));
  EXPECT_GT(total, 0u);

  // And it all goes again, deepest first.
  for (const auto& name : Names) EXPECT_TRUE(DeleteFileW((directory + L"\\" + name + L".txt").c_str()));
  EXPECT_TRUE(DeleteFileW((directory + L"\\x.copy").c_str()));
  for (auto it = directories.rbegin(); it != directories.rend(); ++it)
    EXPECT_TRUE(cFileSystem::removeDirectory(cString(it->c_str()))) << GetLastError();
}

TEST(FilesScenario, WorkingDirectoryBeyond260CharactersAndTheBufferIdioms) {
  ScratchDirectory scratch;
  InDirectory restore(scratch.path());
  std::wstring deep = scratch.wide();
  // Reached step by step with relative names, as a program walks a tree.
  for (const auto& name : Names) {
    ASSERT_TRUE(CreateDirectoryW(name.c_str(), nullptr));
    ASSERT_TRUE(SetCurrentDirectoryW(name.c_str()));
    deep += L"/" + name;
  }
  ASSERT_GT(deep.size(), 300u);

  checkIdioms(deep, [](DWORD size, wchar_t* buffer) { return GetCurrentDirectoryW(size, buffer); });
  checkIdioms(deep + L"/a.txt",
              [](DWORD size, wchar_t* buffer) { return GetFullPathNameW(L"a.txt", size, buffer, nullptr); });
  checkIdioms(deep.substr(0, deep.rfind(L'/')) + L"/b.txt",
              [](DWORD size, wchar_t* buffer) { return GetFullPathNameW(L"..\\b.txt", size, buffer, nullptr); });
  checkIdioms(L"/short.txt",
              [](DWORD size, wchar_t* buffer) { return GetFullPathNameW(L"\\short.txt", size, buffer, nullptr); });
  HANDLE h = openFile(L"here.txt", GENERIC_WRITE, 0, CREATE_NEW);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  CloseHandle(h);
  checkIdioms(deep + L"/here.txt", [&](DWORD size, wchar_t* buffer) {
    return GetShortPathNameW((deep + L"/here.txt").c_str(), buffer, size);
  });

  // The file part points into the caller's buffer.
  Guarded full(4096);
  wchar_t* part = nullptr;
  ASSERT_EQ(GetFullPathNameW(L"here.txt", full.size(), full.data(), &part), deep.size() + 9);
  ASSERT_NE(part, nullptr);
  EXPECT_EQ(std::wstring(part), L"here.txt");
  EXPECT_TRUE(full.guardsIntact());

  // The run time's counted buffers: too small fails and empties, never overruns.
  Guarded small(MAX_PATH);
  EXPECT_EQ(_wmakepath_s(small.data(), small.size(), nullptr, deep.c_str(), L"x", L"txt"), ERANGE);
  EXPECT_EQ(small.str(), L"");
  EXPECT_TRUE(small.guardsIntact());
  Guarded big(deep.size() + 7);
  EXPECT_EQ(_wmakepath_s(big.data(), big.size(), nullptr, deep.c_str(), L"x", L"txt"), 0);
  EXPECT_EQ(big.str(), deep + L"\\x.txt");
  EXPECT_TRUE(big.guardsIntact());
  Guarded drive(3), dir(MAX_PATH), name(MAX_PATH), ext(MAX_PATH);
  EXPECT_EQ(_wsplitpath_s(big.data(), drive.data(), drive.size(), dir.data(), dir.size(), name.data(), name.size(),
                          ext.data(), ext.size()),
            ERANGE);
  for (Guarded* g : {&drive, &dir, &name, &ext}) EXPECT_TRUE(g->guardsIntact());
  Guarded whole(deep.size() + 2);
  EXPECT_EQ(_wsplitpath_s(big.data(), drive.data(), drive.size(), whole.data(), whole.size(), name.data(),
                          name.size(), ext.data(), ext.size()),
            0);
  EXPECT_EQ(whole.str(), deep + L"\\");
  EXPECT_EQ(name.str(), L"x");
  EXPECT_TRUE(whole.guardsIntact());
  Guarded found(MAX_PATH);
  EXPECT_EQ(_wsearchenv_s(L"here.txt", L"PATH", found.data(), found.size()), ERANGE);
  EXPECT_TRUE(found.guardsIntact());
  Guarded foundWhole(deep.size() + 10);
  EXPECT_EQ(_wsearchenv_s(L"here.txt", L"PATH", foundWhole.data(), foundWhole.size()), 0);
  EXPECT_EQ(foundWhole.str(), deep + L"/here.txt");
  EXPECT_TRUE(foundWhole.guardsIntact());

  // The library sees the whole directory and comes back to it.
  EXPECT_EQ(text(cFileSystem::currentDirectory()), deep);
  EXPECT_EQ(text(cFileSystem::absolutePath(L"here.txt")), deep + L"\\here.txt");
  EXPECT_EQ(text(cFileSystem::absolutePath(L"..\\x.txt")), deep.substr(0, deep.rfind(L'/')) + L"\\x.txt");
  cString path(L"here.txt");
  EXPECT_TRUE(cFileSystem::qualifyPath(path));
  EXPECT_EQ(text(path), deep + L"\\here.txt");
  EXPECT_EQ(text(cFileSystem::currentDirectory()), deep) << "absolutePath changed back";
  cFile file;
  EXPECT_TRUE(file.open(path, 0x40)) << file.lastError();
  file.close();
  cString searched(L"here.txt");
  EXPECT_TRUE(cFileSystem::searchPath(searched));
  EXPECT_TRUE(cFileSystem::remove(path));
}

// Two processes open one file through cFile, without sharing, at the same
// instant (a spinning barrier in shared memory), many times: exactly one
// gets it each time.
TEST(FilesScenario, TwoProcessesOpenOneFileAtOnce) {
  ScratchDirectory scratch;
  scratch.write("shared.dat", "x");
  const cString name(scratch.wide("shared.dat").c_str());
  constexpr int Rounds = 200;
  const RaceTally tally = raceTwoProcesses(Rounds, [&](int child, char& got) {
    auto file = std::make_unique<cFile>();
    got = file->open(name, child == 0 ? 0x12 : 0x10) ? 'y' : 'n';
    return file;
  });
  EXPECT_EQ(tally.winners[1], Rounds) << tally.winners[0] << " rounds without a winner, " << tally.winners[2]
                                      << " with two";
}

// The byte and character counts of the other calls that take a buffer:
// ReadFile with `sizeof buf`, and the run time's time formatting.
TEST(FilesScenario, ByteAndCharacterCountsStopAtTheBuffer) {
  ScratchDirectory scratch;
  scratch.write("data.bin", std::string(300, 'd'));
  HANDLE h = openFile(scratch.wide("data.bin"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  struct {
    char buffer[256];
    char guard[16];
  } block;
  std::memset(&block, 0x5A, sizeof block);
  DWORD got = 0;
  EXPECT_TRUE(ReadFile(h, block.buffer, sizeof block.buffer, &got, nullptr));
  EXPECT_EQ(got, sizeof block.buffer);
  EXPECT_EQ(std::string(block.guard, sizeof block.guard), std::string(sizeof block.guard, '\x5A'));
  CloseHandle(h);

  tm when{};
  when.tm_year = 126;
  when.tm_mon = 10;
  when.tm_mday = 24;
  when.tm_wday = 2;
  const std::wstring expected = L"Tuesday, November 24, 2026";
  Guarded exact(expected.size() + 1);
  EXPECT_EQ(qnWcsftime(exact.data(), exact.size(), L"%#x", &when), expected.size());
  EXPECT_EQ(exact.str(), expected);
  EXPECT_TRUE(exact.guardsIntact());
  Guarded shortByOne(expected.size());
  EXPECT_EQ(qnWcsftime(shortByOne.data(), shortByOne.size(), L"%#x", &when), 0u);
  EXPECT_EQ(shortByOne.str(), L"");
  EXPECT_TRUE(shortByOne.guardsIntact());
}
