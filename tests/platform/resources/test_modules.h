// Where the test modules are, and small helpers of the tests that use them.
#pragma once

#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <link.h>
#include <string>
#include <vector>

namespace testmodules {

inline std::wstring wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

inline std::string fullPath(const std::string& path) {
  char resolved[PATH_MAX];
  return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

inline std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

inline std::vector<std::uint8_t> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {});
}

inline void writeFile(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Whether the dynamic linker has the file loaded in this process.
inline bool isLoaded(const std::string& path) {
  struct Search {
    std::string wanted;
    bool found;
  } search{fullPath(path), false};
  ::dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* data) {
        auto& s = *static_cast<Search*>(data);
        if (info->dlpi_name != nullptr && info->dlpi_name[0] != '\0' && fullPath(info->dlpi_name) == s.wanted)
          s.found = true;
        return 0;
      },
      &search);
  return search.found;
}

// A test that has the test module loaded for its length.
class WithTestModule : public ::testing::Test {
 protected:
  void SetUp() override {
    module = LoadLibraryW(wide(QN_TEST_MODULE).c_str());
    ASSERT_NE(module, nullptr);
  }
  void TearDown() override { FreeLibrary(module); }
  HMODULE module = nullptr;
};

// A scratch folder of the test run.
inline std::string scratch() {
  const char* dir = std::getenv("QNLITH_TEST_TMP");
  std::string path = dir ? dir : "/tmp";
  std::system(("mkdir -p '" + path + "'").c_str());
  return path;
}

}  // namespace testmodules
