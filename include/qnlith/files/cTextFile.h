/// @file
/// cTextFile: a whole file in memory as bytes, handed out line by line (CR LF
/// ends a line), and a string written to a file in one step. Bytes read
/// become characters one for one, without a code page; text is written in
/// its narrow form.
///
/// The object keeps the handle of its last read or write open, sharing
/// nothing, until it is destroyed: meanwhile nobody, not even the object
/// itself, can open that file again.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/win32/types.h>

/// A whole text file in memory, read line by line, and a text written to a file.
class QNLITH_API cTextFile {
 public:
  /// With `mark`, write begins the file with FF FE 00 00.
  cTextFile(bool mark = false);
  /// The copy gets its own copy of the text and no handle: the file stays
  /// the original's.
  cTextFile(const cTextFile& source);
  /// Releases what the target held, then copies as above.
  cTextFile& operator=(const cTextFile& source);
  virtual ~cTextFile();

  /// Loads the whole file; nextLine goes on from where it was.
  bool read(const cString& path);
  /// The next line without its end. Text behind the last line end comes with
  /// false; a byte 0x80-0xFF becomes the character 0xFF80-0xFFFF.
  bool nextLine(cString& line);
  /// The text's whole narrow (UTF-8) form, one byte per character of ASCII,
  /// over the start of the file, which is created if missing and not cut.
  bool write(const cString& path, const cString& text);

  /// The bytes last read, owned by the object; null before a read.
  const char* c_str();
  /// The number of bytes last read.
  DWORD size() const;

 private:
  void release();

  HANDLE fileHandle;
  char* text;
  DWORD textSize;
  DWORD position;
  bool mark;
};
