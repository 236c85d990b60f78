/// @file
/// The operating-system layer: the subset of the Win32 API that the library
/// calls, with Win32 names, types, constants and documented behaviour.
#pragma once

#include <qnlith/win32/types.h>
#include <qnlith/win32/errors.h>
#include <qnlith/win32/codepage.h>
#include <qnlith/win32/handles.h>
#include <qnlith/win32/sysinfo.h>
#include <qnlith/win32/gdi.h>
#include <qnlith/win32/atoms.h>
#include <qnlith/win32/shell.h>
#include <qnlith/win32/crtstring.h>
#include <qnlith/win32/format.h>
#include <qnlith/win32/message.h>
#include <qnlith/win32/oleauto.h>
#include <qnlith/win32/registry.h>
#include <qnlith/win32/modules.h>
#include <qnlith/win32/resources.h>
#include <qnlith/win32/interlocked.h>
#include <qnlith/win32/sync.h>
#include <qnlith/win32/messages.h>
#include <qnlith/win32/version.h>
#include <qnlith/win32/time.h>
#include <qnlith/win32/files.h>
#include <qnlith/win32/crtpath.h>
#include <qnlith/win32/faults.h>
#include <qnlith/win32/threads.h>
#include <qnlith/win32/window.h>
#include <qnlith/win32/msgbox.h>
#include <qnlith/win32/errorinfo.h>
