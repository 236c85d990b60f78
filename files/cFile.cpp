#include <qnlith/failure/errorText.h>
#include <qnlith/files/cFile.h>
#include <qnlith/win32/errors.h>
#include <qnlith/win32/handles.h>

#include <exception>

#include "../core/trace.h"
#include "../failure/bareText.h"

namespace {

// The fields of the open-flags word; every other bit is ignored.
constexpr DWORD OpenWrite = 0x1;          // write alone, unless OpenReadWrite
constexpr DWORD OpenReadWrite = 0x2;      // read and write
constexpr DWORD ShareField = 0x70;        // one of the Share values below
constexpr DWORD ShareRead = 0x20;
constexpr DWORD ShareWrite = 0x30;
constexpr DWORD ShareReadWrite = 0x40;
constexpr DWORD NotInherited = 0x80;      // the handle is not inheritable
constexpr DWORD Create = 0x1000;          // create the file if missing
constexpr DWORD KeepContents = 0x2000;    // with Create: an existing file keeps its contents

DWORD accessOf(DWORD flags) {
  if (flags & OpenReadWrite) return GENERIC_READ | GENERIC_WRITE;
  if (flags & OpenWrite) return GENERIC_WRITE;
  return GENERIC_READ;
}

DWORD shareModeOf(DWORD flags) {
  switch (flags & ShareField) {
    case ShareRead: return FILE_SHARE_READ;
    case ShareWrite: return FILE_SHARE_WRITE;
    case ShareReadWrite: return FILE_SHARE_READ | FILE_SHARE_WRITE;
    default: return 0;
  }
}

DWORD dispositionOf(DWORD flags) {
  if (!(flags & Create)) return OPEN_EXISTING;
  return (flags & KeepContents) ? OPEN_ALWAYS : CREATE_ALWAYS;
}

// A cTime as a FILETIME of its local calendar fields, with no step back to
// UTC. A time without local fields gives the zero FILETIME, which leaves
// that time of the file as it is.
FILETIME localFileTimeOf(const cTime& time) {
  SYSTEMTIME fields{};
  time.GetAsSystemTime(fields);
  FILETIME result{};
  SystemTimeToFileTime(&fields, &result);
  return result;
}

// A transfer into or out of a cBuffer must stay inside it.
bool insideBuffer(const cBuffer& buffer, DWORD offset, DWORD count) {
  return static_cast<ULONGLONG>(offset) + count <= buffer.size();
}

}  // namespace

cFile::cFile() : cFileInformation(), fileName(), fileHandle(INVALID_HANDLE_VALUE), lastErrorCode(0) {}

cFile::cFile(const cFile& source)
    : cFileInformation(source),
      fileName(source.fileName),
      fileHandle(source.fileHandle),
      lastErrorCode(source.lastErrorCode) {}

cFile& cFile::operator=(const cFile& source) {
  cFileInformation::operator=(source);
  fileName = source.fileName;
  fileHandle = source.fileHandle;
  lastErrorCode = source.lastErrorCode;
  return *this;
}

cFile::~cFile() noexcept(false) {
  // While another exception unwinds, a second one can't be delivered.
  if (!close() && std::uncaught_exceptions() == 0) throwBareText(L"close()");
}

bool cFile::failedOpen() {
  lastErrorCode = GetLastError();
  QNLITH_TRACE(0x8040, findErrorMessageText(lastErrorCode).c_str());
  return false;
}

