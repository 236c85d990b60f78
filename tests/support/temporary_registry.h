// A registry store of its own for one test: QNLITH_REGISTRY_DIR points at a
// fresh directory while the object lives, and the directory goes with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

class TemporaryRegistry {
 public:
  TemporaryRegistry() {
    const char* base = std::getenv("QNLITH_TEST_TMP");
    std::filesystem::path parent = base != nullptr && base[0] != '\0' ? base : std::filesystem::temp_directory_path();
    std::filesystem::create_directories(parent);
    std::string pattern = (parent / "registry-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    directory_ = pattern;
    ::setenv("QNLITH_REGISTRY_DIR", directory_.c_str(), 1);
  }
  ~TemporaryRegistry() {
    ::unsetenv("QNLITH_REGISTRY_DIR");
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  TemporaryRegistry(const TemporaryRegistry&) = delete;
  TemporaryRegistry& operator=(const TemporaryRegistry&) = delete;

  const std::string& directory() const { return directory_; }
  std::string userFile() const { return directory_ + "/user.db"; }
  std::string machineFile() const { return directory_ + "/machine.db"; }

 private:
  std::string directory_;
};
