/// @file
/// A base for objects with a use count. The count changes atomically; it
/// never deletes anything: whoever takes it to 0 decides what happens.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

/// A base with an atomic use count that never deletes its object itself.
class QNLITH_API cReferenceCounted {
 public:
  /// Copies the other's count as it reads at that moment.
  ///@{
  cReferenceCounted(const cReferenceCounted& other);
  cReferenceCounted& operator=(const cReferenceCounted& other);
  ///@}

  /// Adds one to the count atomically and returns the new count.
  virtual DWORD addReference();
  /// Takes one from the count atomically and returns the new count; at 0 the
  /// caller decides the object's fate.
  virtual DWORD removeReference();
  /// A plain read: an indication that may be out of date at once.
  DWORD useCount() const;

 protected:
  /// Starts the count at the given value.
  cReferenceCounted(DWORD initialCount = 1);
  /// Does nothing; the count is not checked.
  ~cReferenceCounted();

  /// The use count, changed only through the interlocked calls.
  DWORD count;
};
