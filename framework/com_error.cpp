#include <qnlith/framework/comerror.h>
#include <qnlith/win32/format.h>
#include <qnlith/win32/message.h>

_com_error::_com_error(HRESULT result, IErrorInfo* errorInfo, bool addRef) : m_hresult(result), m_perrinfo(errorInfo) {
  if (m_perrinfo != nullptr && addRef) m_perrinfo->AddRef();
}

_com_error::_com_error(const _com_error& other) : m_hresult(other.m_hresult), m_perrinfo(other.m_perrinfo) {
  if (m_perrinfo != nullptr) m_perrinfo->AddRef();
}

_com_error& _com_error::operator=(const _com_error& other) {
  if (this == &other) return *this;
  if (other.m_perrinfo != nullptr) other.m_perrinfo->AddRef();
  if (m_perrinfo != nullptr) m_perrinfo->Release();
  if (m_pszMsg != nullptr) LocalFree(m_pszMsg);
  m_pszMsg = nullptr;
  m_hresult = other.m_hresult;
  m_perrinfo = other.m_perrinfo;
  return *this;
}

_com_error::~_com_error() {
  if (m_perrinfo != nullptr) m_perrinfo->Release();
  if (m_pszMsg != nullptr) LocalFree(m_pszMsg);
}

IErrorInfo* _com_error::ErrorInfo() const {
  if (m_perrinfo != nullptr) m_perrinfo->AddRef();
  return m_perrinfo;
}

const wchar_t* _com_error::ErrorMessage() const {
  if (m_pszMsg != nullptr) return m_pszMsg;
  FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                 static_cast<DWORD>(m_hresult), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                 reinterpret_cast<LPWSTR>(&m_pszMsg), 0, nullptr);
  if (m_pszMsg != nullptr) {
    // The system's texts end in a line break, which the message goes without.
    std::size_t length = 0;
    while (m_pszMsg[length] != L'\0') ++length;
    if (length > 1 && m_pszMsg[length - 1] == L'\n') {
      m_pszMsg[--length] = L'\0';
      if (m_pszMsg[length - 1] == L'\r') m_pszMsg[length - 1] = L'\0';
    }
    return m_pszMsg;
  }
  // The block comes from the same local heap, so that one release serves both.
  m_pszMsg = static_cast<wchar_t*>(LocalAlloc(0, 32 * sizeof(wchar_t)));
  if (m_pszMsg == nullptr) return nullptr;
  const WORD dispatchCode = WCode();
  if (dispatchCode != 0) {
    swprintf_s(m_pszMsg, 32, L"IDispatch error #%d", static_cast<int>(dispatchCode));
  } else {
    swprintf_s(m_pszMsg, 32, L"Unknown error 0x%0lX", static_cast<DWORD>(m_hresult));
  }
  return m_pszMsg;
}
