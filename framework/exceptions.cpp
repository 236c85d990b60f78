#include <qnlith/framework/exceptions.h>
#include <qnlith/win32/errors.h>

#include <cwchar>

namespace {

// Copies text into the caller's buffer, cut to maxError - 1 characters.
BOOL copyMessage(LPCWSTR text, LPWSTR error, UINT maxError) {
  if (error == nullptr || maxError == 0) return FALSE;
  std::size_t n = std::wcslen(text);
  if (n > maxError - 1) n = maxError - 1;
  std::wmemcpy(error, text, n);
  error[n] = L'\0';
  return TRUE;
}

}  // namespace

CObject::~CObject() = default;

CException::CException() : m_bAutoDelete(TRUE) {}

CException::CException(BOOL autoDelete) : m_bAutoDelete(autoDelete) {}

CException::~CException() = default;

void CException::Delete() {
  if (m_bAutoDelete > 0) delete this;
}

BOOL CException::GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext) const {
  if (helpContext != nullptr) *helpContext = 0;
  if (error != nullptr && maxError > 0) *error = L'\0';
  return FALSE;
}

BOOL CException::GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext) {
  return static_cast<const CException*>(this)->GetErrorMessage(error, maxError, helpContext);
}

CSimpleException::CSimpleException() = default;
CSimpleException::CSimpleException(BOOL autoDelete) : CException(autoDelete) {}
CSimpleException::~CSimpleException() = default;

BOOL CSimpleException::GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext) const {
  if (helpContext != nullptr) *helpContext = 0;
  return copyMessage(message(), error, maxError);
}

CMemoryException::CMemoryException() = default;
CMemoryException::CMemoryException(BOOL autoDelete) : CSimpleException(autoDelete) {}
CMemoryException::~CMemoryException() = default;
LPCWSTR CMemoryException::message() const { return L"Out of memory."; }

CInvalidArgException::CInvalidArgException() = default;
CInvalidArgException::CInvalidArgException(BOOL autoDelete) : CSimpleException(autoDelete) {}
CInvalidArgException::~CInvalidArgException() = default;
LPCWSTR CInvalidArgException::message() const { return L"Encountered an improper argument."; }

CNotSupportedException::CNotSupportedException() = default;
CNotSupportedException::CNotSupportedException(BOOL autoDelete) : CSimpleException(autoDelete) {}
CNotSupportedException::~CNotSupportedException() = default;
LPCWSTR CNotSupportedException::message() const { return L"An unsupported operation was attempted."; }

COleException::COleException() : m_sc(S_OK) {}
COleException::~COleException() = default;

BOOL COleException::GetErrorMessage(LPWSTR error, UINT maxError, PUINT helpContext) const {
  if (helpContext != nullptr) *helpContext = 0;
  wchar_t text[64];
  std::swprintf(text, 64, L"OLE error 0x%08X.", static_cast<unsigned>(m_sc));
  return copyMessage(text, error, maxError);
}

SCODE COleException::Process(const CException* exception) {
  if (auto ole = dynamic_cast<const COleException*>(exception)) return ole->m_sc;
  if (dynamic_cast<const CMemoryException*>(exception)) return E_OUTOFMEMORY;
  if (dynamic_cast<const CInvalidArgException*>(exception)) return E_INVALIDARG;
  if (dynamic_cast<const CNotSupportedException*>(exception)) return E_NOTIMPL;
  return E_FAIL;
}

void AfxThrowMemoryException() {
  static CMemoryException shared(FALSE);
  throw static_cast<CMemoryException*>(&shared);
}

void AfxThrowOleException(SCODE sc) {
  auto* exception = new COleException;
  exception->m_sc = sc;
  throw exception;
}

void AfxThrowInvalidArgException() {
  static CInvalidArgException shared(FALSE);
  throw static_cast<CInvalidArgException*>(&shared);
}

void AfxThrowNotSupportedException() {
  static CNotSupportedException shared(FALSE);
  throw static_cast<CNotSupportedException*>(&shared);
}
