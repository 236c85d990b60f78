/// @file
/// Atomic operations on 32-bit variables, through the system's interlocked
/// calls. Variables must be aligned to four bytes.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

/// Atomic increments, decrements and exchanges of 32-bit variables.
class QNLITH_API cThreadSafeOperations {
 public:
  /// Does nothing: the class has no state.
  cThreadSafeOperations& operator=(const cThreadSafeOperations& other);

  /// Adds one to the variable atomically; the new value.
  ///@{
  static LONG increment(LONG& value);
  static DWORD increment(DWORD& value);
  ///@}
  /// Takes one from the variable atomically; the new value.
  ///@{
  static LONG decrement(LONG& value);
  static DWORD decrement(DWORD& value);
  ///@}
  /// Stores the new value atomically; the value before the exchange.
  ///@{
  static int exchange(int& value, int newValue);
  static DWORD exchange(DWORD& value, DWORD newValue);
  ///@}
};
