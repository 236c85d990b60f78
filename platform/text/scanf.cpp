#include <qnlith/win32/format.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <cwctype>
#include <string>

#include "text/unicode.h"

namespace {

enum class Size { Default, Char, Short, Long, LongLong, Pointer };

struct Conversion {
  bool suppress = false;
  std::size_t width = 0;  // 0: none
  Size size = Size::Default;
  bool narrow = false;  // %S, %hs, %C, %hc
  bool wide = false;    // %ls, %lc
  wchar_t type = 0;
};

// The scan's outcome: go on, stop with the fields stored so far, or stop
// because the input ran out.
enum class Step { Next, Mismatch, InputEnd, Invalid };

// Whether c can follow % in a conversion: suppression, width, a size or a
// conversion letter, whether this dialect's subset supports it or not.
bool startsConversion(wchar_t c) {
  if (c >= L'0' && c <= L'9') return true;
  return c != 0 && std::wcschr(L"*hlwztjILFNdiuxXoncCsSeEfFgGaAp[", c) != nullptr;
}

class Scanner {
 public:
  Scanner(const wchar_t* input, va_list* arguments) : in_(input), start_(input), arguments_(arguments) {}

  int run(const wchar_t* format);

 private:
  bool parse(const wchar_t*& f, Conversion& c);
  Step convert(const Conversion& c);
  Step integer(const Conversion& c);
  Step text(const Conversion& c);
  void skipSpace() {
    while (*in_ != 0 && std::iswspace(static_cast<wint_t>(*in_))) ++in_;
  }

