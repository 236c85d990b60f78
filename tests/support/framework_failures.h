// The framework's thrown failures, caught and deleted for tests.
#pragma once

#include <qnlith/framework.h>

// Whether `f` throws the framework's invalid-argument exception.
template <typename F>
bool throwsInvalidArg(F f) {
  try {
    f();
  } catch (CInvalidArgException* e) {
    e->Delete();
    return true;
  }
  return false;
}

// The status code of the COleException that `f` throws, or 0.
template <typename F>
SCODE oleFailureOf(F f) {
  try {
    f();
  } catch (COleException* e) {
    const SCODE code = e->m_sc;
    e->Delete();
    return code;
  }
  return 0;
}
