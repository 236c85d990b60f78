#include "text/wide_format.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>

#include "text/unicode.h"

namespace qn {

bool Directive::isInteger() const {
  switch (conversion) {
    case L'd': case L'i': case L'u': case L'o': case L'x': case L'X': return true;
    default: return false;
  }
}

bool Directive::isFloating() const {
  switch (conversion) {
    case L'e': case L'E': case L'f': case L'F': case L'g': case L'G': case L'a': case L'A': return true;
    default: return false;
  }
}

bool Directive::isText() const {
  return conversion == L'c' || conversion == L'C' || conversion == L's' || conversion == L'S';
}

bool Directive::isString() const { return conversion == L's' || conversion == L'S'; }

bool Directive::takesNarrowText() const {
  if (narrowText) return true;
  if (wideText) return false;
  return conversion == L'C' || conversion == L'S';
}

void FormatSink::put(wchar_t c, std::size_t count) {
  if (length_ < capacity_) {
    const std::size_t room = capacity_ - length_;
    std::wmemset(destination_ + length_, c, count < room ? count : room);
  }
  length_ += count;
}

void FormatSink::put(const wchar_t* text, std::size_t count) {
  if (length_ < capacity_) {
    const std::size_t room = capacity_ - length_;
    std::wmemcpy(destination_ + length_, text, count < room ? count : room);
  }
  length_ += count;
}

void FormatSink::putAscii(const char* text, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) put(static_cast<wchar_t>(static_cast<unsigned char>(text[i])));
}

namespace {

bool atEnd(const wchar_t* p, const wchar_t* end) { return end != nullptr ? p >= end : *p == 0; }

// Reads decimal digits into `value`; false when the number passes INT_MAX.
bool readNumber(const wchar_t*& p, const wchar_t* end, int& value) {
  long long n = 0;
  while (!atEnd(p, end) && *p >= L'0' && *p <= L'9') {
    n = n * 10 + (*p++ - L'0');
    if (n > INT_MAX) return false;
  }
  value = static_cast<int>(n);
  return true;
}

bool isConversion(wchar_t c) {
  switch (c) {
    case L'd': case L'i': case L'u': case L'o': case L'x': case L'X':
    case L'c': case L'C': case L's': case L'S': case L'p':
    case L'e': case L'E': case L'f': case L'F': case L'g': case L'G': case L'a': case L'A':
      return true;
    default:
      return false;
  }
}

bool isSizePrefix(wchar_t c) {
  switch (c) {
    case L'h': case L'l': case L'w': case L'L': case L'z': case L't': case L'j': case L'I':
      return true;
    default:
      return false;
  }
}

}  // namespace

