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

// A name on disk may hold what a Win32 name can't: a character refused
// above, a backslash, trailing dots or blanks, bytes that are no UTF-8.
// Each stands in the names the layer hands out as U+F000 plus its code or
// byte, and turns back into itself on the way in.
constexpr wchar_t StandInBase = 0xF000;

bool needsStandIn(wchar_t c) { return isInvalidInName(c) || c == L'\\'; }

// The character or byte a stand-in replaces, or -1 if it is none.
int standsFor(wchar_t c) {
  if (c < StandInBase || c > StandInBase + 0xFF) return -1;
  const int code = static_cast<int>(c - StandInBase);
  if (code >= 0x80 || needsStandIn(static_cast<wchar_t>(code)) || code == '.' || code == ' ') return code;
  return -1;
}

void appendName(std::string_view name, std::wstring& out) {
  const std::size_t start = out.size();
  const auto* p = reinterpret_cast<const unsigned char*>(name.data());
  const auto* end = p + name.size();
  while (p < end) {
    const unsigned char* at = p;
    bool wellFormed = true;
    const char32_t c = decodeUtf8(p, end, wellFormed);
    if (!wellFormed) {
      for (; at < p; ++at) out += static_cast<wchar_t>(StandInBase + *at);
    } else {
      out += static_cast<wchar_t>(needsStandIn(static_cast<wchar_t>(c)) ? StandInBase + c : c);
    }
  }
  if (name == "." || name == "..") return;
  for (std::size_t i = out.size(); i > start && (out[i - 1] == L'.' || out[i - 1] == L' '); --i)
    out[i - 1] = static_cast<wchar_t>(StandInBase + out[i - 1]);
}

}  // namespace

std::wstring nameFromSystem(std::string_view name) {
  std::wstring out;
  appendName(name, out);
  return out;
}

std::wstring pathFromSystem(std::string_view path) {
  std::wstring out;
  std::size_t i = 0;
  while (i <= path.size()) {
    std::size_t slash = path.find('/', i);
    if (slash == std::string_view::npos) slash = path.size();
    appendName(path.substr(i, slash - i), out);
    if (slash < path.size()) out += L'/';
    i = slash + 1;
  }
  return out;
}

std::string nameToSystem(std::wstring_view name) {
  // ASCII, the common case, byte for byte; the rest character by character.
  std::size_t ascii = 0;
  while (ascii < name.size() && name[ascii] > 0 && name[ascii] < 0x80) ++ascii;
  std::string out(ascii, '\0');
  for (std::size_t i = 0; i < ascii; ++i) out[i] = static_cast<char>(name[i]);
  bool wellFormed = true;
  for (std::size_t i = ascii; i < name.size();) {
    const int code = standsFor(name[i]);
    if (code >= 0) {
      out += static_cast<char>(code);
      ++i;
    } else {
      encodeUtf8(nextWideScalar(name, i, wellFormed), out);  // as wideToUtf8: surrogate pairs join
    }
  }
  return out;
}

// Whether the path is already in the form normalizePath gives: forward
// slashes only, no empty, "." or ".." component, and a last name that
// doesn't end in a dot or blank.
bool isNormal(std::wstring_view path) {
  if (path.empty()) return false;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find_first_of(L"/\\", start);
    if (end == std::wstring_view::npos) end = path.size();
    if (end < path.size() && path[end] == L'\\') return false;
    const std::wstring_view part = path.substr(start, end - start);
    const bool leading = start == 0, last = end == path.size();
    if (part.empty() && !leading && !last) return false;
    if (part == L"." || part == L"..") return false;
    if (last && !part.empty() && (part.back() == L'.' || part.back() == L' ')) return false;
    if (last && part.empty() && path.size() > 1 && path[path.size() - 2] == L'/') return false;
    start = end + 1;
  }
  return true;
}

std::wstring normalizePath(std::wstring_view path) {
  if (isNormal(path)) return std::wstring(path);
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
    if (length >= LongestPath) return failWith(ERROR_FILENAME_EXCED_RANGE);
    if (isInvalidInName(*p)) return failWith(ERROR_INVALID_NAME);
  }
  out = nameToSystem(normalizePath(std::wstring_view(path, length)));
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
