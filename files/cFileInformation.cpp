#include <qnlith/files/cFileInformation.h>
#include <qnlith/win32/crtstring.h>
#include <qnlith/win32/errors.h>

cFileInformation::cFileInformation() : WIN32_FIND_DATAW(), findHandle(INVALID_HANDLE_VALUE) {}

cFileInformation::cFileInformation(const cFileInformation& source)
    : WIN32_FIND_DATAW(source), findHandle(source.findHandle) {}

cFileInformation& cFileInformation::operator=(const cFileInformation& source) {
  WIN32_FIND_DATAW::operator=(source);
  findHandle = source.findHandle;
  return *this;
}

cFileInformation::~cFileInformation() noexcept(false) {}

bool cFileInformation::status(const cString& path) {
  findHandle = FindFirstFileW(path.c_str(), this);
  if (findHandle == INVALID_HANDLE_VALUE) return false;
  FindClose(findHandle);
  findHandle = INVALID_HANDLE_VALUE;
  return true;
}

void cFileInformation::fromStat(const BY_HANDLE_FILE_INFORMATION& info) {
  ftCreationTime = info.ftCreationTime;
  ftLastAccessTime = info.ftLastAccessTime;
  ftLastWriteTime = info.ftLastWriteTime;
  nFileSizeHigh = info.nFileSizeHigh;
  nFileSizeLow = info.nFileSizeLow;
  dwFileAttributes = info.dwFileAttributes;
}

cString cFileInformation::path() const { return cString(cFileName); }

cString cFileInformation::searchName() const { return cString(cFileName); }

cString cFileInformation::name() const { return path(); }

void cFileInformation::setPath(const cString& path) { wcscpy_s(cFileName, MAX_PATH, path.c_str()); }

ULONGLONG cFileInformation::size() const { return (static_cast<ULONGLONG>(nFileSizeHigh) << 32) + nFileSizeLow; }

cTime cFileInformation::time() const { return cTime(ftLastWriteTime, -1); }

FILETIME cFileInformation::filetime() const { return ftLastWriteTime; }

DWORD cFileInformation::attributes() const { return dwFileAttributes; }

int cFileInformation::lastError() const { return static_cast<int>(GetLastError()); }

bool cFileInformation::isValidDirectory() const {
  return (dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && cFileName[0] != L'.';
}
