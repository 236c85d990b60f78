// The library's process-wide start-up values.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

// The registered message number of "cNotifier :: messageId".
QNLITH_API DWORD cNotifierMessageId();
