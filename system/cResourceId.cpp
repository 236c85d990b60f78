#include <qnlith/system/cDynamicLinkLibrary.h>
#include <qnlith/system/cResourceId.h>
#include <qnlith/system/cResourceLibrary.h>

cResourceId::cResourceId(DWORD id) : number(id), library(&cResourceLibrary::defaultResourceLibrary()) {}

cResourceId::cResourceId(DWORD id, const cResourceLibrary& library) : number(id), library(&library) {}

cResourceId::cResourceId(DWORD id, const cDynamicLinkLibrary& library)
    : number(id), library(&static_cast<const cResourceLibrary&>(library)) {}

DWORD cResourceId::id() const { return number; }

cResourceId::operator DWORD() const { return number; }

const cResourceLibrary& cResourceId::resourceLibrary() const { return *library; }
