// Attributes, deleting, moving, copying, directories and volumes by name.
#include <gtest/gtest.h>
#include <qnlith/win32.h>
#include <sys/statvfs.h>

#include <cwchar>

#include "support/scratch.h"

namespace {

DWORD error() { return GetLastError(); }

}  // namespace

TEST(FileAttributes, AsWin32ReportsThem) {
  ScratchDirectory dir;
  dir.write("a.txt", "a");
  dir.write(".profile", "p");
  std::filesystem::create_directory(dir.path("sub"));
  std::filesystem::create_directory(dir.path(".cache"));

  EXPECT_EQ(GetFileAttributesW(dir.wide("a.txt").c_str()), FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_EQ(GetFileAttributesW(dir.wide(".profile").c_str()), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_HIDDEN);
  EXPECT_EQ(GetFileAttributesW(dir.wide("sub").c_str()), FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_EQ(GetFileAttributesW(dir.wide(".cache").c_str()), FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN);
  EXPECT_EQ(GetFileAttributesW((dir.wide() + L"\\sub\\").c_str()), FILE_ATTRIBUTE_DIRECTORY);

  EXPECT_TRUE(SetFileAttributesW(dir.wide("a.txt").c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE));
  EXPECT_EQ(GetFileAttributesW(dir.wide("a.txt").c_str()), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY);
  EXPECT_FALSE(DeleteFileW(dir.wide("a.txt").c_str())) << "a read-only file can't be deleted";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(SetFileAttributesW(dir.wide("a.txt").c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(GetFileAttributesW(dir.wide("a.txt").c_str()), FILE_ATTRIBUTE_ARCHIVE);

  std::filesystem::create_symlink(dir.path("sub"), dir.path("link"));
  EXPECT_EQ(GetFileAttributesW(dir.wide("link").c_str()), FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);

  EXPECT_EQ(GetFileAttributesW(dir.wide("missing").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(GetFileAttributesW(dir.wide("missing/a.txt").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(GetFileAttributesW(dir.wide("a.txt/b").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
  EXPECT_FALSE(SetFileAttributesW(dir.wide("missing").c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST(FileNames, DeleteMoveAndCopy) {
  ScratchDirectory dir;
  dir.write("a.txt", "alpha");
  dir.write("b.txt", "beta");
  std::filesystem::create_directory(dir.path("sub"));

  EXPECT_FALSE(DeleteFileW(dir.wide("sub").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_FALSE(DeleteFileW(dir.wide("missing").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(DeleteFileW(dir.wide("a|b").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_INVALID_NAME));

  EXPECT_FALSE(MoveFileW(dir.wide("a.txt").c_str(), dir.wide("b.txt").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_EQ(dir.read("b.txt"), "beta");
  EXPECT_FALSE(MoveFileW(dir.wide("missing").c_str(), dir.wide("c.txt").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(MoveFileW(dir.wide("a.txt").c_str(), dir.wide("nodir\\c.txt").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
  EXPECT_TRUE(MoveFileW(dir.wide("a.txt").c_str(), dir.wide("sub\\c.txt").c_str()));
  EXPECT_EQ(dir.read("sub/c.txt"), "alpha");
  EXPECT_TRUE(MoveFileW(dir.wide("sub").c_str(), dir.wide("moved").c_str())) << "directories move too";

  EXPECT_FALSE(CopyFileW(dir.wide("b.txt").c_str(), dir.wide("moved/c.txt").c_str(), TRUE));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_EXISTS));
  EXPECT_EQ(dir.read("moved/c.txt"), "alpha");
  EXPECT_TRUE(CopyFileW(dir.wide("b.txt").c_str(), dir.wide("moved/c.txt").c_str(), FALSE));
  EXPECT_EQ(dir.read("moved/c.txt"), "beta");
  EXPECT_FALSE(CopyFileW(dir.wide("missing").c_str(), dir.wide("d.txt").c_str(), FALSE));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(dir.exists("d.txt"));
  EXPECT_FALSE(CopyFileW(dir.wide("b.txt").c_str(), dir.wide("b.txt").c_str(), FALSE))
      << "a file can't be copied onto itself";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(dir.read("b.txt"), "beta");

  // A copy keeps the last write time and the read-only attribute.
  HANDLE h = CreateFileW(dir.wide("b.txt").c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  const SYSTEMTIME when{1999, 12, 5, 31, 23, 59, 58, 0};
  FILETIME stamp;
  SystemTimeToFileTime(&when, &stamp);
  EXPECT_TRUE(SetFileTime(h, nullptr, nullptr, &stamp));
  CloseHandle(h);
  SetFileAttributesW(dir.wide("b.txt").c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_TRUE(CopyFileW(dir.wide("b.txt").c_str(), dir.wide("e.txt").c_str(), TRUE));
  WIN32_FIND_DATAW data;
  HANDLE find = FindFirstFileW(dir.wide("e.txt").c_str(), &data);
  ASSERT_NE(find, INVALID_HANDLE_VALUE);
  FindClose(find);
  EXPECT_EQ(CompareFileTime(&data.ftLastWriteTime, &stamp), 0);
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY);
  EXPECT_FALSE(CopyFileW(dir.wide("moved/c.txt").c_str(), dir.wide("e.txt").c_str(), FALSE))
      << "a read-only target isn't overwritten";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(dir.read("e.txt"), "beta");
}

TEST(Directories, CreateRemoveAndTheCurrentDirectory) {
  ScratchDirectory dir;
  EXPECT_TRUE(CreateDirectoryW(dir.wide("a").c_str(), nullptr));
  EXPECT_FALSE(CreateDirectoryW(dir.wide("a").c_str(), nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_FALSE(CreateDirectoryW(dir.wide("x\\y").c_str(), nullptr)) << "one level only";
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
  EXPECT_FALSE(dir.exists("x"));
  EXPECT_FALSE(CreateDirectoryW((dir.wide() + L"/" + std::wstring(300, L'n')).c_str(), nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
  EXPECT_TRUE(CreateDirectoryW(dir.wide("a\\b").c_str(), nullptr));
  dir.write("f", "");

  EXPECT_FALSE(RemoveDirectoryW(dir.wide("a").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_DIR_NOT_EMPTY));
  EXPECT_FALSE(RemoveDirectoryW(dir.wide("f").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_DIRECTORY));
  EXPECT_FALSE(RemoveDirectoryW(dir.wide("missing").c_str()));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));

  {
    InDirectory in(dir.path("a/b"));
    EXPECT_FALSE(RemoveDirectoryW(dir.wide("a/b").c_str())) << "the current directory is in use";
    EXPECT_EQ(error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));

    const std::wstring expected = std::filesystem::current_path().wstring();
    const DWORD needed = GetCurrentDirectoryW(0, nullptr);
    EXPECT_EQ(needed, expected.size() + 1);
    std::wstring buffer(needed, L'?');
    EXPECT_EQ(GetCurrentDirectoryW(needed - 1, buffer.data()), needed) << "too small: the room needed";
    EXPECT_EQ(buffer[0], L'?') << "and the buffer is left alone";
    EXPECT_EQ(GetCurrentDirectoryW(needed, buffer.data()), needed - 1);
    EXPECT_EQ(std::wstring(buffer.c_str()), expected);

    EXPECT_TRUE(SetCurrentDirectoryW(L".."));
    EXPECT_EQ(std::filesystem::current_path(), dir.path("a"));
    EXPECT_FALSE(SetCurrentDirectoryW(L"missing"));
    EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(SetCurrentDirectoryW(dir.wide("f").c_str()));
    EXPECT_EQ(error(), static_cast<DWORD>(ERROR_DIRECTORY));
    EXPECT_EQ(std::filesystem::current_path(), dir.path("a"));

    wchar_t full[MAX_PATH];
    LPWSTR part = nullptr;
    const DWORD n = GetFullPathNameW(L"b\\..\\c.txt", MAX_PATH, full, &part);
    EXPECT_EQ(std::wstring(full), dir.wide("a") + L"/c.txt");
    EXPECT_EQ(n, std::wcslen(full));
    ASSERT_NE(part, nullptr);
    EXPECT_EQ(std::wstring(part), L"c.txt");
  }
  EXPECT_TRUE(RemoveDirectoryW(dir.wide("a\\b").c_str()));
  EXPECT_FALSE(dir.exists("a/b"));
}

TEST(Directories, ShortNamesAreTheLongNames) {
  ScratchDirectory dir;
  dir.write("a long name.txt", "");
  const std::wstring path = dir.wide("a long name.txt");
  EXPECT_EQ(GetShortPathNameW(path.c_str(), nullptr, 0), path.size() + 1);
  std::wstring buffer(path.size() + 1, L'\0');
  EXPECT_EQ(GetShortPathNameW(path.c_str(), buffer.data(), static_cast<DWORD>(buffer.size())), path.size());
  EXPECT_EQ(std::wstring(buffer.c_str()), path);
  EXPECT_EQ(GetShortPathNameW(dir.wide("missing").c_str(), buffer.data(), static_cast<DWORD>(buffer.size())), 0u);
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST(Volumes, FreeSpaceFromTheFileSystem) {
  ScratchDirectory dir;
  DWORD sectorsPerCluster = 0, bytesPerSector = 0, freeClusters = 0, clusters = 0;
  ASSERT_TRUE(GetDiskFreeSpaceW(dir.wide().c_str(), &sectorsPerCluster, &bytesPerSector, &freeClusters, &clusters));
  ULARGE_INTEGER available{}, total{}, free{};
  ASSERT_TRUE(GetDiskFreeSpaceExW(dir.wide().c_str(), &available, &total, &free));
  struct statvfs volume;
  ASSERT_EQ(::statvfs(dir.path().c_str(), &volume), 0);
  EXPECT_EQ(total.QuadPart, volume.f_blocks * volume.f_frsize);
  EXPECT_LE(available.QuadPart, free.QuadPart);
  EXPECT_EQ(static_cast<std::uint64_t>(sectorsPerCluster) * bytesPerSector, volume.f_frsize);
  if (volume.f_blocks <= 0xFFFFFFFFu) {
    EXPECT_EQ(clusters, volume.f_blocks);
  }

  dir.write("f", "");
  EXPECT_FALSE(GetDiskFreeSpaceExW(dir.wide("f").c_str(), &available, nullptr, nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_DIRECTORY));
  EXPECT_FALSE(GetDiskFreeSpaceW(dir.wide("missing\\").c_str(), nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(error(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}
