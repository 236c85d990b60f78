#include <qnlith/win32/handles.h>

#include "internal/handles.h"

BOOL WINAPI CloseHandle(HANDLE handle) { return qn::HandleTable::close(handle); }
