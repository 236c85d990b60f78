/// @file
/// Words for numbered messages of the message file and for system error codes.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>

/// "Error was: (code) " followed by the system's text for the code.
QNLITH_API cString systemErrorMessageText(DWORD code);
/// The same; the name the rest of the library calls.
QNLITH_API cString findErrorMessageText(DWORD code);
