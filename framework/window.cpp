#include <qnlith/framework/window.h>

CWnd::CWnd() = default;

CWnd::~CWnd() {
  if (m_hWnd != nullptr && IsWindow(m_hWnd)) ::DestroyWindow(m_hWnd);
}

BOOL CWnd::CreateEx(DWORD exStyle, LPCWSTR className, LPCWSTR windowName, DWORD style, int x, int y, int width,
                    int height, HWND parent, HMENU menu, LPVOID parameter) {
  HWND window = ::CreateWindowExW(exStyle, className, windowName, style, x, y, width, height, parent, menu, nullptr,
                                  parameter);
  if (window == nullptr) return FALSE;
  m_hWnd = window;
  return TRUE;
}

BOOL CWnd::DestroyWindow() {
  if (m_hWnd == nullptr) return FALSE;
  const BOOL destroyed = ::DestroyWindow(m_hWnd);
  m_hWnd = nullptr;
  return destroyed;
}

void CWnd::GetWindowTextW(CString& text) const {
  const int length = ::GetWindowTextLengthW(m_hWnd);
  ::GetWindowTextW(m_hWnd, text.GetBufferSetLength(length), length + 1);
  text.ReleaseBuffer();
}

int CWnd::GetWindowTextW(LPWSTR text, int maxCount) const { return ::GetWindowTextW(m_hWnd, text, maxCount); }

int CWnd::GetWindowTextLengthW() const { return ::GetWindowTextLengthW(m_hWnd); }

void CWnd::SetWindowTextW(LPCWSTR text) { ::SetWindowTextW(m_hWnd, text); }

int CWnd::MessageBoxW(LPCWSTR text, LPCWSTR caption, UINT type) const {
  return ::MessageBoxW(m_hWnd, text, caption != nullptr ? caption : AfxGetAppName(), type);
}

int AfxMessageBox(LPCWSTR text, UINT type, UINT) {
  HWND owner = nullptr;
  if (CWinThread* thread = AfxGetThread()) {
    if (CWnd* main = thread->GetMainWnd(); main != nullptr && IsWindow(main->m_hWnd)) owner = main->m_hWnd;
  }
  return ::MessageBoxW(owner, text, AfxGetAppName(), type);
}
