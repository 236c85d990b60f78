// Directory searches with Win32 wildcard matching.
//
// A pattern's last component is matched against the names of its
// directory, case-insensitively, with the rules of Win32 searches: `*.*`
// matches every name, `?` also matches nothing where a name ends or reaches
// a dot, `*` before a dot stops at the name's last dot, and a dot before
// a wildcard or at the end of the pattern also matches the end of a name
// (so `*.` finds names without an extension). The matches come sorted as a
// case-insensitive volume lists them, "." and ".." first.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "errors/errors.h"
#include "files/files.h"
#include "sync/handles.h"
#include "files/paths.h"
#include "files/time.h"
#include "text/unicode.h"

namespace qn {

namespace {

// The DOS forms of the wildcards, as Win32 rewrites a pattern before matching.
constexpr wchar_t DosStar = L'<';
constexpr wchar_t DosQuestionMark = L'>';
constexpr wchar_t DosDot = L'"';

std::wstring translatePattern(std::wstring_view pattern) {
  if (pattern == L"*.*") return L"*";
  std::wstring out;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const wchar_t c = pattern[i];
    const wchar_t next = i + 1 < pattern.size() ? pattern[i + 1] : L'\0';
    if (c == L'?') out += DosQuestionMark;
    else if (c == L'.' && (next == L'?' || next == L'*' || next == L'\0')) out += DosDot;
    else if (c == L'*' && next == L'.') out += DosStar;
    else out += upperCase(c);
  }
  return out;
}

bool hasWildcards(std::wstring_view pattern) {
  return pattern.find_first_of(L"*?<>\"") != std::wstring_view::npos || (!pattern.empty() && pattern.back() == L'.');
}

// Whether the (upper-case) name matches the translated pattern: a table of
// "pattern from i matches name from j", filled from the ends.
bool matches(std::wstring_view pattern, std::wstring_view name) {
  const std::size_t P = pattern.size(), N = name.size();
  const std::size_t lastDot = name.rfind(L'.');
  std::vector<char> table((P + 1) * (N + 1), 0);
  auto at = [&](std::size_t i, std::size_t j) -> char& { return table[i * (N + 1) + j]; };
  at(P, N) = 1;
  for (std::size_t i = P; i-- > 0;) {
    for (std::size_t j = N + 1; j-- > 0;) {
      const wchar_t p = pattern[i];
      const bool more = j < N;
      bool result;
      switch (p) {
        case L'*': result = at(i + 1, j) || (more && at(i, j + 1)); break;
        case DosStar: result = at(i + 1, j) || (more && j != lastDot && at(i, j + 1)); break;
        case DosQuestionMark: result = (!more || name[j] == L'.') ? at(i + 1, j) : at(i + 1, j + 1); break;
        case DosDot: result = more ? (name[j] == L'.' && at(i + 1, j + 1)) : at(i + 1, j); break;
        default: result = more && name[j] == p && at(i + 1, j + 1); break;
      }
      at(i, j) = result;
    }
  }
  return at(0, 0) != 0;
}

struct Entry {
  std::string name;
  std::wstring key;  // upper-case wide name, the sort order
};

class FindSearch : public KernelObject {
 public:
  FindSearch() : KernelObject(ObjectKind::FindSearch) {}
  ~FindSearch() override {
    if (directory >= 0) ::close(directory);
  }

  int directory = -1;
  std::vector<Entry> entries;
  std::size_t next = 0;

  // Describes the next entry that still exists; false at the end.
  bool step(WIN32_FIND_DATAW& data);
};

bool FindSearch::step(WIN32_FIND_DATAW& data) {
  while (next < entries.size()) {
    const Entry& entry = entries[next++];
    FileStatus status;
    if (!statPath(directory, entry.name.c_str(), status)) continue;  // gone since the directory was read
    data.dwFileAttributes = attributesOf(status, isHiddenName(entry.name));
    data.ftCreationTime = creationTimeOf(status);
    data.ftLastAccessTime = fileTimeFromTimespec(status.accessTime);
    data.ftLastWriteTime = fileTimeFromTimespec(status.writeTime);
    const std::uint64_t size = S_ISDIR(status.mode) ? 0 : status.size;
    data.nFileSizeHigh = static_cast<DWORD>(size >> 32);
    data.nFileSizeLow = static_cast<DWORD>(size);
    data.dwReserved0 = status.isLink ? IO_REPARSE_TAG_SYMLINK : 0;
    data.dwReserved1 = 0;
    const std::wstring wide = nameFromSystem(entry.name);
    const std::size_t n = std::min<std::size_t>(wide.size(), MAX_PATH - 1);
    std::copy_n(wide.begin(), n, data.cFileName);
    data.cFileName[n] = L'\0';
    data.cAlternateFileName[0] = L'\0';  // no short names on Linux
    return true;
  }
  return false;
}

// Reads the names of the directory that match.
bool collect(int directory, std::wstring_view pattern, std::vector<Entry>& out) {
  const int copy = ::dup(directory);
  if (copy < 0) return false;
  DIR* dir = ::fdopendir(copy);
  if (dir == nullptr) {
    ::close(copy);
    return false;
  }
  const std::wstring translated = translatePattern(pattern);
  // errno is read right after the readdir that ended the loop, so nothing
  // the loop's body calls can pass for a read error.
  int error = 0;
  for (;;) {
    errno = 0;
    const dirent* d = ::readdir(dir);
    if (d == nullptr) {
      error = errno;
      break;
    }
    std::wstring key = upperCase(nameFromSystem(d->d_name));
    if (matches(translated, key)) out.push_back(Entry{d->d_name, std::move(key)});
  }
  ::closedir(dir);
  errno = error;
  return error == 0;
}

}  // namespace

}  // namespace qn

