// Thread-local slots. Freeing a slot empties it in every thread at once: each
// value carries the slot's generation, and a value of an older generation
// reads as null.
#include <memory>
#include <mutex>

#include "errors/errors.h"
#include "threads/threads.h"

namespace {

constexpr DWORD SlotCount = 1088;  // TLS_MINIMUM_AVAILABLE and the expansion slots

// Constant-initialised, so that a read needs no guard and the slots stay
// usable while static objects are destroyed.
struct Slots {
  std::mutex lock;
  bool used[SlotCount] = {};
  std::atomic<std::uint32_t> generation[SlotCount] = {};
};
constinit Slots allSlots;

Slots& slots() { return allSlots; }

struct Value {
  LPVOID value = nullptr;
  std::uint32_t generation = 0;
};

// The thread's values, in the static TLS block for a cheap read; the owner
// below frees them when the thread ends.
thread_local __attribute__((tls_model("initial-exec"))) Value* values = nullptr;

struct ValuesOwner {
  ~ValuesOwner() {
    delete[] values;
    values = nullptr;
  }
};
thread_local ValuesOwner valuesOwner;

}  // namespace

DWORD WINAPI TlsAlloc() {
  auto& s = slots();
  std::lock_guard guard(s.lock);
  for (DWORD index = 0; index < SlotCount; ++index) {
    if (s.used[index]) continue;
    s.used[index] = true;
    s.generation[index].fetch_add(1, std::memory_order_release);  // values set before read as null
    return index;
  }
  SetLastError(ERROR_NO_MORE_ITEMS);
  return TLS_OUT_OF_INDEXES;
}

BOOL WINAPI TlsFree(DWORD index) {
  auto& s = slots();
  if (index >= SlotCount) return qn::failWith(ERROR_INVALID_PARAMETER);
  std::lock_guard guard(s.lock);
  if (!s.used[index]) return qn::failWith(ERROR_INVALID_PARAMETER);
  s.used[index] = false;
  s.generation[index].fetch_add(1, std::memory_order_release);
  return TRUE;
}

LPVOID WINAPI TlsGetValue(DWORD index) {
  if (index >= SlotCount) [[unlikely]] {
    qn::setLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  // A successful read clears the last error, so that a null value can be
  // told from a failure.
  qn::setLastError(ERROR_SUCCESS);
  const Value* const mine = values;
  if (mine == nullptr) return nullptr;
  const Value& v = mine[index];
  return v.generation == allSlots.generation[index].load(std::memory_order_acquire) ? v.value : nullptr;
}

BOOL WINAPI TlsSetValue(DWORD index, LPVOID value) {
  if (index >= SlotCount) return qn::failWith(ERROR_INVALID_PARAMETER);
  if (values == nullptr) {
    (void)&valuesOwner;  // registers the release at the thread's end
    values = new Value[SlotCount];
  }
  values[index] = Value{value, slots().generation[index].load(std::memory_order_acquire)};
  return TRUE;
}
