/// @file
/// cFileSystem: static operations on the file system (existence, directories,
/// deleting, copying, directory searches, volume size) and the algebra of
/// path strings: composing, splitting, qualifying and shortening them, with
/// the drive letter, backslash and forward slash of Win32 paths.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/files/cFileInformation.h>

/// Static operations on files, directories and path strings; no object is needed.
class QNLITH_API cFileSystem {
 public:
  /// The class has no state: copying does nothing.
  ///@{
  cFileSystem(const cFileSystem&) {}
  cFileSystem& operator=(const cFileSystem&) { return *this; }
  ///@}

  /// One system call each; false on failure, lastError tells why.
  static bool remove(const cString& name);
  /// Creates one directory level; false on failure.
  static bool makeDirectory(const cString& name);  // one level only
  /// Removes an empty directory; false on failure.
  static bool removeDirectory(const cString& name);
  /// Copies a file, overwriting the target; false on failure.
  static bool copyFile(const cString& from, const cString& to);  // overwrites
  /// Changes the process's current directory; false on failure.
  static bool setCurrentDirectory(const cString& name);
  /// Whether the name exists, a directory included.
  static bool fileExists(const cString& name);  // directories too
  /// Whether the name exists and is a directory.
  static bool isDirectory(const cString& name);
  /// Whether the name is an existing directory.
  static bool directoryExists(const cString& name);
  /// The calling thread's last error, the cause of the last failure.
  static int lastError();

  /// A search over `info`: findFirstFile, then findNextFile until false (which
  /// ends the search), or findFileComplete to stop early. False when nothing
  /// matched.
  static bool findFirstFile(const cString& pattern, cFileInformation& info);
  /// The next match into info; false at the end (the search is then closed) or on failure.
  static bool findNextFile(cFileInformation& info);
  /// Closes the search held by info.
  static void findFileComplete(cFileInformation& info);

  /// The process's current directory, whole, also deeper than 260
  /// characters; empty on failure.
  static cString currentDirectory();
  /// The path itself where the system has no short form; empty when the
  /// short form is 260 characters or more.
  static cString makeShortFileName(const cString& path);

  /// Drive and a colon, directory and a separator if it has none at its end,
  /// name, a full stop unless the extension has one, extension. A null
  /// pointer is an empty part. A path beyond 259 characters is given whole.
  ///@{
  static cString makePath(const cString& dir, const cString& name);
  static cString makePath(const wchar_t* dir, const wchar_t* name);
  static cString makePath(const wchar_t* dir, const wchar_t* name, const wchar_t* extension);
  static cString makePath(const cString& drive, const cString& dir, const cString& name, const cString& extension);
  ///@}
  /// The base with a separator added when it lacks one, then the directory;
  /// returned, or stored in the base.
  ///@{
  static cString appendDirectory(const cString& base, const cString& dir);
  static void appendDirectory(cString& base, const cString& dir);
  ///@}

  /// Drive (two characters with a colon second), directory up to the last
  /// separator, name, extension from the last full stop. Always true.
  ///@{
  static bool splitPath(const cString& path, cString& dir, cString& name);
  static bool splitPath(const cString& path, cString& drive, cString& dir, cString& name, cString& extension);
  static bool splitName(const cString& path, cString& name, cString& extension);
  ///@}
  /// The extension of the path, from its last full stop.
  static cString splitExtension(const cString& path);

  /// The directory part resolved by changing into it for a moment (the
  /// process's current directory: keep other threads away from it meanwhile).
  static cString absolutePath(const cString& path);
  /// Makes the path absolute in place, as absolutePath does; false when it can't.
  static bool qualifyPath(cString& path);
  /// An existing name stays; else the first hit in the current directory and
  /// PATH, or empty.
  static bool searchPath(cString& name);
  /// The last component. This and the two trailing-separator operations
  /// throw the index failure of cString on an empty string.
  static cString peelDirectory(cString path);
  /// Removes one separator at the end of the path.
  static void stripTrailingSlash(cString& path);
  /// Adds a separator at the end unless the path ends with one.
  static void addTrailingSlash(cString& path);
  /// head "..." tail when the text has `limit` characters or more.
  static bool shortenName(cString& name, int limit);
  /// Whether the name holds * or ?.
  static bool hasWildCards(const cString& name);

  /// Sizes in the volume's own sector size; freeBytes are all free bytes.
  static bool volumeStatus(const cString& root, ULONGLONG& totalSectors, ULONGLONG& freeSectors,
                           ULONGLONG& freeBytes);

 protected:
  cFileSystem() {}
  virtual ~cFileSystem() {}
};
