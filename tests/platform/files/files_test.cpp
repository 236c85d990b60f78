// File handles against documented Win32 behaviour, on real files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <new>

#include "../../../platform/files/files.h"
#include "support/process_race.h"
#include "support/scratch.h"

namespace {

constexpr DWORD Read = GENERIC_READ;
constexpr DWORD Write = GENERIC_WRITE;
constexpr DWORD ReadWrite = GENERIC_READ | GENERIC_WRITE;

HANDLE open(const std::wstring& path, DWORD access, DWORD share, DWORD disposition,
            DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
  return CreateFileW(path.c_str(), access, share, nullptr, disposition, attributes, nullptr);
}

std::string readAll(HANDLE file) {
  std::string out;
  char buffer[256];
  DWORD got = 0;
  while (ReadFile(file, buffer, sizeof buffer, &got, nullptr) && got > 0) out.append(buffer, got);
  return out;
}

bool writeText(HANDLE file, const std::string& text) {
  DWORD done = 0;
  return WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &done, nullptr) && done == text.size();
}

DWORD error() { return GetLastError(); }

// A child process that runs `body` when told to and then holds what it
// opened until the parent lets it go. Forked before the parent opens
// anything, it knows nothing of the parent's handles but what the files'
// locks tell.
class Child {
 public:
  template <typename Body>
  explicit Child(Body body) {
    int go[2], ready[2], release[2];
    if (::pipe(go) != 0 || ::pipe(ready) != 0 || ::pipe(release) != 0) throw std::runtime_error("pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
      ::close(go[1]);
      ::close(ready[0]);
      ::close(release[1]);
      char ignored;
      (void)!::read(go[0], &ignored, 1);
      const char ok = body() ? 'y' : 'n';
      (void)!::write(ready[1], &ok, 1);
      (void)!::read(release[0], &ignored, 1);
      ::_exit(0);
    }
    ::close(go[0]);
    ::close(ready[1]);
    ::close(release[0]);
    go_ = go[1];
    ready_ = ready[0];
    release_ = release[1];
  }
  ~Child() { finish(); }

  // Runs the body in the child; whether it succeeded.
  bool run() {
    const char start = 'g';
    (void)!::write(go_, &start, 1);
    char ok = 'n';
    (void)!::read(ready_, &ok, 1);
    return ok == 'y';
  }

  void finish() {
    if (pid_ <= 0) return;
    ::close(go_);
    ::close(ready_);
    ::close(release_);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
  int go_ = -1, ready_ = -1, release_ = -1;
};

}  // namespace

