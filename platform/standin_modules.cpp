// Stand-in for the module calls until they arrive: the main program only.
// Removed then.
#include <limits.h>
#include <unistd.h>

#include <cwchar>
#include <string>

#include <qnlith/win32/standin_modules.h>

#include "internal/errors.h"
#include "internal/unicode.h"

namespace {
const HMODULE MainModule = reinterpret_cast<HMODULE>(0x400000);
}

HMODULE WINAPI GetModuleHandleW(LPCWSTR moduleName) {
  if (moduleName == nullptr) return MainModule;
  SetLastError(ERROR_MOD_NOT_FOUND);
  return nullptr;
}

DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR fileName, DWORD size) {
  if (module != nullptr && module != MainModule) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return 0;
  }
  char path[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  if (n <= 0 || size == 0) return 0;
  const std::wstring wide = qn::utf8ToWide(std::string(path, static_cast<std::size_t>(n)));
  const DWORD copied = static_cast<DWORD>(std::min<std::size_t>(wide.size(), size - 1));
  std::wmemcpy(fileName, wide.data(), copied);
  fileName[copied] = L'\0';
  if (copied < wide.size()) SetLastError(ERROR_INSUFFICIENT_BUFFER);
  return copied;
}
