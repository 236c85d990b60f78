/// @file
/// cResourceString: a cString whose constructor loads the text of a string
/// resource. It never throws: what fails beneath it leaves it empty.
#pragma once

#include <qnlith/core/cString.h>
#include <qnlith/system/cResourceId.h>

/// A cString loaded from a string resource when it is made; empty when that fails.
class QNLITH_API cResourceString : public cString {
 public:
  /// A plain number reads the main program's string table.
  cResourceString(DWORD id);
  /// The string of the id in the given library.
  cResourceString(DWORD id, const cResourceLibrary& library);
  /// The library the id names, the default library for a bare number.
  cResourceString(const cResourceId& id);
  /// Frees the text.
  ~cResourceString();
};
