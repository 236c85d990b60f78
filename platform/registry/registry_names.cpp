#include "registry/registry_names.h"

#include <qnlith/win32/errors.h>

#include "text/unicode.h"

namespace qn::registry {

namespace {

// Pairs where the capital sits at the even code point and the small letter
// right after it (or the other way round).
bool in(char32_t c, char32_t first, char32_t last) { return c >= first && c <= last; }
char32_t evenCapital(char32_t c) { return (c & 1) ? c - 1 : c; }
char32_t oddCapital(char32_t c) { return (c & 1) ? c : c - 1; }

}  // namespace

char32_t foldCase(char32_t c) {
  if (c < 0x80) return in(c, U'a', U'z') ? c - 0x20 : c;
  if (c < 0x100) {
    if (in(c, 0xE0, 0xFE) && c != 0xF7) return c - 0x20;
    return c == 0xFF ? 0x178 : c;
  }
  if (c < 0x180) {
    // Dotless i, kra, n preceded by apostrophe and long s have no capital of their own.
    if (c == 0x130 || c == 0x131 || c == 0x138 || c == 0x149 || c == 0x17F) return c;
    if (in(c, 0x139, 0x148) || in(c, 0x179, 0x17E)) return oddCapital(c);
    return evenCapital(c);
  }
  if (in(c, 0x1CD, 0x1DC)) return oddCapital(c);
  if (in(c, 0x1DE, 0x1EF) || in(c, 0x1F8, 0x21F) || in(c, 0x222, 0x233) || in(c, 0x246, 0x24F))
    return evenCapital(c);
  if (in(c, 0x370, 0x3FF)) {
    if (c == 0x3AC) return 0x386;
    if (in(c, 0x3AD, 0x3AF)) return c - 0x25;
    if (c == 0x3C2) return 0x3A3;  // final sigma
    if (in(c, 0x3B1, 0x3CB)) return c - 0x20;
    if (c == 0x3CC) return 0x38C;
    if (c == 0x3CD || c == 0x3CE) return c - 0x3F;
    if (in(c, 0x3D8, 0x3EF)) return evenCapital(c);
    return c;
  }
  if (in(c, 0x400, 0x52F)) {
    if (in(c, 0x430, 0x44F)) return c - 0x20;
    if (in(c, 0x450, 0x45F)) return c - 0x50;
    if (in(c, 0x460, 0x481) || in(c, 0x48A, 0x4BF) || in(c, 0x4D0, 0x52F)) return evenCapital(c);
    if (in(c, 0x4C1, 0x4CE)) return oddCapital(c);
    if (c == 0x4CF) return 0x4C0;
    return c;
  }
  if (in(c, 0x561, 0x586)) return c - 0x30;
  if (in(c, 0x1E00, 0x1E95) || in(c, 0x1EA0, 0x1EFF)) return evenCapital(c);
  if (in(c, 0x2170, 0x217F)) return c - 0x10;
  if (in(c, 0x24D0, 0x24E9)) return c - 0x1A;
  if (in(c, 0xFF41, 0xFF5A)) return c - 0x20;
  return c;
}

Name makeName(std::wstring_view wide) {
  Name name;
  name.text.reserve(wide.size());
  name.fold.reserve(wide.size());
  bool wellFormed = true;
  for (std::size_t i = 0; i < wide.size();) {
    const char32_t c = nextWideScalar(wide, i, wellFormed);
    encodeUtf8(c, name.text);
    encodeUtf8(foldCase(c), name.fold);
  }
  return name;
}

std::size_t utf16Length(std::wstring_view wide) {
  std::size_t n = 0;
  for (wchar_t c : wide) n += static_cast<char32_t>(c) > 0xFFFF && static_cast<char32_t>(c) <= 0x10FFFF ? 2 : 1;
  return n;
}

LONG splitPath(std::wstring_view path, std::vector<Name>& names) {
  names.clear();
  if (path.empty()) return ERROR_SUCCESS;
  if (path.front() == L'\\') return ERROR_BAD_PATHNAME;
  if (path.back() == L'\\') path.remove_suffix(1);
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = path.find(L'\\', start);
    const std::wstring_view part = path.substr(start, end == std::wstring_view::npos ? path.npos : end - start);
    if (part.empty() || utf16Length(part) > MaxKeyNameLength) return ERROR_INVALID_PARAMETER;
    names.push_back(makeName(part));
    if (end == std::wstring_view::npos) return ERROR_SUCCESS;
    start = end + 1;
  }
}

}  // namespace qn::registry