// One row per documented answer of a disposition. `before` is the file's
// content, or null when there is none; `after` is what it holds afterwards
// (null: still absent). An error of ~0 isn't looked at.
TEST(CreateFile, DispositionsOnNewAndExistingFiles) {
  constexpr DWORD Any = ~0u;
  struct Row {
    const char* name;
    const char* before;
    DWORD access, share, disposition;
    bool opens;
    DWORD error;
    const char* after;
  } rows[] = {
      {"a.txt", nullptr, ReadWrite, 0, CREATE_NEW, true, 0, ""},  // a created file leaves no error
      {"a.txt", "hello", ReadWrite, 0, CREATE_NEW, false, ERROR_FILE_EXISTS, "hello"},
      {"a.txt", "hello", Read, 0, OPEN_ALWAYS, true, ERROR_ALREADY_EXISTS, "hello"},  // keeps the contents
      {"a.txt", "hello", Read, 0, CREATE_ALWAYS, true, ERROR_ALREADY_EXISTS, ""},  // even through a read handle
      {"a.txt", "again", Write, 0, TRUNCATE_EXISTING, true, Any, ""},
      {"a.txt", "hello", Read, 0, TRUNCATE_EXISTING, false, ERROR_INVALID_PARAMETER, "hello"},  // needs write
      {"missing", nullptr, Read, 0, OPEN_EXISTING, false, ERROR_FILE_NOT_FOUND, nullptr},
      {"missing", nullptr, Write, 0, TRUNCATE_EXISTING, false, ERROR_FILE_NOT_FOUND, nullptr},
      {"nodir/x", nullptr, Read, 0, OPEN_EXISTING, false, ERROR_PATH_NOT_FOUND, nullptr},
      {"nodir/x", nullptr, ReadWrite, 0, CREATE_ALWAYS, false, ERROR_PATH_NOT_FOUND, nullptr},
      {"b.txt", nullptr, ReadWrite, 0, OPEN_ALWAYS, true, 0, ""},
      {"a.txt", "hello", Read, 0, 0, false, ERROR_INVALID_PARAMETER, "hello"},
      {"a.txt", "hello", Read, 8, OPEN_EXISTING, false, ERROR_INVALID_PARAMETER, "hello"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.name << (row.before ? " existing" : " absent") << ", disposition "
                                    << row.disposition << ", access " << std::hex << row.access);
    ScratchDirectory dir;
    if (row.before != nullptr) dir.write(row.name, row.before);
    SetLastError(1234);
    HANDLE h = open(dir.wide(row.name), row.access, row.share, row.disposition);
    EXPECT_EQ(h != INVALID_HANDLE_VALUE, row.opens);
    if (row.error != Any) {
      EXPECT_EQ(error(), row.error);
    }
    if (h != INVALID_HANDLE_VALUE) {
      if (row.access & GENERIC_READ) {
        EXPECT_EQ(readAll(h), row.after);
      }
      CloseHandle(h);
    }
    EXPECT_EQ(dir.exists(row.name), row.after != nullptr);
    if (row.after != nullptr) {
      EXPECT_EQ(dir.read(row.name), row.after);
    }
    EXPECT_FALSE(dir.exists("nodir"));
  }

  ScratchDirectory dir;
  HANDLE h = open(dir.wide("a.txt"), ReadWrite, 0, CREATE_NEW);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(writeText(h, "hello"));
  EXPECT_TRUE(CloseHandle(h));
  EXPECT_EQ(dir.read("a.txt"), "hello");
}

