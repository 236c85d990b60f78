// The C run time's path functions: composing, splitting, and searching a
// list of directories in an environment variable.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <qnlith/win32/crtpath.h>
#include <qnlith/win32/files.h>

#include "files/paths.h"
#include "text/unicode.h"

namespace {

errno_t fail(errno_t code) {
  errno = code;
  return code;
}

bool isSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

bool isEmpty(const wchar_t* text) { return text == nullptr || *text == L'\0'; }

// Hands a result to a caller's buffer that is known to be there.
errno_t handOut(const std::wstring& text, wchar_t* buffer, std::size_t size) {
  if (text.size() + 1 > size) {
    buffer[0] = L'\0';
    return fail(ERANGE);
  }
  std::wmemcpy(buffer, text.c_str(), text.size() + 1);
  return 0;
}

bool exists(const std::wstring& path) {
  std::string system;
  return qn::toSystemPath(path.c_str(), system) && ::access(system.c_str(), F_OK) == 0;
}

}  // namespace

errno_t _wmakepath_s(wchar_t* path, std::size_t sizeInWords, const wchar_t* drive, const wchar_t* dir,
                     const wchar_t* fname, const wchar_t* ext) {
  if (path == nullptr || sizeInWords == 0) return fail(EINVAL);
  // Built in place; a result that doesn't fit leaves the buffer empty.
  std::size_t length = 0;
  bool fits = true;
  auto put = [&](wchar_t c) {
    if (length + 1 < sizeInWords) path[length++] = c;
    else fits = false;
  };
  auto putText = [&](const wchar_t* text) {
    for (; *text != L'\0' && fits; ++text) put(*text);
  };
  if (!isEmpty(drive)) {
    put(drive[0]);
    put(L':');
  }
  if (!isEmpty(dir)) {
    putText(dir);
    const wchar_t last = dir[std::wcslen(dir) - 1];
    if (!isSeparator(last)) put(L'\\');
  }
  if (fname != nullptr) putText(fname);
  if (!isEmpty(ext)) {
    if (ext[0] != L'.') put(L'.');
    putText(ext);
  }
  if (!fits) {
    path[0] = L'\0';
    return fail(ERANGE);
  }
  path[length] = L'\0';
  return 0;
}

errno_t _wsplitpath_s(const wchar_t* path, wchar_t* drive, std::size_t driveNumberOfElements, wchar_t* dir,
                      std::size_t dirNumberOfElements, wchar_t* fname, std::size_t nameNumberOfElements, wchar_t* ext,
                      std::size_t extNumberOfElements) {
  struct Part {
    wchar_t* buffer;
    std::size_t size;
    std::wstring_view text;
  } parts[4] = {{drive, driveNumberOfElements, {}},
                {dir, dirNumberOfElements, {}},
                {fname, nameNumberOfElements, {}},
                {ext, extNumberOfElements, {}}};
  if (path == nullptr) return fail(EINVAL);
  for (const auto& part : parts)
    if ((part.buffer == nullptr) != (part.size == 0)) return fail(EINVAL);

  std::wstring_view rest(path);
  if (rest.size() >= 2 && rest[1] == L':') {
    parts[0].text = rest.substr(0, 2);
    rest.remove_prefix(2);
  }
  const auto separator = rest.find_last_of(L"\\/");
  if (separator != std::wstring_view::npos) {
    parts[1].text = rest.substr(0, separator + 1);
    rest.remove_prefix(separator + 1);
  }
  const auto dot = rest.rfind(L'.');
  parts[2].text = rest.substr(0, dot);
  if (dot != std::wstring_view::npos) parts[3].text = rest.substr(dot);

  for (const auto& part : parts) {
    if (part.buffer != nullptr && part.text.size() + 1 > part.size) {
      for (const auto& p : parts)
        if (p.buffer != nullptr) p.buffer[0] = L'\0';
      return fail(ERANGE);
    }
  }
  for (const auto& part : parts) {
    if (part.buffer == nullptr) continue;
    std::wmemcpy(part.buffer, part.text.data(), part.text.size());
    part.buffer[part.text.size()] = L'\0';
  }
  return 0;
}

errno_t _wsearchenv_s(const wchar_t* filename, const wchar_t* varname, wchar_t* pathname,
                      std::size_t numberOfElements) {
  if (pathname == nullptr) return fail(EINVAL);
  if (numberOfElements == 0) return fail(ERANGE);
  if (filename == nullptr || varname == nullptr) return fail(EINVAL);
  pathname[0] = L'\0';
  if (*filename == L'\0') return fail(ENOENT);

  const std::wstring name(filename);
  if (exists(name)) {
    const DWORD needed = GetFullPathNameW(filename, 0, nullptr, nullptr);
    if (needed == 0) return fail(ENOENT);
    std::wstring full(needed, L'\0');
    const DWORD length = GetFullPathNameW(filename, needed, full.data(), nullptr);
    if (length == 0 || length >= needed) return fail(ENOENT);
    full.resize(length);
    return handOut(full, pathname, numberOfElements);
  }
  const char* list = std::getenv(qn::wideToUtf8(varname).c_str());
  if (list == nullptr) return fail(ENOENT);
  const std::wstring directories = qn::utf8ToWide(list);
  for (std::size_t start = 0; start <= directories.size();) {
    std::size_t end = directories.find(L':', start);
    if (end == std::wstring::npos) end = directories.size();
    std::wstring candidate = directories.substr(start, end - start);
    start = end + 1;
    if (candidate.empty()) continue;
    if (!isSeparator(candidate.back())) candidate += L'/';
    candidate += name;
    if (exists(candidate)) return handOut(candidate, pathname, numberOfElements);
  }
  return fail(ENOENT);
}
