// cResourceId: a resource number and the library that holds it. A bare
// number binds the default resource library of that moment; the record does
// not own the library, which must outlive it.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

class cResourceLibrary;
class cDynamicLinkLibrary;

class QNLITH_API cResourceId {
 public:
  cResourceId(DWORD id);
  cResourceId(DWORD id, const cResourceLibrary& library);
  cResourceId(DWORD id, const cDynamicLinkLibrary& library);
  cResourceId(const cResourceId& other) = default;
  cResourceId& operator=(const cResourceId& other) = default;

  DWORD id() const;
  operator DWORD() const;
  const cResourceLibrary& resourceLibrary() const;

 private:
  DWORD number;                      // the id
  const cResourceLibrary* library;  // never null
};