std::size_t parseDirective(const wchar_t* text, const wchar_t* end, Directive& directive) {
  directive = Directive{};
  const wchar_t* p = text;
  for (; !atEnd(p, end); ++p) {
    if (*p == L'-') directive.leftAlign = true;
    else if (*p == L'+') directive.forceSign = true;
    else if (*p == L' ') directive.spaceSign = true;
    else if (*p == L'#') directive.alternate = true;
    else if (*p == L'0') directive.zeroPad = true;
    else break;
  }
  if (!atEnd(p, end) && *p == L'*') {
    directive.widthFromArgument = true;
    ++p;
  } else if (!readNumber(p, end, directive.width)) {
    return 0;
  }
  if (!atEnd(p, end) && *p == L'.') {
    ++p;
    if (!atEnd(p, end) && *p == L'*') {
      directive.precisionFromArgument = true;
      ++p;
    } else {
      directive.precision = 0;
      if (!readNumber(p, end, directive.precision)) return 0;
    }
  }

  bool sizeGiven = true;
  bool wPrefix = false;
  auto next = [&](wchar_t c) { return !atEnd(p + 1, end) && p[1] == c; };
  if (atEnd(p, end)) return 0;
  // F and N, the old far and near sizes, are read and ignored; an F that
  // ends the directive is the conversion.
  if ((*p == L'F' || *p == L'N') && !atEnd(p + 1, end) && (isConversion(p[1]) || isSizePrefix(p[1]))) ++p;
  switch (*p) {
    case L'h':
      if (next(L'h')) { directive.size = FormatSize::Char; ++p; } else { directive.size = FormatSize::Short; }
      ++p;
      break;
    case L'l':
      if (next(L'l')) { directive.size = FormatSize::LongLong; ++p; } else { directive.size = FormatSize::Long; }
      ++p;
      break;
    case L'w': directive.size = FormatSize::Long; wPrefix = true; ++p; break;
    case L'L': directive.size = FormatSize::LongDouble; ++p; break;
    case L'z': case L't': case L'j': directive.size = FormatSize::Pointer; ++p; break;
    case L'I':
      if (next(L'6') && !atEnd(p + 2, end) && p[2] == L'4') { directive.size = FormatSize::LongLong; p += 3; }
      else if (next(L'3') && !atEnd(p + 2, end) && p[2] == L'2') { directive.size = FormatSize::Long; p += 3; }
      else { directive.size = FormatSize::Pointer; ++p; }
      break;
    default: sizeGiven = false; break;
  }
  if (atEnd(p, end) || !isConversion(*p)) return 0;
  directive.conversion = *p++;

  if (sizeGiven) {
    if (directive.isText()) {
      // Only h (narrow) and l or w (wide) size text.
      if (directive.size == FormatSize::Short) directive.narrowText = true;
      else if (directive.size == FormatSize::Long) directive.wideText = true;
      else return 0;
      directive.size = FormatSize::Default;
    } else if (directive.isInteger()) {
      if (directive.size == FormatSize::LongDouble || wPrefix) return 0;
    } else if (directive.isFloating()) {
      // Only L changes a floating argument; l is allowed and means nothing.
      if (directive.size != FormatSize::LongDouble && !(directive.size == FormatSize::Long && !wPrefix)) return 0;
    }
  }
  return static_cast<std::size_t>(p - text);
}

FormatArgument readFormatArgument(const Directive& directive, va_list* arguments) {
  FormatArgument value;
  if (directive.isInteger()) {
    const bool isSigned = directive.conversion == L'd' || directive.conversion == L'i';
    switch (directive.size) {
      case FormatSize::LongLong:
      case FormatSize::Pointer:
        value.integer = static_cast<std::uint64_t>(va_arg(*arguments, long long));
        break;
      default: {
        const int n = va_arg(*arguments, int);
        std::int64_t cut;
        if (directive.size == FormatSize::Char) cut = isSigned ? static_cast<std::int8_t>(n) : static_cast<std::uint8_t>(n);
        else if (directive.size == FormatSize::Short) cut = isSigned ? static_cast<std::int16_t>(n) : static_cast<std::uint16_t>(n);
        else cut = isSigned ? static_cast<std::int64_t>(n) : static_cast<std::int64_t>(static_cast<std::uint32_t>(n));
        value.integer = static_cast<std::uint64_t>(cut);
        break;
      }
    }
  } else if (directive.isFloating()) {
    // A Windows long double is a double, so an L argument prints as one.
    value.real = directive.size == FormatSize::LongDouble ? static_cast<double>(va_arg(*arguments, long double))
                                                     : va_arg(*arguments, double);
  } else if (directive.conversion == L'c' || directive.conversion == L'C') {
    value.integer = directive.takesNarrowText() ? static_cast<unsigned char>(va_arg(*arguments, int))
                                           : static_cast<std::uint32_t>(va_arg(*arguments, wint_t));
  } else {
    value.pointer = va_arg(*arguments, const void*);
  }
  return value;
}

