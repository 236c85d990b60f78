// IsBadReadPtr and IsBadWritePtr without touching the memory: a read goes
// through process_vm_readv, which reports an unreadable page instead of
// faulting; writability is read from the process's mappings, since a probe
// that wrote could race with the owner of the memory.
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <qnlith/win32/threads.h>

namespace {

constexpr std::uintptr_t Page = 4096;

// Null, or a range that runs past the end of the address space.
bool invalidRange(const void* address, UINT_PTR size) {
  const auto start = reinterpret_cast<std::uintptr_t>(address);
  return address == nullptr || start + (size - 1) < start;
}

bool readable(std::uintptr_t address) {
  char byte;
  struct iovec local {&byte, 1};
  struct iovec remote {reinterpret_cast<void*>(address), 1};
  return process_vm_readv(getpid(), &local, 1, &remote, 1, 0) == 1;
}

}  // namespace

BOOL WINAPI IsBadReadPtr(const void* address, UINT_PTR size) {
  if (size == 0) return FALSE;
  if (invalidRange(address, size)) return TRUE;
  const auto start = reinterpret_cast<std::uintptr_t>(address);
  const std::uintptr_t last = start + (size - 1);
  // One byte of every page in the range.
  for (std::uintptr_t at = start;; at = (at | (Page - 1)) + 1) {
    if (!readable(at)) return TRUE;
    if ((at | (Page - 1)) >= last) break;
  }
  return FALSE;
}

BOOL WINAPI IsBadWritePtr(LPVOID address, UINT_PTR size) {
  if (size == 0) return FALSE;
  if (invalidRange(address, size)) return TRUE;
  const int maps = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  if (maps < 0) return TRUE;
  std::uintptr_t next = reinterpret_cast<std::uintptr_t>(address);  // first byte not yet known writable
  const std::uintptr_t last = next + (size - 1);
  bool bad = true;
  char buffer[8192];
  std::size_t held = 0;
  for (;;) {
    const ssize_t got = read(maps, buffer + held, sizeof buffer - 1 - held);
    if (got <= 0) break;
    held += static_cast<std::size_t>(got);
    buffer[held] = '\0';
    char* line = buffer;
    char* end;
    while ((end = static_cast<char*>(memchr(line, '\n', held - static_cast<std::size_t>(line - buffer)))) != nullptr) {
      *end = '\0';
      char* cursor = line;
      const std::uintptr_t from = std::strtoull(cursor, &cursor, 16);
      const std::uintptr_t to = std::strtoull(cursor + 1, &cursor, 16);
      const bool writable = cursor[0] == ' ' && cursor[2] == 'w';
      // Mappings come in address order: the range must be covered without a gap.
      if (from <= next && next < to) {
        if (!writable) goto done;
        if (last < to) {
          bad = false;
          goto done;
        }
        next = to;
      } else if (from > next) {
        goto done;
      }
      line = end + 1;
    }
    held -= static_cast<std::size_t>(line - buffer);
    memmove(buffer, line, held);
  }
done:
  close(maps);
  return bad ? TRUE : FALSE;
}
