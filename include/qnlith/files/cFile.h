/// @file
/// cFile: a file opened by name, with positioned reads and writes, flushing,
/// region locks, times, and its attributes, times and size as a
/// cFileInformation refreshed from the handle.
///
/// Where a failure's code goes differs between the forms of an operation:
/// the object's last error, an `error` argument, or the thread's last error.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cBuffer.h>
#include <qnlith/core/cString.h>
#include <qnlith/files/cFileInformation.h>

/// An open file by name; every operation returns false on failure and keeps its
/// code in the object's last error, an `error` argument or the thread's last error.
class QNLITH_API cFile : public cFileInformation {
 public:
  /// The move methods of SetFilePointer.
  enum SeekEnum { seekFromStart = 0, seekFromCurrent = 1, seekFromEnd = 2 };

  /// A closed file with an empty name.
  cFile();
  /// Copies share the handle: exactly one of them may close it.
  ///@{
  cFile(const cFile& source);
  cFile& operator=(const cFile& source);
  ///@}
  /// Closes the file; a failed close throws the bare text "close()".
  virtual ~cFile() noexcept(false);

  /// Opens the file by the flags; false on failure, lastError() tells why.
  /// Access: 0x2 read and write, else 0x1 write, else read.
  /// Share field 0x70: 0x20 read, 0x30 write, 0x40 both, others nothing.
  /// 0x80: not inheritable. 0x1000 alone replaces, with 0x2000 keeps,
  /// without 0x1000 the file must exist.
  bool open(const cString& name, DWORD flags);
  /// Read (and write), sharing reading; `create` opens or creates and empties.
  bool open(const cString& name, bool forWriting, bool create);
  /// Creates (replacing) a temporary file under the name the object holds.
  bool createTemp(DWORD flags);
  /// Refreshes the attributes, times and size from the handle.
  bool updateStatus();

  /// The new position, 0xFFFFFFFF on failure.
  DWORD seek(DWORD offset, SeekEnum how);
  /// Moves the position; false on failure with the code in error.
  bool seek(DWORD offset, SeekEnum how, DWORD& error);
  /// count: in, the bytes asked for; out, the bytes moved. A short transfer
  /// is a success.
  bool read(void* data, DWORD& count);
  /// At the buffer's address plus offset; offset + count must lie within the
  /// buffer (else error is ERROR_INVALID_PARAMETER and nothing moves).
  bool read(cBuffer& buffer, DWORD offset, DWORD& count, DWORD& error);
  /// Writes count bytes (from the buffer's address plus offset, which must lie
  /// within it); count comes back as the bytes written. False on failure.
  ///@{
  bool write(const void* data, DWORD& count);
  bool write(const cBuffer& buffer, DWORD offset, DWORD& count, DWORD& error);
  ///@}

  /// Writes the system's buffers of the file to disk; false on failure or when closed.
  bool flush();
  /// Closes the handle, which is forgotten even when that fails (false); true
  /// also when nothing was open.
  bool close();
  /// Reads the three times of the open file; false on failure.
  bool getFiletimes(FILETIME& creation, FILETIME& lastAccess, FILETIME& lastWrite);
  /// Sets the three times of the open file; false on failure, the code in lastError().
  bool setFiletimes(FILETIME creation, FILETIME lastAccess, FILETIME lastWrite);
  /// Each cTime becomes a FILETIME of its local wall-clock reading.
  bool setTimes(cTime creation, cTime lastAccess, cTime lastWrite);
  /// LockFile or UnlockFile; never waits for a region another handle holds.
  bool lockRegion(LONG offset, LONG length, bool lock);

  /// Whether the object holds an open handle.
  bool isOpen() const;
  /// The open handle (INVALID_HANDLE_VALUE when closed); the object closes it.
  HANDLE handle() const;
  /// The path given to the last open.
  cString name() const;
  /// The code stored by the last failed open, seek, read, write or time
  /// setting; other failures store nothing.
  DWORD lastError() const;

  /// Renames (moves) a file; false on failure, the code in the thread's last error.
  static bool renameFileAs(const cString& from, const cString& to);
  /// Sets a file's attributes by name; false on failure.
  static bool setAttributes(const cString& name, DWORD attributes);
  /// The attributes, 0xFFFFFFFF included; true unless that.
  static bool attributes(const cString& name, DWORD& attributes);
  /// The attributes of the record, as cFileInformation gives them.
  using cFileInformation::attributes;

 private:
  bool failedOpen();

  cString fileName;
  HANDLE fileHandle;
  DWORD lastErrorCode;
};
