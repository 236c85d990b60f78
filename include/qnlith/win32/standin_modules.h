// Stand-in for the module calls until they arrive: the declarations they
// will bring, for the main program only. Removed then.
#pragma once

#include <qnlith/win32/types.h>

extern "C" {
WINBASEAPI HMODULE WINAPI GetModuleHandleW(LPCWSTR moduleName);
WINBASEAPI DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR fileName, DWORD size);
}
