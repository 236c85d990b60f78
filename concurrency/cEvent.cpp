#include <qnlith/concurrency/cEvent.h>
#include <qnlith/win32/handles.h>
#include <qnlith/win32/messages.h>
#include <qnlith/win32/sync.h>

cEvent::cEvent(bool autoReset, bool initiallySignalled)
    : handle(CreateEventW(nullptr, !autoReset, initiallySignalled, nullptr)) {}

cEvent::cEvent(const cEvent& other) : handle(other.handle) {}

cEvent& cEvent::operator=(const cEvent& other) {
  handle = other.handle;
  return *this;
}

cEvent::~cEvent() {
  signal();
  CloseHandle(handle);
  handle = nullptr;
}

void cEvent::signal() { SetEvent(handle); }

void cEvent::clear() { ResetEvent(handle); }

bool cEvent::wait(DWORD milliseconds) { return WaitForSingleObject(handle, milliseconds) == WAIT_OBJECT_0; }

bool cEvent::waitForEventOrMsg(DWORD milliseconds) {
  return MsgWaitForMultipleObjects(1, &handle, FALSE, milliseconds, QS_ALLINPUT) == WAIT_OBJECT_0;
}
