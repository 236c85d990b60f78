// The process-wide table of kernel objects behind HANDLE values. Every area
// that hands out a kernel handle (events, semaphores, mutexes, threads,
// processes, files, directory searches) stores its object here.
//
// A handle value is never handed out twice, so a closed ("stale") handle
// can't reach an object created later: using or closing it fails with
// ERROR_INVALID_HANDLE and never crashes.
#pragma once

#include <atomic>
#include <memory>
#include <qnlith/win32/types.h>

#include "../errors/api.h"

namespace qn {

enum class ObjectKind { Event, Semaphore, Mutex, Thread, Process, File, FindSearch, Other };

class KernelObject {
 public:
  explicit KernelObject(ObjectKind kind) : kind_(kind) {}
  virtual ~KernelObject() = default;
  KernelObject(const KernelObject&) = delete;
  KernelObject& operator=(const KernelObject&) = delete;

  ObjectKind kind() const { return kind_; }

  // Handles open on the object. Its memory may outlive the last handle a
  // while (see borrow); a name must not.
  std::uint32_t openHandles() const { return handles_.load(std::memory_order_acquire); }

 private:
  friend class HandleTable;
  ObjectKind kind_;
  std::atomic<std::uint32_t> handles_{0};
};

class QN_INTERNAL HandleTable {
 public:
  // Stores the object and returns its new handle; null when the table is full
  // (last error ERROR_NOT_ENOUGH_MEMORY).
  static HANDLE insert(std::shared_ptr<KernelObject> object);

  // The object behind a handle, or null (last error ERROR_INVALID_HANDLE).
  // The returned reference keeps the object alive while the caller uses it,
  // even if another thread closes the handle meanwhile.
  static std::shared_ptr<KernelObject> get(HANDLE handle);

  // The object if it is of the given kind; null with ERROR_INVALID_HANDLE
  // otherwise.
  template <typename T>
  static std::shared_ptr<T> getAs(HANDLE handle, ObjectKind kind) {
    auto object = get(handle);
    if (object == nullptr) return nullptr;
    if (object->kind() != kind) {
      invalid();
      return nullptr;
    }
    return std::static_pointer_cast<T>(object);
  }

  // Removes the handle; the object goes when its last user lets go.
  static BOOL close(HANDLE handle);

  // The object behind a handle for the length of one call, without touching
  // its reference count: the calling thread's cache holds the reference.
  // Only events, semaphores and mutexes are cached (their late destruction
  // is invisible); for other kinds `keep` takes the reference. The pointer
  // stays valid until this thread's next borrow or until `keep` goes. Null
  // with ERROR_INVALID_HANDLE for a closed or unknown handle.
  static KernelObject* borrow(HANDLE handle, std::shared_ptr<KernelObject>& keep);

 private:
  static void invalid();
};

}  // namespace qn
