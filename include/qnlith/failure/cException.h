// cException: the exception every part of the library throws. A value that
// holds nothing but a wide text of at most 783 characters; defined wholly
// here, so that applications build and catch it across the module boundary.
#pragma once

#include <exception>
#include <qnlith/core/cString.h>
#include <qnlith/win32/crtstring.h>

class cException : public std::exception {
 public:
  cException(const wchar_t* source) : std::exception() { wcsncpy_s(text, TextSize, source, _TRUNCATE); }

  cException(const cException& source) : std::exception() { wcsncpy_s(text, TextSize, source.text, _TRUNCATE); }

  virtual ~cException() {}

  // A new narrow block on every call, the caller's to release with delete[].
  virtual const char* what() const noexcept override {
    const cString wide(text);
    return wide.asChar();
  }

  const wchar_t* message() const { return text; }

  static constexpr int TextSize = 784;
  wchar_t text[TextSize];
};
