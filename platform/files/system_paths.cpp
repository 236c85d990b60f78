#include <sys/stat.h>

#include <cerrno>
#include <vector>

#include "errors/errors.h"
#include "files/paths.h"
#include "text/unicode.h"

namespace qn {

namespace {

bool isSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

// Characters Win32 refuses in a name: control characters, the wildcards of
// directory searches (`*`, `?` and the DOS forms `<`, `>`, `"`) and `|`.
bool isInvalidInName(wchar_t c) {
  return c < 32 || c == L'*' || c == L'?' || c == L'<' || c == L'>' || c == L'"' || c == L'|';
}

}  // namespace

std::wstring normalizePath(std::wstring_view path) {
  const bool absolute = !path.empty() && isSeparator(path.front());
  const bool trailingSeparator = !path.empty() && isSeparator(path.back());
  std::vector<std::wstring_view> parts;
  std::size_t i = 0;
  while (i < path.size()) {
    while (i < path.size() && isSeparator(path[i])) ++i;
    std::size_t end = i;
    while (end < path.size() && !isSeparator(path[end])) ++end;
    std::wstring_view part = path.substr(i, end - i);
    i = end;
    if (part.empty() || part == L".") continue;
    if (part == L"..") {
      if (!parts.empty() && parts.back() != L"..") parts.pop_back();
      else if (!absolute) parts.push_back(part);
      continue;
    }
    // Win32 drops trailing dots and blanks of the last name: "a.txt." is "a.txt".
    if (end == path.size()) {
      while (!part.empty() && (part.back() == L'.' || part.back() == L' ')) part.remove_suffix(1);
      if (part.empty()) continue;
    }
    parts.push_back(part);
  }
  std::wstring out;
  if (absolute) out += L'/';
  for (std::size_t k = 0; k < parts.size(); ++k) {
    if (k > 0) out += L'/';
    out += parts[k];
  }
  if (out.empty()) return L".";
  if (trailingSeparator && !parts.empty()) out += L'/';
  return out;
}

bool toSystemPath(LPCWSTR path, std::string& out) {
  if (path == nullptr || *path == L'\0') return failWith(ERROR_PATH_NOT_FOUND);
  std::size_t length = 0;
  for (const wchar_t* p = path; *p; ++p, ++length) {
    if (length >= MAX_PATH - 1) return failWith(ERROR_FILENAME_EXCED_RANGE);
    if (isInvalidInName(*p)) return failWith(ERROR_INVALID_NAME);
  }
  out = wideToUtf8(normalizePath(std::wstring_view(path, length)));
  return true;
}

std::string_view lastComponent(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string directoryOf(const std::string& path) {
  std::string_view p = path;
  while (p.size() > 1 && p.back() == '/') p.remove_suffix(1);
  const auto slash = p.rfind('/');
  if (slash == std::string_view::npos) return ".";
  if (slash == 0) return "/";
  return std::string(p.substr(0, slash));
}

DWORD missingPathError(const std::string& path) {
  struct stat st;
  if (::stat(directoryOf(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return ERROR_FILE_NOT_FOUND;
  return ERROR_PATH_NOT_FOUND;
}

BOOL failWithPathErrno(const std::string& path, int error) {
  if (error == ENOENT) return failWith(missingPathError(path));
  return failWithErrno(error);
}

}  // namespace qn
