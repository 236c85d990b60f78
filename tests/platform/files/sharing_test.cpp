// Share modes and region locks against documented Win32 behaviour: between
// handles of one process and between processes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include "../../../platform/files/files.h"
#include "files/file_handles.h"
#include "support/process_race.h"
#include "support/scratch.h"

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
