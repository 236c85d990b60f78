// Trace points. Each names a 64-bit category mask, a format and its
// arguments; in this build the test before the call always skips it, so
// neither the call nor its arguments ever run.
#pragma once

#include <qnlith/win32/types.h>

struct cDebugTrace {
  static void trace(DWORD maskLow, DWORD maskHigh, const wchar_t* format, ...) {}
};

inline constexpr bool QnlithTracePointsLive = false;

#define QNLITH_TRACE(mask, ...)                                                                  \
  do {                                                                                           \
    if constexpr (QnlithTracePointsLive)                                                         \
      cDebugTrace::trace(static_cast<DWORD>(static_cast<DWORD64>(mask) & 0xFFFFFFFFu),           \
                         static_cast<DWORD>(static_cast<DWORD64>(mask) >> 32), __VA_ARGS__);     \
  } while (0)
