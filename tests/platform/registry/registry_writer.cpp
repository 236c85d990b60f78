// Writes values into HKEY_CURRENT_USER\<key> of the store that
// QNLITH_REGISTRY_DIR names, and reports each write that returned success
// by its number on standard output, one line each, before the next starts.
//
//   registry_writer <key> <prefix> <count> <payload bytes>
//
// Value <prefix><i> gets payload bytes made from i (a REG_DWORD of i when
// the payload is 0). A count of 0 writes until the process is killed. Each
// writer also creates <key>\shared\<prefix>, racing the others for the
// parent key.
#include <qnlith/win32.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "registry_payload.h"

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: registry_writer <key> <prefix> <count> <payload bytes>\n");
    return 2;
  }
  const std::string key = argv[1], prefix = argv[2];
  const long count = std::atol(argv[3]);
  const std::size_t payload = static_cast<std::size_t>(std::atol(argv[4]));
  const std::wstring wideKey(key.begin(), key.end()), widePrefix(prefix.begin(), prefix.end());

  HKEY k = nullptr;
  if (LONG e = RegCreateKeyExW(HKEY_CURRENT_USER, wideKey.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr)) {
    std::fprintf(stderr, "registry_writer: create %s: %d\n", key.c_str(), static_cast<int>(e));
    return 1;
  }
  HKEY own = nullptr;
  const std::wstring shared = L"shared\\" + widePrefix;
  if (LONG e = RegCreateKeyExW(k, shared.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &own, nullptr)) {
    std::fprintf(stderr, "registry_writer: create shared key: %d\n", static_cast<int>(e));
    return 1;
  }
  RegCloseKey(own);

  for (long i = 0; count == 0 || i < count; ++i) {
    const std::wstring name = widePrefix + std::to_wstring(i);
    const std::string bytes = registryPayload(static_cast<DWORD>(i), payload);
    const DWORD number = static_cast<DWORD>(i);
    const LONG e = payload == 0
                       ? RegSetValueExW(k, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), 4)
                       : RegSetValueExW(k, name.c_str(), 0, REG_BINARY, reinterpret_cast<const BYTE*>(bytes.data()),
                                        static_cast<DWORD>(bytes.size()));
    if (e != ERROR_SUCCESS) {
      std::fprintf(stderr, "registry_writer: set %ld: %d\n", i, static_cast<int>(e));
      return 1;
    }
    const std::string line = std::to_string(i) + "\n";
    if (::write(1, line.data(), line.size()) != static_cast<ssize_t>(line.size())) return 1;
  }
  RegCloseKey(k);
  return 0;
}
