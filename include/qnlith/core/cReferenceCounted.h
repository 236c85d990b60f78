// A base for objects with a use count. The count changes atomically; it
// never deletes anything: whoever takes it to 0 decides what happens.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

class QNLITH_API cReferenceCounted {
 public:
  cReferenceCounted(const cReferenceCounted& other);
  cReferenceCounted& operator=(const cReferenceCounted& other);

  // The new count.
  virtual DWORD addReference();
  virtual DWORD removeReference();
  // A plain read: an indication that may be out of date at once.
  DWORD useCount() const;

 protected:
  cReferenceCounted(DWORD initialCount = 1);
  ~cReferenceCounted();

  DWORD count;
};
