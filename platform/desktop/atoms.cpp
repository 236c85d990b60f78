#include <qnlith/win32/atoms.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <string>
#include <unordered_map>

#include "errors/errors.h"
#include "text/unicode.h"

namespace {

constexpr UINT FirstRegistered = 0xC000;
constexpr std::size_t Capacity = 0x10000 - FirstRegistered;
constexpr std::size_t LongestName = 255;  // the longest atom name

// Names compare without regard to case for ASCII and Latin-1 letters.
std::wstring folded(const wchar_t* name) {
  std::wstring out(name);
  for (auto& c : out)
    if ((c >= L'a' && c <= L'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7)) c = static_cast<wchar_t>(c - 0x20);
  return out;
}

// One line per name, in hexadecimal UTF-8, so that no character of a name
// can break the file's structure.
std::string encoded(const std::wstring& name) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  for (unsigned char b : qn::wideToUtf8(name)) {
    out += digits[b >> 4];
    out += digits[b & 15];
  }
  return out;
}

// The table every process of this user shares while the system runs.
std::string tablePath() {
  if (const char* explicitPath = std::getenv("QNLITH_ATOM_TABLE")) return explicitPath;
  if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime == '/')
    return std::string(runtime) + "/qnlith-atoms";
  return "/tmp/qnlith-atoms-" + std::to_string(getuid());
}

// The index of the name in the shared table, appended if new; -1 on failure
// with the last error set.
long lookUpShared(const std::string& line) {
  const int fd = open(tablePath().c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) {
    qn::failWithErrno();
    return -1;
  }
  struct Closer {
    int fd;
    ~Closer() { close(fd); }
  } closer{fd};
  struct stat info {};
  if (flock(fd, LOCK_EX) != 0 || fstat(fd, &info) != 0 || info.st_uid != getuid()) {
    qn::failWithErrno(errno != 0 ? errno : EACCES);
    return -1;
  }
  std::string content(static_cast<std::size_t>(info.st_size), '\0');
  std::size_t got = 0;
  while (got < content.size()) {
    const ssize_t n = pread(fd, content.data() + got, content.size() - got, static_cast<off_t>(got));
    if (n <= 0) break;
    got += static_cast<std::size_t>(n);
  }
  content.resize(got);
  long index = 0;
  std::size_t start = 0;
  for (std::size_t end; (end = content.find('\n', start)) != std::string::npos; start = end + 1, ++index)
    if (content.compare(start, end - start, line) == 0) return index;
  if (static_cast<std::size_t>(index) >= Capacity) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return -1;
  }
  // A torn last line (a writer that died) is ended, so it can't join ours.
  const std::string record = (start < content.size() ? "\n" : "") + line + "\n";
  if (start < content.size()) ++index;
  if (pwrite(fd, record.data(), record.size(), static_cast<off_t>(content.size())) !=
      static_cast<ssize_t>(record.size())) {
    qn::failWithErrno();
    return -1;
  }
  return index;
}

}  // namespace

UINT WINAPI RegisterWindowMessageW(LPCWSTR name) {
  if (name == nullptr || *name == L'\0' || std::char_traits<wchar_t>::length(name) > LongestName) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  static std::mutex lock;
  static auto* known = new std::unordered_map<std::wstring, UINT>;
  const std::wstring key = folded(name);
  std::lock_guard guard(lock);
  if (auto it = known->find(key); it != known->end()) return it->second;
  const long index = lookUpShared(encoded(key));
  if (index < 0) return 0;
  const UINT id = FirstRegistered + static_cast<UINT>(index);
  known->emplace(key, id);
  return id;
}
