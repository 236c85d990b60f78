// A module for the module and resource tests: three exports, all of them
// also reachable by ordinal, and the resources of module.rc and messages.mc.
#include <qnlith/win32/modules.h>

extern "C" {

QN_PLATFORM_API int qnTestAdd(int a, int b) { return a + b; }

QN_PLATFORM_API int qnTestScale(int a) { return a * 10; }

QN_PLATFORM_API int qnTestNegate(int a) { return -a; }

}

QN_EXPORT_ORDINALS({1, QN_ORDINAL_PROC(qnTestAdd)}, {2, QN_ORDINAL_PROC(qnTestScale)},
                   {7, QN_ORDINAL_PROC(qnTestNegate)})
