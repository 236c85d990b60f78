// The library's own module and the process-wide values of its start-up.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/win32/types.h>

class cDynamicLinkLibrary;

// The object for the library's own module, made when the library loads.
QNLITH_API cDynamicLinkLibrary& getQuenlithDLL();
// The raw handle of the library's own module.
QNLITH_API HINSTANCE getQuenlithModuleHandle();
// The registered message number of "cNotifier :: messageId".
QNLITH_API DWORD cNotifierMessageId();
// "\"<what> in file <file>\nin function <function>\nat line <line>.\"\n",
// worded by entry 2 of the library's own string table.
QNLITH_API cString formatCodeLocation(const wchar_t* what, const wchar_t* file, const wchar_t* function, int line);
