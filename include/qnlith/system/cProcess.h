/// @file
/// Asks the system shell to open a program or a document.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>

/// Starts programs and documents through the system shell.
class QNLITH_API cProcess {
 public:
  /// The class has no state: assignment does nothing.
  cProcess& operator=(const cProcess&) { return *this; }

  /// True when the shell accepted the request; the cause of a refusal stays
  /// in the calling thread's last error. Nothing waits for the program.
  static bool start(const cString& file, const cString& parameters);
};
