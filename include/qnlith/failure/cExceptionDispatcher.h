/// @file
/// cExceptionDispatcher: turns a thread's structured exceptions into thrown
/// cException objects, and ends what nothing catches with a message box.
/// All of it is per thread: handleExceptionsFor before the covered work,
/// stopHandlingExceptionsFor on the same thread after it.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/win32/faults.h>

/// Per-thread translation of structured exceptions (faults) into cException,
/// with a message box for what nothing catches.
class QNLITH_API cExceptionDispatcher {
 public:
  /// Installs the translator and the terminate and unexpected handlers on the
  /// calling thread. True only if this call installed them; a thread that has
  /// them already gets false and keeps them.
  static bool handleExceptionsFor();
  /// Puts back what handleExceptionsFor replaced and releases the thread's
  /// record; false on a thread that has none.
  static bool stopHandlingExceptionsFor();

  /// Both need the thread's record: construct the object between the two calls.
  ///@{
  cExceptionDispatcher();
  ~cExceptionDispatcher();
  ///@}
  /// Does nothing: the state is the thread's, not the object's.
  cExceptionDispatcher& operator=(const cExceptionDispatcher& other);

 private:
  [[noreturn]] static void windowsSEHFilter(unsigned int code, EXCEPTION_POINTERS* pointers);
  static cString formatException(DWORD code, EXCEPTION_RECORD* record);
  static void Terminator();
  static void Unexpected();
};
