// The framework's object root and exception classes. Framework failures are
// thrown as pointers to CException-derived objects; the catcher calls
// Delete(), which frees the object unless it is one of the framework's own
// static instances (auto-delete off).
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/win32/types.h>

typedef LONG SCODE;

class QN_FRAMEWORK_API CObject {
 public:
  virtual ~CObject();

 protected:
  CObject() = default;
  CObject(const CObject&) = default;
  CObject& operator=(const CObject&) = default;
};

class QN_FRAMEWORK_API CException : public CObject {
 public:
  CException();
  // With autoDelete false, Delete() leaves the object alone.
  explicit CException(BOOL autoDelete);
  ~CException() override;

  // Frees a heap-allocated exception after it has been handled.
  void Delete();

  virtual BOOL GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext = nullptr) const;
  virtual BOOL GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext = nullptr);

  BOOL m_bAutoDelete;
};

class QN_FRAMEWORK_API CSimpleException : public CException {
 public:
  CSimpleException();
  explicit CSimpleException(BOOL autoDelete);
  ~CSimpleException() override;

  using CException::GetErrorMessage;
  BOOL GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext = nullptr) const override;

 protected:
  // The text a derived class reports.
  virtual LPCWSTR message() const = 0;
};

class QN_FRAMEWORK_API CMemoryException : public CSimpleException {
 public:
  CMemoryException();
  explicit CMemoryException(BOOL autoDelete);
  ~CMemoryException() override;

 protected:
  LPCWSTR message() const override;
};

class QN_FRAMEWORK_API CInvalidArgException : public CSimpleException {
 public:
  CInvalidArgException();
  explicit CInvalidArgException(BOOL autoDelete);
  ~CInvalidArgException() override;

 protected:
  LPCWSTR message() const override;
};

class QN_FRAMEWORK_API CNotSupportedException : public CSimpleException {
 public:
  CNotSupportedException();
  explicit CNotSupportedException(BOOL autoDelete);
  ~CNotSupportedException() override;

 protected:
  LPCWSTR message() const override;
};

class QN_FRAMEWORK_API COleException : public CException {
 public:
  COleException();
  ~COleException() override;

  using CException::GetErrorMessage;
  BOOL GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext = nullptr) const override;

  // The status code carried by an exception, or E_UNEXPECTED-like E_FAIL for
  // one that is not an OLE exception.
  static SCODE Process(const CException* exception);

  SCODE m_sc;
};

// Each throws and never returns. Memory failures throw a static object, so
// that reporting them needs no memory.
[[noreturn]] QN_FRAMEWORK_API void AfxThrowMemoryException();
[[noreturn]] QN_FRAMEWORK_API void AfxThrowOleException(SCODE sc);
[[noreturn]] QN_FRAMEWORK_API void AfxThrowInvalidArgException();
[[noreturn]] QN_FRAMEWORK_API void AfxThrowNotSupportedException();
