/// @file
/// The library's own module and the process-wide values of its start-up.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/win32/types.h>

class cDynamicLinkLibrary;

/// The object for the library's own module, made when the library loads and
/// owned by the library.
QNLITH_API cDynamicLinkLibrary& getQuenlithDLL();
/// The raw handle of the library's own module.
QNLITH_API HINSTANCE getQuenlithModuleHandle();
/// The registered message number of "cNotifier :: messageId".
QNLITH_API DWORD cNotifierMessageId();
/// The text naming a place in the code: what happened, in which file,
/// function and line, in quotes and over three lines, worded by entry 2 of
/// the library's own string table.
QNLITH_API cString formatCodeLocation(const wchar_t* what, const wchar_t* file, const wchar_t* function, int line);
