// The process-wide table of kernel objects behind HANDLE values. Every area
// that hands out a kernel handle (events, semaphores, mutexes, threads,
// processes, files, directory searches) stores its object here.
//
// A handle value is never handed out twice, so a closed ("stale") handle
// can't reach an object created later: using or closing it fails with
// ERROR_INVALID_HANDLE and never crashes.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <qnlith/win32/types.h>

#include "../errors/api.h"
#include "thread_state.h"

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

// How a slot of the table and its generation make a handle value. Values
// stay in [4, 0x7FFFFFFC]: positive in 32 bits, so a value survives being
// kept in a DWORD or LONG and sign-extended back, and it never meets the
// values that mean something else to a call (null, the pseudo handles -1
// to -6, INVALID_HANDLE_VALUE, the predefined registry roots 0x80000000 to
// 0x8000000F, in either sign form).
struct HandleValues {
  static constexpr unsigned IndexBits = 18;       // handles open at once: 2^18 - 1
  static constexpr unsigned GenerationBits = 11;  // uses of one slot before it retires
  static constexpr std::uint64_t GenerationLimit = std::uint64_t{1} << GenerationBits;
  static constexpr std::uint32_t IndexLimit = 1u << IndexBits;

  static constexpr std::uintptr_t valueOf(std::uint32_t index, std::uint64_t generation) {
    return static_cast<std::uintptr_t>(((generation << IndexBits) | index) << 2);
  }
  static HANDLE encode(std::uint32_t index, std::uint64_t generation) {
    return reinterpret_cast<HANDLE>(valueOf(index, generation));
  }
  // False for every value the table can't have handed out.
  static constexpr bool decodeValue(std::uintptr_t value, std::uint32_t& index, std::uint64_t& generation) {
    if ((value & 3) != 0 || value > valueOf(IndexLimit - 1, GenerationLimit - 1)) return false;
    index = static_cast<std::uint32_t>((value >> 2) & (IndexLimit - 1));
    generation = (value >> 2) >> IndexBits;
    return index != 0;
  }
  static bool decode(HANDLE handle, std::uint32_t& index, std::uint64_t& generation) {
    return decodeValue(reinterpret_cast<std::uintptr_t>(handle), index, generation);
  }
};
static_assert(HandleValues::valueOf(HandleValues::IndexLimit - 1, HandleValues::GenerationLimit - 1) == 0x7FFFFFFC);

class QN_INTERNAL HandleTable {
 public:
  // Stores the object and returns its new handle; null when the table is full
  // (last error ERROR_NOT_ENOUGH_MEMORY).
  static HANDLE insert(std::shared_ptr<KernelObject> object);

  // The object behind a handle, or null (last error ERROR_INVALID_HANDLE).
  // The pseudo handles of GetCurrentThread and GetCurrentProcess give the
  // calling thread's object and the process's.
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

  // Removes the handle; the object goes when its last user lets go. A
  // pseudo handle closes with no effect.
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

// The object behind a handle that the calling thread's cache holds and that
// is still open, in `object`; false on a miss (nothing is set: the caller
// goes on to HandleTable::borrow). Valid for as long as a borrowed pointer is.
inline bool cachedObject(HANDLE handle, ThreadState& state, KernelObject*& object) {
  const auto& entry = state.cache[(reinterpret_cast<std::uintptr_t>(handle) >> 2) % ThreadState::CacheSize];
  // A close by any thread moves the slot's tag on; a slot outlives the table's use of it.
  if (entry.handle != handle || entry.tag->load(std::memory_order_acquire) != entry.openTag) return false;
  object = entry.raw;
  return true;
}

// The objects behind the pseudo handles.
QN_INTERNAL std::shared_ptr<KernelObject> currentThreadObject();
QN_INTERNAL std::shared_ptr<KernelObject> currentProcessObject();

}  // namespace qn
