/// @file
/// cFileInformation: one directory entry as a value (the platform's find
/// record) and the handle of a directory search under way.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/files/cTime.h>
#include <qnlith/win32/files.h>

/// One directory entry (the platform's find record) and the handle of the
/// search that found it; the handle is not closed by the object.
class QNLITH_API cFileInformation : public WIN32_FIND_DATAW {
 public:
  /// Find handle -1; attributes, times, sizes 0; empty name.
  cFileInformation();
  /// The whole record and the find handle's value; the handle isn't duplicated.
  ///@{
  cFileInformation(const cFileInformation& source);
  cFileInformation& operator=(const cFileInformation& source);
  ///@}
  /// Leaves a search that was not finished open. May throw in a derived
  /// class (cFile).
  virtual ~cFileInformation() noexcept(false);

  /// The first match of FindFirstFileW on the path; the search is closed at
  /// once. False when nothing matched: lastError tells why.
  bool status(const cString& path);
  /// Attributes, the three times and the size of an open file.
  void fromStat(const BY_HANDLE_FILE_INFORMATION& info);

  /// All three give the name field: the last component as found, or what
  /// setPath put there.
  ///@{
  cString path() const;
  cString searchName() const;
  cString name() const;
  ///@}
  /// The text with its terminator must fit in MAX_PATH characters; a longer
  /// one leaves the name empty.
  void setPath(const cString& path);

  /// The size in bytes, from the record's two halves.
  ULONGLONG size() const;
  /// The last write time through local time; throws the framework's
  /// exceptions as CTime does.
  cTime time() const;
  /// The last write time as the record holds it (UTC).
  FILETIME filetime() const;
  /// The file attributes of the record.
  DWORD attributes() const;
  /// The calling thread's GetLastError.
  int lastError() const;
  /// A directory whose name doesn't begin with a full stop.
  bool isValidDirectory() const;

 private:
  friend class cFileSystem;

  HANDLE findHandle;
};
