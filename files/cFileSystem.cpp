#include <qnlith/files/cFileSystem.h>
#include <qnlith/win32/crtpath.h>
#include <qnlith/win32/errors.h>
#include <qnlith/win32/handles.h>

#include <cerrno>
#include <cwchar>
#include <vector>

namespace {

// The fixed buffers of the path work, terminator included. A text that
// doesn't fit is taken whole in a buffer of its own size.
constexpr int PathBuffer = 260;
constexpr int DriveBuffer = 3;
constexpr int PartBuffer = 256;
constexpr std::size_t LongestPath = 32767;  // Win32's longest path, terminator excluded

std::size_t lengthOf(const wchar_t* text) { return text != nullptr ? std::wcslen(text) : 0; }

cString compose(const wchar_t* drive, const wchar_t* dir, const wchar_t* name, const wchar_t* extension) {
  wchar_t path[PathBuffer];
  if (_wmakepath_s(path, PathBuffer, drive, dir, name, extension) == 0) return cString(path);
  // Drive and colon, a separator and a full stop at most are added.
  std::vector<wchar_t> whole(2 + lengthOf(dir) + 1 + lengthOf(name) + 1 + lengthOf(extension) + 1);
  _wmakepath_s(whole.data(), whole.size(), drive, dir, name, extension);
  return cString(whole.data());
}

// Filled by the split. A part is never longer than the path, so a path
// too long for the fixed parts gets parts of its own length.
struct Parts {
  wchar_t fixedDrive[DriveBuffer];
  wchar_t fixedParts[3][PartBuffer];
  std::vector<wchar_t> storage;
  wchar_t* drive = fixedDrive;
  wchar_t* dir = fixedParts[0];
  wchar_t* name = fixedParts[1];
  wchar_t* extension = fixedParts[2];

  explicit Parts(const cString& path) {
    std::size_t size = PartBuffer;
    if (path.length() >= PartBuffer) {
      size = path.length() + 1;
      storage.resize(3 * size);
      dir = storage.data();
      name = dir + size;
      extension = name + size;
    }
    _wsplitpath_s(path.c_str(), drive, DriveBuffer, dir, size, name, size, extension, size);
  }
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;
};

// Sets a result string to one or two parts, reusing its storage where it can.
void assign(cString& out, const wchar_t* first, const wchar_t* second = L"") {
  const std::size_t firstLength = std::wcslen(first), secondLength = std::wcslen(second);
  const int length = static_cast<int>(firstLength + secondLength);
  wchar_t* buffer = out.GetBuffer(length);
  std::wmemcpy(buffer, first, firstLength);
  std::wmemcpy(buffer + firstLength, second, secondLength);
  out.ReleaseBuffer(length);
}

bool isSeparatorOrColon(wchar_t c) { return c == L'\\' || c == L'/' || c == L':'; }

}  // namespace

bool cFileSystem::remove(const cString& name) { return DeleteFileW(name.c_str()) != 0; }

bool cFileSystem::makeDirectory(const cString& name) { return CreateDirectoryW(name.c_str(), nullptr) != 0; }

bool cFileSystem::removeDirectory(const cString& name) { return RemoveDirectoryW(name.c_str()) != 0; }

bool cFileSystem::copyFile(const cString& from, const cString& to) {
  return CopyFileW(from.c_str(), to.c_str(), 0) != 0;
}

bool cFileSystem::setCurrentDirectory(const cString& name) { return SetCurrentDirectoryW(name.c_str()) != 0; }

