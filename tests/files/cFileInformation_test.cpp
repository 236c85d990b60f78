// cFileInformation and cTime on real files, under more than one time zone.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include "support/scratch.h"

namespace {

std::wstring text(const cString& s) { return std::wstring(s.c_str(), s.length()); }

// Sets a file's times to the given Unix seconds through the platform.
void setWriteTime(const std::wstring& path, std::int64_t seconds) {
  HANDLE h = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  const std::uint64_t ticks = static_cast<std::uint64_t>(seconds + 11644473600LL) * 10000000ULL;
  const FILETIME t{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  EXPECT_TRUE(SetFileTime(h, nullptr, &t, &t));
  CloseHandle(h);
}

long offsetAt(std::time_t t) {
  struct tm parts;
  localtime_r(&t, &parts);
  return parts.tm_gmtoff;
}

}  // namespace

TEST(cFileInformation, DefaultObjectDescribesNothing) {
  const cFileInformation info;
  EXPECT_EQ(info.size(), 0u);
  EXPECT_EQ(info.attributes(), 0u);
  EXPECT_TRUE(info.name().isEmpty());
  EXPECT_FALSE(info.isValidDirectory());
  EXPECT_EQ(info.time().GetTime(), 0) << "the zero FILETIME lies in 1601, before 1900";
  const FILETIME t = info.filetime();
  EXPECT_EQ(t.dwLowDateTime | t.dwHighDateTime, 0u);
}

TEST(cFileInformation, StatusDescribesTheFirstMatchAndClosesTheSearch) {
  ScratchDirectory dir;
  dir.write("b.txt", "bb");
  dir.write("a.txt", "a");
  cFileInformation info;
  EXPECT_TRUE(info.status(cString(dir.wide("a.txt").c_str())));
  EXPECT_EQ(text(info.name()), L"a.txt") << "the last component, as the find record holds it";
  EXPECT_EQ(text(info.path()), L"a.txt");
  EXPECT_EQ(text(info.searchName()), L"a.txt");
  EXPECT_EQ(info.size(), 1u);
  EXPECT_EQ(info.attributes(), FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_FALSE(info.isValidDirectory());

  EXPECT_TRUE(info.status(cString((dir.wide() + L"\\*.txt").c_str())));
  EXPECT_EQ(text(info.name()), L"a.txt") << "the first of several matches";
  EXPECT_FALSE(cFileSystem::findNextFile(info)) << "the search was closed at once";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));

  EXPECT_FALSE(info.status(cString(dir.wide("missing.txt").c_str())));
  EXPECT_EQ(info.lastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(info.status(cString(dir.wide("missing\\x.txt").c_str())));
  EXPECT_EQ(info.lastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_FALSE(cFileSystem::findNextFile(info));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE)) << "no search is left open";

  info.setPath(L"C:\\elsewhere\\z.dat");
  EXPECT_EQ(text(info.name()), L"C:\\elsewhere\\z.dat");
  info.setPath(cString(std::wstring(MAX_PATH, L'x').c_str()));
  EXPECT_TRUE(info.name().isEmpty()) << "a text that doesn't fit leaves no name";
}

TEST(cFileInformation, DirectoriesAndTheirDots) {
  ScratchDirectory dir;
  std::filesystem::create_directory(dir.path("sub"));
  std::filesystem::create_directory(dir.path(".git"));
  cFileInformation info;
  ASSERT_TRUE(info.status(cString(dir.wide("sub").c_str())));
  EXPECT_TRUE(info.isValidDirectory());
  ASSERT_TRUE(info.status(cString(dir.wide(".git").c_str())));
  EXPECT_FALSE(info.isValidDirectory());
  ASSERT_TRUE(cFileSystem::findFirstFile(cString((dir.wide() + L"\\*").c_str()), info));
  EXPECT_EQ(text(info.name()), L".");
  EXPECT_FALSE(info.isValidDirectory());
  ASSERT_TRUE(cFileSystem::findNextFile(info));
  EXPECT_EQ(text(info.name()), L"..");
  EXPECT_FALSE(info.isValidDirectory());
  cFileSystem::findFileComplete(info);
}

TEST(cFileInformation, SizesOfFourGibibytes) {
  ScratchDirectory dir;
  HANDLE h = CreateFileW(dir.wide("big").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  LARGE_INTEGER end{};
  end.QuadPart = 0x100000000LL;
  ASSERT_TRUE(SetFilePointerEx(h, end, nullptr, FILE_BEGIN));
  ASSERT_TRUE(SetEndOfFile(h));
  BY_HANDLE_FILE_INFORMATION stat{};
  ASSERT_TRUE(GetFileInformationByHandle(h, &stat));
  CloseHandle(h);

  cFileInformation info;
  ASSERT_TRUE(info.status(cString(dir.wide("big").c_str())));
  EXPECT_EQ(info.nFileSizeHigh, 1u);
  EXPECT_EQ(info.nFileSizeLow, 0u);
  EXPECT_EQ(info.size(), 4294967296ULL);

  cFileInformation fromHandle;
  fromHandle.setPath(L"kept");
  fromHandle.fromStat(stat);
  EXPECT_EQ(fromHandle.size(), 4294967296ULL);
  EXPECT_EQ(text(fromHandle.name()), L"kept") << "fromStat leaves the name";
  EXPECT_EQ(fromHandle.attributes(), FILE_ATTRIBUTE_ARCHIVE);
}

TEST(cFileInformation, TimeIsTheSameInstantThroughLocalTime) {
  ScratchDirectory dir;
  dir.write("winter", "");
  dir.write("summer", "");
  const std::int64_t january = 1705320000;  // 2024-01-15 12:00 UTC
  const std::int64_t july = 1720008000;     // 2024-07-03 12:00 UTC
  setWriteTime(dir.wide("winter"), january);
  setWriteTime(dir.wide("summer"), july);

  for (const char* zone : {"UTC0", "JST-9", "<+0545>-5:45"}) {
    SCOPED_TRACE(zone);
    TimeZone tz(zone);
    cFileInformation info;
    ASSERT_TRUE(info.status(cString(dir.wide("winter").c_str())));
    EXPECT_EQ(info.time().GetTime(), january);
    ASSERT_TRUE(info.status(cString(dir.wide("summer").c_str())));
    EXPECT_EQ(info.time().GetTime(), july);
  }
  {
    // With daylight saving the file time goes to local time by the present
    // offset; a time in the other season comes back off by the difference.
    TimeZone tz("EST5EDT,M3.2.0,M11.1.0");
    const long now = offsetAt(std::time(nullptr));
    cFileInformation info;
    for (auto [name, t] : {std::pair{"winter", january}, std::pair{"summer", july}}) {
      ASSERT_TRUE(info.status(cString(dir.wide(name).c_str())));
      EXPECT_EQ(info.time().GetTime(), t + now - offsetAt(t)) << name;
    }
  }
}

TEST(cFileInformation, TimeBeyondTheYear3000Throws) {
  TimeZone tz("UTC0");
  cFileInformation info;
  const SYSTEMTIME far{3001, 1, 1, 1, 0, 0, 0, 0};
  SystemTimeToFileTime(&far, &info.ftLastWriteTime);
  SCODE code = 0;
  try {
    info.time();
  } catch (COleException* e) {
    code = e->m_sc;
    e->Delete();
  }
  EXPECT_EQ(code, E_INVALIDARG);
}