namespace {

// Pads a field whose body has `length` characters; `body` writes it. The
// 0 flag fills with zeros for every conversion, text included.
template <typename Body>
void padded(const Directive& directive, std::size_t length, FormatSink& sink, Body body, wchar_t fillWith = L' ') {
  const std::size_t width = directive.width > 0 ? static_cast<std::size_t>(directive.width) : 0;
  const std::size_t fill = width > length ? width - length : 0;
  if (!directive.leftAlign) sink.put(fillWith, fill);
  body();
  if (directive.leftAlign) sink.put(L' ', fill);
}

// Sign or prefix, zero fill, then the digits: the layout of numbers.
void putNumber(const Directive& directive, const char* prefix, std::size_t prefixLength, std::size_t zeros,
               const char* digits, std::size_t digitCount, bool zeroFillWidth, FormatSink& sink) {
  std::size_t length = prefixLength + zeros + digitCount;
  const std::size_t width = directive.width > 0 ? static_cast<std::size_t>(directive.width) : 0;
  if (zeroFillWidth && !directive.leftAlign && width > length) {
    zeros += width - length;
    length = width;
  }
  padded(directive, length, sink, [&] {
    sink.putAscii(prefix, prefixLength);
    sink.put(L'0', zeros);
    sink.putAscii(digits, digitCount);
  });
}

void formatInteger(const Directive& directive, std::uint64_t bits, FormatSink& sink) {
  const bool isSigned = directive.conversion == L'd' || directive.conversion == L'i';
  bool negative = false;
  std::uint64_t magnitude = bits;
  if (isSigned && static_cast<std::int64_t>(bits) < 0) {
    negative = true;
    magnitude = 0 - bits;
  }
  const unsigned base = directive.conversion == L'o' ? 8 : (directive.conversion == L'x' || directive.conversion == L'X') ? 16 : 10;
  const char* digitSet = directive.conversion == L'X' ? "0123456789ABCDEF" : "0123456789abcdef";

  char buffer[24];
  char* digits = buffer + sizeof buffer;
  for (std::uint64_t v = magnitude; v != 0; v /= base) *--digits = digitSet[v % base];
  std::size_t count = static_cast<std::size_t>(buffer + sizeof buffer - digits);
  if (magnitude == 0 && directive.precision != 0) {
    *--digits = '0';
    count = 1;
  }
  std::size_t zeros = directive.precision > 0 && static_cast<std::size_t>(directive.precision) > count
                          ? static_cast<std::size_t>(directive.precision) - count
                          : 0;

  char prefix[2];
  std::size_t prefixLength = 0;
  if (isSigned) {
    if (negative) prefix[prefixLength++] = '-';
    else if (directive.forceSign) prefix[prefixLength++] = '+';
    else if (directive.spaceSign) prefix[prefixLength++] = ' ';
  } else if (directive.alternate) {
    if (base == 8 && zeros == 0 && (count == 0 || digits[0] != '0')) zeros = 1;
    if (base == 16 && magnitude != 0) {
      prefix[prefixLength++] = '0';
      prefix[prefixLength++] = directive.conversion == L'X' ? 'X' : 'x';
    }
  }
  putNumber(directive, prefix, prefixLength, zeros, digits, count, directive.zeroPad && directive.precision < 0, sink);
}

void formatPointer(const Directive& directive, const void* pointer, FormatSink& sink) {
  char digits[16];
  auto v = reinterpret_cast<std::uintptr_t>(pointer);
  for (int i = 15; i >= 0; --i, v >>= 4) digits[i] = "0123456789ABCDEF"[v & 0xF];
  putNumber(directive, "", 0, 0, digits, 16, directive.zeroPad, sink);
}

void formatNonFinite(const Directive& directive, double value, FormatSink& sink) {
  const bool upper = directive.conversion == L'E' || directive.conversion == L'F' || directive.conversion == L'G' ||
                     directive.conversion == L'A';
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  const bool negative = (bits >> 63) != 0;
  const std::uint64_t mantissa = bits & 0x000FFFFFFFFFFFFFull;
  const bool quiet = (mantissa & 0x0008000000000000ull) != 0;

  const char* word;
  if (std::isinf(value)) word = upper ? "INF" : "inf";
  else if (!quiet) word = upper ? "NAN(SNAN)" : "nan(snan)";
  else if (negative && mantissa == 0x0008000000000000ull) word = upper ? "NAN(IND)" : "nan(ind)";
  else word = upper ? "NAN" : "nan";

  char text[16];
  std::size_t length = 0;
  if (negative) text[length++] = '-';
  else if (directive.forceSign) text[length++] = '+';
  else if (directive.spaceSign) text[length++] = ' ';
  putNumber(directive, text, length, 0, word, std::strlen(word), directive.zeroPad, sink);
}

// Digits beyond these are zeros in a double's exact decimal or hexadecimal
// expansion, so longer precisions are formatted short and filled up.
constexpr int DecimalDigitLimit = 1100;
constexpr int HexDigitLimit = 13;

void formatFloating(const Directive& directive, double value, FormatSink& sink) {
  if (!std::isfinite(value)) {
    formatNonFinite(directive, value, sink);
    return;
  }
  const char conversion = static_cast<char>(directive.conversion);
  const bool hex = conversion == 'a' || conversion == 'A';
  // Windows prints every hex digit of a double when no precision is given.
  int precision = directive.precision >= 0 ? directive.precision : hex ? HexDigitLimit : 6;
  const int limit = hex ? HexDigitLimit : DecimalDigitLimit;
  std::size_t extraZeros = 0;
  if (precision > limit) {
    const bool trailingZerosKept = !(conversion == 'g' || conversion == 'G') || directive.alternate;
    if (trailingZerosKept) extraZeros = static_cast<std::size_t>(precision - limit);
    precision = limit;
  }

  char format[8];
  std::size_t f = 0;
  format[f++] = '%';
  if (directive.forceSign) format[f++] = '+';
  else if (directive.spaceSign) format[f++] = ' ';
  if (directive.alternate) format[f++] = '#';
  format[f++] = '.';
  format[f++] = '*';
  format[f++] = conversion;
  format[f] = 0;

  char local[512];
  std::string large;
  const char* text = local;
  int length = std::snprintf(local, sizeof local, format, precision, value);
  if (length >= static_cast<int>(sizeof local)) {
    large.resize(static_cast<std::size_t>(length) + 1);
    std::snprintf(large.data(), large.size(), format, precision, value);
    text = large.data();
  }
  if (length < 0) return;

  // Sign, then 0x for hex: zero fill goes behind them.
  std::size_t prefixLength = (text[0] == '-' || text[0] == '+' || text[0] == ' ') ? 1 : 0;
  if (hex) prefixLength += 2;
  const char* body = text + prefixLength;
  const std::size_t bodyLength = static_cast<std::size_t>(length) - prefixLength;
  std::size_t split = bodyLength;  // where the extra zeros go: before the exponent
  if (extraZeros > 0) {
    for (std::size_t i = 0; i < bodyLength; ++i) {
      const char c = body[i];
      if (hex ? (c == 'p' || c == 'P') : (c == 'e' || c == 'E')) {
        split = i;
        break;
      }
    }
  }

  const std::size_t total = static_cast<std::size_t>(length) + extraZeros;
  const std::size_t width = directive.width > 0 ? static_cast<std::size_t>(directive.width) : 0;
  const std::size_t fill = width > total ? width - total : 0;
  const bool zeroFill = directive.zeroPad && !directive.leftAlign;
  if (!directive.leftAlign && !zeroFill) sink.put(L' ', fill);
  sink.putAscii(text, prefixLength);
  if (zeroFill) sink.put(L'0', fill);
  sink.putAscii(body, split);
  sink.put(L'0', extraZeros);
  sink.putAscii(body + split, bodyLength - split);
  if (directive.leftAlign) sink.put(L' ', fill);
}

constexpr wchar_t NullText[] = L"(null)";

void formatWideString(const Directive& directive, const wchar_t* text, FormatSink& sink) {
  if (text == nullptr) text = NullText;
  const std::size_t length = directive.precision >= 0 ? wcsnlen(text, static_cast<std::size_t>(directive.precision))
                                                 : std::wcslen(text);
  padded(directive, length, sink, [&] { sink.put(text, length); }, directive.zeroPad ? L'0' : L' ');
}

// Narrow text is UTF-8; ill-formed bytes become U+FFFD. A precision counts
// the wide characters written.
void formatNarrowString(const Directive& directive, const char* text, FormatSink& sink) {
  if (text == nullptr) {
    formatWideString(directive, nullptr, sink);
    return;
  }
  const std::size_t limit = directive.precision >= 0 ? static_cast<std::size_t>(directive.precision) : SIZE_MAX;
  // A character takes at most four bytes, so a precision bounds the bytes read.
  const std::size_t bytes = limit < SIZE_MAX / 4 ? strnlen(text, limit * 4) : std::strlen(text);
  const auto begin = reinterpret_cast<const unsigned char*>(text);
  const auto end = begin + bytes;

  std::size_t length = 0;
  bool wellFormed = true;
  for (auto p = begin; p < end && length < limit; ++length) decodeUtf8(p, end, wellFormed);
  padded(directive, length, sink, [&] {
    auto p = begin;
    for (std::size_t i = 0; i < length; ++i) sink.put(static_cast<wchar_t>(decodeUtf8(p, end, wellFormed)));
  }, directive.zeroPad ? L'0' : L' ');
}

void formatCharacter(const Directive& directive, std::uint64_t code, FormatSink& sink) {
  wchar_t c = static_cast<wchar_t>(code);
  if (directive.takesNarrowText() && code >= 0x80) c = static_cast<wchar_t>(ReplacementCharacter);
  padded(directive, 1, sink, [&] { sink.put(c); }, directive.zeroPad ? L'0' : L' ');
}

}  // namespace

