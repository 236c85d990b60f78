// The path of the running test program, as the kernel has it.
#pragma once

#include <unistd.h>

#include <cstring>
#include <string>

inline std::wstring programPath() {
  char path[4096];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  path[n > 0 ? n : 0] = '\0';
  return std::wstring(path, path + std::strlen(path));
}
