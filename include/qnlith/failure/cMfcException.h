/// @file
/// cMfcException: a failure text for code that lives among the framework's
/// exceptions.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/framework/exceptions.h>

/// A framework exception that carries a text of the library.
class QNLITH_API cMfcException : public CException {
 public:
  /// Holds a copy of the text.
  ///@{
  cMfcException(const wchar_t* text);
  cMfcException(const cString& text);
  ///@}
  /// The copy's base has auto-delete off.
  cMfcException(const cMfcException& source);
  /// Copies the text; returns this exception.
  cMfcException& operator=(const cMfcException& source);
  /// Frees the text.
  ~cMfcException() override;

  /// The base's forms of GetErrorMessage stay callable beside the override.
  using CException::GetErrorMessage;
  /// Copies at most maximum - 1 characters and the terminator; always 1.
  BOOL GetErrorMessage(LPWSTR buffer, UINT maximum, PUINT helpContext = nullptr) override;

  /// The failure's text.
  cString text;
};
