// The engine of the Windows wide printf dialect, shared by the CRT-style
// formatting calls and by the inserts of FormatMessageW (`%1!d!`).
//
// The dialect differs from ISO C's wide printf: `%s` and `%c` take wide text,
// `%S`, `%hs`, `%C` and `%hc` narrow (UTF-8) text; `l` means 32 bits for
// integers; `I64`, `I32` and `I` are size prefixes; `%p` prints the pointer
// in upper-case hex at full width.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <qnlith/win32/types.h>

#include "../errors/api.h"

namespace qn {

enum class FormatSize : std::uint8_t {
  Default,  // int, double
  Char,     // hh
  Short,    // h
  Long,     // l, I32: 32 bits as on Windows
  LongLong, // ll, I64
  Pointer,  // I, z, t, j: pointer-sized
  LongDouble,
};

struct Directive {
  bool leftAlign = false;   // -
  bool forceSign = false;   // +
  bool spaceSign = false;   // space
  bool alternate = false;   // #
  bool zeroPad = false;     // 0
  bool widthFromArgument = false;      // *
  bool precisionFromArgument = false;  // .*
  int width = 0;
  int precision = -1;       // -1: none given
  FormatSize size = FormatSize::Default;
  bool narrowText = false;  // %S, %hs, %C, %hc
  bool wideText = false;    // %ls, %ws, %lc, %wc
  wchar_t conversion = 0;   // d i u o x X c C s S p e E f F g G a A

  bool isInteger() const;
  bool isFloating() const;
  bool isText() const;      // c C s S
  bool isString() const;    // s S
  bool takesNarrowText() const;
};

// Parses a conversion after its '%': flags, width, precision, size and the
// conversion character, and stops there. Returns the number of characters
// read, or 0 when the text is no valid conversion (unknown or missing
// conversion character, %n, a width or precision beyond INT_MAX, or a size
// prefix that does not fit the conversion). `end`, when given, bounds the
// text; otherwise it runs to its terminator.
QN_INTERNAL std::size_t parseDirective(const wchar_t* text, const wchar_t* end, Directive& directive);

// One argument's value, read with the type its conversion names.
struct FormatArgument {
  std::uint64_t integer = 0;  // integers and characters, already cut to their size
  double real = 0;
  const void* pointer = nullptr;  // strings and %p
};

// Output that counts everything and stores what fits in `capacity`.
class FormatSink {
 public:
  FormatSink(wchar_t* destination, std::size_t capacity) : destination_(destination), capacity_(capacity) {}

  void put(wchar_t c) {
    if (length_ < capacity_) destination_[length_] = c;
    ++length_;
  }
  void put(wchar_t c, std::size_t count);
  void put(const wchar_t* text, std::size_t count);
  void putAscii(const char* text, std::size_t count);

  std::size_t length() const { return length_; }

 private:
  wchar_t* destination_;
  std::size_t capacity_;
  std::size_t length_ = 0;
};

// Reads the value of a conversion (not its `*` width or precision) from the
// list, with the type that the conversion names.
QN_INTERNAL FormatArgument readFormatArgument(const Directive& directive, va_list* arguments);

// Writes one conversion with its width and precision already resolved
// (negative width means left-aligned, negative precision none).
QN_INTERNAL void formatArgument(const Directive& directive, const FormatArgument& value, FormatSink& sink);

// Formats a whole format text. Returns false for a format the dialect
// rejects; the sink then holds what came before the bad conversion.
QN_INTERNAL bool formatWide(FormatSink& sink, const wchar_t* format, va_list* arguments);

}  // namespace qn
