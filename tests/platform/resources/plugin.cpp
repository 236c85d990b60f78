// A plug-in that reads a string through a resource library it makes with
// the default constructor: that library is the main program's, not the
// plug-in's own.
#include <qnlith/qnlith.h>

#include <cwchar>

extern "C" QN_PLATFORM_API int qnTestPluginString(wchar_t* out, int size) {
  const cResourceLibrary library;
  const cString text = library.tryToLoadString(1);
  wcsncpy_s(out, static_cast<std::size_t>(size), text.c_str(), _TRUNCATE);
  return static_cast<int>(text.length());
}
