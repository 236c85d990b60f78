#include "sync/handles.h"

#include <atomic>
#include <mutex>
#include <type_traits>
#include <vector>

#include "errors/errors.h"
#include "sync/futex.h"
#include "sync/thread_state.h"

namespace qn {

namespace {

// A handle value is (generation << IndexBits | index) << 2: a multiple of 4
// as on Windows, small for the first use of each slot, never the same twice
// (a slot's generation only grows, and a slot whose generations are used up
// is retired), and always in [4, 0x7FFFFFFC]. In that range no value, nor
// its low 32 bits sign-extended, is null, a pseudo handle,
// INVALID_HANDLE_VALUE or a predefined registry root.
constexpr unsigned IndexBits = HandleValues::IndexBits;
constexpr std::uint64_t IndexMask = (1u << IndexBits) - 1;
constexpr std::uint64_t GenerationLimit = HandleValues::GenerationLimit;
constexpr unsigned ChunkBits = 10;
constexpr std::uint32_t ChunkSize = 1u << ChunkBits;
constexpr std::uint32_t ChunkCount = 1u << (IndexBits - ChunkBits);

struct Slot {
  // (generation << 1) | 1 while a handle is open on the slot; the generation
  // of the next handle << 1 while it is free.
  std::atomic<std::uint64_t> tag{0};
  std::atomic<std::uint32_t> lock{0};  // guards `object` against a concurrent close
  std::uint32_t nextFree = 0;
  std::shared_ptr<KernelObject> object;
};

struct Table {
  std::mutex lock;  // insert and close
  std::uint32_t used = 1;  // slot 0 stays empty: no handle is null
  std::uint32_t freeHead = 0;
  std::atomic<Slot*> chunks[ChunkCount] = {};
};
static_assert(std::is_trivially_destructible_v<Table>);

// Constant-initialised and never destroyed (all its members are trivially
// destructible), so handles work in static constructors and destructors.
constinit Table theTable;

Table& table() { return theTable; }

struct Decoded {
  std::uint32_t index;
  std::uint64_t openTag;
};

bool decode(HANDLE handle, Decoded& out) {
  std::uint32_t index;
  std::uint64_t generation;
  if (!HandleValues::decode(handle, index, generation)) return false;
  out.index = index;
  out.openTag = (generation << 1) | 1;
  return true;
}

HANDLE encode(std::uint32_t index, std::uint64_t generation) { return HandleValues::encode(index, generation); }

Slot* slotAt(std::uint32_t index) {
  Slot* chunk = table().chunks[index >> ChunkBits].load(std::memory_order_acquire);
  return chunk == nullptr ? nullptr : &chunk[index & (ChunkSize - 1)];
}

// The slot's lock is held for a copy or a move of one shared_ptr.
void lockSlot(Slot& slot) { lockFutexWord(slot.lock, &slot.lock, 64); }
void unlockSlot(Slot& slot) { unlockFutexWord(slot.lock, &slot.lock); }

constexpr std::intptr_t CurrentProcess = -1;
constexpr std::intptr_t CurrentThread = -2;

std::shared_ptr<KernelObject> pseudoObject(HANDLE handle) {
  switch (reinterpret_cast<std::intptr_t>(handle)) {
    case CurrentThread: return currentThreadObject();
    case CurrentProcess: return currentProcessObject();
    default: return nullptr;
  }
}

bool isPseudo(HANDLE handle) {
  const auto value = reinterpret_cast<std::intptr_t>(handle);
  return value == CurrentThread || value == CurrentProcess;
}

bool cacheable(ObjectKind kind) {
  return kind == ObjectKind::Event || kind == ObjectKind::Semaphore || kind == ObjectKind::Mutex;
}

}  // namespace

HANDLE HandleTable::insert(std::shared_ptr<KernelObject> object) {
  if (object == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  auto& t = table();
  std::unique_lock guard(t.lock);
  std::uint32_t index = t.freeHead;
  Slot* slot = nullptr;
  if (index != 0) {
    slot = slotAt(index);
    t.freeHead = slot->nextFree;
  } else {
    if (t.used > IndexMask) {
      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return nullptr;
    }
    index = t.used;
    auto& chunk = t.chunks[index >> ChunkBits];
    if (chunk.load(std::memory_order_relaxed) == nullptr) {
      Slot* fresh = new (std::nothrow) Slot[ChunkSize];
      if (fresh == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
      }
      chunk.store(fresh, std::memory_order_release);
    }
    ++t.used;
    slot = slotAt(index);
  }
  const std::uint64_t generation = slot->tag.load(std::memory_order_relaxed) >> 1;
  object->handles_.fetch_add(1, std::memory_order_relaxed);
  lockSlot(*slot);
  slot->object = std::move(object);
  slot->tag.store((generation << 1) | 1, std::memory_order_release);
  unlockSlot(*slot);
  return encode(index, generation);
}

std::shared_ptr<KernelObject> HandleTable::get(HANDLE handle) {
  Decoded d;
  Slot* slot = decode(handle, d) ? slotAt(d.index) : nullptr;
  if (slot != nullptr && slot->tag.load(std::memory_order_acquire) == d.openTag) {
    lockSlot(*slot);
    std::shared_ptr<KernelObject> object;
    if (slot->tag.load(std::memory_order_relaxed) == d.openTag) object = slot->object;
    unlockSlot(*slot);
    if (object != nullptr) return object;
  } else if (slot == nullptr && isPseudo(handle)) {
    return pseudoObject(handle);
  }
  invalid();
  return nullptr;
}

KernelObject* HandleTable::borrow(HANDLE handle, std::shared_ptr<KernelObject>& keep) {
  Decoded d;
  Slot* slot = decode(handle, d) ? slotAt(d.index) : nullptr;
  if (slot == nullptr) {
    if (isPseudo(handle)) {
      keep = pseudoObject(handle);
      return keep.get();
    }
    invalid();
    return nullptr;
  }
  static_assert(IndexMask % ThreadState::CacheSize == ThreadState::CacheSize - 1,
                "cachedObject finds the entry from the handle value alone");
  auto& entry = threadState().cache[d.index % ThreadState::CacheSize];
  if (slot->tag.load(std::memory_order_acquire) != d.openTag) {
    if (entry.handle == handle) {
      entry = ThreadState::CachedHandle{};
    }
    invalid();
    return nullptr;
  }
  // The handle is open, and a handle value only ever names one object.
  if (entry.handle == handle) return entry.raw;
  std::shared_ptr<KernelObject> object = get(handle);
  if (object == nullptr) return nullptr;
  if (!cacheable(object->kind())) {
    keep = std::move(object);
    return keep.get();
  }
  entry.handle = handle;
  entry.tag = &slot->tag;
  entry.openTag = d.openTag;
  entry.raw = object.get();
  entry.object.swap(object);  // the object evicted goes at the end of this scope
  return entry.raw;
}

BOOL HandleTable::close(HANDLE handle) {
  std::shared_ptr<KernelObject> object;  // released outside the locks
  Decoded d;
  Slot* slot = decode(handle, d) ? slotAt(d.index) : nullptr;
  if (slot == nullptr) {
    if (isPseudo(handle)) return TRUE;
    invalid();
    return FALSE;
  }
  auto& t = table();
  {
    std::unique_lock guard(t.lock);
    if (slot->tag.load(std::memory_order_relaxed) != d.openTag) {
      guard.unlock();
      invalid();
      return FALSE;
    }
    const std::uint64_t nextGeneration = (d.openTag >> 1) + 1;
    lockSlot(*slot);
    object = std::move(slot->object);
    slot->tag.store(nextGeneration << 1, std::memory_order_release);
    unlockSlot(*slot);
    object->handles_.fetch_sub(1, std::memory_order_release);
    if (nextGeneration < GenerationLimit) {
      slot->nextFree = t.freeHead;
      t.freeHead = d.index;
    }
  }
  if (ThreadState* state = existingThreadState()) {
    auto& entry = state->cache[d.index % ThreadState::CacheSize];
    if (entry.handle == handle) {
      entry = ThreadState::CachedHandle{};
    }
  }
  return TRUE;
}

void HandleTable::invalid() { SetLastError(ERROR_INVALID_HANDLE); }

}  // namespace qn
