// Modules the dynamic linker refuses: one needs a function nobody defines,
// one needs a library it can't find.
#include <qnlith/win32/api.h>

#ifdef QN_TEST_UNRESOLVED
extern "C" int qnTestNobodyDefinesThis();
extern "C" QN_PLATFORM_API int qnTestBroken() { return qnTestNobodyDefinesThis(); }
#else
extern "C" int qnTestDependency();
extern "C" QN_PLATFORM_API int qnTestBroken() { return qnTestDependency(); }
#endif
