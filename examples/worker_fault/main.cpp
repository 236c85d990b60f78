// worker_fault: a cThread reads through a null pointer. The library
// translates the fault on that thread into a cException; the worker catches
// it, shows it in a message box and ends with a code of its own. A second
// worker lets its fault escape, and the library shows the box itself.
//
// With a display the box is a window; in a terminal a prompt; with
// neither, its text goes to standard error.
#include <qnlith/qnlith.h>

#include <cstdio>
#include <string>

namespace {

std::string utf8(const cString& text) {
  char* bytes = text.asChar();
  std::string out(bytes);
  delete[] bytes;
  return out;
}

// Reached through a pointer, so that the read stays a read and the call
// can throw under every compiler.
int readThrough(const volatile int* where) { return *where; }
int (*volatile reader)(const volatile int*) = readThrough;

class CarefulWorker : public cThread {
 public:
  cString caught;

 protected:
  void run() override {
    try {
      setReturnCode(static_cast<DWORD>(reader(nullptr)));
    } catch (cException& fault) {
      caught = fault.text;
      // Without a parent window the box is captioned with the program's name.
      showExceptionMessageBox(fault, nullptr, cString(), false);
      setReturnCode(2);
    }
  }
};

class CarelessWorker : public cThread {
 protected:
  void run() override { setReturnCode(static_cast<DWORD>(reader(nullptr))); }
};

DWORD exitCodeOf(const cThread& thread) {
  DWORD code = 0;
  GetExitCodeThread(thread.handle(), &code);
  return code;
}

}  // namespace

int main() {
  CarefulWorker careful;
  if (!careful.start()) return 1;
  cThread::waitFor(careful);
  std::printf("careful worker: caught \"%s\", ended with %lu\n", utf8(careful.caught).c_str(),
              static_cast<unsigned long>(exitCodeOf(careful)));

  // What escapes run is shown by the library; the thread then ends with 1.
  CarelessWorker careless;
  if (!careless.start()) return 1;
  cThread::waitFor(careless);
  std::printf("careless worker: ended with %lu\n", static_cast<unsigned long>(exitCodeOf(careless)));
  return exitCodeOf(careful) == 2 && exitCodeOf(careless) == 1 ? 0 : 1;
}
