// cFileSystem: every table of the path algebra, and the file-system
// operations on real directories.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include "support/scratch.h"

namespace {

std::wstring text(const cString& s) { return std::wstring(s.c_str(), s.length()); }

// Whether `f` raises cString's index failure.
template <typename F>
bool indexFails(F f) {
  try {
    f();
  } catch (CInvalidArgException*) {
    return true;
  }
  return false;
}

}  // namespace

TEST(cFileSystem, CompositionTable) {
  const cString none;
  struct Row {
    const wchar_t *drive, *dir, *name, *extension, *result;
  };
  for (const Row& r : {Row{L"", L"C:\\data", L"a.txt", L"", L"C:\\data\\a.txt"},
                       Row{L"", L"C:\\data\\", L"a.txt", L"", L"C:\\data\\a.txt"},
                       Row{L"", L"C:/data/", L"a.txt", L"", L"C:/data/a.txt"},
                       Row{L"", L"", L"a.txt", L"", L"a.txt"},
                       Row{L"", L"C:\\data", L"a", L"txt", L"C:\\data\\a.txt"},
                       Row{L"", L"C:\\data", L"a", L".txt", L"C:\\data\\a.txt"},
                       Row{L"C:", L"\\data", L"a", L"txt", L"C:\\data\\a.txt"},
                       Row{L"C", L"data", L"a", L"txt", L"C:data\\a.txt"},
                       Row{L"", L"C:\\data", L"", L"", L"C:\\data\\"}}) {
    EXPECT_EQ(text(cFileSystem::makePath(r.drive, r.dir, r.name, r.extension)), r.result);
    if (*r.drive == 0) {
      EXPECT_EQ(text(cFileSystem::makePath(r.dir, r.name, r.extension)), r.result);
    }
    if (*r.drive == 0 && *r.extension == 0) {
      EXPECT_EQ(text(cFileSystem::makePath(cString(r.dir), cString(r.name))), r.result);
      EXPECT_EQ(text(cFileSystem::makePath(r.dir, r.name)), r.result);
    }
  }
  EXPECT_EQ(text(cFileSystem::makePath(static_cast<const wchar_t*>(nullptr), L"a")), L"a") << "null is empty";
  EXPECT_EQ(text(cFileSystem::makePath(L"d", nullptr, nullptr)), L"d\\");

  EXPECT_EQ(text(cFileSystem::appendDirectory(cString(L"C:\\data"), cString(L"sub"))), L"C:\\data\\sub");
  cString base(L"C:\\data");
  cFileSystem::appendDirectory(base, cString(L"sub"));
  EXPECT_EQ(text(base), L"C:\\data\\sub") << "the second form assigns";
}

TEST(cFileSystem, SplitTable) {
  struct Row {
    const wchar_t *path, *drive, *dir, *name, *extension;
  };
  for (const Row& r : {Row{L"C:\\data\\a.txt", L"C:", L"\\data\\", L"a", L".txt"},
                       Row{L"a.txt", L"", L"", L"a", L".txt"}, Row{L"C:a.txt", L"C:", L"", L"a", L".txt"},
                       Row{L"C:\\data\\", L"C:", L"\\data\\", L"", L""},
                       Row{L"/usr/lib/x.tar.gz", L"", L"/usr/lib/", L"x.tar", L".gz"},
                       Row{L"C:\\a.b\\c", L"C:", L"\\a.b\\", L"c", L""},
                       Row{L".profile", L"", L"", L"", L".profile"}, Row{L"..\\a", L"", L"..\\", L"a", L""},
                       Row{L"a.", L"", L"", L"a", L"."}}) {
    SCOPED_TRACE(r.path);
    cString drive(L"x"), dir(L"x"), name(L"x"), extension(L"x");
    EXPECT_TRUE(cFileSystem::splitPath(r.path, drive, dir, name, extension));
    EXPECT_EQ(text(drive), r.drive);
    EXPECT_EQ(text(dir), r.dir);
    EXPECT_EQ(text(name), r.name);
    EXPECT_EQ(text(extension), r.extension);

    cString directory, file;
    EXPECT_TRUE(cFileSystem::splitPath(r.path, directory, file));
    EXPECT_EQ(text(directory), std::wstring(r.drive) + r.dir);
    EXPECT_EQ(text(file), std::wstring(r.name) + r.extension);
    EXPECT_TRUE(cFileSystem::splitName(r.path, name, extension));
    EXPECT_EQ(text(name), r.name);
    EXPECT_EQ(text(extension), r.extension);
    EXPECT_EQ(text(cFileSystem::splitExtension(r.path)), r.extension);
  }
}

