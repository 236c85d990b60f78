// The layer's one mapping from errno to Win32 error numbers.
#pragma once

#include <cerrno>
#include <qnlith/win32/errors.h>

#include "api.h"

namespace qn {

namespace tls {
extern __thread DWORD lastError __attribute__((tls_model("initial-exec")));
}

// SetLastError without a call through the symbol table, for hot paths.
inline void setLastError(DWORD error) { tls::lastError = error; }

// The Win32 number Windows reports for the condition an errno value names.
QN_INTERNAL DWORD win32ErrorFromErrno(int error);

// Sets the thread's last error from errno (or the given value) and returns
// false-ish for the common "fail with the cause in GetLastError" tail call.
inline BOOL failWithErrno(int error = errno) {
  SetLastError(win32ErrorFromErrno(error));
  return FALSE;
}

// Keeps errno as it was across a helper's own calls of the C library, so
// that a caller who checks errno after a system call sees that call's value.
class ErrnoKeeper {
 public:
  ErrnoKeeper() : saved(errno) {}
  ~ErrnoKeeper() { errno = saved; }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

 private:
  int saved;
};

inline BOOL failWith(DWORD error) {
  SetLastError(error);
  return FALSE;
}

}  // namespace qn
