/// @file
/// Atomic operations on 32-bit variables, sequentially consistent as the
/// system's are (each is a full barrier). The variable must be aligned to
/// four bytes.
#pragma once

#include <qnlith/win32/types.h>

extern "C" {
/// Adds (takes) one atomically; the new value.
///@{
WINBASEAPI LONG WINAPI InterlockedIncrement(LONG volatile* addend);
WINBASEAPI LONG WINAPI InterlockedDecrement(LONG volatile* addend);
///@}
/// Stores the value (adds it) atomically; the value before.
///@{
WINBASEAPI LONG WINAPI InterlockedExchange(LONG volatile* target, LONG value);
WINBASEAPI LONG WINAPI InterlockedExchangeAdd(LONG volatile* addend, LONG value);
///@}
/// The value before; `exchange` is stored only if the value was `comparand`.
WINBASEAPI LONG WINAPI InterlockedCompareExchange(LONG volatile* destination, LONG exchange, LONG comparand);
}
