#include "text/unicode.h"

#include <locale.h>
#include <wctype.h>

#include "errors/errors.h"

namespace qn {

namespace {

bool isSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

// The C library's Unicode case table, set up on first use; glibc's lookup of
// the locale may leave errno set, which the caller must never see.
locale_t unicodeLocale() {
  static const locale_t locale = [] {
    const ErrnoKeeper keep;
    return ::newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
  }();
  return locale;
}

}  // namespace

char32_t decodeUtf8(const unsigned char*& p, const unsigned char* end, bool& wellFormed) {
  const unsigned char lead = *p++;
  if (lead < 0x80) return lead;

  // Well-formed byte sequences (Unicode table 3-7): the lead byte fixes the
  // length and the range of the first trail byte.
  int trail;
  unsigned char low = 0x80, high = 0xBF;
  char32_t c;
  if (lead >= 0xC2 && lead <= 0xDF) { trail = 1; c = lead & 0x1F; }
  else if (lead >= 0xE0 && lead <= 0xEF) {
    trail = 2; c = lead & 0x0F;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    trail = 3; c = lead & 0x07;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    wellFormed = false;
    return ReplacementCharacter;
  }
  for (int i = 0; i < trail; ++i) {
    // A maximal subpart ends at the first byte that can't continue it; that
    // byte is left for the next character.
    if (p == end || *p < low || *p > high) {
      wellFormed = false;
      return ReplacementCharacter;
    }
    c = (c << 6) | (*p++ & 0x3F);
    low = 0x80;
    high = 0xBF;
  }
  return c;
}

std::size_t utf8Length(char32_t c) {
  if (c < 0x80) return 1;
  if (c < 0x800) return 2;
  if (c < 0x10000) return 3;
  if (c <= 0x10FFFF) return 4;
  return 3;  // written as U+FFFD
}

bool encodeUtf8(char32_t c, std::string& out) {
  bool valid = true;
  if (isSurrogate(c) || c > 0x10FFFF) {
    c = ReplacementCharacter;
    valid = false;
  }
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
  return valid;
}

std::wstring utf8ToWide(std::string_view text) {
  std::wstring out;
  out.reserve(text.size());
  auto p = reinterpret_cast<const unsigned char*>(text.data());
  const auto end = p + text.size();
  bool wellFormed = true;
  while (p < end) out += static_cast<wchar_t>(decodeUtf8(p, end, wellFormed));
  return out;
}

char32_t nextWideScalar(std::wstring_view text, std::size_t& i, bool& wellFormed) {
  const auto c = static_cast<char32_t>(text[i++]);
  if (c >= 0xD800 && c <= 0xDBFF && i < text.size()) {
    const auto next = static_cast<char32_t>(text[i]);
    if (next >= 0xDC00 && next <= 0xDFFF) {
      ++i;
      return 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
    }
  }
  if (isSurrogate(c) || c > 0x10FFFF) {
    wellFormed = false;
    return ReplacementCharacter;
  }
  return c;
}

std::string wideToUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  bool wellFormed = true;
  for (std::size_t i = 0; i < text.size();) encodeUtf8(nextWideScalar(text, i, wellFormed), out);
  return out;
}

std::wstring utf16leToWide(const void* data, std::size_t bytes) {
  const auto b = static_cast<const unsigned char*>(data);
  const std::size_t units = bytes / 2;
  std::wstring out;
  out.reserve(units);
  for (std::size_t i = 0; i < units; ++i) {
    char32_t c = b[2 * i] | (b[2 * i + 1] << 8);
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units) {
      const char32_t next = b[2 * i + 2] | (b[2 * i + 3] << 8);
      if (next >= 0xDC00 && next <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
        ++i;
      }
    }
    if (isSurrogate(c)) c = ReplacementCharacter;
    out += static_cast<wchar_t>(c);
  }
  return out;
}

std::string wideToUtf16le(std::wstring_view text) {
  std::string out;
  out.reserve(text.size() * 2);
  auto unit = [&out](char32_t u) {
    out += static_cast<char>(u & 0xFF);
    out += static_cast<char>((u >> 8) & 0xFF);
  };
  bool wellFormed = true;
  for (std::size_t i = 0; i < text.size();) {
    const char32_t c = nextWideScalar(text, i, wellFormed);
    if (c >= 0x10000) {
      unit(0xD800 + ((c - 0x10000) >> 10));
      unit(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      unit(c);
    }
  }
  return out;
}

wchar_t upperCase(wchar_t c) {
  if (c < 0x80) return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - 0x20) : c;
  if (static_cast<char32_t>(c) > 0xFFFF) return c;
  const ErrnoKeeper keep;
  const locale_t locale = unicodeLocale();
  if (locale == static_cast<locale_t>(nullptr)) return c;
  const auto upper = static_cast<wchar_t>(::towupper_l(static_cast<wint_t>(c), locale));
  return upper < 0x80 || static_cast<char32_t>(upper) > 0xFFFF ? c : upper;
}

std::wstring upperCase(std::wstring_view text) {
  std::wstring out(text);
  for (auto& c : out) c = upperCase(c);
  return out;
}

int compareIgnoringCase(std::wstring_view a, std::wstring_view b) {
  const std::size_t n = a.size() < b.size() ? a.size() : b.size();
  for (std::size_t i = 0; i < n; ++i) {
    const auto x = static_cast<char32_t>(upperCase(a[i]));
    const auto y = static_cast<char32_t>(upperCase(b[i]));
    if (x != y) return x < y ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

bool equalIgnoringCase(std::wstring_view a, std::wstring_view b) {
  return a.size() == b.size() && compareIgnoringCase(a, b) == 0;
}

}  // namespace qn
