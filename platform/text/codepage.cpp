#include <qnlith/win32/codepage.h>

#include <string>

#include "errors/errors.h"
#include "text/unicode.h"

namespace {

enum class Page { Utf8, Latin1, Windows1252, Unknown };

Page resolve(UINT codePage) {
  switch (codePage) {
    case CP_ACP:
    case CP_OEMCP:
    case CP_THREAD_ACP:
    case CP_UTF8: return Page::Utf8;
    case CP_LATIN1: return Page::Latin1;
    case CP_WINDOWS_1252: return Page::Windows1252;
    default: return Page::Unknown;
  }
}

// 0x80 to 0x9F of code page 1252; the five holes map through unchanged, as
// the system's table does.
constexpr char16_t Windows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char32_t fromSingleByte(Page page, unsigned char b) {
  if (page == Page::Windows1252 && b >= 0x80 && b <= 0x9F) return Windows1252High[b - 0x80];
  return b;
}

// The byte for c, or -1 when the code page has none.
int toSingleByte(Page page, char32_t c) {
  if (page == Page::Windows1252) {
    if (c >= 0x80 && c <= 0x9F) {
      for (int i = 0; i < 32; ++i)
        if (Windows1252High[i] == c && (c == 0x81 || c == 0x8D || c == 0x8F || c == 0x90 || c == 0x9D))
          return 0x80 + i;
      return -1;
    }
    for (int i = 0; i < 32; ++i)
      if (Windows1252High[i] == c) return 0x80 + i;
  }
  return c <= 0xFF ? static_cast<int>(c) : -1;
}

// Copies the converted text out, or reports the size it needs.
template <typename Text, typename Out>
int deliver(const Text& text, Out* destination, int capacity) {
  if (capacity == 0) return static_cast<int>(text.size());
  if (text.size() > static_cast<std::size_t>(capacity)) {
    for (int i = 0; i < capacity; ++i) destination[i] = static_cast<Out>(text[i]);
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  for (std::size_t i = 0; i < text.size(); ++i) destination[i] = static_cast<Out>(text[i]);
  return static_cast<int>(text.size());
}

}  // namespace

UINT WINAPI GetACP() { return CP_UTF8; }

UINT WINAPI GetOEMCP() { return CP_UTF8; }

BOOL WINAPI IsValidCodePage(UINT codePage) {
  return codePage != CP_ACP && codePage != CP_OEMCP && codePage != CP_THREAD_ACP &&
         resolve(codePage) != Page::Unknown;
}

int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int sourceBytes,
                               LPWSTR destination, int destinationChars) {
  const Page page = resolve(codePage);
  if (page == Page::Unknown || source == nullptr || sourceBytes == 0 || sourceBytes < -1 ||
      destinationChars < 0 || (destinationChars > 0 && destination == nullptr) ||
      (destination != nullptr && static_cast<const void*>(source) == static_cast<const void*>(destination))) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const DWORD allowed = page == Page::Utf8 ? MB_ERR_INVALID_CHARS
                                           : MB_PRECOMPOSED | MB_COMPOSITE | MB_USEGLYPHCHARS | MB_ERR_INVALID_CHARS;
  if ((flags & ~allowed) != 0 || ((flags & MB_PRECOMPOSED) && (flags & MB_COMPOSITE))) {
    SetLastError(ERROR_INVALID_FLAGS);
    return 0;
  }
  const std::size_t length =
      sourceBytes == -1 ? std::char_traits<char>::length(source) + 1 : static_cast<std::size_t>(sourceBytes);

  std::wstring text;
  text.reserve(length);
  auto p = reinterpret_cast<const unsigned char*>(source);
  const auto end = p + length;
  if (page == Page::Utf8) {
    bool wellFormed = true;
    while (p < end) text += static_cast<wchar_t>(qn::decodeUtf8(p, end, wellFormed));
    if (!wellFormed && (flags & MB_ERR_INVALID_CHARS)) {
      SetLastError(ERROR_NO_UNICODE_TRANSLATION);
      return 0;
    }
  } else {
    while (p < end) text += static_cast<wchar_t>(fromSingleByte(page, *p++));
  }
  return deliver(text, destination, destinationChars);
}

int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int sourceChars, LPSTR destination,
                               int destinationBytes, LPCSTR defaultChar, LPBOOL usedDefaultChar) {
  const Page page = resolve(codePage);
  if (page == Page::Unknown || source == nullptr || sourceChars == 0 || sourceChars < -1 ||
      destinationBytes < 0 || (destinationBytes > 0 && destination == nullptr) ||
      (destination != nullptr && static_cast<const void*>(source) == static_cast<const void*>(destination))) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  if (page == Page::Utf8) {
    // UTF-8 has a form for every character, so a default character makes no sense.
    if (defaultChar != nullptr || usedDefaultChar != nullptr) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return 0;
    }
    if ((flags & ~static_cast<DWORD>(WC_ERR_INVALID_CHARS)) != 0) {
      SetLastError(ERROR_INVALID_FLAGS);
      return 0;
    }
  } else if ((flags & ~static_cast<DWORD>(WC_COMPOSITECHECK | WC_DISCARDNS | WC_SEPCHARS | WC_DEFAULTCHAR |
                                            WC_NO_BEST_FIT_CHARS)) != 0) {
    SetLastError(ERROR_INVALID_FLAGS);
    return 0;
  }
  const std::size_t length =
      sourceChars == -1 ? std::char_traits<wchar_t>::length(source) + 1 : static_cast<std::size_t>(sourceChars);
  const std::wstring_view wide(source, length);

  std::string text;
  text.reserve(length);
  bool wellFormed = true;
  bool usedDefault = false;
  // Wide text is UTF-32 here: a surrogate code unit is ill-formed even in a
  // pair, which only a lenient conversion joins.
  const bool strict = page == Page::Utf8 && (flags & WC_ERR_INVALID_CHARS) != 0;
  for (std::size_t i = 0; i < length;) {
    if (strict && static_cast<char32_t>(wide[i]) >= 0xD800 && static_cast<char32_t>(wide[i]) <= 0xDFFF) {
      SetLastError(ERROR_NO_UNICODE_TRANSLATION);
      return 0;
    }
    const char32_t c = qn::nextWideScalar(wide, i, wellFormed);
    if (page == Page::Utf8) {
      qn::encodeUtf8(c, text);
      continue;
    }
    const int b = toSingleByte(page, c);
    if (b < 0) {
      text += defaultChar != nullptr ? *defaultChar : '?';
      usedDefault = true;
    } else {
      text += static_cast<char>(b);
    }
  }
  if (page == Page::Utf8 && !wellFormed && (flags & WC_ERR_INVALID_CHARS)) {
    SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return 0;
  }
  if (usedDefaultChar != nullptr) *usedDefaultChar = usedDefault ? TRUE : FALSE;
  return deliver(text, destination, destinationBytes);
}
