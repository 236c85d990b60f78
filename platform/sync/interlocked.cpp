#include <qnlith/win32/interlocked.h>

// The compiler's atomic built-ins work on the plain variable the interface
// hands over, with the full barrier the system's operations have.

LONG WINAPI InterlockedIncrement(LONG volatile* addend) { return __atomic_add_fetch(addend, 1, __ATOMIC_SEQ_CST); }

LONG WINAPI InterlockedDecrement(LONG volatile* addend) { return __atomic_sub_fetch(addend, 1, __ATOMIC_SEQ_CST); }

LONG WINAPI InterlockedExchange(LONG volatile* target, LONG value) {
  return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}

LONG WINAPI InterlockedExchangeAdd(LONG volatile* addend, LONG value) {
  return __atomic_fetch_add(addend, value, __ATOMIC_SEQ_CST);
}

LONG WINAPI InterlockedCompareExchange(LONG volatile* destination, LONG exchange, LONG comparand) {
  __atomic_compare_exchange_n(destination, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}
