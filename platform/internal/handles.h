// The process-wide table of kernel objects behind HANDLE values. Every area
// that hands out a kernel handle (events, semaphores, mutexes, threads,
// processes, files, directory searches) stores its object here.
//
// A handle value is never handed out twice, so a closed ("stale") handle
// can't reach an object created later: using or closing it fails with
// ERROR_INVALID_HANDLE and never crashes.
#pragma once

#include <memory>
#include <qnlith/win32/types.h>

#include "api.h"

namespace qn {

enum class ObjectKind { Event, Semaphore, Mutex, Thread, Process, File, FindSearch, Other };

class KernelObject {
 public:
  explicit KernelObject(ObjectKind kind) : kind_(kind) {}
  virtual ~KernelObject() = default;
  KernelObject(const KernelObject&) = delete;
  KernelObject& operator=(const KernelObject&) = delete;

  ObjectKind kind() const { return kind_; }

 private:
  ObjectKind kind_;
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

 private:
  static void invalid();
};

}  // namespace qn
