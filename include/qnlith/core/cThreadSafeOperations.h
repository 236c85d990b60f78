// Atomic operations on 32-bit variables, through the system's interlocked
// calls. Variables must be aligned to four bytes.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

class QNLITH_API cThreadSafeOperations {
 public:
  cThreadSafeOperations& operator=(const cThreadSafeOperations& other);

  // The new value.
  static LONG increment(LONG& value);
  static DWORD increment(DWORD& value);
  static LONG decrement(LONG& value);
  static DWORD decrement(DWORD& value);
  // The value before the exchange.
  static int exchange(int& value, int newValue);
  static DWORD exchange(DWORD& value, DWORD newValue);
};