TEST(cFileSystem, PeelStripAndAddTrailingSlash) {
  struct Row {
    const wchar_t *path, *result;
  };
  for (const Row& r : {Row{L"C:\\data\\a.txt", L"a.txt"}, Row{L"C:a.txt", L"a.txt"}, Row{L"/usr/lib", L"lib"},
                       Row{L"C:\\data\\", L"data\\"}, Row{L"abc", L"abc"}, Row{L"a", L""}, Row{L"\\", L""}})
    EXPECT_EQ(text(cFileSystem::peelDirectory(r.path)), r.result) << r.path;

  cString path(L"C:\\data\\");
  cFileSystem::stripTrailingSlash(path);
  EXPECT_EQ(text(path), L"C:\\data");
  cFileSystem::stripTrailingSlash(path);
  EXPECT_EQ(text(path), L"C:\\data");
  path = L"C:\\";
  cFileSystem::stripTrailingSlash(path);
  EXPECT_EQ(text(path), L"C:");
  path = L"a\\\\";
  cFileSystem::stripTrailingSlash(path);
  EXPECT_EQ(text(path), L"a\\");
  path = L"\\";
  cFileSystem::stripTrailingSlash(path);
  EXPECT_EQ(text(path), L"\\") << "a single backslash stays";
  path = L"C:/data/";
  cFileSystem::stripTrailingSlash(path);
  EXPECT_EQ(text(path), L"C:/data/") << "a forward slash isn't touched";

  cFileSystem::addTrailingSlash(path);
  EXPECT_EQ(text(path), L"C:/data/\\");
  cFileSystem::addTrailingSlash(path);
  EXPECT_EQ(text(path), L"C:/data/\\");

  cString empty;
  EXPECT_TRUE(indexFails([&] { cFileSystem::peelDirectory(empty); }));
  EXPECT_TRUE(indexFails([&] { cFileSystem::stripTrailingSlash(empty); }));
  EXPECT_TRUE(indexFails([&] { cFileSystem::addTrailingSlash(empty); }));
  EXPECT_TRUE(empty.isEmpty());
}

