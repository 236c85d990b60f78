#include <qnlith/framework/modules.h>

#include <mutex>

namespace {

// A module's constructors may load further modules through the framework,
// on the same thread: the lock is recursive.
std::recursive_mutex& moduleLock() {
  static std::recursive_mutex* lock = new std::recursive_mutex;
  return *lock;
}

}  // namespace

HINSTANCE AfxLoadLibrary(LPCWSTR fileName) {
  std::lock_guard guard(moduleLock());
  return LoadLibraryW(fileName);
}

HINSTANCE AfxLoadLibraryEx(LPCWSTR fileName, HANDLE file, DWORD flags) {
  std::lock_guard guard(moduleLock());
  return LoadLibraryExW(fileName, file, flags);
}

BOOL AfxFreeLibrary(HINSTANCE instance) {
  std::lock_guard guard(moduleLock());
  return FreeLibrary(instance);
}
