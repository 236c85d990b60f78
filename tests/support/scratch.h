// Fresh temporary directories for tests on real files, and a current
// directory, PATH or time zone for the length of a test.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

// A new directory under $QNLITH_TEST_TMP (or /tmp) for one test, removed
// with everything in it when the test ends.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    const char* base = std::getenv("QNLITH_TEST_TMP");
    std::filesystem::path root = base != nullptr && *base ? base : "/tmp";
    std::filesystem::create_directories(root);
    std::string pattern = (root / "qnlith-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    // Read-only entries left by a test must not stop the clean-up.
    for (auto& entry : std::filesystem::recursive_directory_iterator(path_, ignored))
      std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_all,
                                   std::filesystem::perm_options::add, ignored);
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path path(const std::string& name) const { return path_ / name; }

  // The directory, or a name in it, as a wide path.
  std::wstring wide(const std::string& name = {}) const {
    return (name.empty() ? path_ : path_ / name).wstring();
  }

  std::filesystem::path write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
    return path_ / name;
  }

  std::string read(const std::string& name) const {
    std::ifstream in(path_ / name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  bool exists(const std::string& name) const { return std::filesystem::exists(path_ / name); }

  // A shell script of that name, ready to run; its path.
  std::string script(const std::string& name, const std::string& body) const {
    write(name, "#!/bin/sh\n" + body);
    std::filesystem::permissions(path_ / name, std::filesystem::perms::owner_all);
    return (path_ / name).string();
  }

  // What another process writes to the file, once it ends with `last`;
  // "(never written)" if that does not happen within 20 s.
  std::string await(const std::string& name, const std::string& last) const {
    for (int i = 0; i < 1000; ++i) {
      const std::string content = read(name);
      if (content.size() >= last.size() && content.compare(content.size() - last.size(), last.size(), last) == 0)
        return content;
      ::usleep(20000);
    }
    return "(never written)";
  }

 private:
  std::filesystem::path path_;
};

// The current directory, and PATH when one is given, for the scope.
class InDirectory {
 public:
  explicit InDirectory(const std::filesystem::path& directory, const std::optional<std::string>& path = {})
      : previousDirectory_(std::filesystem::current_path()) {
    if (const char* old = std::getenv("PATH")) previousPath_ = old;
    std::filesystem::current_path(directory);
    if (path) ::setenv("PATH", path->c_str(), 1);
  }
  ~InDirectory() {
    std::filesystem::current_path(previousDirectory_);
    if (previousPath_) ::setenv("PATH", previousPath_->c_str(), 1);
    else ::unsetenv("PATH");
  }
  InDirectory(const InDirectory&) = delete;
  InDirectory& operator=(const InDirectory&) = delete;

 private:
  std::filesystem::path previousDirectory_;
  std::optional<std::string> previousPath_;
};

// Sets TZ for the scope and restores the previous value after it.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    if (const char* old = std::getenv("TZ")) previous_ = old;
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  ~TimeZone() {
    if (previous_) ::setenv("TZ", previous_->c_str(), 1);
    else ::unsetenv("TZ");
    ::tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

 private:
  std::optional<std::string> previous_;
};
