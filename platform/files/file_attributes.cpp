// A file's status and Win32 attributes, and the operations on a file by
// name: attributes, delete, move and copy.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include <qnlith/win32/handles.h>

#include "errors/errors.h"
#include "files/files.h"
#include "files/paths.h"
#include "files/time.h"

namespace qn {

namespace {

constexpr unsigned StatusMask = STATX_BASIC_STATS | STATX_BTIME;

void fill(const struct statx& sx, FileStatus& status) {
  auto time = [](const statx_timestamp& t) { return timespec{static_cast<time_t>(t.tv_sec), t.tv_nsec}; };
  status.mode = sx.stx_mode;
  status.size = sx.stx_size;
  status.device = (static_cast<std::uint64_t>(sx.stx_dev_major) << 32) | sx.stx_dev_minor;
  status.inode = sx.stx_ino;
  status.links = sx.stx_nlink;
  status.accessTime = time(sx.stx_atime);
  status.writeTime = time(sx.stx_mtime);
  status.changeTime = time(sx.stx_ctime);
  status.hasBirthTime = (sx.stx_mask & STATX_BTIME) != 0;
  status.birthTime = status.hasBirthTime ? time(sx.stx_btime) : timespec{};
}

bool earlier(const timespec& a, const timespec& b) {
  return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// Copies the rest of `from` into `to`, from their present positions.
bool copyData(int from, int to) {
  for (;;) {
    const ssize_t n = ::copy_file_range(from, nullptr, to, nullptr, 1 << 30, 0);
    if (n == 0) return true;
    if (n > 0) continue;
    if (errno == EINTR) continue;
    if (errno != EXDEV && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) return false;
    break;
  }
  std::vector<char> buffer(1 << 20);
  for (;;) {
    const ssize_t n = ::read(from, buffer.data(), buffer.size());
    if (n == 0) return true;
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    for (ssize_t done = 0; done < n;) {
      const ssize_t w = ::write(to, buffer.data() + done, static_cast<std::size_t>(n - done));
      if (w < 0) {
        if (errno == EINTR) continue;
        return false;
      }
      done += w;
    }
  }
}

}  // namespace

bool statPath(int directory, const char* path, FileStatus& status) {
  struct statx sx;
  if (::statx(directory, path, AT_SYMLINK_NOFOLLOW | AT_STATX_SYNC_AS_STAT, StatusMask, &sx) != 0) return false;
  if (S_ISLNK(sx.stx_mode)) {
    struct statx target;
    if (::statx(directory, path, AT_STATX_SYNC_AS_STAT, StatusMask, &target) == 0) fill(target, status);
    else fill(sx, status);
    status.isLink = true;
    return true;
  }
  fill(sx, status);
  status.isLink = false;
  return true;
}

bool statDescriptor(int fd, FileStatus& status) {
  struct statx sx;
  if (::statx(fd, "", AT_EMPTY_PATH | AT_STATX_SYNC_AS_STAT, StatusMask, &sx) != 0) return false;
  fill(sx, status);
  status.isLink = false;
  return true;
}

bool isHiddenName(std::string_view name) { return name.size() > 0 && name[0] == '.' && name != "." && name != ".."; }

DWORD attributesOf(const FileStatus& status, bool hidden) {
  DWORD attributes = S_ISDIR(status.mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
  if (!(status.mode & S_IWUSR)) attributes |= FILE_ATTRIBUTE_READONLY;
  if (hidden) attributes |= FILE_ATTRIBUTE_HIDDEN;
  if (status.isLink) attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
  return attributes;
}

FILETIME creationTimeOf(const FileStatus& status) {
  if (status.hasBirthTime) return fileTimeFromTimespec(status.birthTime);
  return fileTimeFromTimespec(earlier(status.changeTime, status.writeTime) ? status.changeTime : status.writeTime);
}

}  // namespace qn

DWORD WINAPI GetFileAttributesW(LPCWSTR fileName) {
  std::string path;
  if (!qn::toSystemPath(fileName, path)) return INVALID_FILE_ATTRIBUTES;
  qn::FileStatus status;
  if (!qn::statPath(AT_FDCWD, path.c_str(), status)) {
    qn::failWithPathErrno(path, errno);
    return INVALID_FILE_ATTRIBUTES;
  }
  return qn::attributesOf(status, qn::isHiddenName(qn::lastComponent(path)));
}

BOOL WINAPI SetFileAttributesW(LPCWSTR fileName, DWORD fileAttributes) {
  std::string path;
  if (!qn::toSystemPath(fileName, path)) return FALSE;
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return qn::failWithPathErrno(path, errno);
  // Only read-only has a home in the permission bits; hidden is the name's
  // leading dot, and the other attributes aren't kept.
  mode_t mode = st.st_mode & 07777;
  if (fileAttributes & FILE_ATTRIBUTE_READONLY) mode &= ~static_cast<mode_t>(0222);
  else if (!(mode & S_IWUSR)) mode |= S_IWUSR;
  if (mode != (st.st_mode & 07777) && ::chmod(path.c_str(), mode) != 0) return qn::failWithErrno();
  return TRUE;
}

BOOL WINAPI DeleteFileW(LPCWSTR fileName) {
  std::string path;
  if (!qn::toSystemPath(fileName, path)) return FALSE;
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0) return qn::failWithPathErrno(path, errno);
  if (S_ISDIR(st.st_mode)) return qn::failWith(ERROR_ACCESS_DENIED);
  if (!S_ISLNK(st.st_mode) && !(st.st_mode & S_IWUSR)) return qn::failWith(ERROR_ACCESS_DENIED);
  qn::FileStatus status;
  status.mode = st.st_mode;
  status.device = st.st_dev;
  status.inode = st.st_ino;
  status.isLink = S_ISLNK(st.st_mode);
  if (qn::deleteIsDenied(path, status)) return qn::failWith(ERROR_SHARING_VIOLATION);
  if (::unlink(path.c_str()) != 0) return qn::failWithPathErrno(path, errno);
  return TRUE;
}

BOOL WINAPI MoveFileW(LPCWSTR existingFileName, LPCWSTR newFileName) {
  std::string from, to;
  if (!qn::toSystemPath(existingFileName, from) || !qn::toSystemPath(newFileName, to)) return FALSE;
  struct stat st;
  if (::lstat(from.c_str(), &st) != 0) return qn::failWithPathErrno(from, errno);
  qn::FileStatus status;
  status.mode = st.st_mode;
  status.device = st.st_dev;
  status.inode = st.st_ino;
  status.isLink = S_ISLNK(st.st_mode);
  if (qn::deleteIsDenied(from, status)) return qn::failWith(ERROR_SHARING_VIOLATION);

  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return TRUE;
  int error = errno;
  if (error == EINVAL || error == ENOSYS) {  // a file system without RENAME_NOREPLACE
    struct stat target;
    if (::lstat(to.c_str(), &target) == 0) return qn::failWith(ERROR_ALREADY_EXISTS);
    if (::rename(from.c_str(), to.c_str()) == 0) return TRUE;
    error = errno;
  }
  if (error == EEXIST) return qn::failWith(ERROR_ALREADY_EXISTS);
  if (error == EXDEV) {
    // Another volume: a file is copied and the original deleted, as Win32
    // moves files; a directory can't move there.
    if (!S_ISREG(st.st_mode)) return qn::failWith(ERROR_NOT_SAME_DEVICE);
    if (!CopyFileW(existingFileName, newFileName, TRUE)) return FALSE;
    if (::unlink(from.c_str()) != 0) return qn::failWithErrno();
    return TRUE;
  }
  return qn::failWithPathErrno(to, error);
}

BOOL WINAPI CopyFileW(LPCWSTR existingFileName, LPCWSTR newFileName, BOOL failIfExists) {
  std::string target;
  if (!qn::toSystemPath(newFileName, target)) return FALSE;
  HANDLE source = CreateFileW(existingFileName, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (source == INVALID_HANDLE_VALUE) return FALSE;
  const int in = qn::descriptorOf(source);
  struct stat st;
  if (::fstat(in, &st) != 0) {
    const int error = errno;
    CloseHandle(source);
    return qn::failWithErrno(error);
  }
  // The copy gets the original's attributes, hidden included, so that
  // replacing a hidden file is no refused overwrite.
  const DWORD attributes = qn::isHiddenName(qn::lastComponent(target)) ? FILE_ATTRIBUTE_HIDDEN : FILE_ATTRIBUTE_NORMAL;
  HANDLE copy = CreateFileW(newFileName, GENERIC_WRITE, 0, nullptr, failIfExists ? CREATE_NEW : CREATE_ALWAYS,
                            attributes, nullptr);
  if (copy == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    CloseHandle(source);
    return qn::failWith(error);
  }
  const bool created = GetLastError() != ERROR_ALREADY_EXISTS;
  const int out = qn::descriptorOf(copy);
  bool copied = qn::copyData(in, out);
  int error = errno;
  if (copied) {
    const timespec times[2] = {timespec{0, UTIME_OMIT}, st.st_mtim};
    ::futimens(out, times);
    if (::fchmod(out, st.st_mode & 0777) != 0) {
      copied = false;
      error = errno;
    }
  }
  CloseHandle(copy);
  CloseHandle(source);
  if (!copied) {
    if (created) ::unlink(target.c_str());
    return qn::failWithErrno(error);
  }
  SetLastError(ERROR_SUCCESS);
  return TRUE;
}
