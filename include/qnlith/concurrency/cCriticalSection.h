/// @file
/// Critical sections: a thread may enter one again while it holds it, and
/// leaves it as often as it entered.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/sync.h>

/// A recursive critical section of the platform, entered with Lock and left with Unlock.
class QNLITH_API cCriticalSection {
 public:
  /// Initialises the platform section.
  cCriticalSection();
  /// Deletes the platform section, which no thread may hold then.
  ~cCriticalSection();
  /// Copies the platform structure; not to be done while either is in use.
  cCriticalSection& operator=(const cCriticalSection& other);

  // Inline, so that taking the section is one call into the layer.
  /// Enters the section, waiting while another thread holds it.
  void Lock() { EnterCriticalSection(&section); }
  /// Leaves the section once.
  void Unlock() { LeaveCriticalSection(&section); }

 private:
  CRITICAL_SECTION section;
};

/// A critical section with lower-case names; an ordinary section living as long as the object.
class QNLITH_API cPersistentCriticalSection {
 public:
  /// As for cCriticalSection: initialise, delete, and copy the platform
  /// structure (not while either is in use).
  ///@{
  cPersistentCriticalSection();
  ~cPersistentCriticalSection();
  cPersistentCriticalSection& operator=(const cPersistentCriticalSection& other);

  ///@}
  /// Enters the section, waiting while another thread holds it.
  void lock();
  /// Leaves the section once.
  void unlock();

 private:
  cCriticalSection section;
};