HANDLE WINAPI FindFirstFileW(LPCWSTR fileName, LPWIN32_FIND_DATAW findFileData) {
  if (findFileData == nullptr) {
    qn::failWith(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  if (fileName == nullptr || *fileName == L'\0') {
    qn::failWith(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  const std::wstring_view text(fileName);
  const auto split = text.find_last_of(L"\\/");
  const std::wstring directoryText(split == std::wstring_view::npos ? std::wstring_view() : text.substr(0, split + 1));
  const std::wstring_view pattern = split == std::wstring_view::npos ? text : text.substr(split + 1);
  // No name is longer than a component may be.
  if (text.size() > qn::LongestPath || pattern.size() > qn::LongestName) {
    qn::failWith(ERROR_FILENAME_EXCED_RANGE);
    return INVALID_HANDLE_VALUE;
  }
  // A pattern that ends in a separator names no entry.
  if (pattern.empty()) {
    qn::failWith(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  for (wchar_t c : pattern) {
    if (c < 32 || c == L'|') {
      qn::failWith(ERROR_INVALID_NAME);
      return INVALID_HANDLE_VALUE;
    }
  }
  std::string directoryPath = ".";
  if (!directoryText.empty() && !qn::toSystemPath(directoryText.c_str(), directoryPath)) return INVALID_HANDLE_VALUE;

  auto search = std::make_shared<qn::FindSearch>();
  search->directory = ::open(directoryPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (search->directory < 0) {
    const int error = errno;
    std::string bare = directoryPath;
    while (bare.size() > 1 && bare.back() == '/') bare.pop_back();
    struct stat st;
    if (error == ENOTDIR && ::stat(bare.c_str(), &st) == 0) qn::failWith(ERROR_DIRECTORY);
    else if (error == ENOENT || error == ENOTDIR) qn::failWith(ERROR_PATH_NOT_FOUND);
    else qn::failWithErrno(error);
    return INVALID_HANDLE_VALUE;
  }

  const std::string literal = qn::nameToSystem(pattern);
  struct stat st;
  if (!qn::hasWildcards(pattern) && ::fstatat(search->directory, literal.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) {
    search->entries.push_back(qn::Entry{literal, {}});  // the name as it stands
  } else {
    if (!qn::collect(search->directory, pattern, search->entries)) {
      qn::failWithErrno();
      return INVALID_HANDLE_VALUE;
    }
    std::sort(search->entries.begin(), search->entries.end(), [](const qn::Entry& a, const qn::Entry& b) {
      const int rankA = a.name == "." ? 0 : a.name == ".." ? 1 : 2;
      const int rankB = b.name == "." ? 0 : b.name == ".." ? 1 : 2;
      if (rankA != rankB) return rankA < rankB;
      if (a.key != b.key) return a.key < b.key;
      return a.name < b.name;
    });
  }
  if (!search->step(*findFileData)) {
    qn::failWith(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  HANDLE handle = qn::HandleTable::insert(std::move(search));
  return handle != nullptr ? handle : INVALID_HANDLE_VALUE;
}

BOOL WINAPI FindNextFileW(HANDLE findFile, LPWIN32_FIND_DATAW findFileData) {
  auto search = qn::HandleTable::getAs<qn::FindSearch>(findFile, qn::ObjectKind::FindSearch);
  if (search == nullptr) return FALSE;
  if (findFileData == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  if (!search->step(*findFileData)) return qn::failWith(ERROR_NO_MORE_FILES);
  return TRUE;
}

BOOL WINAPI FindClose(HANDLE findFile) {
  if (qn::HandleTable::getAs<qn::FindSearch>(findFile, qn::ObjectKind::FindSearch) == nullptr) return FALSE;
  return qn::HandleTable::close(findFile);
}
