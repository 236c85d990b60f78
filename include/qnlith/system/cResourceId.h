/// @file
/// cResourceId: a resource number and the library that holds it. A bare
/// number binds the default resource library of that moment; the record does
/// not own the library, which must outlive it.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

class cResourceLibrary;
class cDynamicLinkLibrary;

/// A resource number and the library that holds it; the library is not owned.
class QNLITH_API cResourceId {
 public:
  /// The number in the default resource library of this moment.
  cResourceId(DWORD id);
  /// The number in the given library, which must outlive the record.
  ///@{
  cResourceId(DWORD id, const cResourceLibrary& library);
  cResourceId(DWORD id, const cDynamicLinkLibrary& library);
  ///@}
  /// Copies the number and the library reference.
  ///@{
  cResourceId(const cResourceId& other) = default;
  cResourceId& operator=(const cResourceId& other) = default;
  ///@}

  /// The resource number.
  ///@{
  DWORD id() const;
  operator DWORD() const;
  ///@}
  /// The library the number belongs to.
  const cResourceLibrary& resourceLibrary() const;

 private:
  DWORD number;                      // the id
  const cResourceLibrary* library;  // never null
};