bool cFileSystem::fileExists(const cString& name) {
  return GetFileAttributesW(name.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool cFileSystem::isDirectory(const cString& name) {
  const DWORD attributes = GetFileAttributesW(name.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return false;
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool cFileSystem::directoryExists(const cString& name) { return isDirectory(name); }

int cFileSystem::lastError() { return static_cast<int>(GetLastError()); }

bool cFileSystem::findFirstFile(const cString& pattern, cFileInformation& info) {
  info.findHandle = FindFirstFileW(pattern.c_str(), &info);
  return info.findHandle != INVALID_HANDLE_VALUE;
}

bool cFileSystem::findNextFile(cFileInformation& info) {
  if (FindNextFileW(info.findHandle, &info)) return true;
  FindClose(info.findHandle);
  info.findHandle = INVALID_HANDLE_VALUE;
  return false;
}

void cFileSystem::findFileComplete(cFileInformation& info) {
  FindClose(info.findHandle);
  info.findHandle = INVALID_HANDLE_VALUE;
}

cString cFileSystem::currentDirectory() {
  wchar_t directory[PathBuffer] = {};
  DWORD length = GetCurrentDirectoryW(PathBuffer, directory);
  if (length < PathBuffer) return cString(directory);
  // Deeper than the buffer: ask again with the size it reported, which may
  // have grown meanwhile.
  std::vector<wchar_t> whole;
  while (length >= whole.size()) {
    whole.assign(length, L'\0');
    length = GetCurrentDirectoryW(static_cast<DWORD>(whole.size()), whole.data());
    if (length == 0) return cString();
  }
  return cString(whole.data());
}

// A short form longer than the buffer leaves it empty, as documented.
cString cFileSystem::makeShortFileName(const cString& path) {
  wchar_t shortPath[PathBuffer] = {};
  if (GetShortPathNameW(path.c_str(), shortPath, PathBuffer) == 0) return path;
  return cString(shortPath);
}

cString cFileSystem::makePath(const cString& dir, const cString& name) {
  return compose(nullptr, dir.c_str(), name.c_str(), nullptr);
}

cString cFileSystem::makePath(const wchar_t* dir, const wchar_t* name) { return compose(nullptr, dir, name, nullptr); }

cString cFileSystem::makePath(const wchar_t* dir, const wchar_t* name, const wchar_t* extension) {
  return compose(nullptr, dir, name, extension);
}

cString cFileSystem::makePath(const cString& drive, const cString& dir, const cString& name,
                              const cString& extension) {
  return compose(drive.c_str(), dir.c_str(), name.c_str(), extension.c_str());
}

cString cFileSystem::appendDirectory(const cString& base, const cString& dir) {
  return compose(nullptr, base.c_str(), dir.c_str(), nullptr);
}

void cFileSystem::appendDirectory(cString& base, const cString& dir) {
  base = compose(nullptr, base.c_str(), dir.c_str(), nullptr);
}

bool cFileSystem::splitPath(const cString& path, cString& dir, cString& name) {
  const Parts parts(path);
  assign(dir, parts.drive, parts.dir);
  assign(name, parts.name, parts.extension);
  return true;
}

bool cFileSystem::splitPath(const cString& path, cString& drive, cString& dir, cString& name, cString& extension) {
  const Parts parts(path);
  assign(drive, parts.drive);
  assign(dir, parts.dir);
  assign(name, parts.name);
  assign(extension, parts.extension);
  return true;
}

bool cFileSystem::splitName(const cString& path, cString& name, cString& extension) {
  const Parts parts(path);
  assign(name, parts.name);
  assign(extension, parts.extension);
  return true;
}

cString cFileSystem::splitExtension(const cString& path) { return cString(Parts(path).extension); }

cString cFileSystem::absolutePath(const cString& path) {
  cString dir, name;
  splitPath(path, dir, name);
  const cString remembered = currentDirectory();
  SetCurrentDirectoryW(dir.c_str());
  const cString resolved = currentDirectory();
  SetCurrentDirectoryW(remembered.c_str());
  return makePath(resolved, name);
}

bool cFileSystem::qualifyPath(cString& path) {
  path = absolutePath(path);
  return !path.isEmpty();
}

bool cFileSystem::searchPath(cString& name) {
  if (GetFileAttributesW(name.c_str()) != INVALID_FILE_ATTRIBUTES) return true;
  wchar_t found[PathBuffer] = {};
  if (_wsearchenv_s(name.c_str(), L"PATH", found, PathBuffer) == ERANGE) {
    // A hit too long for the buffer: the longest path there is fits.
    std::vector<wchar_t> whole(LongestPath + 1);
    _wsearchenv_s(name.c_str(), L"PATH", whole.data(), whole.size());
    name = whole.data();
  } else {
    name = found;
  }
  return !name.isEmpty();
}

cString cFileSystem::peelDirectory(cString path) {
  const int last = static_cast<int>(path.length()) - 1;
  path[last];  // the index test of an empty string fails here
  if (path.length() == 1) return cString();
  int start = last;
  while (start > 0 && !isSeparatorOrColon(path[start - 1])) --start;
  return path.subString(start, last - start + 1);
}

void cFileSystem::stripTrailingSlash(cString& path) {
  const int last = static_cast<int>(path.length()) - 1;
  if (path[last] == L'\\' && path.length() != 1) path.remove(static_cast<DWORD>(last));
}

void cFileSystem::addTrailingSlash(cString& path) {
  if (path[static_cast<int>(path.length()) - 1] != L'\\') path += L'\\';
}

bool cFileSystem::shortenName(cString& name, int limit) {
  if (name.length() < static_cast<DWORD>(limit)) return false;
  const int half = limit / 2;
  const cString head = name.subString(0, half - 3);
  const cString tail = name.subString(half, half);
  name = head;
  name += L"...";
  name += tail;
  return true;
}

bool cFileSystem::hasWildCards(const cString& name) {
  return name.find(L'?') != cString::npos || name.find(L'*') != cString::npos;
}

bool cFileSystem::volumeStatus(const cString& root, ULONGLONG& totalSectors, ULONGLONG& freeSectors,
                               ULONGLONG& freeBytes) {
  DWORD sectorsPerCluster, bytesPerSector, freeClusters, totalClusters;
  if (!GetDiskFreeSpaceW(root.c_str(), &sectorsPerCluster, &bytesPerSector, &freeClusters, &totalClusters))
    return false;
  ULARGE_INTEGER availableToCaller, totalBytes, totalFreeBytes;
  if (!GetDiskFreeSpaceExW(root.c_str(), &availableToCaller, &totalBytes, &totalFreeBytes)) return false;
  totalSectors = totalBytes.QuadPart / bytesPerSector;
  freeBytes = totalFreeBytes.QuadPart;
  freeSectors = freeBytes / bytesPerSector;
  return true;
}
