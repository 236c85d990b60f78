/// @file
/// The framework layer: the string, time, exception, thread and module
/// services of the application framework the library was written beside.
#pragma once

#include <qnlith/win32.h>
#include <qnlith/framework/api.h>
#include <qnlith/framework/exceptions.h>
#include <qnlith/framework/string.h>
#include <qnlith/framework/extension.h>
#include <qnlith/framework/modules.h>
#include <qnlith/framework/timespan.h>
#include <qnlith/framework/time.h>
#include <qnlith/framework/thread.h>
#include <qnlith/framework/window.h>
#include <qnlith/framework/comerror.h>
