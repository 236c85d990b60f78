/// @file
/// cException: the exception every part of the library throws. A value that
/// holds nothing but a wide text of at most 783 characters; defined wholly
/// here, so that applications build and catch it across the module boundary.
#pragma once

#include <exception>
#include <qnlith/core/cString.h>
#include <qnlith/win32/crtstring.h>

/// The library's exception: a wide text of at most 783 characters, held by value.
class cException : public std::exception {
 public:
  /// Copies the text, cut to 783 characters.
  cException(const wchar_t* source) : std::exception() { wcsncpy_s(text, TextSize, source, _TRUNCATE); }

  /// Copies the source's text.
  cException(const cException& source) : std::exception() { wcsncpy_s(text, TextSize, source.text, _TRUNCATE); }

  /// Frees nothing: the text lives in the object.
  virtual ~cException() {}

  /// A new narrow block on every call, the caller's to release with delete[].
  virtual const char* what() const noexcept override {
    const cString wide(text);
    return wide.asChar();
  }

  /// The text, owned by the exception.
  const wchar_t* message() const { return text; }

  /// The size of the text array in characters, terminator included.
  static constexpr int TextSize = 784;
  /// The zero-terminated text.
  wchar_t text[TextSize];
};
