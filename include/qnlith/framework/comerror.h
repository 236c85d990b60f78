/// @file
/// _com_error: a failed HRESULT with the error object that describes it.
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/win32/errorinfo.h>

/// A failed HRESULT with the error object (IErrorInfo) that describes it; the
/// object holds one reference to the error object and releases it.
class QN_FRAMEWORK_API _com_error {
 public:
  /// Takes over the error object's reference, or adds one of its own.
  _com_error(HRESULT result, IErrorInfo* errorInfo = nullptr, bool addRef = false);
  /// Copies the code and takes a reference of its own to the error object.
  ///@{
  _com_error(const _com_error& other);
  _com_error& operator=(const _com_error& other);
  ///@}
  /// Releases the error object and the message text.
  virtual ~_com_error();

  /// The HRESULT.
  HRESULT Error() const { return m_hresult; }
  /// The dispatch error number of an HRESULT from 0x80040200 to 0x8004FFFF, else 0.
  WORD WCode() const { return HRESULTToWCode(m_hresult); }
  /// The error object with a reference of the caller's own, or null.
  IErrorInfo* ErrorInfo() const;
  /// The system's text for the code without its line break, else
  /// "IDispatch error #n" or "Unknown error 0x" and the code in hex. Made on
  /// the first call and kept (and freed) by the object.
  const wchar_t* ErrorMessage() const;

  /// The HRESULT of a dispatch error number (0x80040200 + code, capped at 0x8004FFFF).
  static HRESULT WCodeToHRESULT(WORD code) { return code >= 0xFE00 ? static_cast<HRESULT>(0x8004FFFFu) : static_cast<HRESULT>(0x80040200u + code); }
  /// The dispatch error number of an HRESULT in 0x80040200..0x8004FFFF, else 0.
  static WORD HRESULTToWCode(HRESULT result) {
    return (result >= static_cast<HRESULT>(0x80040200u) && result <= static_cast<HRESULT>(0x8004FFFFu))
               ? static_cast<WORD>(result - static_cast<HRESULT>(0x80040200u))
               : 0;
  }

 private:
  HRESULT m_hresult;
  IErrorInfo* m_perrinfo;
  mutable wchar_t* m_pszMsg = nullptr;
};
