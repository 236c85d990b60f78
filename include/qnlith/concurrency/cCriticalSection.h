// Critical sections: a thread may enter one again while it holds it, and
// leaves it as often as it entered.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/sync.h>

class QNLITH_API cCriticalSection {
 public:
  cCriticalSection();
  ~cCriticalSection();
  // Copies the platform structure; not to be done while either is in use.
  cCriticalSection& operator=(const cCriticalSection& other);

  // Inline, so that taking the section is one call into the layer.
  void Lock() { EnterCriticalSection(&section); }
  void Unlock() { LeaveCriticalSection(&section); }

 private:
  CRITICAL_SECTION section;
};

class QNLITH_API cPersistentCriticalSection {
 public:
  cPersistentCriticalSection();
  ~cPersistentCriticalSection();
  cPersistentCriticalSection& operator=(const cPersistentCriticalSection& other);

  void lock();
  void unlock();

 private:
  cCriticalSection section;
};
