// Directories, the current directory, full and short path names, and the
// size of volumes.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "errors/errors.h"
#include "files/files.h"
#include "files/paths.h"
#include "text/unicode.h"

namespace {

// The Win32 way of handing out text: the length without the terminator when
// it fits, else the room it needs with the terminator.
DWORD handOut(const std::wstring& text, DWORD bufferLength, LPWSTR buffer) {
  if (buffer != nullptr && bufferLength > text.size()) {
    std::wmemcpy(buffer, text.c_str(), text.size() + 1);
    return static_cast<DWORD>(text.size());
  }
  return static_cast<DWORD>(text.size() + 1);
}

// Whatever its depth: glibc allocates what the directory needs.
bool currentDirectory(std::wstring& out) {
  char* buffer = ::getcwd(nullptr, 0);
  if (buffer == nullptr) return qn::failWithErrno();
  out = qn::pathFromSystem(buffer);
  std::free(buffer);
  return true;
}

// A directory for the volume calls: null means the current one. A file
// there is ERROR_DIRECTORY.
bool volumeDirectory(LPCWSTR name, std::string& path) {
  if (name == nullptr) path.assign(1, '.');
  else if (!qn::toSystemPath(name, path)) return false;
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return qn::failWithPathErrno(path, errno);
  if (!S_ISDIR(st.st_mode)) return qn::failWith(ERROR_DIRECTORY);
  return true;
}

}  // namespace

BOOL WINAPI CreateDirectoryW(LPCWSTR pathName, LPSECURITY_ATTRIBUTES securityAttributes) {
  std::string path;
  if (!qn::toSystemPath(pathName, path)) return FALSE;
  if (::mkdir(path.c_str(), 0777) == 0) return TRUE;
  if (errno == EEXIST) return qn::failWith(ERROR_ALREADY_EXISTS);
  if (errno == ENOENT || errno == ENOTDIR) return qn::failWith(ERROR_PATH_NOT_FOUND);
  return qn::failWithErrno();
}

BOOL WINAPI RemoveDirectoryW(LPCWSTR pathName) {
  std::string path;
  if (!qn::toSystemPath(pathName, path)) return FALSE;
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0) return qn::failWithPathErrno(path, errno);
  if (S_ISLNK(st.st_mode)) {
    // A link to a directory goes as the link; to anything else it's no directory.
    struct stat target;
    if (::stat(path.c_str(), &target) != 0 || !S_ISDIR(target.st_mode)) return qn::failWith(ERROR_DIRECTORY);
    if (::unlink(path.c_str()) != 0) return qn::failWithErrno();
    return TRUE;
  }
  if (!S_ISDIR(st.st_mode)) return qn::failWith(ERROR_DIRECTORY);
  if (!(st.st_mode & S_IWUSR)) return qn::failWith(ERROR_ACCESS_DENIED);
  // The process's current directory is in use, as Win32 holds it open.
  struct stat current;
  if (::stat(".", &current) == 0 && current.st_dev == st.st_dev && current.st_ino == st.st_ino)
    return qn::failWith(ERROR_SHARING_VIOLATION);
  qn::FileStatus status;
  status.mode = st.st_mode;
  status.device = st.st_dev;
  status.inode = st.st_ino;
  if (qn::deleteIsDenied(path, status)) return qn::failWith(ERROR_SHARING_VIOLATION);
  if (::rmdir(path.c_str()) == 0) return TRUE;
  if (errno == ENOTEMPTY || errno == EEXIST) return qn::failWith(ERROR_DIR_NOT_EMPTY);
  return qn::failWithPathErrno(path, errno);
}

DWORD WINAPI GetCurrentDirectoryW(DWORD bufferLength, LPWSTR buffer) {
  std::wstring directory;
  if (!currentDirectory(directory)) return 0;
  return handOut(directory, bufferLength, buffer);
}