TEST(cFileSystem, ShortenNameTable) {
  struct Row {
    int limit;
    const wchar_t* result;
    bool shortened;
  };
  for (const Row& r : {Row{27, L"abcdefghijklmnopqrstuvwxyz", false}, Row{26, L"abcdefghij...nopqrstuvwxyz", true},
                       Row{21, L"abcdefg...klmnopqrst", true}, Row{20, L"abcdefg...klmnopqrst", true},
                       Row{6, L"...def", true}, Row{5, L"...cd", true}, Row{1, L"...", true}, Row{0, L"...", true},
                       Row{-1, L"abcdefghijklmnopqrstuvwxyz", false}}) {
    cString name(L"abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(cFileSystem::shortenName(name, r.limit), r.shortened) << r.limit;
    EXPECT_EQ(text(name), r.result) << r.limit;
  }
  EXPECT_TRUE(cFileSystem::hasWildCards(L"*.txt"));
  EXPECT_TRUE(cFileSystem::hasWildCards(L"a?.dat"));
  EXPECT_FALSE(cFileSystem::hasWildCards(L"a.txt"));
  EXPECT_FALSE(cFileSystem::hasWildCards(L""));
}

TEST(cFileSystem, ExistenceDirectoriesAndCopies) {
  ScratchDirectory dir;
  dir.write("a.txt", "alpha");
  dir.write("b.txt", "beta");
  const cString a(dir.wide("a.txt").c_str()), b(dir.wide("b.txt").c_str()), here(dir.wide().c_str());

  EXPECT_TRUE(cFileSystem::fileExists(a));
  EXPECT_TRUE(cFileSystem::fileExists(here)) << "a directory exists as well";
  EXPECT_FALSE(cFileSystem::isDirectory(a));
  EXPECT_FALSE(cFileSystem::directoryExists(a));
  EXPECT_TRUE(cFileSystem::isDirectory(here));
  EXPECT_TRUE(cFileSystem::directoryExists(here));
  const cString missing(dir.wide("missing").c_str());
  EXPECT_FALSE(cFileSystem::fileExists(missing));
  EXPECT_FALSE(cFileSystem::isDirectory(missing));
  EXPECT_EQ(cFileSystem::lastError(), ERROR_FILE_NOT_FOUND);

  EXPECT_TRUE(cFileSystem::copyFile(a, b));
  EXPECT_EQ(dir.read("b.txt"), "alpha") << "an existing target is replaced";
  EXPECT_TRUE(cFileSystem::remove(b));
  EXPECT_FALSE(dir.exists("b.txt"));

  // The codes are the layer's; what is checked here is that they are kept.
  EXPECT_FALSE(cFileSystem::makeDirectory(cString(dir.wide("x\\y").c_str())));
  EXPECT_EQ(cFileSystem::lastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_TRUE(cFileSystem::makeDirectory(cString(dir.wide("x").c_str())));
  EXPECT_TRUE(cFileSystem::removeDirectory(cString(dir.wide("x").c_str())));
  EXPECT_FALSE(dir.exists("x"));

  ULONGLONG totalSectors = 0, freeSectors = 0, freeBytes = 0;
  ASSERT_TRUE(cFileSystem::volumeStatus(here, totalSectors, freeSectors, freeBytes));
  EXPECT_GT(freeBytes, 0u);
  EXPECT_LE(freeSectors, totalSectors);
  EXPECT_FALSE(cFileSystem::volumeStatus(missing, totalSectors, freeSectors, freeBytes));

  EXPECT_EQ(text(cFileSystem::makeShortFileName(a)), text(a));
  EXPECT_EQ(text(cFileSystem::makeShortFileName(missing)), text(missing));
}

TEST(cFileSystem, DirectorySearchOverAFileInformation) {
  ScratchDirectory dir;
  for (const char* name : {"b.txt", "a.txt", "c.dat"}) dir.write(name, name);
  std::filesystem::create_directory(dir.path("sub"));
  cFileInformation info;
  std::vector<std::wstring> names, directories;
  for (bool more = cFileSystem::findFirstFile(cString((dir.wide() + L"\\*").c_str()), info); more;
       more = cFileSystem::findNextFile(info)) {
    names.push_back(text(info.name()));
    if (info.isValidDirectory()) directories.push_back(text(info.name()));
  }
  EXPECT_EQ(cFileSystem::lastError(), ERROR_NO_MORE_FILES);
  EXPECT_EQ(names, (std::vector<std::wstring>{L".", L"..", L"a.txt", L"b.txt", L"c.dat", L"sub"}));
  EXPECT_EQ(directories, (std::vector<std::wstring>{L"sub"}));
  EXPECT_FALSE(cFileSystem::findNextFile(info)) << "the ended search left the handle at -1";
  EXPECT_EQ(cFileSystem::lastError(), ERROR_INVALID_HANDLE);
  cFileSystem::findFileComplete(info);

  ASSERT_TRUE(cFileSystem::findFirstFile(cString((dir.wide() + L"\\*.txt").c_str()), info));
  EXPECT_EQ(text(info.name()), L"a.txt");
  cFileSystem::findFileComplete(info);
  EXPECT_FALSE(cFileSystem::findNextFile(info));
  EXPECT_EQ(cFileSystem::lastError(), ERROR_INVALID_HANDLE);

  EXPECT_FALSE(cFileSystem::findFirstFile(cString((dir.wide() + L"\\*.none").c_str()), info));
  EXPECT_EQ(cFileSystem::lastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(cFileSystem::findFirstFile(cString((dir.wide() + L"\\missing\\*").c_str()), info));
  EXPECT_EQ(cFileSystem::lastError(), ERROR_PATH_NOT_FOUND);
}

TEST(cFileSystem, AbsolutePathResolvesTheDirectoryPart) {
  ScratchDirectory dir;
  std::filesystem::create_directories(dir.path("work"));
  std::filesystem::create_directories(dir.path("x"));
  InDirectory in(dir.path("work"));
  const std::wstring work = dir.wide("work");
  const std::wstring root = dir.wide();

  EXPECT_EQ(text(cFileSystem::currentDirectory()), work);
  EXPECT_EQ(text(cFileSystem::absolutePath(L"a.txt")), work + L"\\a.txt");
  EXPECT_EQ(text(cFileSystem::absolutePath(L"..\\x\\a.txt")), root + L"/x\\a.txt");
  EXPECT_EQ(text(cFileSystem::absolutePath(L"missing\\a.txt")), work + L"\\a.txt") << "a failed change is silent";
  EXPECT_EQ(text(cFileSystem::absolutePath(L"..")), work + L"\\..") << "only the directory part resolves";
  EXPECT_EQ(text(cFileSystem::absolutePath(cString((root + L"\\x\\").c_str()))), root + L"/x\\");
  EXPECT_EQ(text(cFileSystem::absolutePath(L"")), work + L"\\");
  EXPECT_EQ(std::filesystem::current_path(), dir.path("work")) << "the current directory is as it was";

  cString path(L"b.txt");
  EXPECT_TRUE(cFileSystem::qualifyPath(path));
  EXPECT_EQ(text(path), work + L"\\b.txt");
  path = L"";
  EXPECT_TRUE(cFileSystem::qualifyPath(path));
  EXPECT_EQ(text(path), work + L"\\");

  EXPECT_TRUE(cFileSystem::setCurrentDirectory(L".."));
  EXPECT_EQ(text(cFileSystem::currentDirectory()), root);
  EXPECT_FALSE(cFileSystem::setCurrentDirectory(L"missing"));
  EXPECT_EQ(cFileSystem::lastError(), ERROR_FILE_NOT_FOUND);
}

TEST(cFileSystem, SearchPathLooksHereThenAlongPath) {
  ScratchDirectory dir;
  std::filesystem::create_directories(dir.path("bin"));
  dir.write("bin/tool", "");
  dir.write("local", "");
  const std::string path = "/nonexistent:" + dir.path("bin").string();
  InDirectory in(dir.path(), path);

  cString name(L"local");
  EXPECT_TRUE(cFileSystem::searchPath(name));
  EXPECT_EQ(text(name), L"local") << "an existing name stays as it is";
  name = L"tool";
  EXPECT_TRUE(cFileSystem::searchPath(name));
  EXPECT_EQ(text(name), dir.wide("bin") + L"/tool");
  name = L"nowhere";
  EXPECT_FALSE(cFileSystem::searchPath(name));
  EXPECT_TRUE(name.isEmpty());
}

TEST(cFileSystem, LongPathsAreGivenWhole) {
  const std::wstring part(200, L'p');
  EXPECT_EQ(text(cFileSystem::makePath(part.c_str(), part.c_str(), L"txt")), part + L"\\" + part + L".txt");
  EXPECT_EQ(text(cFileSystem::makePath(L"C", part.c_str(), part.c_str(), L".e")), L"C:" + part + L"\\" + part + L".e");
  cString drive, directory, name, extension;
  const std::wstring longDirectory = L"C:\\" + std::wstring(300, L'd') + L"\\";
  const std::wstring longName(300, L'n');
  EXPECT_TRUE(cFileSystem::splitPath(cString((longDirectory + longName + L".y").c_str()), drive, directory, name,
                                     extension));
  EXPECT_EQ(text(drive), L"C:");
  EXPECT_EQ(text(directory), longDirectory.substr(2));
  EXPECT_EQ(text(name), longName);
  EXPECT_EQ(text(extension), L".y");
  EXPECT_EQ(text(cFileSystem::splitExtension(cString((longName + L"." + longName).c_str()))), L"." + longName);
}

// A directory deeper than 260 characters, reached step by step as a shell
// would leave a program in it.
TEST(cFileSystem, ACurrentDirectoryBeyond260Characters) {
  ScratchDirectory dir;
  std::filesystem::path deep = dir.path();
  for (int i = 0; i < 4; ++i) deep /= std::string(80, static_cast<char>('a' + i));
  std::filesystem::create_directories(deep / "sub");
  InDirectory in(deep);
  const std::wstring work = deep.wstring();
  ASSERT_GT(work.size(), 330u);

  EXPECT_EQ(text(cFileSystem::currentDirectory()), work);
  EXPECT_EQ(text(cFileSystem::absolutePath(L"x.txt")), work + L"\\x.txt");
  EXPECT_EQ(text(cFileSystem::absolutePath(L"sub\\x.txt")), work + L"/sub\\x.txt");
  EXPECT_EQ(text(cFileSystem::absolutePath(L"..\\x.txt")), deep.parent_path().wstring() + L"\\x.txt");
  EXPECT_EQ(std::filesystem::current_path(), deep) << "the change back reached the deep directory";
  cString path(L"y.txt");
  EXPECT_TRUE(cFileSystem::qualifyPath(path));
  EXPECT_EQ(text(path), work + L"\\y.txt");
  EXPECT_TRUE(cFileSystem::setCurrentDirectory(cString((work + L"/sub").c_str())));
  EXPECT_EQ(text(cFileSystem::currentDirectory()), work + L"/sub");
  EXPECT_TRUE(cFileSystem::setCurrentDirectory(cString(work.c_str())));
  EXPECT_EQ(text(cFileSystem::makeShortFileName(L"sub")), L"sub");
  const std::wstring longShort = work + L"/sub";
  EXPECT_TRUE(cFileSystem::makeShortFileName(cString(longShort.c_str())).isEmpty())
      << "a short form beyond the buffer leaves it empty";
}

TEST(cFileSystem, SearchPathFindsAHitBeyond260Characters) {
  ScratchDirectory dir;
  const std::filesystem::path bin = dir.path() / std::string(120, 'b') / std::string(120, 'c');
  std::filesystem::create_directories(bin);
  std::ofstream(bin / "tool") << "";
  InDirectory in(dir.path(), bin.string());
  cString name(L"tool");
  EXPECT_TRUE(cFileSystem::searchPath(name));
  EXPECT_EQ(text(name), (bin / "tool").wstring());
}
