// Events, semaphores and mutexes behind handles, and their names.
#include <qnlith/win32/sync.h>

#include <map>
#include <mutex>
#include <string>

#include "errors/errors.h"
#include "sync/sync_objects.h"

namespace {

using qn::HandleTable;
using qn::ObjectKind;

// Names are private to the process; the session prefixes of Windows name
// the same single namespace here.
std::wstring_view plainName(LPCWSTR name) {
  std::wstring_view n(name);
  for (std::wstring_view prefix : {L"Global\\", L"Local\\"}) {
    if (n.substr(0, prefix.size()) == prefix) return n.substr(prefix.size());
  }
  return n;
}

struct Names {
  std::mutex lock;
  std::map<std::wstring, std::weak_ptr<qn::KernelObject>, std::less<>> objects;
};

Names& names() {
  static Names* instance = new Names;
  return *instance;
}

// A new handle on the object of that name, or null if there is none.
// A name held by another kind of object fails with ERROR_INVALID_HANDLE.
HANDLE openNamed(std::wstring_view name, ObjectKind kind, bool& failed) {
  auto& n = names();
  auto it = n.objects.find(name);
  if (it == n.objects.end()) return nullptr;
  auto object = it->second.lock();
  if (object == nullptr || object->openHandles() == 0) {
    n.objects.erase(it);
    return nullptr;
  }
  if (object->kind() != kind) {
    failed = true;
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  return HandleTable::insert(std::move(object));
}

template <typename Make>
HANDLE create(LPCWSTR name, ObjectKind kind, Make make) {
  if (name == nullptr || *name == L'\0') {
    HANDLE handle = HandleTable::insert(make());
    if (handle != nullptr) SetLastError(ERROR_SUCCESS);
    return handle;
  }
  const std::wstring_view plain = plainName(name);
  auto& n = names();
  std::lock_guard guard(n.lock);
  bool failed = false;
  if (HANDLE existing = openNamed(plain, kind, failed)) {
    SetLastError(ERROR_ALREADY_EXISTS);
    return existing;
  }
  if (failed) return nullptr;
  std::shared_ptr<qn::KernelObject> object = make();
  HANDLE handle = HandleTable::insert(object);
  if (handle == nullptr) return nullptr;
  n.objects.insert_or_assign(std::wstring(plain), object);
  SetLastError(ERROR_SUCCESS);
  return handle;
}

HANDLE open(LPCWSTR name, ObjectKind kind) {
  if (name == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  auto& n = names();
  std::lock_guard guard(n.lock);
  bool failed = false;
  HANDLE handle = openNamed(plainName(name), kind, failed);
  if (handle == nullptr && !failed) SetLastError(ERROR_FILE_NOT_FOUND);
  return handle;
}

template <typename T>
T* lookUp(HANDLE handle, ObjectKind kind, std::shared_ptr<qn::KernelObject>& keep) {
  qn::KernelObject* object = HandleTable::borrow(handle, keep);
  if (object == nullptr) return nullptr;
  if (object->kind() != kind) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  return static_cast<T*>(object);
}

}  // namespace

HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState, LPCWSTR name) {
  return create(name, ObjectKind::Event,
                [&] { return std::make_shared<qn::Event>(manualReset != FALSE, initialState != FALSE); });
}

HANDLE WINAPI OpenEventW(DWORD, BOOL, LPCWSTR name) { return open(name, ObjectKind::Event); }

BOOL WINAPI SetEvent(HANDLE event) {
  std::shared_ptr<qn::KernelObject> keep;
  auto* e = lookUp<qn::Event>(event, ObjectKind::Event, keep);
  if (e == nullptr) return FALSE;
  e->set();
  return TRUE;
}

BOOL WINAPI ResetEvent(HANDLE event) {
  std::shared_ptr<qn::KernelObject> keep;
  auto* e = lookUp<qn::Event>(event, ObjectKind::Event, keep);
  if (e == nullptr) return FALSE;
  e->reset();
  return TRUE;
}

HANDLE WINAPI CreateSemaphoreW(LPSECURITY_ATTRIBUTES, LONG initialCount, LONG maximumCount, LPCWSTR name) {
  if (maximumCount <= 0 || initialCount < 0 || initialCount > maximumCount) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return create(name, ObjectKind::Semaphore,
                [&] { return std::make_shared<qn::Semaphore>(initialCount, maximumCount); });
}

HANDLE WINAPI OpenSemaphoreW(DWORD, BOOL, LPCWSTR name) { return open(name, ObjectKind::Semaphore); }

BOOL WINAPI ReleaseSemaphore(HANDLE semaphore, LONG releaseCount, LPLONG previousCount) {
  std::shared_ptr<qn::KernelObject> keep;
  auto* s = lookUp<qn::Semaphore>(semaphore, ObjectKind::Semaphore, keep);
  if (s == nullptr) return FALSE;
  if (releaseCount <= 0) return qn::failWith(ERROR_INVALID_PARAMETER);
  if (!s->release(releaseCount, previousCount)) return qn::failWith(ERROR_TOO_MANY_POSTS);
  return TRUE;
}

HANDLE WINAPI CreateMutexW(LPSECURITY_ATTRIBUTES, BOOL initialOwner, LPCWSTR name) {
  // Opening an existing named mutex does not take it, whatever initialOwner says.
  return create(name, ObjectKind::Mutex, [&] { return std::make_shared<qn::Mutex>(initialOwner != FALSE); });
}

HANDLE WINAPI OpenMutexW(DWORD, BOOL, LPCWSTR name) { return open(name, ObjectKind::Mutex); }

namespace {

// A release of a mutex that is not in the thread's cache, or not open.
__attribute__((noinline)) BOOL releaseLookedUp(HANDLE mutex) {
  std::shared_ptr<qn::KernelObject> keep;
  auto* m = lookUp<qn::Mutex>(mutex, ObjectKind::Mutex, keep);
  if (m == nullptr) return FALSE;
  if (!m->release()) return qn::failWith(ERROR_NOT_OWNER);
  return TRUE;
}

}  // namespace

BOOL WINAPI ReleaseMutex(HANDLE mutex) {
  // One look at the thread's cache for a mutex it used lately.
  qn::ThreadState* self = qn::existingThreadState();
  const DWORD tid = qn::knownThreadId();
  if (self != nullptr && tid != 0) {
    qn::KernelObject* cached;
    if (qn::cachedObject(mutex, *self, cached) && cached->kind() == ObjectKind::Mutex) {
      if (!static_cast<qn::Mutex*>(cached)->release(*self, tid)) {
        return qn::failWith(ERROR_NOT_OWNER);
      }
      return TRUE;
    }
  }
  return releaseLookedUp(mutex);
}
