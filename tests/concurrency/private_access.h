// Reaches the private waitForEventOrMsg of the waitable classes, which
// applications cannot call but tests must: an explicit instantiation may
// name a private member, and hands its address to a friend function.
#pragma once

#include <qnlith/qnlith.h>

namespace qntest {

template <typename Tag, typename Tag::type Member>
struct PrivateMember {
  friend typename Tag::type memberOf(Tag) { return Member; }
};

#define QNTEST_PRIVATE_WAIT(Class)                    \
  struct Class##WaitForEventOrMsg {                   \
    using type = bool (Class::*)(DWORD);              \
    friend type memberOf(Class##WaitForEventOrMsg);   \
  };                                                  \
  template struct PrivateMember<Class##WaitForEventOrMsg, &Class::waitForEventOrMsg>;

QNTEST_PRIVATE_WAIT(cEvent)
QNTEST_PRIVATE_WAIT(cSemaphore)
QNTEST_PRIVATE_WAIT(cMutexSemaphore)
#undef QNTEST_PRIVATE_WAIT

inline bool waitForEventOrMsg(cEvent& object, DWORD ms) { return (object.*memberOf(cEventWaitForEventOrMsg{}))(ms); }
inline bool waitForEventOrMsg(cSemaphore& object, DWORD ms) {
  return (object.*memberOf(cSemaphoreWaitForEventOrMsg{}))(ms);
}
inline bool waitForEventOrMsg(cMutexSemaphore& object, DWORD ms) {
  return (object.*memberOf(cMutexSemaphoreWaitForEventOrMsg{}))(ms);
}

}  // namespace qntest
