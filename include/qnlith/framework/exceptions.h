/// @file
/// The framework's object root and exception classes. Framework failures are
/// thrown as pointers to CException-derived objects; the catcher calls
/// Delete(), which frees the object unless it is one of the framework's own
/// static instances (auto-delete off).
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/win32/types.h>

/// A status code of the component object model (an HRESULT).
typedef LONG SCODE;

/// The root of the framework's classes, with a virtual destructor.
class QN_FRAMEWORK_API CObject {
 public:
  /// Frees nothing of its own.
  virtual ~CObject();

 protected:
  /// Only derived classes make and copy objects.
  ///@{
  CObject() = default;
  CObject(const CObject&) = default;
  CObject& operator=(const CObject&) = default;
  ///@}
};

/// The base of the framework's exceptions, thrown by pointer and ended by Delete().
class QN_FRAMEWORK_API CException : public CObject {
 public:
  /// An exception that Delete() frees.
  CException();
  /// With autoDelete false, Delete() leaves the object alone.
  explicit CException(BOOL autoDelete);
  /// Frees nothing of its own.
  ~CException() override;

  /// Frees a heap-allocated exception after it has been handled.
  void Delete();

  /// Copies the exception's text into the buffer of maxError characters (cut
  /// and terminated); the base has no text and returns FALSE.
  ///@{
  virtual BOOL GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext = nullptr) const;
  virtual BOOL GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext = nullptr);
  ///@}

  /// Whether Delete() frees the object.
  BOOL m_bAutoDelete;
};

/// An exception whose text is a fixed message of its class.
class QN_FRAMEWORK_API CSimpleException : public CException {
 public:
  /// A heap exception (auto-delete on), or one with auto-delete as given.
  ///@{
  CSimpleException();
  explicit CSimpleException(BOOL autoDelete);
  ~CSimpleException() override;
  ///@}

  /// The base's forms of GetErrorMessage stay callable beside the override.
  using CException::GetErrorMessage;
  /// Copies the class's message, cut to maxError - 1 characters; FALSE only
  /// without a buffer.
  BOOL GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext = nullptr) const override;

 protected:
  /// The text a derived class reports.
  virtual LPCWSTR message() const = 0;
};

/// Memory ran out.
class QN_FRAMEWORK_API CMemoryException : public CSimpleException {
 public:
  /// A heap exception (auto-delete on), or one with auto-delete as given.
  ///@{
  CMemoryException();
  explicit CMemoryException(BOOL autoDelete);
  ~CMemoryException() override;
  ///@}

 protected:
  /// The class's message.
  LPCWSTR message() const override;
};

/// A function was given an argument it can't take.
class QN_FRAMEWORK_API CInvalidArgException : public CSimpleException {
 public:
  /// A heap exception (auto-delete on), or one with auto-delete as given.
  ///@{
  CInvalidArgException();
  explicit CInvalidArgException(BOOL autoDelete);
  ~CInvalidArgException() override;
  ///@}

 protected:
  /// The class's message.
  LPCWSTR message() const override;
};

/// The operation is not supported.
class QN_FRAMEWORK_API CNotSupportedException : public CSimpleException {
 public:
  /// A heap exception (auto-delete on), or one with auto-delete as given.
  ///@{
  CNotSupportedException();
  explicit CNotSupportedException(BOOL autoDelete);
  ~CNotSupportedException() override;
  ///@}

 protected:
  /// The class's message.
  LPCWSTR message() const override;
};

/// A failure with a status code of the component object model.
class QN_FRAMEWORK_API COleException : public CException {
 public:
  /// A heap exception with the code 0.
  COleException();
  /// Frees nothing of its own.
  ~COleException() override;

  /// The base's forms of GetErrorMessage stay callable beside the override.
  using CException::GetErrorMessage;
  /// "OLE error 0x" and the code in eight hex digits, cut as in
  /// CSimpleException.
  BOOL GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext = nullptr) const override;

  /// The status code carried by an exception, or E_UNEXPECTED-like E_FAIL for
  /// one that is not an OLE exception.
  static SCODE Process(const CException* exception);

  /// The status code.
  SCODE m_sc;
};

/// Each throws and never returns. Memory failures throw a static object, so
/// that reporting them needs no memory.
///@{
[[noreturn]] QN_FRAMEWORK_API void AfxThrowMemoryException();
[[noreturn]] QN_FRAMEWORK_API void AfxThrowOleException(SCODE sc);
[[noreturn]] QN_FRAMEWORK_API void AfxThrowInvalidArgException();
[[noreturn]] QN_FRAMEWORK_API void AfxThrowNotSupportedException();
///@}
