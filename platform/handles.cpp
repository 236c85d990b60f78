#include "internal/handles.h"

#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "internal/errors.h"

namespace qn {

namespace {

struct Table {
  std::shared_mutex lock;
  std::unordered_map<std::uintptr_t, std::shared_ptr<KernelObject>> objects;
  // Handle values are multiples of 4, as on Windows, and never come back.
  std::uintptr_t next = 4;
};

Table& table() {
  static Table* instance = new Table;  // outlives every static destructor that may close a handle
  return *instance;
}

std::uintptr_t key(HANDLE handle) { return reinterpret_cast<std::uintptr_t>(handle); }

}  // namespace

HANDLE HandleTable::insert(std::shared_ptr<KernelObject> object) {
  auto& t = table();
  std::unique_lock guard(t.lock);
  const std::uintptr_t value = t.next;
  t.next += 4;
  t.objects.emplace(value, std::move(object));
  return reinterpret_cast<HANDLE>(value);
}

std::shared_ptr<KernelObject> HandleTable::get(HANDLE handle) {
  auto& t = table();
  {
    std::shared_lock guard(t.lock);
    auto it = t.objects.find(key(handle));
    if (it != t.objects.end()) return it->second;
  }
  invalid();
  return nullptr;
}

BOOL HandleTable::close(HANDLE handle) {
  std::shared_ptr<KernelObject> object;  // released outside the lock
  auto& t = table();
  {
    std::unique_lock guard(t.lock);
    auto it = t.objects.find(key(handle));
    if (it == t.objects.end()) {
      guard.unlock();
      invalid();
      return FALSE;
    }
    object = std::move(it->second);
    t.objects.erase(it);
  }
  return TRUE;
}

void HandleTable::invalid() { SetLastError(ERROR_INVALID_HANDLE); }

}  // namespace qn
