#include <qnlith/failure/cMfcException.h>
#include <qnlith/win32/crtstring.h>

cMfcException::cMfcException(const wchar_t* text) : CException(), text(text) {}

cMfcException::cMfcException(const cString& text) : CException(), text(text) {}

cMfcException::cMfcException(const cMfcException& source) : CException(0) {
  if (&source != this) text = source.text;
}

cMfcException& cMfcException::operator=(const cMfcException& source) {
  if (&source != this) text = source.text;
  return *this;
}

cMfcException::~cMfcException() {}

BOOL cMfcException::GetErrorMessage(LPWSTR buffer, UINT maximum, PUINT helpContext) {
  lstrcpynW(buffer, text.c_str(), static_cast<int>(maximum));
  return 1;
}