void formatArgument(const Directive& directive, const FormatArgument& value, FormatSink& sink) {
  switch (directive.conversion) {
    case L'p': formatPointer(directive, value.pointer, sink); return;
    case L'c': case L'C': formatCharacter(directive, value.integer, sink); return;
    case L's': case L'S':
      if (directive.takesNarrowText()) formatNarrowString(directive, static_cast<const char*>(value.pointer), sink);
      else formatWideString(directive, static_cast<const wchar_t*>(value.pointer), sink);
      return;
    default:
      if (directive.isFloating()) formatFloating(directive, value.real, sink);
      else formatInteger(directive, value.integer, sink);
  }
}

bool formatWide(FormatSink& sink, const wchar_t* format, va_list* arguments) {
  const wchar_t* f = format;
  while (*f != 0) {
    const wchar_t* run = f;
    while (*f != 0 && *f != L'%') ++f;
    sink.put(run, static_cast<std::size_t>(f - run));
    if (*f == 0) break;
    ++f;
    if (*f == L'%') {
      sink.put(L'%');
      ++f;
      continue;
    }
    Directive directive;
    const std::size_t used = parseDirective(f, nullptr, directive);
    if (used == 0) return false;
    f += used;
    if (directive.widthFromArgument) {
      const int width = va_arg(*arguments, int);
      if (width == INT_MIN) return false;
      if (width < 0) directive.leftAlign = true;
      directive.width = width < 0 ? -width : width;
    }
    if (directive.precisionFromArgument) {
      const int precision = va_arg(*arguments, int);
      directive.precision = precision < 0 ? -1 : precision;
    }
    formatArgument(directive, readFormatArgument(directive, arguments), sink);
  }
  return true;
}

}  // namespace qn
