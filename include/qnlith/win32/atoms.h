/// @file
/// Registered window messages: numbers shared by every process of the user.
#pragma once

#include <qnlith/win32/types.h>

extern "C" {
/// A number from 0xC000 to 0xFFFF, the same for the same name (compared
/// without regard to case) in every process of this user while the system
/// runs. 0 with ERROR_INVALID_PARAMETER for a null or empty name.
WINBASEAPI UINT WINAPI RegisterWindowMessageW(LPCWSTR name);
}
