#include <qnlith/win32/errors.h>
#include <qnlith/win32/message.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unordered_map>

namespace {

// Every live block and its size, so that freeing a foreign or freed pointer
// fails as Windows reports it instead of corrupting the heap.
struct LocalBlocks {
  std::mutex lock;
  std::unordered_map<void*, SIZE_T> sizes;
};

LocalBlocks& blocks() {
  static LocalBlocks* instance = new LocalBlocks;  // never destroyed: frees may come late at exit
  return *instance;
}

}  // namespace

HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T bytes) {
  if ((flags & ~static_cast<UINT>(LMEM_ZEROINIT)) != 0) {
    // Moveable memory needs locking that this layer does not offer.
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  void* memory = (flags & LMEM_ZEROINIT) ? std::calloc(bytes > 0 ? bytes : 1, 1) : std::malloc(bytes > 0 ? bytes : 1);
  if (memory == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  try {
    std::lock_guard<std::mutex> guard(blocks().lock);
    blocks().sizes.emplace(memory, bytes);
  } catch (...) {
    std::free(memory);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  return memory;
}

HLOCAL WINAPI LocalFree(HLOCAL memory) {
  if (memory == nullptr) return nullptr;
  {
    std::lock_guard<std::mutex> guard(blocks().lock);
    if (blocks().sizes.erase(memory) == 0) {
      SetLastError(ERROR_INVALID_HANDLE);
      return memory;
    }
  }
  std::free(memory);
  return nullptr;
}

SIZE_T WINAPI LocalSize(HLOCAL memory) {
  std::lock_guard<std::mutex> guard(blocks().lock);
  const auto found = blocks().sizes.find(memory);
  if (found == blocks().sizes.end()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return 0;
  }
  return found->second;
}
