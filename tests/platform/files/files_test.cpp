// File handles against documented Win32 behaviour, on real files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cstring>

#include "../../../platform/files/files.h"
#include "files/file_handles.h"
#include "support/scratch.h"

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

// Two processes open one file without sharing at the same instant (both
// spin at a barrier in shared memory, then open), round after round:
// exactly one gets it each time.
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

// A zero-length lock at n stands between bytes n - 1 and n: it excludes
// every region holding both, and a zero-length lock strictly inside a
// locked region is refused; {0, 0} conflicts with nothing.
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