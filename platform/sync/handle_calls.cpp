#include <qnlith/win32/handles.h>

#include "sync/handles.h"

BOOL WINAPI CloseHandle(HANDLE handle) { return qn::HandleTable::close(handle); }
