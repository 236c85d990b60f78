// cMfcException: a failure text for code that lives among the framework's
// exceptions.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/framework/exceptions.h>

class QNLITH_API cMfcException : public CException {
 public:
  cMfcException(const wchar_t* text);
  cMfcException(const cString& text);
  // The copy's base has auto-delete off.
  cMfcException(const cMfcException& source);
  cMfcException& operator=(const cMfcException& source);
  ~cMfcException() override;

  using CException::GetErrorMessage;
  // Copies at most maximum - 1 characters and the terminator; always 1.
  BOOL GetErrorMessage(LPWSTR buffer, UINT maximum, PUINT helpContext = nullptr) override;

  cString text;
};
