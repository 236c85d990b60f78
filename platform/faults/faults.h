// Structured exceptions inside the layer: how a raised record reaches the
// thread's translator, and the name convention a debugger would handle.
#pragma once

#include <qnlith/win32/faults.h>

#include "../errors/api.h"

namespace qn {

// The code of the debugger's thread-name convention.
constexpr DWORD ThreadNameException = 0x406D1388;

// Names the thread with the given id (0xFFFFFFFF: the calling one) as
// debuggers and ps show it: the first 15 bytes of the UTF-8 name, cut at a
// character boundary. Implemented with the threads.
QN_INTERNAL bool nameThread(DWORD threadId, const char* name);

}  // namespace qn
