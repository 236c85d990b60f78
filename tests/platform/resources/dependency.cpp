// A library that a test module needs and whose folder it is not told.
#include <qnlith/win32/api.h>

extern "C" QN_PLATFORM_API int qnTestDependency() { return 42; }
