#include <qnlith/system/cResourceLibrary.h>
#include <qnlith/system/cResourceString.h>

cResourceString::cResourceString(DWORD id) : cString() { loadString(id); }

cResourceString::cResourceString(DWORD id, const cResourceLibrary& library) : cString() {
  loadString(cResourceId(id, library));
}

cResourceString::cResourceString(const cResourceId& id) : cString() { loadString(id); }

cResourceString::~cResourceString() {}
