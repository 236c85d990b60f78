// The layer's own English texts for the error codes it produces, as
// FormatMessageW with FORMAT_MESSAGE_FROM_SYSTEM gives them.
#pragma once

#include <qnlith/win32/types.h>

#include "api.h"

namespace qn {

// The text for a Win32 error code or an HRESULT, ending in CR LF as system
// texts do; null when the system has none. An HRESULT of the Win32 facility
// (0x8007xxxx) has the text of its Win32 code.
QN_INTERNAL const wchar_t* systemMessageText(DWORD code);

}  // namespace qn
