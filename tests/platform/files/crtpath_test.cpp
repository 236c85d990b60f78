// The C run time's path functions and their documented results.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <cwchar>

#include "support/scratch.h"

namespace {

std::wstring make(const wchar_t* drive, const wchar_t* dir, const wchar_t* name, const wchar_t* ext) {
  wchar_t out[_MAX_PATH];
  EXPECT_EQ(_wmakepath_s(out, _MAX_PATH, drive, dir, name, ext), 0);
  return out;
}

struct Split {
  std::wstring drive, dir, name, ext;
  bool operator==(const Split&) const = default;
};

void PrintTo(const Split& s, std::ostream* os) {
  *os << "[" << ::testing::PrintToString(s.drive) << " " << ::testing::PrintToString(s.dir) << " "
      << ::testing::PrintToString(s.name) << " " << ::testing::PrintToString(s.ext) << "]";
}

Split split(const wchar_t* path) {
  wchar_t drive[_MAX_DRIVE], dir[_MAX_DIR], name[_MAX_FNAME], ext[_MAX_EXT];
  EXPECT_EQ(_wsplitpath_s(path, drive, _MAX_DRIVE, dir, _MAX_DIR, name, _MAX_FNAME, ext, _MAX_EXT), 0);
  return Split{drive, dir, name, ext};
}

}  // namespace

TEST(MakePath, ComposesAsDocumented) {
  EXPECT_EQ(make(nullptr, L"C:\\data", L"a.txt", nullptr), L"C:\\data\\a.txt");
  EXPECT_EQ(make(L"", L"C:\\data\\", L"a.txt", L""), L"C:\\data\\a.txt");
  EXPECT_EQ(make(nullptr, L"C:/data/", L"a.txt", nullptr), L"C:/data/a.txt");
  EXPECT_EQ(make(nullptr, nullptr, L"a.txt", nullptr), L"a.txt");
  EXPECT_EQ(make(nullptr, L"C:\\data", L"a", L"txt"), L"C:\\data\\a.txt");
  EXPECT_EQ(make(nullptr, L"C:\\data", L"a", L".txt"), L"C:\\data\\a.txt");
  EXPECT_EQ(make(L"C:", L"\\data", L"a", L"txt"), L"C:\\data\\a.txt");
  EXPECT_EQ(make(L"C", L"data", L"a", L"txt"), L"C:data\\a.txt");
  EXPECT_EQ(make(nullptr, L"C:\\data", nullptr, nullptr), L"C:\\data\\");
  EXPECT_EQ(make(L"D::", nullptr, nullptr, nullptr), L"D:") << "only the drive's first character";
  EXPECT_EQ(make(nullptr, nullptr, nullptr, nullptr), L"");

  wchar_t small[6] = L"xxxxx";
  EXPECT_EQ(_wmakepath_s(small, 6, nullptr, L"ab", L"cde", nullptr), ERANGE) << "ab\\cde needs 7";
  EXPECT_EQ(small[0], L'\0');
  EXPECT_EQ(_wmakepath_s(small, 6, nullptr, L"ab", L"cd", nullptr), 0);
  EXPECT_EQ(std::wstring(small), L"ab\\cd");
  small[0] = L'x';
  EXPECT_EQ(_wmakepath_s(small, 0, nullptr, L"ab", L"c", nullptr), EINVAL);
  EXPECT_EQ(small[0], L'x');
  EXPECT_EQ(_wmakepath_s(nullptr, 6, nullptr, L"ab", L"c", nullptr), EINVAL);
  EXPECT_EQ(errno, EINVAL);
}