bool cFile::open(const cString& name, DWORD flags) {
  fileName = name;
  const DWORD disposition = dispositionOf(flags);
  const DWORD access = accessOf(flags);
  const DWORD shareMode = shareModeOf(flags);
  SECURITY_ATTRIBUTES security;
  security.nLength = 12;
  security.lpSecurityDescriptor = nullptr;
  security.bInheritHandle = (flags & NotInherited) ? 0 : 1;
  fileHandle = CreateFileW(name.c_str(), access, shareMode, &security, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (fileHandle == INVALID_HANDLE_VALUE) return failedOpen();
  return updateStatus();
}

bool cFile::open(const cString& name, bool forWriting, bool create) {
  fileName = name;
  const DWORD disposition = create ? OPEN_ALWAYS : OPEN_EXISTING;
  const DWORD access = forWriting ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ;
  fileHandle = CreateFileW(name.c_str(), access, FILE_SHARE_READ, nullptr, disposition, 0, nullptr);
  if (fileHandle == INVALID_HANDLE_VALUE) return failedOpen();
  if (create) {
    DWORD ignored;
    seek(0, seekFromStart, ignored);
    SetEndOfFile(fileHandle);
  }
  return updateStatus();
}

bool cFile::createTemp(DWORD flags) {
  // Only the temporary attribute: the disposition bits of the word have no
  // meaning as attributes.
  fileHandle = CreateFileW(fileName.c_str(), accessOf(flags), FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                           FILE_ATTRIBUTE_TEMPORARY, nullptr);
  if (fileHandle == INVALID_HANDLE_VALUE) return failedOpen();
  return updateStatus();
}

bool cFile::updateStatus() {
  BY_HANDLE_FILE_INFORMATION information;
  if (!GetFileInformationByHandle(fileHandle, &information)) return false;
  fromStat(information);
  return true;
}

DWORD cFile::seek(DWORD offset, SeekEnum how) {
  lastErrorCode = 0;
  const DWORD position = SetFilePointer(fileHandle, static_cast<LONG>(offset), nullptr, how);
  if (position == INVALID_SET_FILE_POINTER) {
    lastErrorCode = GetLastError();
    QNLITH_TRACE(0x8000, findErrorMessageText(lastErrorCode).c_str());
  }
  return position;
}

bool cFile::seek(DWORD offset, SeekEnum how, DWORD& error) {
  error = 0;
  const DWORD position = SetFilePointer(fileHandle, static_cast<LONG>(offset), nullptr, how);
  if (position == INVALID_SET_FILE_POINTER) {
    error = GetLastError();
    QNLITH_TRACE(0x8000, findErrorMessageText(error).c_str());
  }
  return position != INVALID_SET_FILE_POINTER;
}

bool cFile::read(void* data, DWORD& count) {
  lastErrorCode = 0;
  QNLITH_TRACE(0x2000000000000000, L"cFile :: read (0x%x)", count);
  DWORD done = 0;
  const BOOL success = ReadFile(fileHandle, data, count, &done, nullptr);
  count = done;
  if (!success) {
    lastErrorCode = GetLastError();
    QNLITH_TRACE(0x8000, findErrorMessageText(lastErrorCode).c_str());
  }
  return success != 0;
}

bool cFile::read(cBuffer& buffer, DWORD offset, DWORD& count, DWORD& error) {
  error = 0;
  QNLITH_TRACE(0x2000000000000000, L"cFile :: read (0x%x)", count);
  if (!insideBuffer(buffer, offset, count)) {
    count = 0;
    error = ERROR_INVALID_PARAMETER;
    return false;
  }
  DWORD done = 0;
  const BOOL success = ReadFile(fileHandle, buffer.address() + offset, count, &done, nullptr);
  count = done;
  if (!success) {
    error = GetLastError();
    QNLITH_TRACE(0x8000, findErrorMessageText(error).c_str());
  }
  return success != 0;
}

bool cFile::write(const void* data, DWORD& count) {
  lastErrorCode = 0;
  QNLITH_TRACE(0x2000000000000000, L"cFile :: write (0x%x)", count);
  DWORD done = 0;
  const BOOL success = WriteFile(fileHandle, data, count, &done, nullptr);
  count = done;
  if (!success) {
    lastErrorCode = GetLastError();
    QNLITH_TRACE(0x8000, findErrorMessageText(lastErrorCode).c_str());
  }
  return success != 0;
}

bool cFile::write(const cBuffer& buffer, DWORD offset, DWORD& count, DWORD& error) {
  error = 0;
  QNLITH_TRACE(0x2000000000000000, L"cFile :: write (0x%x)", count);
  if (!insideBuffer(buffer, offset, count)) {
    count = 0;
    error = ERROR_INVALID_PARAMETER;
    return false;
  }
  DWORD done = 0;
  const BOOL success = WriteFile(fileHandle, buffer.address() + offset, count, &done, nullptr);
  count = done;
  if (!success) {
    error = GetLastError();
    QNLITH_TRACE(0x8000, findErrorMessageText(error).c_str());
  }
  return success != 0;
}

bool cFile::flush() {
  if (fileHandle == INVALID_HANDLE_VALUE) return false;
  return FlushFileBuffers(fileHandle) != 0;
}

bool cFile::close() {
  if (fileHandle == INVALID_HANDLE_VALUE) return true;
  const BOOL success = CloseHandle(fileHandle);
  fileHandle = INVALID_HANDLE_VALUE;
  return success != 0;
}

bool cFile::getFiletimes(FILETIME& creation, FILETIME& lastAccess, FILETIME& lastWrite) {
  return GetFileTime(fileHandle, &creation, &lastAccess, &lastWrite) != 0;
}

bool cFile::setFiletimes(FILETIME creation, FILETIME lastAccess, FILETIME lastWrite) {
  QNLITH_TRACE(0x8000, L"cFile :: setTimes");
  if (!SetFileTime(fileHandle, &creation, &lastAccess, &lastWrite)) {
    lastErrorCode = GetLastError();
    QNLITH_TRACE(0x8000, findErrorMessageText(lastErrorCode).c_str());
    return false;
  }
  return true;
}

bool cFile::setTimes(cTime creation, cTime lastAccess, cTime lastWrite) {
  QNLITH_TRACE(0x8000, L"cFile :: setTimes from cTime");
  const FILETIME creationTime = localFileTimeOf(creation);
  const FILETIME lastAccessTime = localFileTimeOf(lastAccess);
  const FILETIME lastWriteTime = localFileTimeOf(lastWrite);
  return setFiletimes(creationTime, lastAccessTime, lastWriteTime);
}

bool cFile::lockRegion(LONG offset, LONG length, bool lock) {
  if (lock) return LockFile(fileHandle, static_cast<DWORD>(offset), 0, static_cast<DWORD>(length), 0) != 0;
  return UnlockFile(fileHandle, static_cast<DWORD>(offset), 0, static_cast<DWORD>(length), 0) != 0;
}

bool cFile::isOpen() const { return fileHandle != INVALID_HANDLE_VALUE; }

HANDLE cFile::handle() const { return fileHandle; }

cString cFile::name() const { return fileName; }

DWORD cFile::lastError() const { return lastErrorCode; }

bool cFile::renameFileAs(const cString& from, const cString& to) { return MoveFileW(from.c_str(), to.c_str()) != 0; }

bool cFile::setAttributes(const cString& name, DWORD attributes) {
  return SetFileAttributesW(name.c_str(), attributes) != 0;
}

bool cFile::attributes(const cString& name, DWORD& attributes) {
  attributes = GetFileAttributesW(name.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES;
}