// Paths as the layer takes them, one row per documented answer. Long paths
// are taken, as by a process that opted into them; a name is at most 255
// characters and a path at most 32,767.
TEST(CreateFile, BackslashesSeparateAndBadNamesFail) {
  ScratchDirectory dir;
  std::filesystem::create_directory(dir.path("sub"));
  dir.write("sub/x.txt", "x");
  const std::wstring deep = L"/" + std::wstring(200, L'd');
  ASSERT_TRUE(CreateDirectoryW((dir.wide() + deep).c_str(), nullptr));
  const std::wstring longName = deep + L"\\" + std::wstring(255, L'n');
  struct Row {
    const wchar_t* why;
    std::wstring inDirectory;  // appended to the scratch directory
    DWORD access, disposition;
    DWORD error;  // 0: the open succeeds
  } rows[] = {
      {L"backslashes separate", L"\\sub\\x.txt", Read, OPEN_EXISTING, 0},
      {L"dots resolve, a trailing dot goes", L"\\sub\\..\\sub\\.\\x.txt.", Read, OPEN_EXISTING, 0},
      {L"a missing directory", L"\\gone\\x.txt", ReadWrite, CREATE_ALWAYS, ERROR_PATH_NOT_FOUND},
      {L"a wildcard", L"\\a*.txt", ReadWrite, CREATE_ALWAYS, ERROR_INVALID_NAME},
      {L"beyond MAX_PATH, a name of 255", longName, ReadWrite, CREATE_NEW, 0},
      {L"a name of 256", longName + L"n", ReadWrite, CREATE_NEW, ERROR_FILENAME_EXCED_RANGE},
      {L"a path beyond 32,767", L"/" + std::wstring(32767, L'x'), ReadWrite, CREATE_NEW, ERROR_FILENAME_EXCED_RANGE},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    HANDLE h = open(dir.wide() + row.inDirectory, row.access, 0, row.disposition);
    if (row.error == 0) {
      ASSERT_NE(h, INVALID_HANDLE_VALUE) << error();
      if (row.access == Read) {
        EXPECT_EQ(readAll(h), "x");
      }
      CloseHandle(h);
    } else {
      EXPECT_EQ(h, INVALID_HANDLE_VALUE);
      EXPECT_EQ(error(), row.error);
    }
  }
  EXPECT_EQ(CreateFileW(nullptr, Read, 0, nullptr, OPEN_EXISTING, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(open(L"", Read, 0, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
}

TEST(CreateFile, DirectoriesNeedBackupSemantics) {
  ScratchDirectory dir;
  EXPECT_EQ(open(dir.wide(), Read, FILE_SHARE_READ, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  HANDLE h = open(dir.wide(), Read, FILE_SHARE_READ, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  BY_HANDLE_FILE_INFORMATION info{};
  EXPECT_TRUE(GetFileInformationByHandle(h, &info));
  EXPECT_EQ(info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY, FILE_ATTRIBUTE_DIRECTORY);
  CloseHandle(h);
}

TEST(CreateFile, AccessRightsAreEnforcedPerHandle) {
  ScratchDirectory dir;
  dir.write("a.txt", "data");
  HANDLE reader = open(dir.wide("a.txt"), Read, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  DWORD done = 99;
  EXPECT_FALSE(WriteFile(reader, "x", 1, &done, nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(done, 0u);
  EXPECT_FALSE(SetEndOfFile(reader));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_FALSE(FlushFileBuffers(reader));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  FILETIME t{1, 0};
  EXPECT_FALSE(SetFileTime(reader, nullptr, nullptr, &t));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));

  HANDLE writer = open(dir.wide("a.txt"), Write, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
  ASSERT_NE(writer, INVALID_HANDLE_VALUE);
  char c;
  EXPECT_FALSE(ReadFile(writer, &c, 1, &done, nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(writeText(writer, "DA"));
  EXPECT_TRUE(FlushFileBuffers(writer));
  EXPECT_EQ(readAll(reader), "DAta") << "each handle keeps its own file pointer";
  CloseHandle(reader);
  CloseHandle(writer);
  EXPECT_EQ(dir.read("a.txt"), "DAta");
}

TEST(CreateFile, ReadOnlyAndHiddenFilesRefuseWhatWin32Refuses) {
  ScratchDirectory dir;
  HANDLE h = open(dir.wide("ro.txt"), ReadWrite, 0, CREATE_NEW, FILE_ATTRIBUTE_READONLY);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(writeText(h, "kept")) << "the creating handle keeps its write access";
  CloseHandle(h);
  EXPECT_EQ(GetFileAttributesW(dir.wide("ro.txt").c_str()) & FILE_ATTRIBUTE_READONLY, FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(open(dir.wide("ro.txt"), Write, 0, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(open(dir.wide("ro.txt"), Read, 0, CREATE_ALWAYS), INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(dir.read("ro.txt"), "kept");

  dir.write(".hidden", "secret");
  EXPECT_EQ(open(dir.wide(".hidden"), ReadWrite, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL), INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(dir.read(".hidden"), "secret");
  h = open(dir.wide(".hidden"), ReadWrite, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_HIDDEN);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  CloseHandle(h);
  EXPECT_EQ(dir.read(".hidden"), "");
}

TEST(ShareMode, HandlesOfTheProcessExcludeEachOther) {
  ScratchDirectory dir;
  dir.write("a.txt", "contents");
  const std::wstring name = dir.wide("a.txt");

  HANDLE first = open(name, Read, 0, OPEN_EXISTING);
  ASSERT_NE(first, INVALID_HANDLE_VALUE);
  EXPECT_EQ(open(name, Read, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, OPEN_EXISTING),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(open(name, ReadWrite, 0, CREATE_ALWAYS), INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(dir.read("a.txt"), "contents") << "a refused CREATE_ALWAYS truncates nothing";
  HANDLE attributesOnly = open(name, 0, 0, OPEN_EXISTING);
  EXPECT_NE(attributesOnly, INVALID_HANDLE_VALUE) << "an open without data access takes no part";
  CloseHandle(attributesOnly);
  CloseHandle(first);

  first = open(name, Read, FILE_SHARE_READ, OPEN_EXISTING);
  ASSERT_NE(first, INVALID_HANDLE_VALUE);
  HANDLE second = open(name, Read, FILE_SHARE_READ, OPEN_EXISTING);
  EXPECT_NE(second, INVALID_HANDLE_VALUE) << "two readers that share reading";
  EXPECT_EQ(open(name, Write, FILE_SHARE_READ, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  CloseHandle(second);
  CloseHandle(first);

  // A writer that shares reading and writing still excludes a reader that
  // won't share writing.
  first = open(name, Write, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
  ASSERT_NE(first, INVALID_HANDLE_VALUE);
  EXPECT_EQ(open(name, Read, FILE_SHARE_READ, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  second = open(name, Read, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
  EXPECT_NE(second, INVALID_HANDLE_VALUE);
  CloseHandle(second);
  CloseHandle(first);

  // A hard link is the same file.
  std::filesystem::create_hard_link(dir.path("a.txt"), dir.path("link.txt"));
  first = open(name, Read, 0, OPEN_EXISTING);
  EXPECT_EQ(open(dir.wide("link.txt"), Read, FILE_SHARE_READ, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  CloseHandle(first);
}

TEST(ShareMode, DeletingAndRenamingNeedShareDeleteOnEveryHandle) {
  ScratchDirectory dir;
  dir.write("a.txt", "a");
  HANDLE h = open(dir.wide("a.txt"), Read, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_FALSE(DeleteFileW(dir.wide("a.txt").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_FALSE(MoveFileW(dir.wide("a.txt").c_str(), dir.wide("b.txt").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_TRUE(dir.exists("a.txt"));
  CloseHandle(h);

  h = open(dir.wide("a.txt"), Read, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(MoveFileW(dir.wide("a.txt").c_str(), dir.wide("b.txt").c_str()));
  EXPECT_TRUE(DeleteFileW(dir.wide("b.txt").c_str()));
  EXPECT_FALSE(dir.exists("b.txt"));
  EXPECT_EQ(readAll(h), "a") << "the open handle still reads the deleted file";
  CloseHandle(h);
}

TEST(ShareMode, HoldsBetweenProcesses) {
  ScratchDirectory dir;
  dir.write("a.txt", "shared");
  const std::wstring name = dir.wide("a.txt");
  {
    Child child([&] { return open(name, ReadWrite, FILE_SHARE_READ, OPEN_EXISTING) != INVALID_HANDLE_VALUE; });
    ASSERT_TRUE(child.run());
    EXPECT_EQ(open(name, Write, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING), INVALID_HANDLE_VALUE);
    EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(open(name, Read, FILE_SHARE_READ, OPEN_EXISTING), INVALID_HANDLE_VALUE)
        << "the child writes, so a reader must share writing";
    EXPECT_FALSE(DeleteFileW(name.c_str()));
    EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    HANDLE reader = open(name, Read, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
    EXPECT_NE(reader, INVALID_HANDLE_VALUE);
    CloseHandle(reader);
  }
  Child child([&] { return open(name, Read, FILE_SHARE_READ, OPEN_EXISTING) != INVALID_HANDLE_VALUE; });
  HANDLE h = open(name, ReadWrite, 0, OPEN_EXISTING);
  EXPECT_NE(h, INVALID_HANDLE_VALUE) << "the first child's handle went with it";
  EXPECT_FALSE(child.run()) << "the parent's exclusive handle keeps another process out";
  CloseHandle(h);
}

// Two processes open one file without sharing at the same instant (both
// spin at a barrier in shared memory, then open), round after round:
// exactly one gets it each time.
TEST(ShareMode, TwoProcessesRacingForOneFileNeverBothWin) {
  ScratchDirectory dir;
  dir.write("race.bin", "data");
  const std::wstring name = dir.wide("race.bin");
  constexpr int Rounds = 200;
  struct Held {
    explicit Held(HANDLE handle) : handle(handle) {}
    Held(const Held&) = delete;
    ~Held() {
      if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
    }
    HANDLE handle;
  };
  const RaceTally tally = raceTwoProcesses(Rounds, [&](int child, char& got) {
    const HANDLE handle = open(name, child == 0 ? Read : ReadWrite, 0, OPEN_EXISTING);
    got = handle != INVALID_HANDLE_VALUE ? 'y' : GetLastError() == ERROR_SHARING_VIOLATION ? 'n' : 'e';
    return Held(handle);
  });
  EXPECT_EQ(tally.winners[2], 0) << "rounds with two winners, of " << Rounds;
  EXPECT_EQ(tally.winners[0], 0) << "rounds without a winner, of " << Rounds;
  EXPECT_EQ(tally.errors, 0);
}

TEST(ReadWrite, ShortReadsEndOfFileAndOffsets) {
  ScratchDirectory dir;
  HANDLE h = open(dir.wide("a.bin"), ReadWrite, 0, CREATE_NEW);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(writeText(h, "0123456789"));
  DWORD done = 0;
  EXPECT_TRUE(WriteFile(h, "x", 0, &done, nullptr));
  EXPECT_EQ(done, 0u);

  char buffer[32] = {};
  EXPECT_TRUE(ReadFile(h, buffer, sizeof buffer, &done, nullptr));
  EXPECT_EQ(done, 0u) << "at the end of the file a read succeeds with 0 bytes";
  EXPECT_EQ(SetFilePointer(h, 4, nullptr, FILE_BEGIN), 4u);
  EXPECT_TRUE(ReadFile(h, buffer, sizeof buffer, &done, nullptr));
  EXPECT_EQ(done, 6u);
  EXPECT_EQ(std::string(buffer, done), "456789");

  OVERLAPPED at{};
  at.Offset = 2;
  EXPECT_TRUE(ReadFile(h, buffer, 3, &done, &at));
  EXPECT_EQ(std::string(buffer, done), "234");
  EXPECT_EQ(SetFilePointer(h, 0, nullptr, FILE_CURRENT), 5u) << "an offset read moves the pointer behind it";

  EXPECT_FALSE(ReadFile(h, buffer, 1, nullptr, nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_FALSE(ReadFile(h, nullptr, 1, &done, nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_NOACCESS));
  CloseHandle(h);

  EXPECT_FALSE(ReadFile(h, buffer, 1, &done, nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(CloseHandle(h));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(ReadFile(INVALID_HANDLE_VALUE, buffer, 1, &done, nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(FilePointer, ThirtyTwoAndSixtyFourBitMoves) {
  ScratchDirectory dir;
  HANDLE h = open(dir.wide("a.bin"), ReadWrite, 0, CREATE_NEW);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(writeText(h, "0123456789"));

  EXPECT_EQ(SetFilePointer(h, -3, nullptr, FILE_END), 7u);
  EXPECT_EQ(SetFilePointer(h, -2, nullptr, FILE_CURRENT), 5u);
  EXPECT_EQ(SetFilePointer(h, -6, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK));
  EXPECT_EQ(SetFilePointer(h, 0, nullptr, FILE_CURRENT), 5u) << "a failed move leaves the pointer";
  EXPECT_EQ(SetFilePointer(h, 0, nullptr, 7), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));

  // 0x1_0000_0005 with the high part; the pointer may lie beyond the end.
  LONG high = 1;
  EXPECT_EQ(SetFilePointer(h, 5, &high, FILE_BEGIN), 5u);
  EXPECT_EQ(high, 1);
  LARGE_INTEGER where{};
  EXPECT_TRUE(SetFilePointerEx(h, LARGE_INTEGER{}, &where, FILE_CURRENT));
  EXPECT_EQ(where.QuadPart, 0x100000005LL);
  EXPECT_EQ(SetFilePointer(h, 0, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER)
      << "without the high part a position beyond 32 bits can't be told";

  // 0xFFFFFFFF is a position as well; the last error says it is no failure.
  SetLastError(1234);
  high = 0;
  EXPECT_EQ(SetFilePointer(h, -1, &high, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(high, 0);
  EXPECT_EQ(error(), 0u);
  high = -1;
  EXPECT_EQ(SetFilePointer(h, -1, &high, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK));
  CloseHandle(h);
}

TEST(FileSize, EndOfFileAndSizesBeyondFourGibibytes) {
  ScratchDirectory dir;
  HANDLE h = open(dir.wide("big.bin"), ReadWrite, 0, CREATE_NEW);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  LARGE_INTEGER distance{};
  distance.QuadPart = 0x100000000LL + 7;
  ASSERT_TRUE(SetFilePointerEx(h, distance, nullptr, FILE_BEGIN));
  ASSERT_TRUE(SetEndOfFile(h)) << "a sparse file of 4 GiB and 7 bytes";
  DWORD high = 0;
  EXPECT_EQ(GetFileSize(h, &high), 7u);
  EXPECT_EQ(high, 1u);
  LARGE_INTEGER size{};
  EXPECT_TRUE(GetFileSizeEx(h, &size));
  EXPECT_EQ(size.QuadPart, 0x100000007LL);
  BY_HANDLE_FILE_INFORMATION info{};
  EXPECT_TRUE(GetFileInformationByHandle(h, &info));
  EXPECT_EQ(info.nFileSizeHigh, 1u);
  EXPECT_EQ(info.nFileSizeLow, 7u);
  EXPECT_EQ(info.nNumberOfLinks, 1u);
  EXPECT_EQ(info.dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE);

  // 0xFFFFFFFF bytes: the size looks like INVALID_FILE_SIZE, the error says otherwise.
  distance.QuadPart = 0xFFFFFFFFLL;
  ASSERT_TRUE(SetFilePointerEx(h, distance, nullptr, FILE_BEGIN));
  ASSERT_TRUE(SetEndOfFile(h));
  SetLastError(1234);
  EXPECT_EQ(GetFileSize(h, &high), INVALID_FILE_SIZE);
  EXPECT_EQ(high, 0u);
  EXPECT_EQ(error(), 0u);
  CloseHandle(h);
}

TEST(FileTime, SetAndReadBack) {
  ScratchDirectory dir;
  FILETIME before;
  GetSystemTimeAsFileTime(&before);
  HANDLE h = open(dir.wide("t.txt"), ReadWrite, 0, CREATE_NEW);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  FILETIME creation{}, access{}, write{};
  EXPECT_TRUE(GetFileTime(h, &creation, &access, &write));
  EXPECT_NE(creation.dwHighDateTime, 0u);
  EXPECT_LE(CompareFileTime(&creation, &write), 0);

  // 2001-02-03 04:05:06.7 UTC and a second later.
  SYSTEMTIME st{2001, 2, 0, 3, 4, 5, 6, 700};
  FILETIME written, accessed;
  ASSERT_TRUE(SystemTimeToFileTime(&st, &written));
  st.wSecond = 7;
  ASSERT_TRUE(SystemTimeToFileTime(&st, &accessed));
  EXPECT_TRUE(SetFileTime(h, nullptr, &accessed, &written));
  FILETIME readAccess, readWrite;
  EXPECT_TRUE(GetFileTime(h, nullptr, &readAccess, &readWrite));
  EXPECT_EQ(CompareFileTime(&readWrite, &written), 0);
  EXPECT_EQ(CompareFileTime(&readAccess, &accessed), 0);

  // Null and zero times leave a time alone.
  const FILETIME zero{0, 0};
  EXPECT_TRUE(SetFileTime(h, nullptr, &zero, nullptr));
  EXPECT_TRUE(GetFileTime(h, nullptr, &readAccess, &readWrite));
  EXPECT_EQ(CompareFileTime(&readAccess, &accessed), 0);
  EXPECT_EQ(CompareFileTime(&readWrite, &written), 0);
  const FILETIME huge{0, 0x80000000u};
  EXPECT_FALSE(SetFileTime(h, nullptr, nullptr, &huge));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  CloseHandle(h);
}

TEST(LockFile, ExcludesOtherHandlesAtOnce) {
  ScratchDirectory dir;
  dir.write("a.bin", std::string(100, 'x'));
  const std::wstring name = dir.wide("a.bin");
  const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
  HANDLE a = open(name, ReadWrite, share, OPEN_EXISTING);
  HANDLE b = open(name, ReadWrite, share, OPEN_EXISTING);
  ASSERT_NE(a, INVALID_HANDLE_VALUE);
  ASSERT_NE(b, INVALID_HANDLE_VALUE);

  EXPECT_TRUE(LockFile(a, 10, 0, 10, 0));
  EXPECT_FALSE(LockFile(b, 15, 0, 1, 0));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  EXPECT_FALSE(LockFile(a, 19, 0, 5, 0)) << "the holder can't lock an overlapping region either";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  EXPECT_TRUE(LockFile(b, 20, 0, 10, 0)) << "the next byte is free";

  char buffer[8];
  DWORD done = 0;
  EXPECT_EQ(SetFilePointer(b, 8, nullptr, FILE_BEGIN), 8u);
  EXPECT_FALSE(ReadFile(b, buffer, 4, &done, nullptr)) << "reads into another handle's region fail";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  EXPECT_FALSE(WriteFile(b, "yyyy", 4, &done, nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  EXPECT_EQ(SetFilePointer(a, 8, nullptr, FILE_BEGIN), 8u);
  EXPECT_TRUE(ReadFile(a, buffer, 4, &done, nullptr)) << "the holder reads its own region";
  EXPECT_EQ(done, 4u);

  EXPECT_FALSE(UnlockFile(a, 10, 0, 5, 0)) << "only the region as it was locked unlocks";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_NOT_LOCKED));
  EXPECT_FALSE(UnlockFile(b, 10, 0, 10, 0)) << "nor by another handle";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_NOT_LOCKED));
  EXPECT_TRUE(UnlockFile(a, 10, 0, 10, 0));
  EXPECT_TRUE(LockFile(b, 15, 0, 1, 0));

  CloseHandle(b);  // closing releases the handle's regions
  EXPECT_TRUE(LockFile(a, 20, 0, 10, 0));
  EXPECT_TRUE(LockFile(a, 0, 1, 10, 0)) << "a region beyond 4 GiB and beyond the end";
  CloseHandle(a);
}

// A zero-length lock at n stands between bytes n - 1 and n: it excludes
// every region holding both, and a zero-length lock strictly inside a
// locked region is refused; {0, 0} conflicts with nothing.
TEST(LockFile, ZeroLengthLocksAreLocks) {
  ScratchDirectory dir;
  dir.write("a.bin", std::string(200, 'x'));
  const std::wstring name = dir.wide("a.bin");
  const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
  struct Row {
    DWORD heldOffset, heldLength, offset, length;
    bool granted;
  } rows[] = {
      {100, 0, 98, 4, false},  {100, 0, 99, 2, false},  {100, 0, 90, 10, true}, {100, 0, 100, 5, true},
      {100, 0, 100, 0, true},  {100, 0, 0, 0, true},    {90, 10, 95, 0, false}, {90, 10, 90, 0, true},
      {90, 10, 100, 0, true},  {0, 0, 0, 10, true},     {0, 0, 0, 0, true},     {90, 10, 0, 0, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "held {" << row.heldOffset << ", " << row.heldLength << "}, asked {"
                                    << row.offset << ", " << row.length << "}");
    HANDLE a = open(name, ReadWrite, share, OPEN_EXISTING);
    HANDLE b = open(name, ReadWrite, share, OPEN_EXISTING);
    ASSERT_TRUE(LockFile(a, row.heldOffset, 0, row.heldLength, 0));
    EXPECT_EQ(LockFile(b, row.offset, 0, row.length, 0) != FALSE, row.granted);
    if (row.granted) {
      EXPECT_TRUE(UnlockFile(b, row.offset, 0, row.length, 0));
    } else {
      EXPECT_EQ(error(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
    }
    EXPECT_TRUE(UnlockFile(a, row.heldOffset, 0, row.heldLength, 0));
    CloseHandle(a);
    CloseHandle(b);
  }

  HANDLE h = open(name, ReadWrite, share, OPEN_EXISTING);
  HANDLE other = open(name, ReadWrite, share, OPEN_EXISTING);
  ASSERT_TRUE(LockFile(h, 100, 0, 0, 0));
  EXPECT_FALSE(LockFile(h, 98, 0, 4, 0)) << "the holder is excluded too";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  EXPECT_TRUE(LockFile(h, 90, 0, 10, 0));
  EXPECT_TRUE(UnlockFile(h, 90, 0, 10, 0));
  char buffer[4];
  DWORD done = 0;
  OVERLAPPED at{};
  at.Offset = 98;
  EXPECT_FALSE(ReadFile(other, buffer, 4, &done, &at)) << "a read across it is refused";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  at.Offset = 96;
  EXPECT_TRUE(ReadFile(other, buffer, 4, &done, &at));
  EXPECT_FALSE(UnlockFile(h, 100, 0, 1, 0));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_NOT_LOCKED));
  EXPECT_TRUE(UnlockFile(h, 100, 0, 0, 0));
  EXPECT_TRUE(LockFile(other, 98, 0, 4, 0));
  CloseHandle(h);
  CloseHandle(other);
}

TEST(LockFile, ExcludesOtherProcesses) {
  ScratchDirectory dir;
  dir.write("a.bin", std::string(100, 'x'));
  const std::wstring name = dir.wide("a.bin");
  const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
  Child child([&] {
    HANDLE h = open(name, ReadWrite, share, OPEN_EXISTING);
    return h != INVALID_HANDLE_VALUE && LockFile(h, 0, 0, 50, 0);
  });
  ASSERT_TRUE(child.run());
  HANDLE h = open(name, Read, share, OPEN_EXISTING);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_FALSE(LockFile(h, 49, 0, 2, 0));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  EXPECT_TRUE(LockFile(h, 50, 0, 2, 0));
  child.finish();
  EXPECT_TRUE(LockFile(h, 0, 0, 10, 0)) << "the child's locks ended with it";
  CloseHandle(h);
}

TEST(CreateFile, InheritFlagDecidesWhetherTheDescriptorSurvivesExec) {
  ScratchDirectory dir;
  SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE a = CreateFileW(dir.wide("a").c_str(), Read, FILE_SHARE_READ, &inherit, CREATE_NEW, 0, nullptr);
  HANDLE b = CreateFileW(dir.wide("b").c_str(), Read, FILE_SHARE_READ, nullptr, CREATE_NEW, 0, nullptr);
  ASSERT_NE(a, INVALID_HANDLE_VALUE);
  ASSERT_NE(b, INVALID_HANDLE_VALUE);
  EXPECT_EQ(::fcntl(qn::descriptorOf(a), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(::fcntl(qn::descriptorOf(b), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  CloseHandle(a);
  CloseHandle(b);
}

// A file the caller may write but not read gets a write-only descriptor,
// which can't hold the OFD read locks that publish a share mode; the
// process's own record keeps it then. Run as an ordinary user (a child
// that drops root's rights, when the tests run as root).
TEST(ShareMode, HandlesThatCannotPublishAreKeptByTheProcess) {
  ScratchDirectory dir;
  dir.write("w.bin", "data");
  std::filesystem::permissions(dir.path(), std::filesystem::perms::all);
  const std::wstring name = dir.wide("w.bin");
  auto body = [&] {
    HANDLE a = open(name, Write, 0, OPEN_EXISTING);
    if (a == INVALID_HANDLE_VALUE) return 10;
    if (open(name, Write, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING) != INVALID_HANDLE_VALUE) return 11;
    if (GetLastError() != ERROR_SHARING_VIOLATION) return 12;
    if (DeleteFileW(name.c_str()) || GetLastError() != ERROR_SHARING_VIOLATION) return 13;
    CloseHandle(a);
    HANDLE b = open(name, Write, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
    if (b == INVALID_HANDLE_VALUE) return 14;
    CloseHandle(b);
    return 0;
  };
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (::getuid() == 0) {
      if (::chown(dir.path("w.bin").c_str(), 65534, 65534) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0)
        ::_exit(20);
    }
    if (::chmod(dir.path("w.bin").c_str(), 0200) != 0) ::_exit(21);
    ::_exit(body());
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}
