// cFile on real files: every row of the open flags, where each error goes,
// locks, times and the failure of its destructor.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include "../../platform/files/files.h"
#include "support/scratch.h"

namespace {

std::wstring text(const cString& s) { return std::wstring(s.c_str(), s.length()); }

DWORD error() { return GetLastError(); }

// Whether another opener with this access and sharing everything gets in
// beside the file `f` holds.
bool admits(const ScratchDirectory& dir, const char* name, DWORD access) {
  HANDLE h = CreateFileW(dir.wide(name).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                         0, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    return false;
  }
  CloseHandle(h);
  return true;
}

bool canRead(cFile& f) {
  char c;
  DWORD count = 1;
  f.seek(0, cFile::seekFromStart);
  return f.read(&c, count);
}

bool canWrite(cFile& f) {
  DWORD count = 0;
  return f.write("", count);
}

bool inheritable(const cFile& f) { return (::fcntl(qn::descriptorOf(f.handle()), F_GETFD) & FD_CLOEXEC) == 0; }

}  // namespace

TEST(cFile, OpenFlagsAccessAndInheritance) {
  ScratchDirectory dir;
  dir.write("a.txt", "content");
  const cString name(dir.wide("a.txt").c_str());
  struct Row {
    DWORD flags;
    bool read, write, inherit;
  };
  for (const Row& row : {Row{0x0, true, false, true}, Row{0x1, false, true, true}, Row{0x2, true, true, true},
                         Row{0x3, true, true, true}, Row{0x80, true, false, false}, Row{0x81, false, true, false}}) {
    SCOPED_TRACE(row.flags);
    cFile f;
    ASSERT_TRUE(f.open(name, row.flags));
    EXPECT_EQ(canRead(f), row.read);
    EXPECT_EQ(canWrite(f), row.write);
    if (!row.write) {
      EXPECT_EQ(f.lastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    }
    EXPECT_EQ(inheritable(f), row.inherit);
    EXPECT_TRUE(f.close());
  }
  EXPECT_EQ(dir.read("a.txt"), "content");
}

TEST(cFile, OpenFlagsShareField) {
  ScratchDirectory dir;
  dir.write("a.txt", "content");
  const cString name(dir.wide("a.txt").c_str());
  struct Row {
    DWORD share;
    bool reader, writer;
  };
  // The file is open for reading and writing (0x2), so another opener must
  // share both to get in at all.
  for (const Row& row : {Row{0x00, false, false}, Row{0x10, false, false}, Row{0x20, true, false},
                         Row{0x30, false, true}, Row{0x40, true, true}, Row{0x50, false, false},
                         Row{0x60, false, false}, Row{0x70, false, false}}) {
    SCOPED_TRACE(row.share);
    cFile f;
    ASSERT_TRUE(f.open(name, 0x2 | row.share));
    EXPECT_EQ(admits(dir, "a.txt", GENERIC_READ), row.reader);
    EXPECT_EQ(admits(dir, "a.txt", GENERIC_WRITE), row.writer);
    f.close();
  }
}

TEST(cFile, OpenFlagsDisposition) {
  ScratchDirectory dir;
  const cString name(dir.wide("a.txt").c_str());
  cFile f;
  EXPECT_FALSE(f.open(name, 0x0)) << "the word 0 needs an existing file";
  EXPECT_EQ(f.lastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(text(f.name()), text(name)) << "the name is kept after a failure";
  EXPECT_FALSE(f.isOpen());
  EXPECT_FALSE(f.open(name, 0x2000)) << "0x2000 without 0x1000 is the word 0";
  EXPECT_EQ(f.lastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));

  ASSERT_TRUE(f.open(name, 0x1002)) << "0x1000 creates";
  DWORD count = 5;
  EXPECT_TRUE(f.write("hello", count));
  f.close();
  ASSERT_TRUE(f.open(name, 0x3000)) << "0x3000 keeps an existing file";
  EXPECT_EQ(f.size(), 5u);
  f.close();
  ASSERT_TRUE(f.open(name, 0x1000)) << "0x1000 replaces, even for reading";
  EXPECT_EQ(f.size(), 0u);
  f.close();
  ASSERT_TRUE(f.open(cString(dir.wide("b.txt").c_str()), 0x3002));
  f.close();
  EXPECT_TRUE(dir.exists("b.txt"));
}

TEST(cFile, OpenWithTwoFlags) {
  ScratchDirectory dir;
  dir.write("a.txt", "content");
  const cString name(dir.wide("a.txt").c_str());
  cFile f;
  ASSERT_TRUE(f.open(name, true, true));
  EXPECT_EQ(f.size(), 0u) << "an existing file is emptied";
  EXPECT_EQ(f.seek(0, cFile::seekFromCurrent), 0u);
  DWORD count = 3;
  EXPECT_TRUE(f.write("abc", count));
  EXPECT_FALSE(admits(dir, "a.txt", GENERIC_WRITE)) << "only reading is shared";
  EXPECT_TRUE(admits(dir, "a.txt", GENERIC_READ));
  f.close();

  ASSERT_TRUE(f.open(name, false, true));
  EXPECT_EQ(f.size(), 3u) << "without write access the emptying fails unnoticed";
  f.close();
  ASSERT_TRUE(f.open(cString(dir.wide("new.txt").c_str()), false, true));
  EXPECT_TRUE(dir.exists("new.txt"));
  f.close();
  EXPECT_FALSE(f.open(cString(dir.wide("missing.txt").c_str()), true, false));
  EXPECT_EQ(f.lastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(dir.exists("missing.txt"));
}

TEST(cFile, CreateTemp) {
  ScratchDirectory dir;
  cFile blank;
  EXPECT_FALSE(blank.createTemp(0x2)) << "no name: the empty one is tried";
  EXPECT_EQ(blank.lastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));

  dir.write("t.tmp", "old");
  cFile f;
  ASSERT_TRUE(f.open(cString(dir.wide("t.tmp").c_str()), 0x0));
  f.close();
  ASSERT_TRUE(f.createTemp(0x2));
  EXPECT_EQ(f.size(), 0u) << "CREATE_ALWAYS replaces";
  DWORD count = 3;
  EXPECT_TRUE(f.write("new", count));
  EXPECT_TRUE(admits(dir, "t.tmp", GENERIC_READ)) << "reading is shared";
  EXPECT_FALSE(admits(dir, "t.tmp", GENERIC_WRITE));
  f.close();
  EXPECT_EQ(dir.read("t.tmp"), "new");
}

TEST(cFile, ReadWriteAndWhereTheirErrorsGo) {
  ScratchDirectory dir;
  cFile f;
  ASSERT_TRUE(f.open(cString(dir.wide("a.bin").c_str()), 0x1002));
  DWORD count = 10;
  EXPECT_TRUE(f.write("0123456789", count));
  EXPECT_EQ(count, 10u);
  EXPECT_EQ(f.seek(DWORD(-4), cFile::seekFromEnd), 6u) << "a backward move as two's complement";
  char buffer[16] = {};
  count = 16;
  EXPECT_TRUE(f.read(buffer, count));
  EXPECT_EQ(count, 4u) << "a short read is a success";
  EXPECT_EQ(std::string(buffer, 4), "6789");
  count = 16;
  EXPECT_TRUE(f.read(buffer, count));
  EXPECT_EQ(count, 0u) << "at the end: true with 0";

  EXPECT_EQ(f.seek(DWORD(-1), cFile::seekFromStart), 0xFFFFFFFFu);
  EXPECT_EQ(f.lastError(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK));
  DWORD seekError = 99;
  EXPECT_FALSE(f.seek(DWORD(-1), cFile::seekFromStart, seekError));
  EXPECT_EQ(seekError, static_cast<DWORD>(ERROR_NEGATIVE_SEEK));
  EXPECT_TRUE(f.seek(2, cFile::seekFromStart, seekError));
  EXPECT_EQ(seekError, 0u);
  EXPECT_EQ(f.lastError(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK)) << "the error form leaves the object's error";
  count = 1;
  EXPECT_TRUE(f.read(buffer, count));
  EXPECT_EQ(f.lastError(), 0u) << "a successful read clears it";

  // The cBuffer forms report in their argument.
  cBuffer data(8);
  DWORD bufferError = 99;
  f.seek(0, cFile::seekFromStart);
  count = 4;
  EXPECT_TRUE(f.read(data, 2, count, bufferError));
  EXPECT_EQ(bufferError, 0u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(data.address()), 8), std::string("\0\0" "0123\0\0", 8));
  count = 7;
  EXPECT_FALSE(f.read(data, 2, count, bufferError)) << "beyond the buffer nothing moves";
  EXPECT_EQ(bufferError, static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(count, 0u);
  f.seek(0, cFile::seekFromEnd);
  count = 2;
  EXPECT_TRUE(f.write(data, 3, count, bufferError));
  f.close();

  cFile reader;
  ASSERT_TRUE(reader.open(cString(dir.wide("a.bin").c_str()), 0x20));
  EXPECT_EQ(reader.size(), 12u);
  count = 3;
  EXPECT_FALSE(reader.write("xyz", count));
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(reader.lastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  count = 3;
  bufferError = 0;
  EXPECT_FALSE(reader.write(data, 0, count, bufferError));
  EXPECT_EQ(bufferError, static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_FALSE(reader.flush());
  reader.close();
  EXPECT_EQ(dir.read("a.bin"), "0123456789" "12");
}

TEST(cFile, OpenDoesNotClearTheLastErrorAndCloseIsSafe) {
  ScratchDirectory dir;
  dir.write("a.txt", "x");
  cFile f;
  EXPECT_FALSE(f.open(cString(dir.wide("missing").c_str()), 0));
  EXPECT_TRUE(f.open(cString(dir.wide("a.txt").c_str()), 0));
  EXPECT_EQ(f.lastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND)) << "a successful open leaves the old code";
  EXPECT_TRUE(f.close());
  EXPECT_TRUE(f.close()) << "closing a closed file is true";
  EXPECT_FALSE(f.flush());
  EXPECT_FALSE(f.isOpen());
  EXPECT_EQ(f.handle(), INVALID_HANDLE_VALUE);
  char c;
  DWORD count = 1;
  EXPECT_FALSE(f.read(&c, count)) << "no file open: the platform's invalid handle";
  EXPECT_EQ(f.lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));

  // A handle closed behind the object's back: close reports it, the handle
  // is -1 all the same, and the destructor throws the bare text.
  ASSERT_TRUE(f.open(cString(dir.wide("a.txt").c_str()), 0));
  CloseHandle(f.handle());
  EXPECT_FALSE(f.close());
  EXPECT_EQ(f.handle(), INVALID_HANDLE_VALUE);

  auto* doomed = new cFile;
  ASSERT_TRUE(doomed->open(cString(dir.wide("a.txt").c_str()), 0));
  CloseHandle(doomed->handle());
  std::wstring thrown;
  try {
    delete doomed;
  } catch (wchar_t* text) {
    thrown = text;
  }
  EXPECT_EQ(thrown, L"close()");

  // Copies share the handle; the other one takes a closed value first.
  cFile original;
  ASSERT_TRUE(original.open(cString(dir.wide("a.txt").c_str()), 0));
  {
    cFile copy(original);
    EXPECT_EQ(copy.handle(), original.handle());
    EXPECT_EQ(text(copy.name()), text(original.name()));
    copy = cFile();
  }
  EXPECT_TRUE(original.isOpen());
  count = 1;
  EXPECT_TRUE(original.read(&c, count));
}

// Sizes beyond 32 bits are cFileInformation's; its test has them.
TEST(cFile, UpdateStatusRefreshesTheBase) {
  ScratchDirectory dir;
  cFile f;
  ASSERT_TRUE(f.open(cString(dir.wide("grows").c_str()), 0x1002));
  DWORD count = 5;
  ASSERT_TRUE(f.write("hello", count));
  EXPECT_EQ(f.size(), 0u) << "the base changes only with updateStatus";
  EXPECT_TRUE(f.updateStatus());
  EXPECT_EQ(f.size(), 5u);
  EXPECT_TRUE(f.cFileInformation::name().isEmpty()) << "the base's name stays empty";
}

TEST(cFile, LockRegionFailsAtOnceForAnotherHandle) {
  ScratchDirectory dir;
  dir.write("a.bin", std::string(64, 'x'));
  const cString name(dir.wide("a.bin").c_str());
  cFile a, b;
  ASSERT_TRUE(a.open(name, 0x42));
  ASSERT_TRUE(b.open(name, 0x42));
  EXPECT_TRUE(a.lockRegion(0, 10, true));
  EXPECT_FALSE(b.lockRegion(5, 1, true));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  EXPECT_EQ(b.lastError(), 0u) << "lockRegion keeps no error";
  char buffer[4];
  DWORD count = 4;
  EXPECT_FALSE(b.read(buffer, count));
  EXPECT_EQ(b.lastError(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  EXPECT_FALSE(b.lockRegion(0, 10, false)) << "only the holder unlocks";
  EXPECT_TRUE(a.lockRegion(0, 10, false));
  EXPECT_TRUE(b.lockRegion(5, 1, true));
  EXPECT_TRUE(b.lockRegion(5, 1, false));
}

TEST(cFile, TimesAsLocalWallClockReadings) {
  ScratchDirectory dir;
  for (const auto& [zone, offset] : {std::pair{"UTC0", 0}, std::pair{"JST-9", 9 * 3600}}) {
    SCOPED_TRACE(zone);
    TimeZone tz(zone);
    cFile f;
    ASSERT_TRUE(f.open(cString(dir.wide("t.txt").c_str()), 0x3002));
    const cTime when(2001, 2, 3, 4, 5, 6);
    ASSERT_TRUE(f.setTimes(when, when, when));
    FILETIME creation, access, write;
    ASSERT_TRUE(f.getFiletimes(creation, access, write));
    SYSTEMTIME fields;
    ASSERT_TRUE(FileTimeToSystemTime(&write, &fields));
    EXPECT_EQ(fields.wYear, 2001);
    EXPECT_EQ(fields.wHour, 4) << "the FILETIME holds the local reading, not UTC";
    EXPECT_EQ(fields.wSecond, 6);
    EXPECT_EQ(CompareFileTime(&access, &write), 0);
    ASSERT_TRUE(f.updateStatus());
    EXPECT_EQ(f.time().GetTime(), when.GetTime() + offset) << "read back, it is off by the zone's offset";
    f.close();
  }

  dir.write("r.txt", "");
  cFile reader;
  ASSERT_TRUE(reader.open(cString(dir.wide("r.txt").c_str()), 0));
  char c;
  DWORD count = 1;
  reader.read(&c, count);
  const FILETIME t{0, 0x1D00000};
  EXPECT_FALSE(reader.setFiletimes(t, t, t));
  EXPECT_EQ(reader.lastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  reader.close();

  cFile writer;
  ASSERT_TRUE(writer.open(cString(dir.wide("r.txt").c_str()), 0x1));
  writer.seek(DWORD(-1), cFile::seekFromStart);
  EXPECT_TRUE(writer.setFiletimes(t, t, t));
  EXPECT_EQ(writer.lastError(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK)) << "success leaves the code";
}

TEST(cFile, PerNameOperations) {
  ScratchDirectory dir;
  dir.write("a.txt", "a");
  DWORD attributes = 0;
  EXPECT_TRUE(cFile::attributes(cString(dir.wide("a.txt").c_str()), attributes));
  EXPECT_EQ(attributes, FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_TRUE(cFile::setAttributes(cString(dir.wide("a.txt").c_str()), FILE_ATTRIBUTE_READONLY));
  EXPECT_TRUE(cFile::attributes(cString(dir.wide("a.txt").c_str()), attributes));
  EXPECT_EQ(attributes, FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY);
  EXPECT_FALSE(cFile::attributes(cString(dir.wide("missing").c_str()), attributes));
  EXPECT_EQ(attributes, 0xFFFFFFFFu);
  EXPECT_TRUE(cFile::renameFileAs(cString(dir.wide("a.txt").c_str()), cString(dir.wide("b.txt").c_str())));
  EXPECT_TRUE(dir.exists("b.txt"));
  dir.write("c.txt", "c");
  EXPECT_FALSE(cFile::renameFileAs(cString(dir.wide("b.txt").c_str()), cString(dir.wide("c.txt").c_str())));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_EQ(dir.read("c.txt"), "c");
}