  const wchar_t* in_;
  const wchar_t* start_;
  va_list* arguments_;
  int stored_ = 0;
  bool converted_ = false;  // a conversion has completed: the end of input no longer means EOF
};

int Scanner::run(const wchar_t* f) {
  while (*f != 0) {
    if (std::iswspace(static_cast<wint_t>(*f))) {
      while (std::iswspace(static_cast<wint_t>(*f))) ++f;
      skipSpace();
      continue;
    }
    // % before a character that starts no conversion matches that character.
    if (*f != L'%' || f[1] == L'%' || (f[1] != 0 && !startsConversion(f[1]))) {
      if (*f == L'%') {
        ++f;
        skipSpace();
      }
      if (*in_ == 0) return converted_ ? stored_ : EOF;
      if (*in_ != *f) return stored_;
      ++in_;
      ++f;
      continue;
    }
    ++f;
    Conversion c;
    if (!parse(f, c)) {
      errno = EINVAL;
      return EOF;
    }
    switch (convert(c)) {
      case Step::Next: break;
      case Step::Mismatch: return stored_;
      case Step::InputEnd: return converted_ ? stored_ : EOF;
      case Step::Invalid: errno = EINVAL; return EOF;
    }
  }
  return stored_;
}

bool Scanner::parse(const wchar_t*& f, Conversion& c) {
  if (*f == L'*') {
    c.suppress = true;
    ++f;
  }
  while (*f >= L'0' && *f <= L'9') {
    if (c.width > INT_MAX) return false;
    c.width = c.width * 10 + static_cast<std::size_t>(*f++ - L'0');
  }
  switch (*f) {
    case L'h':
      if (f[1] == L'h') { c.size = Size::Char; ++f; } else { c.size = Size::Short; }
      ++f;
      break;
    case L'l':
      if (f[1] == L'l') { c.size = Size::LongLong; ++f; } else { c.size = Size::Long; }
      ++f;
      break;
    case L'w': c.size = Size::Long; ++f; break;
    case L'z': case L't': case L'j': c.size = Size::Pointer; ++f; break;
    case L'I':
      if (f[1] == L'6' && f[2] == L'4') { c.size = Size::LongLong; f += 3; }
      else if (f[1] == L'3' && f[2] == L'2') { c.size = Size::Long; f += 3; }
      else { c.size = Size::Pointer; ++f; }
      break;
    default: break;
  }
  c.type = *f;
  switch (c.type) {
    case L'd': case L'i': case L'u': case L'x': case L'X': case L'o': case L'n':
      break;
    case L'c': case L'C': case L's': case L'S':
      if (c.size == Size::Short) c.narrow = true;
      else if (c.size == Size::Long) c.wide = true;
      else if (c.size != Size::Default) return false;
      if (!c.wide && (c.type == L'C' || c.type == L'S')) c.narrow = true;
      break;
    default:
      return false;  // scansets and floating point are not part of this dialect's subset
  }
  ++f;
  return true;
}

Step Scanner::convert(const Conversion& c) {
  if (c.type == L'n') {
    if (!c.suppress) {
      int* count = va_arg(*arguments_, int*);
      if (count == nullptr) return Step::Invalid;
      *count = static_cast<int>(in_ - start_);
    }
    return Step::Next;
  }
  if (c.type == L'c' || c.type == L'C' || c.type == L's' || c.type == L'S') return text(c);
  return integer(c);
}

int digitValue(wchar_t ch) {
  if (ch >= L'0' && ch <= L'9') return ch - L'0';
  if (ch >= L'a' && ch <= L'f') return ch - L'a' + 10;
  if (ch >= L'A' && ch <= L'F') return ch - L'A' + 10;
  return 99;
}

Step Scanner::integer(const Conversion& c) {
  skipSpace();
  if (*in_ == 0) return Step::InputEnd;
  std::size_t left = c.width > 0 ? c.width : SIZE_MAX;
  const wchar_t* p = in_;
  bool negative = false;
  if (left > 0 && (*p == L'+' || *p == L'-')) {
    negative = *p == L'-';
    ++p;
    --left;
  }
  unsigned base = c.type == L'o' ? 8 : (c.type == L'x' || c.type == L'X') ? 16 : c.type == L'i' ? 0 : 10;
  // A 0x prefix counts only when a hex digit follows it; else the 0 is the number.
  if ((base == 16 || base == 0) && left >= 3 && p[0] == L'0' && (p[1] == L'x' || p[1] == L'X') &&
      digitValue(p[2]) < 16) {
    p += 2;
    left -= 2;
    base = 16;
  } else if (base == 0) {
    base = (left > 0 && *p == L'0') ? 8 : 10;
  }
  // Values beyond the destination wrap, as the run time leaves them.
  std::uint64_t value = 0;
  const wchar_t* digits = p;
  while (left > 0 && digitValue(*p) < static_cast<int>(base)) {
    value = value * base + static_cast<unsigned>(digitValue(*p++));
    --left;
  }
  if (p == digits) return Step::Mismatch;
  in_ = p;
  converted_ = true;
  if (negative) value = 0 - value;
  if (c.suppress) return Step::Next;

  void* destination = va_arg(*arguments_, void*);
  if (destination == nullptr) return Step::Invalid;
  switch (c.size) {
    case Size::Char: *static_cast<std::uint8_t*>(destination) = static_cast<std::uint8_t>(value); break;
    case Size::Short: *static_cast<std::uint16_t*>(destination) = static_cast<std::uint16_t>(value); break;
    case Size::LongLong:
    case Size::Pointer: *static_cast<std::uint64_t*>(destination) = value; break;
    default: *static_cast<std::uint32_t*>(destination) = static_cast<std::uint32_t>(value); break;
  }
  ++stored_;
  return Step::Next;
}

Step Scanner::text(const Conversion& c) {
  const bool word = c.type == L's' || c.type == L'S';
  if (word) skipSpace();
  if (*in_ == 0) return Step::InputEnd;

  const std::size_t limit = c.width > 0 ? c.width : word ? SIZE_MAX : 1;
  const wchar_t* begin = in_;
  const wchar_t* p = in_;
  while (*p != 0 && static_cast<std::size_t>(p - begin) < limit && !(word && std::iswspace(static_cast<wint_t>(*p))))
    ++p;
  const std::size_t count = static_cast<std::size_t>(p - begin);
  // %c takes exactly its width of characters.
  if (!word && count < limit) return Step::InputEnd;
  in_ = p;
  converted_ = true;
  if (c.suppress) return Step::Next;

  void* destination = va_arg(*arguments_, void*);
  const std::size_t capacity = va_arg(*arguments_, unsigned);
  if (destination == nullptr) return Step::Invalid;
  const std::size_t terminator = word ? 1 : 0;

  if (c.narrow) {
    std::string bytes = qn::wideToUtf8(std::wstring_view(begin, count));
    char* out = static_cast<char*>(destination);
    if (bytes.size() + terminator > capacity) {
      if (capacity > 0) out[0] = 0;
      return Step::Mismatch;
    }
    bytes.copy(out, bytes.size());
    if (word) out[bytes.size()] = 0;
  } else {
    wchar_t* out = static_cast<wchar_t*>(destination);
    if (count + terminator > capacity) {
      if (capacity > 0) out[0] = 0;
      return Step::Mismatch;
    }
    std::wmemcpy(out, begin, count);
    if (word) out[count] = 0;
  }
  ++stored_;
  return Step::Next;
}

}  // namespace

int vswscanf_s(const wchar_t* input, const wchar_t* format, va_list arguments) {
  if (input == nullptr || format == nullptr) {
    errno = EINVAL;
    return EOF;
  }
  va_list list;
  va_copy(list, arguments);
  Scanner scanner(input, &list);
  const int result = scanner.run(format);
  va_end(list);
  return result;
}

int swscanf_s(const wchar_t* input, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = vswscanf_s(input, format, arguments);
  va_end(arguments);
  return result;
}