BOOL WINAPI SetCurrentDirectoryW(LPCWSTR pathName) {
  std::string path;
  if (!qn::toSystemPath(pathName, path)) return FALSE;
  if (::chdir(path.c_str()) == 0) return TRUE;
  if (errno == ENOTDIR) {
    struct stat st;
    if (::stat(path.c_str(), &st) == 0) return qn::failWith(ERROR_DIRECTORY);
    return qn::failWith(ERROR_PATH_NOT_FOUND);
  }
  return qn::failWithPathErrno(path, errno);
}

DWORD WINAPI GetFullPathNameW(LPCWSTR fileName, DWORD bufferLength, LPWSTR buffer, LPWSTR* filePart) {
  if (filePart != nullptr) *filePart = nullptr;
  if (fileName == nullptr || *fileName == L'\0') {
    qn::failWith(ERROR_INVALID_NAME);
    return 0;
  }
  std::wstring full;
  if (fileName[0] != L'/' && fileName[0] != L'\\') {
    if (!currentDirectory(full)) return 0;
    full += L'/';
  }
  full.append(fileName);
  full = qn::normalizePath(full);
  const DWORD result = handOut(full, bufferLength, buffer);
  if (result == full.size() && filePart != nullptr && full.back() != L'/') {
    const auto slash = full.rfind(L'/');
    *filePart = buffer + (slash == std::wstring::npos ? 0 : slash + 1);
  }
  return result;
}

// Linux keeps no short names: the short form of an existing path is the
// path as given.
DWORD WINAPI GetShortPathNameW(LPCWSTR longPath, LPWSTR shortPath, DWORD bufferLength) {
  std::string path;
  if (!qn::toSystemPath(longPath, path)) return 0;
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    qn::failWithPathErrno(path, errno);
    return 0;
  }
  const std::size_t length = std::wcslen(longPath);
  if (shortPath != nullptr && bufferLength > length) {
    std::wmemmove(shortPath, longPath, length + 1);  // the two may be one buffer
    return static_cast<DWORD>(length);
  }
  return static_cast<DWORD>(length + 1);
}

BOOL WINAPI GetDiskFreeSpaceW(LPCWSTR rootPathName, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector,
                              LPDWORD numberOfFreeClusters, LPDWORD totalNumberOfClusters) {
  std::string path;
  if (!volumeDirectory(rootPathName, path)) return FALSE;
  struct statvfs volume;
  if (::statvfs(path.c_str(), &volume) != 0) return qn::failWithErrno();
  // A cluster is the unit the volume counts blocks in, made of 512-byte
  // sectors where it divides so.
  const std::uint64_t cluster = volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize;
  const std::uint64_t sector = cluster % 512 == 0 ? 512 : cluster;
  auto clamp = [](std::uint64_t n) { return static_cast<DWORD>(std::min<std::uint64_t>(n, 0xFFFFFFFFu)); };
  if (sectorsPerCluster != nullptr) *sectorsPerCluster = clamp(cluster / sector);
  if (bytesPerSector != nullptr) *bytesPerSector = clamp(sector);
  if (numberOfFreeClusters != nullptr) *numberOfFreeClusters = clamp(volume.f_bavail);
  if (totalNumberOfClusters != nullptr) *totalNumberOfClusters = clamp(volume.f_blocks);
  return TRUE;
}

BOOL WINAPI GetDiskFreeSpaceExW(LPCWSTR directoryName, PULARGE_INTEGER freeBytesAvailableToCaller,
                                PULARGE_INTEGER totalNumberOfBytes, PULARGE_INTEGER totalNumberOfFreeBytes) {
  std::string path;
  if (!volumeDirectory(directoryName, path)) return FALSE;
  struct statvfs volume;
  if (::statvfs(path.c_str(), &volume) != 0) return qn::failWithErrno();
  const std::uint64_t unit = volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize;
  if (freeBytesAvailableToCaller != nullptr) freeBytesAvailableToCaller->QuadPart = volume.f_bavail * unit;
  if (totalNumberOfBytes != nullptr) totalNumberOfBytes->QuadPart = volume.f_blocks * unit;
  if (totalNumberOfFreeBytes != nullptr) totalNumberOfFreeBytes->QuadPart = volume.f_bfree * unit;
  return TRUE;
}