TEST(SplitPath, SplitsAsDocumented) {
  EXPECT_EQ(split(L"C:\\data\\a.txt"), (Split{L"C:", L"\\data\\", L"a", L".txt"}));
  EXPECT_EQ(split(L"a.txt"), (Split{L"", L"", L"a", L".txt"}));
  EXPECT_EQ(split(L"C:a.txt"), (Split{L"C:", L"", L"a", L".txt"}));
  EXPECT_EQ(split(L"C:\\data\\"), (Split{L"C:", L"\\data\\", L"", L""}));
  EXPECT_EQ(split(L"/usr/lib/x.tar.gz"), (Split{L"", L"/usr/lib/", L"x.tar", L".gz"}));
  EXPECT_EQ(split(L"C:\\a.b\\c"), (Split{L"C:", L"\\a.b\\", L"c", L""}));
  EXPECT_EQ(split(L".profile"), (Split{L"", L"", L"", L".profile"}));
  EXPECT_EQ(split(L"..\\a"), (Split{L"", L"..\\", L"a", L""}));
  EXPECT_EQ(split(L"a."), (Split{L"", L"", L"a", L"."}));
  EXPECT_EQ(split(L""), (Split{}));

  // Parts not wanted are null with size 0.
  wchar_t name[_MAX_FNAME];
  EXPECT_EQ(_wsplitpath_s(L"C:\\x\\y.z", nullptr, 0, nullptr, 0, name, _MAX_FNAME, nullptr, 0), 0);
  EXPECT_EQ(std::wstring(name), L"y");

  wchar_t drive[_MAX_DRIVE] = L"q", dir[4] = L"q", ext[_MAX_EXT] = L"q";
  EXPECT_EQ(_wsplitpath_s(L"C:\\long\\y.z", drive, _MAX_DRIVE, dir, 4, name, _MAX_FNAME, ext, _MAX_EXT), ERANGE);
  EXPECT_EQ(drive[0], L'\0') << "a part that doesn't fit empties every buffer";
  EXPECT_EQ(dir[0], L'\0');
  EXPECT_EQ(name[0], L'\0');
  EXPECT_EQ(ext[0], L'\0');

  name[0] = L'q';
  EXPECT_EQ(_wsplitpath_s(L"a", nullptr, 3, nullptr, 0, name, _MAX_FNAME, nullptr, 0), EINVAL);
  EXPECT_EQ(_wsplitpath_s(L"a", drive, 0, nullptr, 0, name, _MAX_FNAME, nullptr, 0), EINVAL);
  EXPECT_EQ(_wsplitpath_s(nullptr, nullptr, 0, nullptr, 0, name, _MAX_FNAME, nullptr, 0), EINVAL);
  EXPECT_EQ(name[0], L'q') << "argument errors leave the buffers alone";
}

TEST(SearchEnv, CurrentDirectoryFirstThenPathInItsOrder) {
  ScratchDirectory dir;
  std::filesystem::create_directories(dir.path("one"));
  std::filesystem::create_directories(dir.path("two"));
  dir.write("two/tool", "");
  dir.write("one/both", "");
  dir.write("two/both", "");
  dir.write("here", "");
  InDirectory environment(dir.path(), "::" + dir.path("one").string() + ":" + dir.path("two").string() + "/");

  wchar_t found[_MAX_PATH];
  EXPECT_EQ(_wsearchenv_s(L"tool", L"PATH", found, _MAX_PATH), 0);
  EXPECT_EQ(std::wstring(found), dir.wide("two") + L"/tool");
  EXPECT_EQ(_wsearchenv_s(L"both", L"PATH", found, _MAX_PATH), 0);
  EXPECT_EQ(std::wstring(found), dir.wide("one") + L"/both");
  EXPECT_EQ(_wsearchenv_s(L"here", L"PATH", found, _MAX_PATH), 0);
  EXPECT_EQ(std::wstring(found), dir.wide("here")) << "a hit in the current directory is made a full path";
  EXPECT_EQ(_wsearchenv_s(L"one\\both", L"PATH", found, _MAX_PATH), 0);
  EXPECT_EQ(std::wstring(found), dir.wide("one/both"));

  found[0] = L'x';
  EXPECT_EQ(_wsearchenv_s(L"nowhere", L"PATH", found, _MAX_PATH), ENOENT);
  EXPECT_EQ(found[0], L'\0');
  EXPECT_EQ(_wsearchenv_s(L"tool", L"NO_SUCH_VARIABLE_HERE", found, _MAX_PATH), ENOENT);
  EXPECT_EQ(_wsearchenv_s(L"", L"PATH", found, _MAX_PATH), ENOENT);
  wchar_t tiny[4];
  EXPECT_EQ(_wsearchenv_s(L"tool", L"PATH", tiny, 4), ERANGE);
  EXPECT_EQ(tiny[0], L'\0');
  EXPECT_EQ(_wsearchenv_s(L"tool", L"PATH", nullptr, 4), EINVAL);
  EXPECT_EQ(_wsearchenv_s(nullptr, L"PATH", found, _MAX_PATH), EINVAL);
  EXPECT_EQ(_wsearchenv_s(L"tool", L"PATH", found, 0), ERANGE);
}
