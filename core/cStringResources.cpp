// The members of cString that reach into a resource library.
#include <qnlith/core/cString.h>
#include <qnlith/system/cResourceId.h>
#include <qnlith/system/cResourceLibrary.h>
#include <qnlith/system/cResourceString.h>

#include "trace.h"

cString::cString(const cResourceId& id) : base() { *this = id.resourceLibrary().loadString(id.id()); }

void cString::formatMessage(cResourceId id, ...) {
  cResourceString format(id);
  va_list arguments;
  va_start(arguments, id);
  try {
    formatMessage(format.c_str(), arguments);
  } catch (...) {
    va_end(arguments);
    throw;
  }
  va_end(arguments);
}

void cString::loadString(DWORD id) {
  cResourceLibrary library;
  try {
    *this = library.loadString(id);
  } catch (...) {
    clear();
    QNLITH_TRACE(0x0800000000000040, L"cString::loadString(uint id) - Id %u (0x%x) not Found in lib '%s'!", id, id,
                 library.fileName().c_str());
  }
}

void cString::loadString(const cResourceId& id) {
  const cResourceLibrary& library = id.resourceLibrary();
  try {
    *this = library.loadString(id.id());
  } catch (...) {
    clear();
    QNLITH_TRACE(0x0800000000000040, L"cString::loadString(uint id) - Id %u (0x%x) not Found in lib '%s'!", id.id(),
                 id.id(), library.fileName().c_str());
  }
}

void cString::tryToLoadString(const cResourceId& id) { *this = id.resourceLibrary().tryToLoadString(id.id()); }
