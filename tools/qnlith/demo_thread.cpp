// The second half of qnlith demo, the road of one event: a cThread divides
// by zero; the fault arrives as a cException with its text, is shown in a box
// (standard error when no one is there to ask), and the thread ends with its
// code while another thread waits for it.
#include <qnlith/qnlith.h>

#include <cstdio>
#include <string>

#include "command.h"
#include "demo.h"

namespace {

class DividingThread : public cThread {
 public:
  volatile int divisor = 0;

 protected:
  // The division must reach the processor, not a sanitizer's check.
  __attribute__((no_sanitize("integer-divide-by-zero"))) void run() override {
    const int quotient = 10 / divisor;
    setReturnCode(static_cast<DWORD>(quotient));  // never reached
  }
};

// Each step goes out at once, so that it stands in order beside the box,
// which goes to the terminal or to standard error.
void step(const wchar_t* text) {
  qnlithOut(std::wstring(L"  ") + text + L"\n");
  std::fflush(stdout);
}

}  // namespace

int demoRoadOfOneEvent() {
  qnlithOut(L"The road of one event: a fault in a thread of the library\n");
  DividingThread thread;
  step(L"1. A cThread whose run divides by zero; start() creates its thread.");
  if (!thread.start()) {
    qnlithErr(L"qnlith demo: the thread could not be started\n");
    return 1;
  }
  cString line;
  line.format(L"2. Thread %u runs cThreadStartProc: the dispatcher translates its faults,", thread.id());
  step(line.c_str());
  step(L"   the exit code is set to 1, and run divides by zero.");
  step(L"3. The fault arrives as a cException; the box below shows its text:");
  const bool waited = cThread::waitFor(thread);
  DWORD exitCode = 0;
  GetExitCodeThread(thread.handle(), &exitCode);
  line.format(L"4. waitFor returned %s; the thread ended with exit code %u and is %s.", waited ? L"true" : L"false",
              exitCode, thread.isRunning() ? L"still running" : L"no longer running");
  step(line.c_str());
  step(L"5. The object outlives its thread; its owner deletes it now.");
  return waited && exitCode == 1 ? 0 : 1;
}
