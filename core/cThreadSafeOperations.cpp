#include <qnlith/core/cThreadSafeOperations.h>
#include <qnlith/win32/interlocked.h>

// The unsigned forms differ only in the type of the variable: the same 32
// bits go through the signed operations.
namespace {
LONG volatile* asLong(DWORD& value) { return reinterpret_cast<LONG volatile*>(&value); }
}  // namespace

cThreadSafeOperations& cThreadSafeOperations::operator=(const cThreadSafeOperations&) { return *this; }

LONG cThreadSafeOperations::increment(LONG& value) { return InterlockedIncrement(&value); }

DWORD cThreadSafeOperations::increment(DWORD& value) { return static_cast<DWORD>(InterlockedIncrement(asLong(value))); }

LONG cThreadSafeOperations::decrement(LONG& value) { return InterlockedDecrement(&value); }

DWORD cThreadSafeOperations::decrement(DWORD& value) { return static_cast<DWORD>(InterlockedDecrement(asLong(value))); }

int cThreadSafeOperations::exchange(int& value, int newValue) { return InterlockedExchange(&value, newValue); }

DWORD cThreadSafeOperations::exchange(DWORD& value, DWORD newValue) {
  return static_cast<DWORD>(InterlockedExchange(asLong(value), static_cast<LONG>(newValue)));
}
