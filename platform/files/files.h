// What the file, attribute, directory and search calls of the layer share:
// one way to read a file's status, its Win32 attributes and times, whether
// the share modes of open handles let a file be deleted, and the descriptor
// behind a handle.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <qnlith/win32/files.h>

#include "../errors/api.h"

namespace qn {

struct FileStatus {
  mode_t mode = 0;
  std::uint64_t size = 0;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint32_t links = 0;
  timespec accessTime{};
  timespec writeTime{};
  timespec changeTime{};
  timespec birthTime{};
  bool hasBirthTime = false;  // the file system keeps creation times
  bool isLink = false;        // the name is a symbolic link; the rest describes its target if it has one
};

// statx of `path` relative to `directory` (AT_FDCWD for the current one).
// Symbolic links are followed; a dangling one is described by itself. On
// failure errno tells why.
QN_INTERNAL bool statPath(int directory, const char* path, FileStatus& status);
QN_INTERNAL bool statDescriptor(int fd, FileStatus& status);

// Win32 attributes: directory, read-only when the owner may not write,
// hidden as told (a name that begins with a dot, see isHiddenName), archive
// for everything that is no directory, and reparse point for a symbolic link.
QN_INTERNAL DWORD attributesOf(const FileStatus& status, bool hidden);
QN_INTERNAL bool isHiddenName(std::string_view name);

// Creation time where the file system keeps one, else the earlier of the
// last change and the last write.
QN_INTERNAL FILETIME creationTimeOf(const FileStatus& status);

// Whether some open handle, of this process or (as far as the file's locks
// tell) of another process using this layer, was opened without
// FILE_SHARE_DELETE: then the file can't be deleted or renamed.
QN_INTERNAL bool deleteIsDenied(const std::string& path, const FileStatus& status);

// The descriptor behind a file handle, or -1 with ERROR_INVALID_HANDLE. It
// stays valid while the handle is open.
QN_INTERNAL int descriptorOf(HANDLE file);

}  // namespace qn
