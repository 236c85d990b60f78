// The bytes the registry writer stores for value number i, so that a
// reader can tell a whole value from a torn one.
#pragma once

#include <string>
#include <qnlith/win32/types.h>

inline std::string registryPayload(DWORD i, std::size_t size) {
  std::string bytes(size, '\0');
  DWORD state = i * 2654435761u + 1;
  for (auto& b : bytes) {
    state = state * 1103515245u + 12345u;
    b = static_cast<char>(state >> 24);
  }
  return bytes;
}
